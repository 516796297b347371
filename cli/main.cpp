// velmarlua: the command-line host, a thin program over the public API and the host table.
#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using velmar::lua::LuaMap;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

constexpr const char* kUsage = "usage: velmarlua [--step-limit N] [--memory-limit BYTES] [--confine[-read-only] DIR]\n"
                               "                 [FILE [ARGS...] | -e CODE]\n"
                               "       velmarlua [FILE [ARGS...]]     run FILE (a script or a container) with arg set\n"
                               "       velmarlua -e CODE              run CODE\n"
                               "       velmarlua -c SOURCE OUT        check SOURCE and write its container to OUT\n"
                               "       velmarlua -v                   show the version\n"
                               "       velmarlua -h                   show this help\n"
                               "       velmarlua                      interactive prompt (runs index.lua first if present)\n"
                               "       --step-limit N                 fail a run after N statements, calls and loop steps\n"
                               "                                      (string work: a step per KiB made or searched)\n"
                               "       --memory-limit BYTES           fail a run whose values would need more than BYTES\n"
                               "       --confine DIR                  scripts reach only files beneath DIR (names relative to it)\n"
                               "       --confine-read-only DIR        the same, and scripts cannot write or delete files\n";

// The bounds every interpreter of this process runs under (0: none).
struct Limits
{
    std::uint64_t steps = 0;
    std::uint64_t memoryBytes = 0;

    void applyTo(LuaVM& vm) const
    {
        vm.setStepLimit(steps);
        vm.setMemoryLimit(static_cast<std::size_t>(memoryBytes));
    }
} gLimits;

// Set by --confine: the script named on the command line is still read from the current directory.
bool gConfined = false;

// The interpreter a Ctrl-C at the prompt stops; the prompt itself goes on.
LuaVM* gPromptVm = nullptr;

extern "C" void interruptPromptRun(int)
{
    if (gPromptVm)
    {
        gPromptVm->interrupt(); // a lock-free atomic store: safe in a signal handler
    }
}

// A decimal count without sign or suffix.
bool parseCount(const std::string& text, std::uint64_t& out)
{
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
    {
        return false;
    }
    errno = 0;
    out = std::strtoull(text.c_str(), nullptr, 10);
    return errno != ERANGE;
}

void reportError(const std::string& message)
{
    zq_lua_flush_output();
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", message.c_str());
}

// Exit status of a finished run: 1 on failure, the os.exit code when there was one, else 0.
int statusOf(const LuaResult& result)
{
    zq_lua_flush_output();
    if (!result.success)
    {
        reportError(result.error);
        return 1;
    }
    return result.hasExitCode ? result.exitCode : 0;
}

bool readWholeFile(const std::string& path, std::string& out)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
    {
        return false;
    }
    std::stringstream contents;
    contents << in.rdbuf();
    out = contents.str();
    return true;
}

bool startsWithContainerMagic(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    char magic[4] = {};
    return in.read(magic, sizeof(magic)) && std::memcmp(magic, "VLBC", 4) == 0;
}

int runFile(const std::vector<std::string>& args)
{
    LuaVM vm;
    gLimits.applyTo(vm);
    LuaMap arg;
    for (std::size_t i = 0; i < args.size(); ++i)
    {
        arg.insert_or_assign(std::to_string(i), LuaValue(args[i])); // arg[0] is the file as given
    }
    vm.setGlobal("arg", LuaValue(std::move(arg)));
    const std::string& file = args.front();
    if (gConfined)
    {
        // The host reads the script itself: the confinement is for what the script opens.
        std::string contents;
        if (!readWholeFile(file, contents))
        {
            reportError("unable to open script file: " + file);
            return 1;
        }
        if (contents.compare(0, 4, "VLBC") == 0)
        {
            velmar::lua::LuaBytecode bytecode;
            bytecode.bytes.assign(contents.begin(), contents.end());
            return statusOf(vm.runBytecode(bytecode));
        }
        return statusOf(vm.runScriptString(contents, file));
    }
    return statusOf(startsWithContainerMagic(file) ? vm.runBytecodeFile(file) : vm.runScriptFile(file));
}

int compileFile(const std::string& source, const std::string& out)
{
    std::string text;
    if (!readWholeFile(source, text))
    {
        reportError("unable to open script file: " + source);
        return 1;
    }
    LuaVM vm;
    std::string error;
    if (!vm.writeBytecodeFile(text, out, source, &error))
    {
        reportError(error);
        return 1;
    }
    return 0;
}

// True when the line is a complete expression on its own: then its value is shown.
bool isExpression(LuaVM& vm, const std::string& line)
{
    try
    {
        vm.compileScript("return " + line, "(prompt)");
        return true;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

int runPrompt()
{
    LuaVM vm;
    gLimits.applyTo(vm);
    gPromptVm = &vm;
    struct sigaction action = {};
    action.sa_handler = interruptPromptRun;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    bool exitRequested = false;
    int exitStatus = 0;
    auto noteExit = [&](const LuaResult& result) {
        if (result.hasExitCode)
        {
            exitRequested = true;
            exitStatus = result.exitCode;
        }
    };
    vm.bindFunction("dofile", [&](LuaVM& self, const std::vector<LuaValue>& args) -> LuaValue {
        const LuaResult result = self.runScriptFile(args.empty() ? std::string() : args[0].asString());
        noteExit(result);
        if (!result.success)
        {
            throw std::runtime_error(result.error);
        }
        return result.value;
    });
    zq_lua_show_banner();
    if (std::ifstream("index.lua"))
    {
        const LuaResult result = vm.runScriptFile("index.lua");
        noteExit(result);
        if (!result.success)
        {
            reportError(result.error);
        }
    }
    char line[512];
    while (!exitRequested && zq_lua_readline(line, 510, "> ", false))
    {
        const std::string text(line);
        if (text == "exit")
        {
            break;
        }
        const bool expression = isExpression(vm, text);
        const LuaResult result = vm.runScriptString(expression ? "return " + text : text, "(prompt)");
        zq_lua_flush_output();
        noteExit(result);
        if (!result.success)
        {
            reportError(result.error);
        }
        else if (expression && !result.hasExitCode && !result.value.isNil())
        {
            velmar::lua::writeVelmarBootText(result.value.toString() + "\n");
        }
    }
    zq_lua_flush_output();
    gPromptVm = nullptr;
    return exitStatus;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    while (!args.empty() && (args[0] == "--step-limit" || args[0] == "--memory-limit"))
    {
        std::uint64_t& limit = args[0] == "--step-limit" ? gLimits.steps : gLimits.memoryBytes;
        if (args.size() < 2 || !parseCount(args[1], limit))
        {
            std::fputs(kUsage, stderr);
            return 1;
        }
        args.erase(args.begin(), args.begin() + 2);
    }
    if (!args.empty() && (args[0] == "--confine" || args[0] == "--confine-read-only"))
    {
        if (args.size() < 2 || !zq_desktop_confine_files(args[1].c_str(), args[0] == "--confine-read-only"))
        {
            std::fprintf(stderr, "velmarlua: cannot confine files to %s\n", args.size() < 2 ? "" : args[1].c_str());
            std::fputs(kUsage, stderr);
            return 1;
        }
        gConfined = true;
        args.erase(args.begin(), args.begin() + 2);
    }
    int status = 0;
    if (args.empty())
    {
        status = runPrompt();
    }
    else if (args[0] == "-v")
    {
        std::printf("VelmarLua 0.2\n");
    }
    else if (args[0] == "-h" || args[0] == "--help")
    {
        std::fputs(kUsage, stdout);
    }
    else if (args[0] == "-e")
    {
        if (args.size() < 2)
        {
            std::fputs(kUsage, stderr);
            return 1;
        }
        LuaVM vm;
        gLimits.applyTo(vm);
        status = statusOf(vm.runScriptString(args[1], "(command line)"));
    }
    else if (args[0] == "-c")
    {
        if (args.size() != 3)
        {
            std::fputs(kUsage, stderr);
            return 1;
        }
        status = compileFile(args[1], args[2]);
    }
    else if (args[0].size() > 1 && args[0][0] == '-')
    {
        std::fprintf(stderr, "velmarlua: unknown option %s\n", args[0].c_str());
        std::fputs(kUsage, stderr);
        return 1;
    }
    else
    {
        status = runFile(args);
    }
    std::fflush(stdout);
    return status;
}
