// The velmarlua binary itself: output, standard error, exit statuses, arg, -e, -c and the prompt.
#include <gtest/gtest.h>

#include <fcntl.h>
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
