// velmarlua: the command-line host, a thin program over the public API and the host table.
#include "Console.hpp"
#include "Options.hpp"
#include "Prompt.hpp"
#include "Scripts.hpp"
#include "Session.hpp"

#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <cstdio>
#include <string>

namespace
{

using namespace velmar::cli;
using velmar::lua::LuaVM;

int compileFile(const std::string& source, const std::string& out)
{
    std::string text;
    std::string error;
    if (!readScriptFile(source, text, error))
    {
        reportError(error);
        return 1;
    }
    skipCommentLine(text);
    LuaVM vm;
    if (!vm.writeBytecodeFile(text, out, source, &error))
    {
        reportError(error);
        return 1;
    }
    return 0;
}

// Runs what the command line asks for, in order; returns the exit status.
int runInvocation(const Invocation& invocation, int argc, const char* const* argv)
{
    if (invocation.showVersion)
    {
        std::fputs("VelmarLua 0.2\n", stdout);
    }
    if (!invocation.compile.empty())
    {
        return compileFile(invocation.compile[0], invocation.compile[1]);
    }
    Session session(invocation, argc, argv);
    for (const std::string& chunk : invocation.chunks)
    {
        const RunOutcome outcome = session.run([&] { return session.vm().runScriptString(chunk, "(command line)"); });
        if (outcome.failed || outcome.exitStatus)
        {
            return outcome.failed ? 1 : *outcome.exitStatus;
        }
    }
    const bool onlyOptions = !invocation.script && invocation.chunks.empty() && !invocation.showVersion;
    const bool terminal = inputIsTerminal();
    RunOutcome outcome;
    if (invocation.script == "-" || (onlyOptions && !invocation.interactive && !terminal))
    {
        std::string text;
        std::string error;
        if (!readStandardInput(text, error))
        {
            reportError(error);
            return 1;
        }
        outcome = session.run([&] { return runLoadedScript(session.vm(), std::move(text), "stdin"); });
    }
    else if (invocation.script)
    {
        outcome = session.runFile(*invocation.script);
    }
    if (outcome.failed || outcome.exitStatus)
    {
        return outcome.failed ? 1 : *outcome.exitStatus;
    }
    if (invocation.interactive || (onlyOptions && terminal))
    {
        return runPrompt(session);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Invocation invocation;
    try
    {
        invocation = parseCommandLine(argc, argv);
    }
    catch (const UsageError& error)
    {
        const std::string message = "velmarlua: " + printable(error.what()) + "\n" + usageText();
        std::fputs(message.c_str(), stderr);
        return 1;
    }
    if (invocation.showHelp)
    {
        std::fputs(usageText().c_str(), stdout);
        return 0;
    }
    installConsole();
    const int status = runInvocation(invocation, argc, argv);
    zq_lua_flush_output();
    closeConsole();
    std::fflush(stdout);
    return status;
}
