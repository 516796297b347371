// Runs the examples of Markdown documents and compares what they print with the text the document shows.
//
//   velmar_doc_examples --cli VELMARLUA [--cxx COMPILER --include DIR --library FILE [--cxx-flags FLAGS]] FILE.md...
//
// Fenced blocks, by their info string:
//   lua      followed by an `output` block: saved as example.lua (or as NAME when its first line is
//            "-- file: NAME"), run as `velmarlua NAME`; standard output and error together must equal the
//            output block, where "0x..." stands for any address. Without an output block it must compile.
//   console  each line "$ COMMAND" runs in bash with velmarlua first on PATH; the lines up to the next "$ "
//            are its output (standard output and error together).
//   cpp      followed by an `output` block, or holding "int main": compiled against the library and run;
//            the output must match, or the program exit with 0. Other cpp blocks are fragments, not run.
// Other blocks are prose. Each document runs in a scratch directory of its own, shared by its blocks in
// order and removed afterwards, so examples leave nothing behind. Prints "docs: N passed, N failed".
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;

struct Block
{
    std::string info;
    std::string text;
    std::size_t line; // of the opening fence
};

struct Settings
{
    std::string cli;
    std::string cxx;
    std::string cxxFlags;
    std::string include;
    std::string library;
};

std::vector<Block> readBlocks(const fs::path& path)
{
    std::ifstream in(path);
    std::vector<Block> blocks;
    std::string line;
    std::size_t number = 0;
    Block* open = nullptr;
    while (std::getline(in, line))
    {
        ++number;
        if (line.starts_with("```"))
        {
            if (open == nullptr)
            {
                blocks.push_back({line.substr(3), "", number});
                open = &blocks.back();
            }
            else
            {
                open = nullptr;
            }
            continue;
        }
        if (open != nullptr)
        {
            open->text += line + "\n";
        }
    }
    return blocks;
}

std::string shellQuote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
    {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// Runs a shell command in `directory`; standard output and error together, and the exit status.
std::string runCommand(const fs::path& directory, const std::string& command, int& status)
{
    const std::string full = "cd " + shellQuote(directory.string()) + " && timeout 60 " + command + " < /dev/null 2>&1";
    std::string output;
    FILE* pipe = ::popen(full.c_str(), "r");
    if (pipe == nullptr)
    {
        status = -1;
        return output;
    }
    char buffer[4096];
    std::size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
    {
        output.append(buffer, got);
    }
    const int raw = ::pclose(pipe);
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return output;
}

// Exact text, except that "0x..." in the expectation matches any hexadecimal address.
bool matches(const std::string& expected, const std::string& actual)
{
    if (expected.find("0x...") == std::string::npos)
    {
        return expected == actual;
    }
    std::string pattern;
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        if (expected.compare(i, 5, "0x...") == 0)
        {
            pattern += "0x[0-9a-f]+";
            i += 4;
        }
        else if (std::string("\\^$.|?*+()[]{}").find(expected[i]) != std::string::npos)
        {
            pattern += std::string("\\") + expected[i];
        }
        else
        {
            pattern += expected[i];
        }
    }
    return std::regex_match(actual, std::regex(pattern));
}

class DocumentRun
{
public:
    DocumentRun(const fs::path& document, const Settings& settings) : document_(document), settings_(settings)
    {
        char scratch[] = "/tmp/velmar-docs-XXXXXX";
        directory_ = ::mkdtemp(scratch);
    }
    ~DocumentRun() { fs::remove_all(directory_); }

    void run()
    {
        const std::vector<Block> blocks = readBlocks(document_);
        for (std::size_t i = 0; i < blocks.size(); ++i)
        {
            const Block* output = i + 1 < blocks.size() && blocks[i + 1].info == "output" ? &blocks[i + 1] : nullptr;
            const Block& block = blocks[i];
            if (block.info == "lua")
            {
                runLua(block, output);
            }
            else if (block.info == "console")
            {
                runConsole(block);
            }
            else if (block.info == "cpp" && (output != nullptr || block.text.find("int main") != std::string::npos))
            {
                runCpp(block, output);
            }
        }
    }

    int passed = 0;
    int failed = 0;

private:
    void check(const Block& block, const std::string& expected, const std::string& actual, const std::string& what)
    {
        if (matches(expected, actual))
        {
            ++passed;
            return;
        }
        ++failed;
        std::cout << document_.string() << ":" << block.line << ": " << what << "\n--- expected\n"
                  << expected << "--- actual\n"
                  << actual << "---\n";
    }

    void runLua(const Block& block, const Block* output)
    {
        std::string name = "example.lua";
        if (block.text.starts_with("-- file: "))
        {
            name = block.text.substr(9, block.text.find('\n') - 9);
        }
        std::ofstream(directory_ / name, std::ios::binary) << block.text;
        int status = 0;
        if (output != nullptr)
        {
            check(block, output->text, runCommand(directory_, shellQuote(settings_.cli) + " " + name, status),
                  "the example printed something else");
            return;
        }
        const std::string compiled = runCommand(directory_, shellQuote(settings_.cli) + " -c " + name + " .check.vlbc", status);
        check(block, "", compiled, "the example does not compile");
        fs::remove(directory_ / ".check.vlbc");
    }

    void runConsole(const Block& block)
    {
        std::istringstream lines(block.text);
        std::string line;
        std::string command;
        std::string expected;
        auto finish = [&] {
            if (command.empty())
            {
                return;
            }
            std::ofstream(directory_ / ".command.sh") << command << "\n";
            const std::string path = fs::path(settings_.cli).parent_path().string();
            int status = 0;
            const std::string actual =
                runCommand(directory_, "env PATH=" + shellQuote(path) + ":\"$PATH\" bash .command.sh", status);
            fs::remove(directory_ / ".command.sh");
            check(block, expected, actual, "$ " + command);
        };
        while (std::getline(lines, line))
        {
            if (line.starts_with("$ "))
            {
                finish();
                command = line.substr(2);
                expected.clear();
            }
            else
            {
                expected += line + "\n";
            }
        }
        finish();
    }

    void runCpp(const Block& block, const Block* output)
    {
        if (settings_.cxx.empty())
        {
            return; // no compiler given: C++ examples are checked by the builds that give one
        }
        std::ofstream(directory_ / "example.cpp") << block.text;
        const fs::path libraryDir = fs::path(settings_.library).parent_path();
        int status = 0;
        const std::string build = settings_.cxx + " " + settings_.cxxFlags + " -std=c++20 -o example example.cpp -I" +
                                  shellQuote(settings_.include) + " " + shellQuote(settings_.library) +
                                  " -Wl,-rpath," + shellQuote(libraryDir.string());
        const std::string diagnostics = runCommand(directory_, build, status);
        if (status != 0)
        {
            check(block, "", diagnostics, "the example does not compile");
            return;
        }
        const std::string actual = runCommand(directory_, "./example", status);
        if (output != nullptr)
        {
            check(block, output->text, actual, "the example printed something else");
        }
        else
        {
            check(block, "exit 0\n", "exit " + std::to_string(status) + "\n", "the example failed:\n" + actual);
        }
    }

    fs::path document_;
    const Settings& settings_;
    fs::path directory_;
};

} // namespace

int main(int argc, char** argv)
{
    Settings settings;
    std::vector<std::string> documents;
    for (int i = 1; i < argc; ++i)
    {
        const std::string argument = argv[i];
        std::string* value = argument == "--cli"         ? &settings.cli
                             : argument == "--cxx"       ? &settings.cxx
                             : argument == "--cxx-flags" ? &settings.cxxFlags
                             : argument == "--include"   ? &settings.include
                             : argument == "--library"   ? &settings.library
                                                         : nullptr;
        if (value != nullptr && i + 1 < argc)
        {
            *value = argv[++i];
        }
        else
        {
            documents.push_back(argument);
        }
    }
    if (settings.cli.empty() || documents.empty())
    {
        std::cerr << "usage: velmar_doc_examples --cli VELMARLUA [--cxx C --include DIR --library FILE] FILE.md...\n";
        return 2;
    }
    // Examples run in scratch directories: paths must not depend on where this started.
    for (std::string* path : {&settings.cli, &settings.include, &settings.library})
    {
        if (!path->empty())
        {
            *path = fs::absolute(*path).string();
        }
    }
    int passed = 0;
    int failed = 0;
    for (const std::string& document : documents)
    {
        DocumentRun run(document, settings);
        run.run();
        passed += run.passed;
        failed += run.failed;
    }
    std::cout << "docs: " << passed << " passed, " << failed << " failed\n";
    return failed == 0 ? 0 : 1;
}
