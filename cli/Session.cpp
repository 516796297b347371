// The command line's interpreter: limits, arg, dofile, and reporting each run.
#include "Session.hpp"

#include "Console.hpp"
#include "Scripts.hpp"

#include <velmar/lua/HostInterface.hpp>

#include <cstdio>

namespace velmar::cli
{
namespace
{

using velmar::lua::LuaMap;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

// os.exit inside a dofile travels through the runs that enclose it as an exception outside the
// library's family, so no pcall stops it: it ends the program.
struct ExitRequest
{
    int status;
};

// Script files (the one named on the command line and every dofile) are read through the operating
// system, with names relative to the current directory; under a confinement dofile reads through the
// host table's files instead, so that it reaches nothing io.open could not.
LuaResult loadAndRun(LuaVM& vm, const std::string& path, bool throughHost = false)
{
    std::string text;
    LuaResult result;
    if (!(throughHost ? readHostScriptFile(path, text, result.error) : readScriptFile(path, text, result.error)))
    {
        return result;
    }
    return runLoadedScript(vm, std::move(text), path);
}

} // namespace

Session::Session(const Invocation& invocation, int argc, const char* const* argv)
{
    // 0 means no limit on either, as for the library.
    vm_.setStepLimit(invocation.stepLimit);
    vm_.setMemoryLimit(static_cast<std::size_t>(invocation.memoryLimit));
    // arg[0] is the script; the interpreter and the options before it have negative indices. Without a
    // script arg[0] is the interpreter and every argument follows it.
    const auto script = static_cast<long long>(invocation.scriptIndex);
    LuaMap arg;
    for (int i = 0; i < argc; ++i)
    {
        arg.insert_or_assign(std::to_string(i - script), LuaValue(argv[i]));
    }
    vm_.setGlobal("arg", LuaValue(std::move(arg)));
    // A failed script is an ordinary error of the calling run ("dofile: message"), which pcall catches.
    vm_.bindFunction("dofile", [confined = invocation.filesConfined](LuaVM& vm,
                                                                    const std::vector<LuaValue>& args) -> std::vector<LuaValue> {
        // The host-function wrapper puts "dofile: " before both messages.
        if (args.empty() || args[0].type() != LuaValue::Type::String)
        {
            throw velmar::lua::LuaError("expects a string argument");
        }
        LuaResult result = loadAndRun(vm, args[0].asString(), confined);
        if (!result.success)
        {
            throw velmar::lua::LuaError(result.error);
        }
        if (result.hasExitCode)
        {
            throw ExitRequest{result.exitCode};
        }
        // dofile gives the script's returned values to its caller.
        return std::move(result.values);
    });
}

RunOutcome Session::run(const std::function<LuaResult()>& body)
{
    RunOutcome outcome;
    // Ctrl-C interrupts only while a run is going; at the prompt it drops the line instead.
    setInterruptTarget(&vm_);
    try
    {
        outcome.result = body();
    }
    catch (const ExitRequest& request)
    {
        // os.exit inside a dofile: the status is the program's, as if the outer run had called it.
        outcome.result = LuaResult{};
        outcome.result.success = true;
        outcome.result.hasExitCode = true;
        outcome.result.exitCode = request.status;
    }
    setInterruptTarget(nullptr);
    zq_lua_flush_output(); // the run's output comes before its error message
    if (!outcome.result.success)
    {
        outcome.failed = true;
        reportError(outcome.result.error);
    }
    else if (outcome.result.hasExitCode)
    {
        outcome.exitStatus = outcome.result.exitCode;
    }
    return outcome;
}

RunOutcome Session::runFile(const std::string& path)
{
    return run([&] { return loadAndRun(vm_, path); });
}

// Console output is gathered into lines and stdout is buffered; both are flushed first, so that on a
// shared terminal the error stands after what the script printed.
void reportError(const std::string& message)
{
    zq_lua_flush_output();
    std::fflush(stdout);
    const std::string shown = printable(message) + "\n";
    std::fwrite(shown.data(), 1, shown.size(), stderr);
}

} // namespace velmar::cli
