// LuaError: the base of every error VelmarLua throws, and the error a host function throws to fail
// the script that called it.
#pragma once

#include "velmar/lua/Export.hpp"

#include <exception>
#include <string>

namespace velmar::lua
{

// Thrown by a host function (bindFunction, an object's method), a LuaError becomes an ordinary script
// error at the line of the call: pcall catches it (its message is "NAME: message", NAME being the
// bound name), and outside pcall the run fails with "chunk:line: NAME: message".
//
//     vm.bindFunction("half", [](LuaVM&, const std::vector<LuaValue>& args) {
//         if (args.empty()) throw LuaError("expected a number");
//         return LuaValue(args[0].asFloat() / 2);
//     });
//
// The library's own errors derive from it too (the LuaValue accessors' "value is not numeric", the
// syntax error that compileScript throws), so a host can catch the whole family as LuaError. Any
// other exception a host function throws is not a script error: it leaves the run (pcall does not
// stop it) and reaches the caller of runScriptString or call unchanged; the interpreter stays usable.
class VELMAR_LUA_API LuaError : public std::exception
{
public:
    explicit LuaError(std::string message) : message_(std::move(message)) {}
    ~LuaError() override;
    const char* what() const noexcept override { return message_.c_str(); }
    // The same bytes as what(), embedded zero bytes included.
    const std::string& message() const noexcept { return message_; }

private:
    std::string message_;
};

} // namespace velmar::lua
