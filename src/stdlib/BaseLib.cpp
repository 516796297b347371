// The base functions: print, tostring, tonumber, type, assert, error, pcall, pairs, ipairs.
#include "api/PublicText.hpp"
#include "runtime/Iterator.hpp"
#include "runtime/Operators.hpp"
#include "runtime/WorkMeter.hpp"
#include "stdlib/Library.hpp"
#include "support/NumberText.hpp"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

MultiValue luaToString(LuaVM&, ValueSpan args, unsigned)
{
    Impl::requireArgumentCount("tostring", args.size(), 1, 1);
    if (args[0].isString())
    {
        return MultiValue(args[0]); // its own text: shared, not copied
    }
    return MultiValue(Value(args[0].toString()));
}

// The text of an error value, with the copy charged to the run before it is made.
std::string messageText(LuaVM& vm, const Value& value, unsigned line)
{
    if (value.isString())
    {
        Impl::of(vm).spendStepsForBytes(value.string()->size(), line);
    }
    return value.toString();
}

// A C scan's result when it reads all of a terminated text.
template <typename Number, typename Scan>
std::optional<Number> readWhole(std::string_view text, Scan scan)
{
    errno = 0;
    char* end = nullptr;
    const Number number = scan(text.data(), &end);
    if (errno != 0 || end != text.data() + text.size())
    {
        return std::nullopt;
    }
    return number;
}

// Integer scan in the given base, then (base 10 only) the double scan; "" reads as 0. A text longer than
// a scan block is first shortened in an interruptible pass, since the C scans cannot be stopped midway;
// a short one is scanned in place (strings keep a terminator).
MultiValue luaToNumber(LuaVM& vm, ValueSpan args, unsigned line)
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
    const std::string_view text(value.string()->data(), value.string()->size());
    // Both scans read the whole text at worst, a byte at a time; charged before.
    WorkMeter(Impl::of(vm), line).scanned(2 * text.size());
    const bool isLong = text.size() > zq::kCheckpointBytes;
    const zq::ScanCheckpoint checkpoint = [&vm, line] { Impl::of(vm).spendSteps(0, line); };

    if (base >= 0)
    {
        const std::optional<std::string> shortened = isLong ? zq::shortIntegerText(text, base, checkpoint) : std::nullopt;
        const auto integer = !isLong || shortened ? readWhole<long long>(isLong ? *shortened : text,
                                                                         [base](const char* from, char** end)
                                                                         { return std::strtoll(from, end, base); })
                                                  : std::nullopt;
        if (integer)
        {
            return MultiValue(Value(*integer));
        }
    }
    if (base != 10)
    {
        return MultiValue(Value());
    }
    const std::optional<std::string> shortened = isLong ? zq::shortFloatText(text, checkpoint) : std::nullopt;
    const auto number = !isLong || shortened ? readWhole<double>(isLong ? *shortened : text, std::strtod) : std::nullopt;
    return MultiValue(number ? numericResult(*number) : Value());
}

MultiValue luaType(LuaVM&, ValueSpan args, unsigned)
{
    Impl::requireArgumentCount("type", args.size(), 1, 1);
    return MultiValue(Value(describeValueType(args[0])));
}

MultiValue luaAssert(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("assert", args.size(), 1, kUnbounded);
    if (!args[0].isTruthy())
    {
        failRuntime(line, args.size() == 1 ? std::string("assertion failed!") : messageText(vm, args[1], line));
    }
    WorkMeter(Impl::of(vm), line).elements(args.size()); // every argument is copied into the results
    MultiValue results;
    for (const Value& argument : args)
    {
        results.push(argument);
    }
    return results;
}

MultiValue luaError(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("error", args.size(), 0, 2);
    failRuntime(line, args.empty() ? std::string("error") : messageText(vm, args[0], line)); // the level is ignored
}

MultiValue luaPcall(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("pcall", args.size(), 1, kUnbounded);
    std::string message;
    {
        const ProtectedCallScope scope; // os.exit, escaping breaks and aborted runs pass through it
        try
        {
            MultiValue results = Impl::of(vm).callValue(args[0], ValueSpan{args.data + 1, args.size() - 1}, line);
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
            message = error.message;
        }
        catch (const zq::exception& error)
        {
            message = error.message();
        }
    }
    Impl::of(vm).spendStepsForBytes(message.size(), line); // the message becomes a value
    return MultiValue{Value(false), Value(std::move(message))};
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

MultiValue luaIPairs(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("ipairs", args.size(), 1, 1);
    if (!args[0].isTable())
    {
        failRuntime(line, "ipairs expects a table");
    }
    Ref<IteratorState> state = makeRef<IteratorState>();
    state->kind = IteratorState::Kind::IPairs;
    state->table = Ref<Table>(args[0].table());
    WorkMeter meter(Impl::of(vm), line);
    state->length = tableSequenceLength(state->table.get(), &meter);
    return MultiValue(Value(std::move(state)));
}

// Writes print's text to the console a piece at a time, charging each piece as it goes.
class ConsoleSink final : public TextSink
{
public:
    explicit ConsoleSink(WorkMeter& work) noexcept : work_(work) {}
    void take(std::string& text) override
    {
        work_.scanned(text.size()); // the console looks at every byte
        writeVelmarBootText(text);
        text.clear();
    }

private:
    WorkMeter& work_;
};

// print shows public values (arrays, maps, [function f]), exactly as a host function given its
// arguments would: all of them are converted before anything is written. The text of a huge value
// reaches the console in pieces instead of being built whole.
MultiValue luaPrint(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl& impl = Impl::of(vm);
    WorkMeter work(impl, line);
    BridgeMeter meter(work);
    const std::vector<LuaValue> values = publicArguments(impl, args, meter);
    ConsoleSink sink(work);
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i)
    {
        if (i != 0)
        {
            text += '\t';
        }
        asScriptErrors(line, "print: ", [&] { appendPublicText(text, values[i], &sink); }); // named as the host bridge names it
    }
    text += '\n';
    sink.take(text);
    return MultiValue(Value());
}

} // namespace

void bindBaseLibrary(LuaVM::Impl& vm)
{
    vm.setGlobalValue("_VERSION", Value("VelmarLua 0.2"));
    vm.bindNativeGlobal("print", luaPrint);
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
