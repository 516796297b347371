// One interpreter for a whole command line: the -e chunks, the script and the prompt share its globals.
#pragma once

#include "Options.hpp"

#include <velmar/lua/LuaVM.hpp>

#include <functional>
#include <optional>
#include <string>

namespace velmar::cli
{

// The outcome of one run as the command line sees it.
struct RunOutcome
{
    bool failed = false;            // reported on standard error already
    std::optional<int> exitStatus;  // set when the run called os.exit with a code of 0 or more
    velmar::lua::LuaResult result;  // what the run returned
};

// The interpreter shared by everything one command line runs, with the command line's own additions.
class Session
{
public:
    // Applies the limits, and binds arg (after the command line, as usual) and dofile.
    Session(const Invocation& invocation, int argc, const char* const* argv);

    // Runs `body` with Ctrl-C aimed at this interpreter, reports a failure on standard error, and notes
    // an os.exit, also one made inside dofile.
    RunOutcome run(const std::function<velmar::lua::LuaResult()>& body);

    // Runs a script file as the command line loads it: "cannot open NAME (reason)" when it cannot.
    RunOutcome runFile(const std::string& path);

    velmar::lua::LuaVM& vm() { return vm_; }

private:
    velmar::lua::LuaVM vm_;
};

// Writes a message to standard error after the pending console output, escaped by printable.
void reportError(const std::string& message);

} // namespace velmar::cli
