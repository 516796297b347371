// The velmarlua binary run as a process: the command-line conventions, arg, standard input, file errors,
// escaped messages, limits, containers and the prompt fed from a pipe (Ctrl-C: PromptTerminalTest).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;

struct Outcome
{
    std::string out;
    std::string err;
    int status = -1;
};

std::string slurp(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

// "$CLI" stands for the path of the binary, as arg shows it.
std::string expand(std::string text)
{
    for (std::size_t at; (at = text.find("$CLI")) != std::string::npos;)
    {
        text.replace(at, 4, VELMAR_CLI_PATH);
    }
    return text;
}

std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

const std::string kBanner = "VelmarLua Desktop For VelmarBoot\n"
                            "type Lua code at the VelmarBoot prompt and press Enter\n"
                            "type exit or press Esc on an empty prompt to leave\n"
                            "autoruns index.lua if it is present\n"
                            "use dofile(\"name.lua\") to run files from disk\n\n";

class CliTest : public testing::Test
{
protected:
    void SetUp() override
    {
        previous_ = fs::current_path();
        directory_ = fs::temp_directory_path() / ("velmar-cli-" + std::to_string(::getpid()));
        fs::remove_all(directory_);
        fs::create_directories(directory_);
        fs::current_path(directory_);
    }
    void TearDown() override
    {
        fs::current_path(previous_);
        fs::permissions(directory_, fs::perms::owner_all, fs::perm_options::add);
        fs::remove_all(directory_);
    }

    // Runs `prefix velmarlua arguments` through the shell (arguments are shell words) with the given
    // standard input.
    Outcome run(const std::string& arguments, const std::string& input = "", const std::string& prefix = "")
    {
        std::ofstream("stdin.txt", std::ios::binary) << input;
        const std::string command = prefix + "'" + VELMAR_CLI_PATH + "' " + arguments +
                                    " < stdin.txt > stdout.txt 2> stderr.txt";
        const int raw = std::system(command.c_str());
        Outcome outcome;
        outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        outcome.out = slurp("stdout.txt");
        outcome.err = slurp("stderr.txt");
        return outcome;
    }

    fs::path previous_;
    fs::path directory_;
};

struct Case
{
    const char* name;
    std::map<std::string, std::string> files;
    const char* arguments;
    const char* input;
    std::string out;
    const char* err;
    int status;
};

// Each convention of the command line, run against the real binary.
TEST_F(CliTest, Conventions)
{
    const Case cases[] = {
        {"stdin is one chunk when it is not a terminal", {}, "", "print('a')\nprint(arg[0] == nil, #arg)\n",
         "a\nfalse\t0\n", "", 0},
        {"stdin chunk errors end the run", {}, "", "print(1)\nerror('e')\nprint(2)", "1\n", "stdin:2: e\n", 1},
        {"- runs stdin with arguments", {}, "- x y", "print(arg[0], arg[1], arg[2], #arg)", "-\tx\ty\t2\n", "", 0},
        {"- skips a first # line", {}, "-", "#!shebang\nerror('line 2')", "", "stdin:2: line 2\n", 1},
        {"several -e run in order, then the script", {{"s.lua", "print(x + 1)"}},
         "-e 'print(1)' -e'x = 2' -e 'print(x)' s.lua", "", "1\n2\n3\n", "", 0},
        {"an -e error stops everything after it", {{"s.lua", "print('script')"}},
         "-e 'print(1)' -e 'error(\"no\")' -e 'print(3)' s.lua", "", "1\n", "(command line):1: no\n", 1},
        {"-e with no script does not read stdin", {}, "-e 'print(2)'", "print('stdin')", "2\n", "", 0},
        {"arg around a script", {{"args.lua", "print(arg[-3], arg[-2], arg[-1], arg[0], arg[1], arg[2], #arg)"}},
         "-e 'y = 1' args.lua one 'two words'", "", "$CLI\t-e\ty = 1\targs.lua\tone\ttwo words\t2\n", "", 0},
        {"arg without a script", {}, "-e 'print(arg[0], arg[1], arg[2], arg[-1], #arg)'", "",
         "$CLI\t-e\tprint(arg[0], arg[1], arg[2], arg[-1], #arg)\tnil\t2\n", "", 0},
        {"options after the script are its arguments", {{"s.lua", "print(arg[1], arg[2])"}}, "s.lua -e -i", "",
         "-e\t-i\n", "", 0},
        {"-- ends the options", {{"-e.lua", "print('dash file', arg[-1])"}}, "-- -e.lua", "", "dash file\t--\n", "",
         0},
        {"a first # line is skipped, lines keep their numbers",
         {{"she.lua", "#!/usr/bin/env velmarlua\nprint('ok')\nerror('line 3')"}}, "she.lua", "", "ok\n",
         "she.lua:3: line 3\n", 1},
        {"a byte-order mark is skipped", {{"bom.lua", "\xEF\xBB\xBFprint('bom')"}}, "bom.lua", "", "bom\n", "", 0},
        {"a missing file", {}, "missing.lua", "", "", "cannot open missing.lua (No such file or directory)\n", 1},
        {"a directory", {{"dir/x", ""}}, "dir", "", "", "cannot open dir (Is a directory)\n", 1},
        {"control bytes and bad UTF-8 in messages are escaped",
         {{"bin.lua", std::string("error(\"a\x1b[31mb\xff\xc3\xa9\")")}}, "bin.lua", "", "",
         "bin.lua:1: a\\27[31mb\\255\xc3\xa9\n", 1},
        {"a binary file", {{"bin", std::string("\x7f" "ELF\x02\x01", 6)}}, "bin", "", "",
         "bin:1:1: unexpected character '\\127'\n", 1},
        {"a zero byte does not cut a message short", {{"nul.lua", "error('x\\0y')"}}, "nul.lua", "", "",
         "nul.lua:1: x\\0y\n", 1},
        {"os.exit sets the status", {}, "-e 'print(\"bye\") os.exit(7) print(\"never\")'", "", "bye\n", "", 7},
        {"os.exit inside pcall", {}, "-e 'pcall(os.exit, 4)'", "", "", "", 4},
        {"os.exit in an -e skips the script", {{"s.lua", "print('no')"}}, "-e 'os.exit(0)' s.lua", "", "", "", 0},
        {"partial output lines are completed", {}, "-e 'io.write(\"a\")'", "", "a\n", "", 0},
        {"-v alone", {}, "-v", "print('no')", "VelmarLua 0.2\n", "", 0},
        {"-v then the script", {{"s.lua", "print('s')"}}, "-v s.lua", "", "VelmarLua 0.2\ns\n", "", 0},
        {"dofile runs in the same interpreter", {{"lib.lua", "#!x\nshared = 41\nreturn shared + 1"}},
         "-e 'print(dofile(\"lib.lua\"), shared)'", "", "42\t41\n", "", 0},
        {"pcall catches a failing dofile", {{"bad.lua", "\nerror('inside')"}},
         "-e 'print(pcall(dofile, \"bad.lua\"))' -e 'print(\"next\")'", "", "false\tdofile: bad.lua:2: inside\nnext\n",
         "", 0},
        {"dofile of a missing file", {}, "-e 'dofile(\"nope.lua\")'", "", "",
         "(command line):1: dofile: cannot open nope.lua (No such file or directory)\n", 1},
        {"dofile returns every value", {{"two.lua", "return 1, nil, 3"}}, "-e 'print(dofile(\"two.lua\"))'", "",
         "1\tnil\t3\n", "", 0},
        {"os.exit inside dofile ends the program", {{"quit.lua", "os.exit(3)"}},
         "-e 'dofile(\"quit.lua\") print(\"no\")'", "", "", "", 3},
        {"-i after a script reads the prompt", {{"s.lua", "x = 5"}}, "-i s.lua", "x * 2\n",
         kBanner + "> 10\n> \n", "", 0},
    };
    for (const Case& c : cases)
    {
        for (const auto& [name, contents] : c.files)
        {
            fs::create_directories(fs::path(name).parent_path().empty() ? "." : fs::path(name).parent_path());
            std::ofstream(name, std::ios::binary) << contents;
        }
        const Outcome outcome = run(c.arguments, c.input);
        EXPECT_EQ(outcome.out, expand(c.out)) << c.name;
        EXPECT_EQ(outcome.err, expand(c.err)) << c.name;
        EXPECT_EQ(outcome.status, c.status) << c.name;
    }
}

TEST_F(CliTest, AnUnreadableFileSaysPermissionDenied)
{
    std::ofstream("locked.lua") << "print(1)";
    fs::permissions("locked.lua", fs::perms::none);
    // Root reads any file unless the run gives up the capabilities that allow it.
    const std::string prefix = ::geteuid() == 0 ? "setpriv --bounding-set=-dac_override,-dac_read_search " : "";
    const Outcome outcome = run("locked.lua", "", prefix);
    EXPECT_EQ(outcome.err, "cannot open locked.lua (Permission denied)\n");
    EXPECT_EQ(outcome.status, 1);
}

// Every bad command line names the option and the fault, then shows the usage; nothing runs.
TEST_F(CliTest, BadCommandLines)
{
    const std::pair<const char*, const char*> cases[] = {
        {"-e", "velmarlua: option '-e' needs a value (CODE)"},
        {"-x", "velmarlua: unknown option '-x'"},
        {"--step", "velmarlua: unknown option '--step'"},
        {"--step-limit abc -e 'print(1)'", "velmarlua: option '--step-limit' expects a whole number, not 'abc'"},
        {"--step-limit=-5 -e 'print(1)'", "velmarlua: option '--step-limit' expects a whole number, not '-5'"},
        {"--step-limit", "velmarlua: option '--step-limit' needs a value (N)"},
        {"--memory-limit 12X -e 'print(1)'",
         "velmarlua: option '--memory-limit' expects a whole number (with an optional K, M or G), not '12X'"},
        {"--memory-limit 99999999999999999999 -e 'print(1)'",
         "velmarlua: option '--memory-limit' value '99999999999999999999' is too large"},
        {"--memory-limit 17179869184G", "velmarlua: option '--memory-limit' value '17179869184G' is too large"},
        {"-c only.lua", "velmarlua: option '-c' needs 2 values (SOURCE OUT)"},
        {"-c a.lua b.vlbc extra.lua",
         "velmarlua: option '-c' runs nothing: it cannot be combined with a script, -e, -i or a limit"},
        {"-e 'print(1)' -c a.lua b.vlbc",
         "velmarlua: option '-c' runs nothing: it cannot be combined with a script, -e, -i or a limit"},
        {"--step-limit 9 -c a.lua b.vlbc",
         "velmarlua: option '-c' runs nothing: it cannot be combined with a script, -e, -i or a limit"},
        {"'-\x1b'", "velmarlua: unknown option '-\\27'"},
    };
    for (const auto& [arguments, message] : cases)
    {
        const Outcome outcome = run(arguments, "print('stdin ran')");
        EXPECT_EQ(firstLine(outcome.err), message) << arguments;
        EXPECT_NE(outcome.err.find("\nusage: velmarlua [options] [script [args...]]\n"), std::string::npos)
            << arguments;
        EXPECT_EQ(outcome.out, "") << arguments;
        EXPECT_EQ(outcome.status, 1) << arguments;
    }
}

TEST_F(CliTest, HelpListsEveryOption)
{
    const Outcome help = run("-h");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char* option : {"-e CODE", "-i", "-v", "-c SOURCE OUT", "--step-limit N", "--memory-limit BYTES",
                               "-h, --help", "--  "})
    {
        EXPECT_NE(help.out.find("\n  " + std::string(option)), std::string::npos) << option;
    }
    EXPECT_EQ(run("--help -e 'print(1)'").out, help.out);
}

// An option added to the table must reach the manual page too (the CLI reference shows the help text
// itself, which its own test compares).
TEST_F(CliTest, TheManualPageNamesEveryOption)
{
    std::string manual; // with roff's \- read as -
    for (const char c : slurp(fs::path(VELMAR_DOCS_DIR) / "velmarlua.1"))
    {
        if (c == '-' && !manual.empty() && manual.back() == '\\')
        {
            manual.pop_back();
        }
        manual += c;
    }
    std::istringstream help(run("-h").out);
    int options = 0;
    for (std::string line; std::getline(help, line);)
    {
        std::smatch names;
        if (!std::regex_match(line, names, std::regex("  (-[-a-z]*)(, (--[-a-z]+))?( .*)?")))
        {
            continue;
        }
        for (int group : {1, 3})
        {
            const std::string name = names[group].str();
            if (name.empty())
            {
                continue;
            }
            ++options;
            std::string entry = "\n\\.B[IR]? (.*[ \"])?"; // a bold roff line that names it
            entry += name;
            entry += "([ \"].*)?\n";
            EXPECT_TRUE(std::regex_search(manual, std::regex(entry))) << name << " is missing from velmarlua.1";
        }
    }
    EXPECT_EQ(options, 11);
}

TEST_F(CliTest, CompilesAContainerAndRunsIt)
{
    std::ofstream("prog.lua") << "#!/usr/bin/env velmarlua\nprint('from container', arg[1])\nerror('late')";
    Outcome outcome = run("-c prog.lua prog.vlbc");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(slurp("prog.vlbc").substr(0, 4), "VLBC");
    outcome = run("prog.vlbc extra");
    EXPECT_EQ(outcome.out, "from container\textra\n");
    EXPECT_EQ(outcome.err, "prog.lua:3: late\n"); // the chunk name stored in the container
    EXPECT_EQ(outcome.status, 1);
    outcome = run("-", slurp("prog.vlbc"));
    EXPECT_EQ(outcome.out, "from container\tnil\n");

    std::ofstream("broken.lua") << "x = (";
    outcome = run("-c broken.lua broken.vlbc");
    EXPECT_EQ(outcome.err, "broken.lua:1:6: expected expression\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_FALSE(fs::exists("broken.vlbc"));
    outcome = run("-c missing.lua out.vlbc");
    EXPECT_EQ(outcome.err, "cannot open missing.lua (No such file or directory)\n");

    // Source text may begin with the magic's letters; a container goes on with its version's bytes.
    std::ofstream("magic.lua") << "VLBC = 1 print(VLBC)";
    EXPECT_EQ(run("magic.lua").out, "1\n");
    std::ofstream("later.vlbc") << std::string("VLBC\x02\0\0\0", 8);
    EXPECT_EQ(run("later.vlbc").err, "unsupported VelmarLua bytecode version\n");
}

TEST_F(CliTest, LimitsEndRunawayScripts)
{
    Outcome outcome = run("--step-limit 5000 -e 'print(\"start\")\nwhile true do end'");
    EXPECT_EQ(outcome.out, "start\n");
    EXPECT_EQ(outcome.err, "(command line):2: step limit exceeded\n");
    EXPECT_EQ(outcome.status, 1);
    outcome = run("--memory-limit 1M -e 'print(#string.rep(\"x\", 500000))\nprint(#string.rep(\"x\", 2000000))'");
    EXPECT_EQ(outcome.out, "500000\n");
    EXPECT_EQ(outcome.err, "not enough memory\n");
    EXPECT_EQ(outcome.status, 1);
    // Both limits at once, in either spelling, and for every run of the command line.
    outcome = run("--memory-limit=100000000 --step-limit=10 -e 'x = 1' -e 'while true do end'");
    EXPECT_EQ(outcome.err, "(command line):1: step limit exceeded\n");
    outcome = run("--step-limit 10 -", "while true do end");
    EXPECT_EQ(outcome.err, "stdin:1: step limit exceeded\n");
}

// The prompt fed from a pipe (with -i): the banner, chunks over several lines, values shown, errors
// reported and the prompt going on.
TEST_F(CliTest, PromptFromAPipe)
{
    std::ofstream("index.lua") << "greeting = 'hi from index'";
    std::ofstream("lib.lua") << "libValue = 41\nreturn 'loaded'";
    std::ofstream("bad.lua") << "error('in lib')";
    const struct
    {
        const char* input;
        const char* out; // after the banner
        const char* err;
        int status;
    } cases[] = {
        {"print(greeting)\n", "> hi from index\n> \n", "", 0},
        {"x = 2\nx * 21\n", "> > 42\n> \n", "", 0},
        {"nil\nundefinedName\n", "> nil\n> nil\n> \n", "", 0},
        {"print('p')\n", "> p\n> \n", "", 0}, // print's own nil result is not shown
        {"return nil\nreturn\nreturn 1, nil, 3\n1, 'two'\n", "> nil\n> > 1\tnil\t3\n> 1\ttwo\n> \n", "", 0},
        {"{1, 2}\n{x = 1}\n", "> [1, 2]\n> {x: 1}\n> \n", "", 0},
        {"function f(a)\n  return a + 1\nend\nf(1)\n", "> >> >> > 2\n> \n", "", 0},
        {"for i = 1, 2 do\nprint(i)\nend\n", "> >> >> 1\n2\n> \n", "", 0},
        {"1 +\n2\n", "> >> 3\n> \n", "", 0},
        {"s = 'a\nb'\ns\n", "> >> > a\nb\n> \n", "", 0},
        {"t = [[x\ny]] -- c\n#t\n", "> >> > 3\n> \n", "", 0},
        {"x = -- a comment\n5\nx\n", "> >> > 5\n> \n", "", 0},
        {"x y\nprint('next')\n", "> > next\n> \n", "stdin:1:3: expected function call\n", 0},
        {"error('oops')\nprint('still')\n", "> > still\n> \n", "stdin:1: oops\n", 0},
        {"local n = 1\nn\n", "> > nil\n> \n", "", 0}, // each chunk has its own locals
        {"print(dofile('lib.lua'), libValue + 1)\n", "> loaded\t42\n> \n", "", 0},
        {"dofile('bad.lua')\nprint('on')\n", "> > on\n> \n", "stdin:1: dofile: bad.lua:1: in lib\n", 0},
        {"1;\n", "> > \n", "stdin:1:2: expected function call\n", 0},
        {"exit\nprint('after exit')\n", "> ", "", 0},
        {"  exit  \n", "> ", "", 0},
        {"os.exit(5)\nprint('no')\n", "> ", "", 5},
        {"for i = 1, 2 do\nprint(i)\n", "> >> >> \n", "stdin:2:9: expected 'end' after numeric for loop\n", 0},
        {"", "> \n", "", 0},
    };
    for (const auto& c : cases)
    {
        const Outcome outcome = run("-i", c.input);
        EXPECT_EQ(outcome.out, kBanner + c.out) << c.input;
        EXPECT_EQ(outcome.err, c.err) << c.input;
        EXPECT_EQ(outcome.status, c.status) << c.input;
    }
    std::ofstream("index.lua") << "os.exit(9)";
    EXPECT_EQ(run("-i", "print('no')").status, 9);
}

// Runs velmarlua with the given arguments (not through a shell) and returns its peak resident size in
// KiB, with its standard error in `err`.
long peakKiB(const std::vector<std::string>& arguments, std::string& err)
{
    const pid_t child = ::fork();
    if (child == 0)
    {
        const int out = ::open("peak-out.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int error = ::open("peak-err.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(out, 1);
        ::dup2(error, 2);
        std::vector<char*> argv{const_cast<char*>(VELMAR_CLI_PATH)};
        for (const std::string& argument : arguments)
        {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        ::execv(VELMAR_CLI_PATH, argv.data());
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    err = slurp("peak-err.txt");
    return usage.ru_maxrss;
}

// Under --memory-limit L a run's peak resident memory stays within twice L plus what the empty
// interpreter takes, whatever the script makes: values, file buffers, whole-file reads, built texts.
TEST_F(CliTest, TheMemoryLimitBoundsThePeakResidentSize)
{
    {
        std::ofstream big("big.bin", std::ios::binary);
        const std::string chunk(1u << 20, 'x');
        for (int i = 0; i < 96; ++i)
        {
            big << chunk;
        }
    }
    std::string err;
    const long empty = peakKiB({"-e", ""}, err);
    const long limitKiB = 32 * 1024;
    const char* const scripts[] = {
        "local f = io.open('out.tmp', 'w') local s = string.rep('x', 1048576) for i = 1, 256 do f:write(s) end",
        "local f = io.open('out.tmp', 'w') f:seek('set', 1073741824) f:write('x')",
        "local f = io.open('big.bin') local g = io.open('big.bin') local h = io.open('big.bin')",
        "local files = {} for i = 1, 8 do files[i] = io.open('big.bin', 'a') end",
        "local t = {} for i = 1, 4000000 do t[i] = i end print(t)",
        "local t = {} local s = string.rep('x', 1048576) for i = 1, 200 do t[i] = s end local r = table.concat(t)",
        "local s = string.rep('a', 4000000) local r = string.gsub(s, 'a', string.rep('b', 64))",
        "local t = {} local i = 1 while true do t[i] = {i} i = i + 1 end",
    };
    for (const char* script : scripts)
    {
        const long peak = peakKiB({"--memory-limit", std::to_string(limitKiB * 1024), "-e", script}, err);
        EXPECT_EQ(err, "not enough memory\n") << script;
        EXPECT_LE(peak, 2 * limitKiB + empty) << script;
    }
    // A script whose syntax tree alone outgrows the limit fails while it compiles.
    {
        std::ofstream big("big.lua");
        for (int i = 0; i < 100000; ++i)
        {
            big << "local a = " << i << " + b * (c or 3) .. 'text'\n";
        }
    }
    [[maybe_unused]] const long peak = peakKiB({"--memory-limit", std::to_string(limitKiB * 1024), "big.lua"}, err);
    EXPECT_EQ(err, "not enough memory\n");
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_LE(peak, 2 * limitKiB + empty); // AddressSanitizer's redzones about double a tree's many small nodes
#endif
}

// --confine DIR: the script named on the command line is read as usual, but what it opens is looked up
// beneath DIR, and nothing outside it can be reached; --confine-read-only also refuses every write.
TEST_F(CliTest, ConfineKeepsScriptsInsideADirectory)
{
    fs::create_directories("jail");
    std::ofstream("secret.txt") << "secret";
    std::ofstream("jail/inside.txt") << "inside";
    fs::create_symlink("../secret.txt", "jail/link");
    std::ofstream("jail/inside.lua") << "return 'ran inside'";
    std::ofstream("outside.lua") << "return 'escaped'";
    // dofile reads beneath DIR too: it reaches nothing io.open could not.
    std::ofstream("probe.lua") << "print(io.open('inside.txt'):read('*a'))\n"
                                  "for _, name in ipairs({'../secret.txt', 'link', '" +
                                      (directory_ / "secret.txt").string() +
                                      "'}) do print(io.open(name)) end\n"
                                  "print(dofile('inside.lua'), pcall(dofile, '../outside.lua'))\n"
                                  "local f = io.open('made.txt', 'w') f:write('made') f:close()\n";
    const std::string refused = "inside\nnil\tfailed to open file: ../secret.txt\nnil\tfailed to open file: link\n"
                                "nil\tfailed to open file: " + (directory_ / "secret.txt").string() + "\n"
                                "ran inside\tfalse\tdofile: cannot open ../outside.lua (No such file or directory)\n";
    Outcome outcome = run("--confine jail probe.lua");
    EXPECT_EQ(outcome.out, refused);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(slurp("jail/made.txt"), "made");
    fs::remove("jail/made.txt");
    outcome = run("--confine-read-only jail probe.lua");
    EXPECT_EQ(outcome.out, refused);
    EXPECT_FALSE(fs::exists("jail/made.txt"));
    EXPECT_FALSE(fs::exists("made.txt"));
    outcome = run("--confine missing-dir probe.lua");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.rfind("velmarlua: option '--confine' cannot confine files to 'missing-dir'\n", 0), 0u);
}

} // namespace
