// Script errors and the signals that end a run or a loop from afar.
#pragma once

#include "runtime/MultiValue.hpp"
#include "support/Errors.hpp"
#include "support/Platform.hpp"

#include <cstdint>
#include <string>

namespace velmar::lua
{

// A script error outside any protected call; the facade prefixes "chunk:line: ".
class RuntimeError : public zq::runtime_error
{
public:
    RuntimeError(std::string message, std::uint32_t line, bool hasLine)
        : zq::runtime_error(std::move(message)), line(line), hasLine(hasLine)
    {
    }
    std::uint32_t line;
    bool hasLine;
};

// A script error raised while a pcall is active: cheaper, and outside the library's error family.
struct ProtectedRuntimeError
{
    std::string message;
    std::uint32_t line = 0;
    bool hasLine = false;
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

// Carries a return's values (the evaluator returns them as an outcome; kept for hosts of the type).
struct ReturnSignal
{
    MultiValue values;
};

// Number of protected calls in progress on this thread (interpreters on other threads have their own).
extern constinit ZQ_THREAD_LOCAL std::int32_t gLuaProtectedDepth;

// The one way to raise a script error: RuntimeError, or ProtectedRuntimeError inside a pcall.
[[noreturn]] void failRuntime(std::uint32_t line, std::string message);

} // namespace velmar::lua
