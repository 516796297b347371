// Embedding beyond runs: host errors, calls into scripts, stored callbacks, several results, host objects.
#include "Outcome.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace
{

using velmar::lua::LuaError;
using velmar::lua::LuaMethods;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;
using Args = std::vector<LuaValue>;

// "ok: v1 v2 ..." or "error: message", so one string states a whole result.
const auto outcome = testapi::outcomes;

LuaValue half(LuaVM&, const Args& args)
{
    if (args.empty() || args[0].type() != LuaValue::Type::Integer)
    {
        throw LuaError("expected an integer");
    }
    return LuaValue(args[0].asInteger() / 2);
}

TEST(HostErrors, LuaErrorIsAnOrdinaryScriptError)
{
    struct Case
    {
        const char* script;
        const char* expected;
    };
    const Case cases[] = {
        {"return half(8)", "ok: 4"},
        {"local x = 1\nreturn half('a')", "error: main.lua:2: half: expected an integer"},
        {"return pcall(half)", "ok: false half: expected an integer"},
        {"return pcall(function() return half(1) + half() end)", "ok: false half: expected an integer"},
        // The library's own errors are the same family: a failed accessor reads the same way.
        {"return strict('x')", "error: main.lua:1: strict: value is not numeric"},
    };
    LuaVM vm;
    vm.bindFunction("half", half);
    vm.bindFunction("strict", [](LuaVM&, const Args& args) { return LuaValue(args.at(0).asInteger()); });
    for (const Case& c : cases)
    {
        EXPECT_EQ(outcome(vm.runScriptString(c.script, "main.lua")), c.expected) << c.script;
    }
}

TEST(HostErrors, OtherExceptionsReachTheCallerAndTheVmStaysUsable)
{
    LuaVM vm;
    vm.bindFunction("explode", [](LuaVM&, const Args&) -> LuaValue { throw std::logic_error("host bug"); });
    vm.setStepLimit(1000);
    for (const char* script : {"explode()", "return pcall(explode)", "local t = {} for i = 1, 10 do t[i] = i end explode()"})
    {
        EXPECT_THROW(vm.runScriptString(script, "main.lua"), std::logic_error) << script;
        EXPECT_THROW(vm.call("explode"), std::logic_error);
        // The next run starts with its own budget, outside any pcall.
        EXPECT_EQ(outcome(vm.runScriptString("local n = 0 for i = 1, 100 do n = n + i end return n", "after.lua")),
                  "ok: 5050");
        EXPECT_EQ(outcome(vm.runScriptString("error('plain')", "after.lua")), "error: after.lua:1: plain");
    }
}

TEST(Calls, ByNameAndByValueWithEveryResult)
{
    LuaVM vm;
    vm.bindFunction("twice", [](LuaVM&, const Args& args) { return LuaValue(args.at(0).asInteger() * 2); });
    ASSERT_TRUE(vm.runScriptString("function sums(a, b)\n  return a + b, a * b, nil\nend\n"
                                   "function fail(x)\n  local y = x\n  error('bad ' .. y)\nend\n"
                                   "function nothing() end\n"
                                   "handlers = {tick = function(n) return n + 1 end}",
                                   "setup.lua")
                    .success);
    LuaValue handlers;
    ASSERT_TRUE(vm.getGlobal("handlers", handlers));
    const LuaValue tick = *handlers.asMap().find("tick");

    struct Case
    {
        LuaResult result;
        const char* expected;
    };
    const Case cases[] = {
        {vm.call("sums", {LuaValue(3), LuaValue(4)}), "ok: 7 12 nil"},
        {vm.call(std::string("sums"), {LuaValue(1), LuaValue(1)}), "ok: 2 1 nil"},
        {vm.call(tick, {LuaValue(41)}), "ok: 42"},
        {vm.call("nothing"), "ok: "},
        {vm.call("twice", {LuaValue(21)}), "ok: 42"},
        {vm.call("tostring", {LuaValue(1.5)}), "ok: 1.500000"},
        {vm.call("fail", {LuaValue("news")}), "error: setup.lua:6: bad news"},
        {vm.call("sums", {LuaValue("a"), LuaValue(1)}), "error: setup.lua:2: operator '+' expects numbers"},
        {vm.call("twice", {LuaValue("x")}), "error: twice: value is not numeric"},
        {vm.call("undefined"), "error: attempt to call a nil value"},
        {vm.call("handlers"), "error: attempt to call a table value"},
        {vm.call(LuaValue(5)), "error: attempt to call a number value"},
        {vm.call(LuaValue(std::shared_ptr<velmar::lua::LuaFunctionHandle>())), "error: attempt to call an empty function"},
    };
    for (const Case& c : cases)
    {
        EXPECT_EQ(outcome(c.result), c.expected);
    }
    // `value` keeps the packed form of a run's result; `values` has them apart, nils included.
    const LuaResult several = vm.call("sums", {LuaValue(3), LuaValue(4)});
    EXPECT_EQ(several.value.toString(), "[7, 12]");
    ASSERT_EQ(several.values.size(), 3u);
    EXPECT_TRUE(several.values[2].isNil());
    EXPECT_EQ(vm.runScriptString("return nil, 5", "r.lua").value.toString(), "{2: 5}");
    EXPECT_EQ(outcome(vm.runScriptString("return nil, 5", "r.lua")), "ok: nil 5");
}

TEST(Calls, StoredCallbacksOutliveTheScriptsReferences)
{
    LuaVM vm;
    std::vector<LuaValue> stored;
    vm.bindFunction("on", [&](LuaVM&, const Args& args) {
        stored.push_back(args.at(0));
        return LuaValue();
    });
    ASSERT_TRUE(vm.runScriptString("local count = 0\n"
                                   "on(function(step) count = count + step return count end)\n"
                                   "on(function() return {1, 2} end)",
                                   "handlers.lua")
                    .success);
    // Nothing in the scripts refers to the callbacks any more; churn enough to collect what is unheld.
    ASSERT_TRUE(vm.runScriptString("for i = 1, 200000 do local t = {i} end", "churn.lua").success);
    EXPECT_EQ(outcome(vm.call(stored[0], {LuaValue(2)})), "ok: 2");
    EXPECT_EQ(outcome(vm.call(stored[0], {LuaValue(5)})), "ok: 7");
    EXPECT_EQ(outcome(vm.call(stored[1])), "ok: [1, 2]");
}

TEST(Calls, ACallbackWhoseInterpreterIsGoneFailsCleanly)
{
    LuaValue orphan;
    {
        LuaVM vm;
        orphan = vm.runScriptString("local t = {} return function() t[1] = 1 return 1 end", "old.lua").value;
        LuaVM other;
        EXPECT_EQ(outcome(other.call(orphan)), "error: attempt to call a function of another interpreter");
    }
    LuaVM fresh;
    EXPECT_EQ(outcome(fresh.call(orphan)), "error: the interpreter of this function no longer exists");
    orphan = LuaValue(); // released after its interpreter: touches nothing of it
}

TEST(Calls, ReleasingAHeldFunctionReturnsItsMemory)
{
    LuaVM vm;
    const std::size_t base = vm.memoryInUse();
    LuaValue held = vm.runScriptString("local big = string.rep('x', 100000) return function() return #big end", "m.lua").value;
    EXPECT_GT(vm.memoryInUse(), base + 100000);
    held = LuaValue();
    EXPECT_LT(vm.memoryInUse(), base + 1000);
}

TEST(Calls, LimitsAndExitApplyAsInARun)
{
    LuaVM vm;
    ASSERT_TRUE(vm.runScriptString("function spin() while true do end end\n"
                                   "function deep(n) return deep(n + 1) + 1 end\n"
                                   "function grow() local s = 'x' while true do s = s .. s end end\n"
                                   "function quit(code) os.exit(code) end",
                                   "limits.lua")
                    .success);
    vm.setStepLimit(10000);
    EXPECT_EQ(outcome(vm.call("spin")), "error: limits.lua:1: step limit exceeded");
    vm.setStepLimit(0);
    EXPECT_EQ(outcome(vm.call("deep", {LuaValue(1)})), "error: limits.lua:2: stack overflow");
    vm.setMemoryLimit(1 << 20);
    EXPECT_EQ(outcome(vm.call("grow")), "error: not enough memory");
    vm.setMemoryLimit(0);
    const LuaResult exited = vm.call("quit", {LuaValue(3)});
    EXPECT_TRUE(exited.success && exited.hasExitCode);
    EXPECT_EQ(exited.exitCode, 3);

    std::thread stopper([&vm] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        vm.interrupt();
    });
    EXPECT_EQ(outcome(vm.call("spin")), "error: limits.lua:1: interrupted");
    stopper.join();
    EXPECT_EQ(outcome(vm.call("quit", {LuaValue(0)})), "ok: 0"); // each call starts uninterrupted
}

TEST(Calls, HostFunctionsReenterTheirInterpreter)
{
    LuaVM vm;
    vm.bindFunction("apply", [](LuaVM& self, const Args& args) {
        const LuaResult inner = self.call(args.at(0), {args.at(1)});
        if (!inner.success)
        {
            throw LuaError(inner.error);
        }
        return inner.value;
    });
    vm.bindFunction("eval", [](LuaVM& self, const Args& args) {
        return self.runScriptString(args.at(0).asString(), "inner.lua").value;
    });
    EXPECT_EQ(outcome(vm.runScriptString("local k = 10\n"
                                         "return apply(function(x) return x + k end, 5), eval('return 6 * 7'),\n"
                                         "  pcall(apply, function() error('deep') end, 0)",
                                         "outer.lua")),
              "ok: 15 42 false apply: outer.lua:3: deep");
}

TEST(HostFunctions, SeveralResults)
{
    LuaVM vm;
    vm.bindFunction("lookup", [](LuaVM&, const Args& args) -> std::vector<LuaValue> {
        if (args.at(0).asString() == "known")
        {
            return {LuaValue(1), LuaValue("one")};
        }
        return {LuaValue(), LuaValue("no such key: " + args.at(0).asString())};
    });
    velmar::lua::LuaMultiFunction none = [](LuaVM&, const Args&) { return std::vector<LuaValue>{}; };
    vm.bindFunction("none", none);
    EXPECT_EQ(outcome(vm.runScriptString("local a, b = lookup('known')\n"
                                         "local c, d = lookup('x')\n"
                                         "local e, f = none()\n"
                                         "return a, b, c == nil, d, #{none()}, e == nil and f == nil",
                                         "multi.lua")),
              "ok: 1 one true no such key: x 0 true");
}

TEST(Values, ConstructFromEveryIntegerTypeAndStringView)
{
    EXPECT_EQ(LuaValue(std::size_t{7}).type(), LuaValue::Type::Integer);
    EXPECT_EQ(LuaValue(7u).asInteger(), 7);
    EXPECT_EQ(LuaValue(std::int64_t{-7}).asInteger(), -7);
    EXPECT_EQ(LuaValue(std::uint64_t{1} << 63).type(), LuaValue::Type::Float);
    EXPECT_EQ(LuaValue(std::uint16_t{7}).asInteger(), 7);
    EXPECT_EQ(LuaValue(std::string_view("view")).asString(), "view");
    EXPECT_EQ(LuaValue('A').asInteger(), 65);
}

struct Counter
{
    long long total = 0;
};

LuaValue makeCounter(std::shared_ptr<Counter> counter)
{
    LuaMethods methods;
    methods.emplace("add", [](LuaVM&, const Args& args) {
        Counter* self = args.at(0).objectData<Counter>();
        if (self == nullptr || args.size() < 2)
        {
            throw LuaError("expected counter:add(number)");
        }
        self->total += args[1].asInteger();
        return args[0];
    });
    methods.emplace("get", [](LuaVM&, const Args& args) { return LuaValue(args.at(0).objectData<Counter>()->total); });
    return LuaValue::object(std::move(counter), std::move(methods), "Counter");
}

TEST(HostObjects, MethodsTypeTextAndIdentity)
{
    LuaVM vm;
    auto counter = std::make_shared<Counter>();
    const LuaValue object = makeCounter(counter);
    vm.setGlobal("counter", object);
    vm.bindFunction("same", [](LuaVM&, const Args& args) { return args.at(0); });
    LuaResult result = vm.runScriptString("counter:add(2):add(3)\n"
                                                "counter.label = 'clicks'\n"
                                                "counter[1] = 'first'\n"
                                                "return counter:get(), type(counter), tostring(counter),\n"
                                                "  same(counter) == counter, counter.label, counter.missing, counter[1]",
                                                "objects.lua");
    ASSERT_TRUE(result.success) << result.error;
    EXPECT_EQ(counter->total, 5);
    EXPECT_EQ(result.values[0].asInteger(), 5);
    EXPECT_EQ(result.values[1].asString(), "userdata");
    EXPECT_TRUE(std::regex_match(result.values[2].asString(), std::regex("Counter: 0x[0-9a-f]+")));
    EXPECT_EQ(object.toString(), result.values[2].asString());
    result.values.erase(result.values.begin(), result.values.begin() + 3);
    EXPECT_EQ(outcome(result), "ok: true clicks nil first");

    LuaValue back;
    ASSERT_TRUE(vm.getGlobal("counter", back));
    EXPECT_EQ(back.type(), LuaValue::Type::Object);
    EXPECT_EQ(back.objectData<Counter>(), counter.get());
    EXPECT_EQ(back.objectData<int>(), nullptr);
    EXPECT_EQ(back.objectTypeName(), "Counter");
    EXPECT_EQ(LuaValue(3).objectData<Counter>(), nullptr);

    EXPECT_EQ(outcome(vm.runScriptString("counter:add()", "objects.lua")),
              "error: objects.lua:1: Counter:add: expected counter:add(number)");
    EXPECT_EQ(outcome(vm.runScriptString("return counter.add(5)", "objects.lua")),
              "error: objects.lua:1: Counter:add: expected counter:add(number)");
    EXPECT_EQ(outcome(vm.runScriptString("return counter:nothing()", "objects.lua")),
              "error: objects.lua:1: attempt to call a nil value");
    EXPECT_EQ(outcome(vm.runScriptString("io.stdout.x = 1", "objects.lua")),
              "error: objects.lua:1: attempt to assign into a userdata value");
}

TEST(HostObjects, DataIsReleasedWithTheLastHolderCyclesIncluded)
{
    auto counter = std::make_shared<Counter>();
    std::weak_ptr<Counter> watch = counter;
    LuaVM vm;
    vm.setMemoryLimit(4 << 20); // collections come often under a limit
    {
        LuaValue object = makeCounter(std::move(counter));
        vm.setGlobal("counter", object);
    }
    ASSERT_TRUE(vm.runScriptString("local t = {owner = counter}\ncounter.state = t\n", "cycle.lua").success);
    EXPECT_FALSE(watch.expired());
    ASSERT_TRUE(vm.runScriptString("counter = nil\nfor i = 1, 100000 do local t = {i} end", "churn.lua").success);
    EXPECT_TRUE(watch.expired()); // the object and its fields held only each other

    auto plain = std::make_shared<Counter>();
    std::weak_ptr<Counter> plainWatch = plain;
    LuaValue held = makeCounter(std::move(plain));
    vm.setGlobal("counter", held);
    ASSERT_TRUE(vm.runScriptString("counter = nil", "drop.lua").success);
    EXPECT_FALSE(plainWatch.expired()); // the host still holds it
    held = LuaValue();
    EXPECT_TRUE(plainWatch.expired());
}

} // namespace
