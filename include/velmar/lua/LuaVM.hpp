// LuaVM: create an interpreter, bind host functions, exchange globals and run scripts.
#pragma once

#include "velmar/lua/Export.hpp"
#include "velmar/lua/LuaValue.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmar::lua
{

// The outcome of every run. On success `value` holds what the chunk returned (several values
// arrive as one Array, or a Map when one is nil); on failure `error` reads "chunk:line: message"
// for script errors and "chunk:line:column: message" for syntax errors. After os.exit(n) with
// n >= 0, `hasExitCode` is set and `exitCode` is n.
struct LuaResult
{
    bool success = false;
    LuaValue value;
    std::string error;
    bool hasExitCode = false;
    std::int32_t exitCode = 0;
};

// A checked script in the container format ("VLBC", version 1, chunk name, source): the bytes of
// a container file.
struct LuaBytecode
{
    std::vector<std::uint8_t> bytes;
};

class LuaVM;

// A host function callable from scripts. It receives the arguments and returns exactly one value.
// Throwing an error of the library's family (for instance from LuaValue accessors) fails the
// script with "name: message" at the call's line.
using NativeFunction = std::function<LuaValue(LuaVM&, const std::vector<LuaValue>&)>;

// One interpreter. Use it from one thread at a time; interpreters must not run concurrently.
// Every run returns a LuaResult: script, syntax and file errors never escape as exceptions.
class VELMAR_LUA_API LuaVM
{
public:
    LuaVM();
    ~LuaVM();
    LuaVM(LuaVM&& other) noexcept;
    LuaVM& operator=(LuaVM&& other) noexcept;
    LuaVM(const LuaVM&) = delete;
    LuaVM& operator=(const LuaVM&) = delete;

    // Makes `fn` callable as the global `name`; binding a name again replaces it.
    void bindFunction(const std::string& name, NativeFunction fn);
    // Throws an error of the library's family ("stack overflow") when `value` is nested too deeply for
    // the calling thread's stack or contains itself; the global is then unchanged.
    void setGlobal(const std::string& name, const LuaValue& value);
    // False (and `out` untouched) when the global is nil or cannot be expressed as a LuaValue (a table
    // nested too deeply for the calling thread's stack included).
    bool getGlobal(const std::string& name, LuaValue& out) const;

    // Checks the source and packs it into a container; a syntax error is thrown.
    LuaBytecode compileScript(const std::string& source, const std::string& chunkName);
    // Writes the container of `source` to `path`; false with the message in `*error` on failure.
    bool writeBytecodeFile(const std::string& source, const std::string& path, const std::string& chunkName,
                           std::string* error);

    LuaResult runScriptString(const std::string& source, const std::string& chunkName);
    // Runs a source file; the path is the chunk name.
    LuaResult runScriptFile(const std::string& path);
    LuaResult runBytecode(const LuaBytecode& bytecode);
    LuaResult runBytecodeFile(const std::string& path);
    LuaResult runScriptFromBytecodeFile(const std::string& path);

    static std::string valueToString(const LuaValue& value);

    // Bounds every later run: one that executes more than `steps` statements, calls and loop
    // iterations fails with "step limit exceeded" at the current line. 0 (the default) means no limit.
    // pcall cannot catch it, and the interpreter stays usable.
    // Work that grows with string sizes spends further steps, counted per operation and rounded down,
    // so that no single step does unbounded work:
    //  - concatenation, string.rep, string.sub, string.format and table.concat: one step per full
    //    1,024 bytes of the string they produce (string.rep before it allocates);
    //  - string.find, match, gmatch and gsub: one step per full 1,024 units of matching work in the
    //    call, a unit being one byte of the pattern, one byte of the subject tested or skipped, one
    //    position where the rest of the pattern is tried, or one byte of gsub's result;
    //  - table.sort without a comparator over numbers mixed with other values (an insertion sort):
    //    one step per 1,024 comparisons that move an element.
    // An ordinary call on short strings spends no extra step; a long search stops at its call's line.
    void setStepLimit(std::uint64_t steps);
    // Bounds the memory held by the values this VM creates (strings, tables, functions, the scopes
    // that closures keep): a run that would need more fails with "not enough memory", as it does when
    // the system itself runs out. 0 (the default) means no limit. pcall cannot catch it; once the run
    // is over its temporaries are freed and the VM stays usable. Values stored by the host itself
    // (setGlobal, bindFunction) count too, but are never refused.
    void setMemoryLimit(std::size_t bytes);
    // Bytes currently held by this VM's values, as the memory limit counts them.
    std::size_t memoryInUse() const noexcept;
    // Callable from any thread while a run is in progress: the run fails with "interrupted" at its
    // next statement, call or loop iteration, or within a long pattern search (pcall cannot catch it).
    // Each run starts uninterrupted.
    void interrupt() noexcept;

    class Impl;

private:
    friend class Impl;
    std::unique_ptr<Impl> impl_;
};

VELMAR_LUA_API LuaResult runLuaScriptString(LuaVM& vm, const std::string& source, const std::string& chunkName);
VELMAR_LUA_API LuaResult runLuaScriptFile(LuaVM& vm, const std::string& path);
VELMAR_LUA_API LuaResult runLuaBytecode(LuaVM& vm, const LuaBytecode& bytecode);
VELMAR_LUA_API LuaResult runLuaBytecodeFile(LuaVM& vm, const std::string& path);
VELMAR_LUA_API LuaResult runLuaScriptFromBytecodeFile(LuaVM& vm, const std::string& path);
VELMAR_LUA_API void bindCppFunctionToLuaVM(LuaVM& vm, const std::string& name, NativeFunction fn);

// Writes text to the console that print and io.write use (complete lines reach the host).
VELMAR_LUA_API void writeVelmarBootText(const std::string& text);
VELMAR_LUA_API void writeVelmarBootText(const char* text);

} // namespace velmar::lua
