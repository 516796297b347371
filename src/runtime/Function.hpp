// Callables: script closures over a function node and an environment, and native functions.
#pragma once

#include "runtime/Environment.hpp"
#include "runtime/MultiValue.hpp"

#include <functional>
#include <memory>
#include <string>

namespace velmar::lua
{

class LuaVM;
struct FunctionExpr;

// Every library function and every bound host function has this shape.
using NativeCallable = std::function<MultiValue(LuaVM&, ValueSpan, unsigned)>;

class LuaFunctionHandle : public Collectable
{
public:
    LuaFunctionHandle() noexcept : Collectable(RefKind::Function) { joinCurrentHeap(); }
    enum class Kind : std::uint8_t
    {
        Script,
        Native,
    };

    static void destroy(LuaFunctionHandle* handle) noexcept { destroyRefObject(RefKind::Function, handle); }

    Kind kind = Kind::Script;
    // The serial of the interpreter a script function was made by: its global references are slots of
    // that interpreter's table, so no other one may run it (a host can hand it anywhere). 0: native.
    std::uint64_t interpreter = 0;
    std::string name;
    NativeCallable native;
    std::shared_ptr<FunctionExpr> function;
    Ref<Environment> closure;
};

inline Ref<LuaFunctionHandle> makeNativeFunction(std::string name, NativeCallable native)
{
    Ref<LuaFunctionHandle> handle = makeRef<LuaFunctionHandle>();
    handle->kind = LuaFunctionHandle::Kind::Native;
    handle->name = std::move(name);
    handle->native = std::move(native);
    return handle;
}

} // namespace velmar::lua
