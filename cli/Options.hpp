// The command line of velmarlua: one table entry per option, parsed into an Invocation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmar::cli
{

// What the command line asks for, in the order it is done: the -e chunks, then the script, then the
// prompt.
struct Invocation
{
    std::vector<std::string> chunks;   // -e CODE, in order
    std::optional<std::string> script; // the script file; "-" for standard input
    std::size_t scriptIndex = 0;       // its position in argv, 0 when there is none
    bool interactive = false;          // -i
    bool showVersion = false;          // -v
    bool showHelp = false;             // -h
    std::vector<std::string> compile;  // -c SOURCE OUT
    std::uint64_t stepLimit = 0;       // 0: none
    std::uint64_t memoryLimit = 0;     // 0: none
    bool filesConfined = false;        // --confine or --confine-read-only: dofile reads beneath DIR too
};

// A command line that cannot be obeyed; the message names the option and what is wrong with it.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// One option. `values` names its values, separated by blanks ("" when it takes none); a one-letter
// option with one value also takes it attached (-eCODE), a long one after "=" (--step-limit=N).
struct Option
{
    const char* name;   // as typed: "-e" or "--step-limit"
    const char* values; // the names of its values for the help text, "CODE" or "SOURCE OUT"
    const char* help;   // one line in the help text
    // Records the option; throws UsageError for a bad value.
    void (*apply)(Invocation& invocation, std::span<const std::string> values);
};

// Throws UsageError for an unknown option, a missing or bad value, or options that cannot go together.
Invocation parseCommandLine(int argc, const char* const* argv);

// The help text, ending with a line feed.
std::string usageText();

} // namespace velmar::cli
