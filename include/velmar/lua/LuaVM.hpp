// LuaVM: create an interpreter, bind host functions, exchange globals and run scripts.
#pragma once

#include "velmar/lua/Export.hpp"
#include "velmar/lua/HostInterface.hpp" // the console (writeVelmarBootText) and the host table
#include "velmar/lua/LuaError.hpp"
#include "velmar/lua/LuaValue.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace velmar::lua
{

// The outcome of every run and call. On success `value` holds what the chunk returned, packed: one
// value as itself, several as one Array (or a Map keyed "1", "2", ... when one of them is nil), none
// as nil; `values` holds every returned value separately, in order, nils included. On failure `error` reads
// "chunk:line: message" for script errors and "chunk:line:column: message" for syntax errors. After
// os.exit(n) the run succeeds with `value` n; with n >= 0, `hasExitCode` is set and `exitCode` is n.
struct LuaResult
{
    bool success = false;
    LuaValue value;
    std::string error;
    bool hasExitCode = false;
    std::int32_t exitCode = 0;
    std::vector<LuaValue> values;
};

// A checked script in the container format ("VLBC", version 1, chunk name, source): the bytes of
// a container file.
struct LuaBytecode
{
    std::vector<std::uint8_t> bytes;
};


// One interpreter. Use it from one thread at a time (interrupt() excepted); separate interpreters may
// run on separate threads at the same time, sharing nothing but the host table and the files they
// open (console output is gathered into lines per thread). Every run returns a LuaResult: script,
// syntax and file errors never escape as exceptions. A moved-from LuaVM stays safe to use: its runs
// fail with "this interpreter was moved from", its setters do nothing and it holds no memory.
// The function and object values an interpreter hands out belong to the thread that uses it: copy and
// drop them there (they may outlive the interpreter itself).
class VELMAR_LUA_API LuaVM
{
public:
    LuaVM();
    ~LuaVM();
    LuaVM(LuaVM&& other) noexcept;
    LuaVM& operator=(LuaVM&& other) noexcept;
    LuaVM(const LuaVM&) = delete;
    LuaVM& operator=(const LuaVM&) = delete;

    // Makes `fn` callable as the global `name`; binding a name again replaces it. The function receives
    // copies of the arguments (tables converted as LuaValue describes) and returns one value
    // (NativeFunction) or several (LuaMultiFunction); any callable of either shape will do. Throwing a
    // LuaError (or any error of the library's family, such as a failed accessor) fails the calling
    // script with "name: message" at the call's line, which pcall catches. Any other exception is the
    // host's own: it leaves the run unchanged, pcall does not stop it, and the interpreter stays
    // usable. A host function may run scripts and call functions of this same interpreter.
    void bindFunction(const std::string& name, NativeFunction fn);
    void bindFunction(const std::string& name, LuaMultiFunction fn);
    template <typename F, typename = std::enable_if_t<!std::is_same_v<std::decay_t<F>, NativeFunction> &&
                                                      !std::is_same_v<std::decay_t<F>, LuaMultiFunction> &&
                                                      std::is_invocable_v<F&, LuaVM&, const std::vector<LuaValue>&>>>
    void bindFunction(const std::string& name, F&& fn)
    {
        // A lambda returning a vector would convert to both function types; its result type decides.
        LuaMethod method(std::forward<F>(fn));
        if (method.multi)
        {
            bindFunction(name, std::move(method.multi));
        }
        else
        {
            bindFunction(name, std::move(method.single));
        }
    }
    // Throws an error of the library's family ("stack overflow") when `value` is nested too deeply for
    // the calling thread's stack or contains itself; the global is then unchanged.
    void setGlobal(const std::string& name, const LuaValue& value);
    // False (and `out` untouched) when the global is nil or cannot be expressed as a LuaValue (a table
    // nested too deeply for the calling thread's stack included).
    bool getGlobal(const std::string& name, LuaValue& out) const;

    // Checks the source and packs it into a container. A syntax error is thrown as a LuaError whose
    // message reads "chunk:line:column: message"; nothing is run.
    LuaBytecode compileScript(const std::string& source, const std::string& chunkName);
    // Writes the container of `source` to `path`; false with the message in `*error` on failure.
    bool writeBytecodeFile(const std::string& source, const std::string& path, const std::string& chunkName,
                           std::string* error);

    // Runs source text; `chunkName` names it in error messages ("chunk:line: message").
    LuaResult runScriptString(const std::string& source, const std::string& chunkName);
    // Runs a source file; the path is the chunk name ("unable to open script file: PATH" if unreadable).
    LuaResult runScriptFile(const std::string& path);
    // Runs a container made by compileScript; its chunk name names errors.
    LuaResult runBytecode(const LuaBytecode& bytecode);
    // Runs a container file written by writeBytecodeFile (or `velmarlua -c`).
    LuaResult runBytecodeFile(const std::string& path);
    // The same as runBytecodeFile, kept for hosts that use this name.
    LuaResult runScriptFromBytecodeFile(const std::string& path);

    // Calls the function held by the global `globalName`, or the function `function` (one a script
    // defined and handed over, or any host or library function), with `args`, and returns every value
    // it returns. The same rules as a run apply: the step and memory limits, interrupt(), "stack
    // overflow", os.exit as an exit code, and errors as a failed result. An error inside a script
    // function reads "chunk:line: message" with the chunk that defined the function; a value that is
    // not a function fails as a script's call would ("attempt to call a nil value", "attempt to call
    // an empty function"), without a position. A function value stays callable as long as the host
    // holds it, whatever the scripts did with it since; one whose interpreter was destroyed fails with
    // "the interpreter of this function no longer exists", and a script function runs only in the
    // interpreter that made it ("attempt to call a function of another interpreter").
    LuaResult call(const std::string& globalName, const std::vector<LuaValue>& args = {});
    LuaResult call(std::string_view globalName, const std::vector<LuaValue>& args = {})
    {
        return call(std::string(globalName), args);
    }
    LuaResult call(const char* globalName, const std::vector<LuaValue>& args = {})
    {
        return call(std::string(globalName ? globalName : ""), args);
    }
    LuaResult call(const LuaValue& function, const std::vector<LuaValue>& args = {});

    // The same as value.toString().
    static std::string valueToString(const LuaValue& value);

    // Bounds every later run: one that executes more than `steps` statements, calls and loop
    // iterations fails with "step limit exceeded" at the current line. 0 (the default) means no limit.
    // pcall cannot catch it, and the interpreter stays usable.
    // Work that grows with the data spends further steps, so that no step buys more than a fraction of a
    // microsecond of CPU time. It is counted in units, 1,024 units to a step, per operation; what is left
    // below a full step when the operation ends is not charged:
    //  - 1 unit per byte copied, compared or searched in bulk: the strings that concatenation and the
    //    string and table functions produce (string.rep before it allocates), the comparison of two
    //    long strings, the text of an error caught by pcall, bytes read from and written to files (and
    //    4 units per byte that a file's buffer grows by), the whole file that io.open reads and
    //    file:close writes back;
    //  - 8 units per byte or slot examined one at a time: console output (print, io.write, stream
    //    writes), the text tonumber parses, format strings, the nil slots that a pairs loop passes over;
    //  - 64 units per element: a table value moved, copied out or visited (table.remove, table.concat,
    //    table.sort, a length that continues into the hashed keys, four each), a comparison of
    //    table.sort's own order (four for two strings, plus the bytes they share), a field read by
    //    string.unpack; a value converted for print or a host function counts four, a match kept by
    //    string.gmatch six, a replacement made by string.gsub two; an item of a list written in the
    //    source (the arguments of a call, the items of a table constructor, returned or assigned values,
    //    assignment targets) and a slot of the frame a called function starts with;
    //  - the pattern functions: 16 units per byte tested against the pattern and per position where
    //    the rest of it is tried, one per byte skipped by a plain byte search or produced by gsub.
    // So an ordinary call on short strings and small tables spends no extra step, and a long operation
    // is stopped in its middle, at its call's line.
    void setStepLimit(std::uint64_t steps);
    // Bounds the memory held by the values this VM creates (strings, tables, functions, the scopes
    // that closures keep), by the syntax tree of the chunk being run (counted as it is built, so a
    // chunk too large for the limit fails while it compiles; a function's tree that outlives the run
    // that made it is no longer counted), by the files its scripts hold open (a file open for writing is buffered
    // whole; one open for reading is read whole), by the text that table.concat, string.format,
    // string.gsub and file reads build, and by the public copies of the values that print and host
    // functions receive while they run: a run that would need more fails with "not enough memory", as
    // it does when the system itself runs out. 0 (the default) means no limit. pcall cannot catch it;
    // once the run is over its temporaries are freed and the VM stays usable. Values stored by the host
    // itself (setGlobal, bindFunction) count too, but are never refused.
    void setMemoryLimit(std::size_t bytes);
    // Bytes currently held by this VM's values, as the memory limit counts them.
    std::size_t memoryInUse() const noexcept;
    // Callable from any thread (or a signal handler) while a run is in progress: the run fails with
    // "interrupted" within the next 1,024 statements, calls or loop iterations (a host function that
    // interrupts its own interpreter stops it at the next one), or, inside a long library operation, at
    // its next step's worth of work, so an interrupted operation never completes (pcall cannot catch
    // it). Each run starts uninterrupted.
    void interrupt() noexcept;

    class Impl;

private:
    friend class Impl;
    std::unique_ptr<Impl> impl_;
};

// Free forms of the members of the same meaning (vm.runScriptString, ...), kept for existing hosts;
// prefer the members.
VELMAR_LUA_API LuaResult runLuaScriptString(LuaVM& vm, const std::string& source, const std::string& chunkName);
VELMAR_LUA_API LuaResult runLuaScriptFile(LuaVM& vm, const std::string& path);
VELMAR_LUA_API LuaResult runLuaBytecode(LuaVM& vm, const LuaBytecode& bytecode);
VELMAR_LUA_API LuaResult runLuaBytecodeFile(LuaVM& vm, const std::string& path);
VELMAR_LUA_API LuaResult runLuaScriptFromBytecodeFile(LuaVM& vm, const std::string& path);
VELMAR_LUA_API void bindCppFunctionToLuaVM(LuaVM& vm, const std::string& name, NativeFunction fn);

} // namespace velmar::lua
