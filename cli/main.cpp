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

// -c: checks the source and writes its container, under the source's path as chunk name. The '#' line
// goes now, as it would before a run, so the container holds what would run.
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
    LuaVM vm; // only to check the source: nothing runs, so no limits or console are needed
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
    // -v alone prints the version and runs nothing; with -e or a script it prints before them.
    if (invocation.showVersion)
    {
        std::fputs("VelmarLua 0.2\n", stdout);
    }
    // Before the session: -c needs neither arg, dofile nor limits.
    if (!invocation.compile.empty())
    {
        return compileFile(invocation.compile[0], invocation.compile[1]);
    }
    Session session(invocation, argc, argv);
    // A failure or os.exit in any -e chunk ends the program before the script.
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
    RunOutcome outcome; // stays a success when there is no script
    // Standard input runs as one chunk when named "-", or when nothing else was asked and it is not a
    // terminal (a pipe or a file: velmarlua < script.lua).
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
    // -i, or nothing to run at all at a terminal: the prompt.
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
        // The message may quote the user's argument, so it is made printable first.
        const std::string message = "velmarlua: " + printable(error.what()) + "\n" + usageText();
        std::fputs(message.c_str(), stderr);
        return 1;
    }
    if (invocation.showHelp)
    {
        std::fputs(usageText().c_str(), stdout);
        return 0;
    }
    // Help and usage errors are done before the console and Ctrl-C handling are installed.
    installConsole();
    const int status = runInvocation(invocation, argc, argv);
    zq_lua_flush_output(); // a last line without its line feed is still written
    closeConsole();
    std::fflush(stdout);
    return status;
}
