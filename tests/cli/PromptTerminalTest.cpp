// The prompt on a real terminal (a tmux pane): continuation lines, history across runs, Esc, Ctrl-D and
// Ctrl-C, typed as a person types them.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace
{

namespace fs = std::filesystem;

std::string capture(const std::string& command)
{
    std::string output;
    if (FILE* pipe = ::popen(command.c_str(), "r"))
    {
        char buffer[4096];
        std::size_t got;
        while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        {
            output.append(buffer, got);
        }
        ::pclose(pipe);
    }
    return output;
}

// One velmarlua in a detached tmux session of its own; after velmarlua ends the pane shows "[exit N]".
class Terminal
{
public:
    // `environment`: more NAME=VALUE words for velmarlua.
    explicit Terminal(const fs::path& home, const std::string& environment = "")
        : socket_("velmar-prompt-" + std::to_string(::getpid()) + "-" + std::to_string(++sessions_))
    {
        const fs::path script = home / "session.sh";
        // Ctrl-C reaches the shell too: it must outlive it to show the exit status.
        std::ofstream(script) << "trap : INT\nHOME='" << home.string() << "' " << environment << " '"
                              << VELMAR_CLI_PATH << "'\n"
                              << "echo \"[exit $?]\"\nsleep 600\n";
        tmux("-f /dev/null new-session -d -x 100 -y 40 'sh " + script.string() + "'");
    }
    ~Terminal() { tmux("kill-server"); }

    // Literal text, no key names.
    void type(const std::string& text)
    {
        std::string quoted;
        for (char c : text)
        {
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        tmux("send-keys -l -- '" + quoted + "'");
    }
    void press(const std::string& keys) { tmux("send-keys " + keys); }
    // The screen with each line's trailing blanks dropped: an empty prompt line reads ">".
    std::string screen()
    {
        std::string shown;
        std::string line;
        for (char c : capture("tmux -L " + socket_ + " capture-pane -p 2>/dev/null"))
        {
            if (c != '\n')
            {
                line += c;
                continue;
            }
            line.erase(line.find_last_not_of(' ') + 1);
            shown += line + "\n";
            line.clear();
        }
        return shown;
    }

    // Waits until the screen holds `text`; the screen is shown when it never does.
    ::testing::AssertionResult shows(const std::string& text)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        std::string current;
        while (std::chrono::steady_clock::now() < deadline)
        {
            current = screen();
            if (current.find(text) != std::string::npos)
            {
                return ::testing::AssertionSuccess();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return ::testing::AssertionFailure() << "the screen never showed [" << text << "]; it shows:\n" << current;
    }

private:
    void tmux(const std::string& arguments)
    {
        const std::string command = "tmux -L " + socket_ + " " + arguments + " > /dev/null 2>&1";
        [[maybe_unused]] const int status = std::system(command.c_str());
    }

    static inline int sessions_ = 0;
    std::string socket_;
};

class PromptTerminalTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (std::system("command -v tmux > /dev/null 2>&1") != 0)
        {
            FAIL() << "tmux is needed: scripts/install-prerequisites.sh test installs it";
        }
        home_ = fs::temp_directory_path() / ("velmar-prompt-home-" + std::to_string(::getpid()));
        fs::remove_all(home_);
        fs::create_directories(home_);
    }
    void TearDown() override { fs::remove_all(home_); }

    fs::path home_;
};

TEST_F(PromptTerminalTest, ContinuationLinesAndHistoryAcrossRuns)
{
    {
        Terminal terminal(home_);
        ASSERT_TRUE(terminal.shows("\n>\n"));
        terminal.type("for i = 1, 2 do");
        terminal.press("Enter");
        ASSERT_TRUE(terminal.shows("\n>>\n"));
        terminal.type("print(i * 10)");
        terminal.press("Enter");
        terminal.type("end");
        terminal.press("Enter");
        ASSERT_TRUE(terminal.shows(">> end\n10\n20\n>\n"));
        terminal.type("x = 41");
        terminal.press("Enter");
        terminal.press("Up");
        ASSERT_TRUE(terminal.shows("> x = 41\n> x = 41"));
        terminal.press("BSpace");
        terminal.type("2");
        terminal.press("Enter");
        terminal.type("x");
        terminal.press("Enter");
        ASSERT_TRUE(terminal.shows("> x\n42\n>\n"));
        terminal.press("C-d");
        ASSERT_TRUE(terminal.shows("[exit 0]"));
    }
    Terminal again(home_);
    ASSERT_TRUE(again.shows("\n>\n"));
    again.press("Up");
    ASSERT_TRUE(again.shows("> x\n"));
    again.press("Up");
    ASSERT_TRUE(again.shows("> x = 42"));
    again.press("Home");
    again.type("y = 1 ");
    again.press("Enter");
    again.type("print(x + y)");
    again.press("Enter");
    ASSERT_TRUE(again.shows("\n43\n"));
}

TEST_F(PromptTerminalTest, EscLeavesFromAnEmptyLineOnly)
{
    Terminal terminal(home_);
    ASSERT_TRUE(terminal.shows("\n>\n"));
    terminal.type("print('typed')");
    terminal.press("Escape");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(terminal.screen().find("[exit"), std::string::npos);
    terminal.press("C-u"); // the line is empty again
    terminal.press("Escape");
    EXPECT_TRUE(terminal.shows("\n>\n[exit 0]\n"));
}

TEST_F(PromptTerminalTest, CtrlDLeavesOnANewLine)
{
    Terminal terminal(home_);
    ASSERT_TRUE(terminal.shows("\n>\n"));
    terminal.press("C-d");
    EXPECT_TRUE(terminal.shows("\n> ^D\n[exit 0]\n"));
}

TEST_F(PromptTerminalTest, CtrlCDropsTheLineOrStopsTheRun)
{
    Terminal terminal(home_);
    ASSERT_TRUE(terminal.shows("\n>\n"));
    terminal.type("print('dropped')");
    // Ctrl-C flushes what the terminal has not handed over yet, as it would for a person typing fast.
    ASSERT_TRUE(terminal.shows("> print('dropped')\n"));
    terminal.press("C-c");
    ASSERT_TRUE(terminal.shows("> print('dropped')^C\n>\n"));
    terminal.type("for i = 1, 3 do");
    terminal.press("Enter");
    ASSERT_TRUE(terminal.shows("\n>>\n"));
    terminal.press("C-c");
    ASSERT_TRUE(terminal.shows(">> ^C\n>\n"));
    terminal.type("print('fresh')");
    terminal.press("Enter");
    ASSERT_TRUE(terminal.shows(">> ^C\n> print('fresh')\nfresh\n>\n"));
    terminal.type("while true do end");
    terminal.press("Enter");
    // Interrupt until the run reports it: the first Ctrl-C may come before the run has started.
    for (int attempt = 0; attempt < 100 && terminal.screen().find("interrupted") == std::string::npos; ++attempt)
    {
        terminal.press("C-c");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ASSERT_TRUE(terminal.shows("stdin:1: interrupted\n"));
    terminal.type("print('on')");
    terminal.press("Enter");
    EXPECT_TRUE(terminal.shows("\non\n>\n"));
    EXPECT_EQ(terminal.screen().find("\ndropped"), std::string::npos);
    terminal.press("C-d"); // a clean exit after an interrupted run
    EXPECT_TRUE(terminal.shows("[exit 0]"));
}

// A terminal that libedit does not serve: plain lines, Ctrl-C still drops one, and Esc with Enter leaves.
TEST_F(PromptTerminalTest, PlainLinesOnADumbTerminal)
{
    Terminal terminal(home_, "TERM=dumb");
    ASSERT_TRUE(terminal.shows("\n>\n"));
    terminal.type("print('dropped')");
    ASSERT_TRUE(terminal.shows("> print('dropped')\n"));
    terminal.press("C-c");
    ASSERT_TRUE(terminal.shows("> print('dropped')^C\n>\n"));
    terminal.type("print('kept')");
    terminal.press("Enter");
    ASSERT_TRUE(terminal.shows("> print('kept')\nkept\n>\n"));
    terminal.press("Escape");
    terminal.press("Enter");
    EXPECT_TRUE(terminal.shows("[exit 0]"));
    EXPECT_EQ(terminal.screen().find("\ndropped"), std::string::npos);
}

} // namespace
