// The option table of velmarlua and the parser over it.
#include "Options.hpp"

#include <velmar/lua/HostInterface.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace velmar::cli
{
namespace
{

// A decimal count: digits only, optionally with a K, M or G suffix (powers of 1,024) where allowed.
std::uint64_t parseCount(const char* option, const std::string& text, bool allowSuffix)
{
    std::string digits = text;
    std::uint64_t scale = 1;
    if (allowSuffix && !digits.empty()) // one letter, either case: 64k and 64K are the same
    {
        const std::string_view suffixes = "KMG";
        if (const std::size_t at = suffixes.find(static_cast<char>(std::toupper(digits.back())));
            at != std::string_view::npos)
        {
            scale = std::uint64_t{1} << (10 * (at + 1));
            digits.pop_back();
        }
    }
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos)
    {
        throw UsageError("option '" + std::string(option) + "' expects a whole number" +
                         (allowSuffix ? " (with an optional K, M or G)" : "") + ", not '" + text + "'");
    }
    errno = 0; // digits only by now, so strtoull can fail only by overflow
    const std::uint64_t count = std::strtoull(digits.c_str(), nullptr, 10);
    if (errno == ERANGE || count > std::numeric_limits<std::uint64_t>::max() / scale)
    {
        throw UsageError("option '" + std::string(option) + "' value '" + text + "' is too large");
    }
    return count * scale;
}

// Confines the desktop host's files for the whole process; the script named on the command line is
// still read by velmarlua itself, from the current directory.
void confineFiles(const char* option, const std::string& directory, bool readOnly)
{
    if (!zq_desktop_confine_files(directory.c_str(), readOnly))
    {
        throw UsageError("option '" + std::string(option) + "' cannot confine files to '" + directory + "'");
    }
}

// Every option. Adding one is adding an entry here (and a line in the CLI reference and the manual page,
// which a test holds to this table). The parser and the help text both read this table alone:
// the order here is the help's order, and adjacent entries with the same help text are spellings of one
// option, listed on one line (-h, --help). Each apply runs as its option is read, left to right.
constexpr std::array kOptions{
    Option{"-e", "CODE", "run CODE; several -e run in order, before the script",
           [](Invocation& invocation, std::span<const std::string> values) {
               invocation.chunks.push_back(values[0]);
           }},
    Option{"-i", "", "enter the prompt after running the -e chunks and the script",
           [](Invocation& invocation, std::span<const std::string>) { invocation.interactive = true; }},
    Option{"-v", "", "show the version",
           [](Invocation& invocation, std::span<const std::string>) { invocation.showVersion = true; }},
    Option{"-c", "SOURCE OUT", "check SOURCE and write its container file to OUT; nothing runs",
           [](Invocation& invocation, std::span<const std::string> values) {
               invocation.compile.assign(values.begin(), values.end());
           }},
    Option{"--step-limit", "N", "fail a run after N steps (statements, calls, loop iterations)",
           [](Invocation& invocation, std::span<const std::string> values) {
               invocation.stepLimit = parseCount("--step-limit", values[0], false);
           }},
    Option{"--memory-limit", "BYTES", "fail a run that would hold more than BYTES of memory (K, M, G allowed)",
           [](Invocation& invocation, std::span<const std::string> values) {
               invocation.memoryLimit = parseCount("--memory-limit", values[0], true);
           }},
    Option{"--confine", "DIR", "scripts reach only files beneath DIR (names are relative to it)",
           [](Invocation& invocation, std::span<const std::string> values) {
               confineFiles("--confine", values[0], false);
               invocation.filesConfined = true;
           }},
    Option{"--confine-read-only", "DIR", "the same, and scripts can neither write nor delete files",
           [](Invocation& invocation, std::span<const std::string> values) {
               confineFiles("--confine-read-only", values[0], true);
               invocation.filesConfined = true;
           }},
    Option{"-h", "", "show this help", [](Invocation& invocation, std::span<const std::string>) {
               invocation.showHelp = true;
           }},
    Option{"--help", "", "show this help", [](Invocation& invocation, std::span<const std::string>) {
               invocation.showHelp = true;
           }},
};

// The number of blank-separated names in `values`.
std::size_t valueCount(const Option& option)
{
    const std::string_view names = option.values;
    return names.empty() ? 0 : static_cast<std::size_t>(std::count(names.begin(), names.end(), ' ')) + 1;
}

// The option `argument` names, with a value attached to it when it carries one. Only an option of
// exactly one value takes an attached one, so "-cX" is unknown; a long name that merely starts another
// ("--confine" in "--confine-read-only") is passed over unless '=' follows it.
const Option* findOption(std::string_view argument, std::optional<std::string>& attached)
{
    for (const Option& option : kOptions)
    {
        const std::string_view name = option.name;
        if (argument == name)
        {
            return &option;
        }
        if (valueCount(option) != 1 || !argument.starts_with(name))
        {
            continue;
        }
        const bool shortForm = name.size() == 2;
        if (shortForm && argument.size() > 2)
        {
            attached = std::string(argument.substr(2));
            return &option;
        }
        if (!shortForm && argument.size() > name.size() && argument[name.size()] == '=')
        {
            attached = std::string(argument.substr(name.size() + 1));
            return &option;
        }
    }
    return nullptr;
}

} // namespace

// Options come first; the first argument that is not one (or the one after "--") is the script, and it
// and everything after it go to the script's arg table untouched, dashes included.
Invocation parseCommandLine(int argc, const char* const* argv)
{
    Invocation invocation;
    int i = 1;
    while (i < argc)
    {
        const std::string_view argument = argv[i];
        if (argument == "--")
        {
            ++i;
            break;
        }
        if (argument.size() < 2 || argument[0] != '-')
        {
            break; // the script: "-" for standard input, anything else a file
        }
        std::optional<std::string> attached;
        const Option* option = findOption(argument, attached);
        if (option == nullptr)
        {
            throw UsageError("unknown option '" + std::string(argument) + "'");
        }
        std::vector<std::string> values;
        if (attached)
        {
            values.push_back(*attached);
        }
        const std::size_t wanted = valueCount(*option);
        while (values.size() < wanted)
        {
            if (++i >= argc)
            {
                throw UsageError("option '" + std::string(option->name) + "' needs " +
                                 (wanted == 1 ? "a value" : std::to_string(wanted) + " values") + " (" +
                                 option->values + ")");
            }
            values.emplace_back(argv[i]);
        }
        option->apply(invocation, values);
        ++i;
    }
    if (i < argc)
    {
        invocation.script = argv[i];
        invocation.scriptIndex = static_cast<std::size_t>(i);
    }
    // Checked once the whole line is read, since the conflicting options may come in any order.
    if (!invocation.compile.empty() && (invocation.script || !invocation.chunks.empty() || invocation.interactive ||
                                        invocation.stepLimit != 0 || invocation.memoryLimit != 0))
    {
        throw UsageError("option '-c' runs nothing: it cannot be combined with a script, -e, -i or a limit");
    }
    return invocation;
}

std::string usageText()
{
    std::string text = "usage: velmarlua [options] [script [args...]]\n"
                       "Runs the -e chunks, then the script (a source or container file; - for standard input)\n"
                       "with its arguments in the table arg. Without -e, -v or a script, the prompt starts when\n"
                       "standard input is a terminal; otherwise standard input runs as one chunk.\n"
                       "Options:\n";
    std::string head = "  ";
    for (std::size_t i = 0; i < kOptions.size(); ++i)
    {
        const Option& option = kOptions[i];
        head += option.name;
        if (i + 1 < kOptions.size() && std::string_view(option.help) == kOptions[i + 1].help)
        {
            head += ", "; // another spelling of the same option follows
            continue;
        }
        if (*option.values != '\0')
        {
            head += ' ';
            head += option.values;
        }
        head.resize(std::max<std::size_t>(head.size() + 2, 24), ' '); // help texts start in column 25
        text += head + option.help + "\n";
        head = "  ";
    }
    text += "  --                    stop handling options; the next argument is the script\n";
    return text;
}

} // namespace velmar::cli
