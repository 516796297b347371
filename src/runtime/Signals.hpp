// Script errors and the signals that end a run or a loop from afar.
#pragma once

#include "support/Errors.hpp"
#include "support/Platform.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace velmar::lua
{

// A script error outside any protected call; the facade prefixes "chunk:line: ".
class RuntimeError : public zq::runtime_error
{
public:
    RuntimeError(std::string message, std::uint32_t line) : zq::runtime_error(std::move(message)), line(line) {}
    std::uint32_t line;
};

// A script error raised while a pcall is active: cheaper, and outside the library's error family.
struct ProtectedRuntimeError
{
    std::string message;
    std::uint32_t line = 0;
};

// os.exit: ends the run wherever it is; pcall does not catch it.
struct ExitSignal
{
    std::int32_t code = 0;
};

// Ends a run from outside the script's control (step limit, interrupt): outside the library's error
// family, so pcall lets it through; the facade reports it like a script error.
struct RunAborted
{
    std::string message;
    std::uint32_t line = 0;
};

// A break that left the function whose body it ended; the caller's innermost loop ends too.
struct BreakSignal
{
};

// Number of protected calls in progress on this thread (interpreters on other threads have their own).
extern constinit ZQ_THREAD_LOCAL std::int32_t gLuaProtectedDepth;

// The one way to raise a script error: RuntimeError, or ProtectedRuntimeError inside a pcall.
[[noreturn]] void failRuntime(std::uint32_t line, std::string message);
// The same for a fixed message. The string is made out of line, so the checks that can fail this way
// (inlined into every call and operator) leave no string object in their callers' machine frames.
[[noreturn]] [[gnu::cold]] void failRuntime(std::uint32_t line, const char* message);

// Counts one protected call for as long as it runs, however it ends (a script error, os.exit, a break
// escaping its function, an aborted run or a host's own exception).
class ProtectedCallScope
{
public:
    ProtectedCallScope() noexcept : saved_(gLuaProtectedDepth) { ++gLuaProtectedDepth; }
    ~ProtectedCallScope() { gLuaProtectedDepth = saved_; }
    ProtectedCallScope(const ProtectedCallScope&) = delete;
    ProtectedCallScope& operator=(const ProtectedCallScope&) = delete;

private:
    std::int32_t saved_;
};

// The script error that a library error becomes at a call boundary: `prefix` and its message, at
// `line`. Out of line, so that the message's strings take no room in the frames of the calls.
[[noreturn]] [[gnu::cold]] void raiseAtCall(std::uint32_t line, std::string_view prefix, const LuaError& error);

// Runs a library or host call at a call boundary: an error of the library's family (a host's LuaError
// included) that is not already a script error becomes one at the call's line, its message after
// `prefix` (a host function's name).
template <typename Call>
[[gnu::always_inline]] inline decltype(auto) asScriptErrors(std::uint32_t line, std::string_view prefix, Call&& call)
{
    try
    {
        return call();
    }
    catch (const RuntimeError&)
    {
        throw;
    }
    catch (const LuaError& error)
    {
        raiseAtCall(line, prefix, error);
    }
}

// "chunk:line: message": the one form a script error takes when it leaves a run.
inline std::string positionedMessage(std::string_view chunk, std::uint32_t line, std::string_view message)
{
    std::string text(chunk);
    text += ':';
    text += std::to_string(line);
    text += ": ";
    text += message;
    return text;
}

} // namespace velmar::lua
