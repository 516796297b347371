// The base functions: print, tostring, tonumber, type, assert, error, pcall, pairs, ipairs.
#include "runtime/Iterator.hpp"
#include "stdlib/Library.hpp"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

MultiValue luaToString(LuaVM&, ValueSpan args, unsigned)
{
    Impl::requireArgumentCount("tostring", args.size(), 1, 1);
    return MultiValue(Value(args[0].toString()));
}

// Integer scan in the given base, then (base 10 only) the double scan; "" reads as 0.
MultiValue luaToNumber(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("tonumber", args.size(), 1, 2);
    const Value& value = args[0];
    if (value.isNumber())
    {
        return MultiValue(value); // a base argument is then ignored, not checked
    }
    if (!value.isString())
    {
        return MultiValue(Value());
    }
    const std::int64_t requestedBase = args.size() > 1 ? Impl::requireInteger("tonumber", args, 1, line) : 10;
    const int base = requestedBase < 0 || requestedBase > 36 ? -1 : static_cast<int>(requestedBase);
    const char* text = value.string()->data();
    const char* textEnd = text + value.string()->size();
    if (base >= 0)
    {
        errno = 0;
        char* end = const_cast<char*>(text);
        const long long integer = std::strtoll(text, &end, base);
        if (errno == 0 && end == textEnd)
        {
            return MultiValue(Value(integer));
        }
    }
    errno = 0;
    char* end = const_cast<char*>(text);
    const double number = std::strtod(text, &end);
    if (base == 10 && errno == 0 && end == textEnd)
    {
        return MultiValue(numericResult(number));
    }
    return MultiValue(Value());
}

MultiValue luaType(LuaVM&, ValueSpan args, unsigned)
{
    Impl::requireArgumentCount("type", args.size(), 1, 1);
    return MultiValue(Value(describeValueType(args[0])));
}

MultiValue luaAssert(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("assert", args.size(), 1, kUnbounded);
    if (!args[0].isTruthy())
    {
        failRuntime(line, args.size() == 1 ? std::string("assertion failed!") : args[1].toString());
    }
    MultiValue results;
    for (const Value& argument : args)
    {
        results.push(argument);
    }
    return results;
}

MultiValue luaError(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("error", args.size(), 0, 2);
    failRuntime(line, args.empty() ? std::string("error") : args[0].toString()); // the level is ignored
}

MultiValue luaPcall(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("pcall", args.size(), 1, kUnbounded);
    const std::int32_t depth = gLuaProtectedDepth;
    ++gLuaProtectedDepth;
    MultiValue failure;
    try
    {
        MultiValue results = Impl::of(vm).callValue(args[0], ValueSpan{args.data + 1, args.size() - 1}, line);
        gLuaProtectedDepth = depth;
        MultiValue out;
        out.push(Value(true));
        for (Value& result : results)
        {
            out.push(std::move(result));
        }
        return out;
    }
    catch (const ProtectedRuntimeError& error)
    {
        failure = MultiValue{Value(false), Value(error.message)};
    }
    catch (const zq::exception& error)
    {
        failure = MultiValue{Value(false), Value(error.message())};
    }
    catch (...)
    {
        gLuaProtectedDepth = depth; // os.exit and escaping breaks pass through untouched
        throw;
    }
    gLuaProtectedDepth = depth;
    return failure;
}

MultiValue luaPairs(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("pairs", args.size(), 1, 1);
    if (!args[0].isTable())
    {
        failRuntime(line, "pairs expects a table");
    }
    Ref<IteratorState> state = makeRef<IteratorState>();
    state->kind = IteratorState::Kind::Pairs;
    state->table = Ref<Table>(args[0].table());
    state->hashEnd = state->table->hash.size();
    return MultiValue(Value(std::move(state)));
}

MultiValue luaIPairs(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("ipairs", args.size(), 1, 1);
    if (!args[0].isTable())
    {
        failRuntime(line, "ipairs expects a table");
    }
    Ref<IteratorState> state = makeRef<IteratorState>();
    state->kind = IteratorState::Kind::IPairs;
    state->table = Ref<Table>(args[0].table());
    state->length = tableSequenceLength(state->table.get());
    return MultiValue(Value(std::move(state)));
}

// print goes through the host-function bridge, so it formats public values (arrays, maps, [function f]).
LuaValue luaPrint(LuaVM&, const std::vector<LuaValue>& args)
{
    for (std::size_t i = 0; i < args.size(); ++i)
    {
        if (i != 0)
        {
            writeVelmarBootText("\t");
        }
        writeVelmarBootText(args[i].toString());
    }
    writeVelmarBootText("\n");
    return LuaValue();
}

} // namespace

void bindBaseLibrary(LuaVM::Impl& vm)
{
    vm.setGlobalValue("_VERSION", Value("VelmarLua 0.2"));
    vm.bindFunction("print", luaPrint);
    vm.bindNativeGlobal("tostring", luaToString);
    vm.bindNativeGlobal("tonumber", luaToNumber);
    vm.bindNativeGlobal("type", luaType);
    vm.bindNativeGlobal("assert", luaAssert);
    vm.bindNativeGlobal("error", luaError);
    vm.bindNativeGlobal("pcall", luaPcall);
    vm.bindNativeGlobal("pairs", luaPairs);
    vm.bindNativeGlobal("ipairs", luaIPairs);
}

} // namespace velmar::lua
