// The velmarlua binary itself: output, standard error, exit statuses, arg, -e, -c and the prompt.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include <cstdlib>
#include <filesystem>
#include <fstream>
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

std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
    {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

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
        fs::remove_all(directory_);
    }

    // Runs velmarlua with the given arguments (already quoted) and standard input.
    Outcome run(const std::string& arguments, const std::string& input = "")
    {
        std::ofstream("stdin.txt", std::ios::binary) << input;
        const std::string command =
            quote(VELMAR_CLI_PATH) + " " + arguments + " < stdin.txt > stdout.txt 2> stderr.txt";
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

TEST_F(CliTest, RunsAScriptWithItsArguments)
{
    std::ofstream("args.lua") << "print(#arg, arg[0], arg[1], arg[2])\nio = nil\nreturn 1";
    const Outcome outcome = run("args.lua one 'two words'");
    EXPECT_EQ(outcome.out, "2\targs.lua\tone\ttwo words\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(CliTest, FailuresGoToStandardErrorWithStatusOne)
{
    std::ofstream("bad.lua") << "print('before')\nlocal x = nil + 1";
    Outcome outcome = run("bad.lua");
    EXPECT_EQ(outcome.out, "before\n");
    EXPECT_EQ(outcome.err, "bad.lua:2: operator '+' expects numbers\n");
    EXPECT_EQ(outcome.status, 1);

    outcome = run("missing.lua");
    EXPECT_EQ(outcome.err, "unable to open script file: missing.lua\n");
    EXPECT_EQ(outcome.status, 1);

    outcome = run("-e 'x = = 1'");
    EXPECT_EQ(outcome.err, "(command line):1:5: expected expression\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(CliTest, OsExitSetsTheStatus)
{
    Outcome outcome = run("-e 'print(\"bye\") os.exit(7) print(\"never\")'");
    EXPECT_EQ(outcome.out, "bye\n");
    EXPECT_EQ(outcome.status, 7);
    outcome = run("-e 'pcall(os.exit, 4)'");
    EXPECT_EQ(outcome.status, 4);
}

TEST_F(CliTest, CompilesAContainerAndRunsIt)
{
    std::ofstream("prog.lua") << "print('from container', arg[1])\nerror('late')";
    Outcome outcome = run("-c prog.lua prog.vlbc");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(slurp("prog.vlbc").substr(0, 4), "VLBC");
    outcome = run("prog.vlbc extra");
    EXPECT_EQ(outcome.out, "from container\textra\n");
    EXPECT_EQ(outcome.err, "prog.lua:2: late\n"); // the chunk name stored in the container
    EXPECT_EQ(outcome.status, 1);

    std::ofstream("broken.lua") << "x = (";
    outcome = run("-c broken.lua broken.vlbc");
    EXPECT_EQ(outcome.err, "broken.lua:1:6: expected expression\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_FALSE(fs::exists("broken.vlbc"));
}

TEST_F(CliTest, LimitsEndRunawayScripts)
{
    Outcome outcome = run("--step-limit 5000 -e 'print(\"start\")\nwhile true do end'");
    EXPECT_EQ(outcome.out, "start\n");
    EXPECT_EQ(outcome.err, "(command line):2: step limit exceeded\n");
    EXPECT_EQ(outcome.status, 1);
    outcome = run("--memory-limit 1000000 -e 'print(#string.rep(\"x\", 500000))\nprint(#string.rep(\"x\", 2000000))'");
    EXPECT_EQ(outcome.out, "500000\n");
    EXPECT_EQ(outcome.err, "not enough memory\n");
    EXPECT_EQ(outcome.status, 1);
    // Both limits at once, in either order.
    outcome = run("--memory-limit 100000000 --step-limit 10 -e 'while true do end'");
    EXPECT_EQ(outcome.err, "(command line):1: step limit exceeded\n");
    for (const char* bad : {"--step-limit x -e 'print(1)'", "--memory-limit -5 -e 'print(1)'",
                            "--memory-limit 99999999999999999999999 -e 'print(1)'", "--memory-limit"})
    {
        outcome = run(bad);
        EXPECT_EQ(outcome.status, 1) << bad;
        EXPECT_EQ(outcome.out, "") << bad;
        EXPECT_NE(outcome.err.find("usage: velmarlua"), std::string::npos) << bad;
    }
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
}

// --confine DIR: the script named on the command line is read as usual, but what it opens is looked up
// beneath DIR, and nothing outside it can be reached; --confine-read-only also refuses every write.
TEST_F(CliTest, ConfineKeepsScriptsInsideADirectory)
{
    fs::create_directories("jail");
    std::ofstream("secret.txt") << "secret";
    std::ofstream("jail/inside.txt") << "inside";
    fs::create_symlink("../secret.txt", "jail/link");
    std::ofstream("probe.lua") << "print(io.open('inside.txt'):read('*a'))\n"
                                  "for _, name in ipairs({'../secret.txt', 'link', '" +
                                      (directory_ / "secret.txt").string() +
                                      "'}) do print(io.open(name)) end\n"
                                  "local f = io.open('made.txt', 'w') f:write('made') f:close()\n";
    const std::string refused = "inside\nnil\tfailed to open file: ../secret.txt\nnil\tfailed to open file: link\n"
                                "nil\tfailed to open file: " + (directory_ / "secret.txt").string() + "\n";
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
    EXPECT_EQ(outcome.err.rfind("velmarlua: cannot confine files to missing-dir\n", 0), 0u);
}

TEST_F(CliTest, VersionAndHelp)
{
    EXPECT_EQ(run("-v").out, "VelmarLua 0.2\n");
    const Outcome help = run("-h");
    EXPECT_NE(help.out.find("usage: velmarlua"), std::string::npos);
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(run("--bogus").status, 1);
}

TEST_F(CliTest, PromptRunsLinesShowsExpressionsAndKeepsGoingAfterErrors)
{
    std::ofstream("index.lua") << "greeting = 'hi from index'";
    std::ofstream("lib.lua") << "libValue = 41\nreturn 'loaded'";
    const Outcome outcome = run("", "print(greeting)\nx = 2\nx * 21\nerror('oops')\nprint(dofile('lib.lua'), libValue + 1)\n"
                                    "exit\nprint('after exit')\n");
    const std::string banner = "VelmarLua Desktop For VelmarBoot\n"
                               "type Lua code at the VelmarBoot prompt and press Enter\n"
                               "type exit or press Esc on an empty prompt to leave\n"
                               "autoruns index.lua if it is present\n"
                               "use dofile(\"name.lua\") to run files from disk\n\n";
    EXPECT_EQ(outcome.out.substr(0, banner.size()), banner);
    EXPECT_NE(outcome.out.find("hi from index\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("42\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("loaded\t42\n"), std::string::npos);
    EXPECT_EQ(outcome.out.find("after exit"), std::string::npos);
    EXPECT_EQ(outcome.err, "(prompt):1: oops\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(CliTest, PromptEndsAtEndOfInputAndHonoursOsExit)
{
    EXPECT_EQ(run("", "").status, 0);
    EXPECT_EQ(run("", "os.exit(5)\nprint('no')\n").status, 5);
}

// Ctrl-C at the prompt stops the running line, and the prompt reads the next one.
TEST_F(CliTest, InterruptStopsThePromptsRunningLineOnly)
{
    int input[2];
    ASSERT_EQ(::pipe(input), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        ::dup2(input[0], 0);
        ::close(input[1]);
        const int out = ::open("stdout.txt", O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = ::open("stderr.txt", O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(out, 1);
        ::dup2(err, 2);
        ::execl(VELMAR_CLI_PATH, VELMAR_CLI_PATH, static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(input[0]);
    const std::string endless = "while true do end\n";
    ASSERT_EQ(::write(input[1], endless.data(), endless.size()), static_cast<ssize_t>(endless.size()));
    // Interrupt until the line reports it: the first signal may come before the line has started.
    for (int attempt = 0; attempt < 100 && slurp("stderr.txt").empty(); ++attempt)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ::kill(child, SIGINT);
    }
    const std::string rest = "print('still here')\n";
    ASSERT_EQ(::write(input[1], rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
    ::close(input[1]);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(slurp("stderr.txt"), "(prompt):1: interrupted\n");
    EXPECT_NE(slurp("stdout.txt").find("still here\n"), std::string::npos);
}

} // namespace
