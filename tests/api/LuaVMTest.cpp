// The public API through the shared library: values, bridging, results, globals, host functions,
// containers and moves (console capture: tests/GoldenScriptTest.cpp and tests/unit/ConsoleTest.cpp).
#include <velmar/lua/LuaVM.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

namespace
{

using velmar::lua::LuaBytecode;
using velmar::lua::LuaMap;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

LuaResult run(LuaVM& vm, const std::string& source)
{
    return vm.runScriptString(source, "main.lua");
}

// ---- LuaValue ----

// The message of what `access` throws, or "no exception".
template <typename Access>
std::string thrown(Access access)
{
    try
    {
        access();
    }
    catch (const std::exception& error)
    {
        return error.what();
    }
    return "no exception";
}

TEST(LuaValueTest, ConstructorsAccessorsAndTruth)
{
    EXPECT_EQ(LuaValue().type(), LuaValue::Type::Nil);
    EXPECT_EQ(LuaValue(nullptr).type(), LuaValue::Type::Nil);
    EXPECT_EQ(LuaValue(1LL << 40).asInteger(), 1LL << 40);
    EXPECT_EQ(LuaValue(2.5).type(), LuaValue::Type::Float);
    EXPECT_EQ(LuaValue(static_cast<const char*>(nullptr)).type(), LuaValue::Type::String);
    EXPECT_EQ(LuaValue(static_cast<const char*>(nullptr)).asString(), "");
    // Numeric accessors take booleans and truncate floats; the reverse is refused.
    EXPECT_EQ(LuaValue(true).asInteger(), 1);
    EXPECT_EQ(LuaValue(false).asFloat(), 0.0);
    EXPECT_EQ(LuaValue(-2.9).asInteger(), -2);
    EXPECT_EQ(thrown([] { (void)LuaValue(1).asBoolean(); }), "value is not boolean");
    EXPECT_EQ(thrown([] { (void)LuaValue("x").asInteger(); }), "value is not numeric");
    EXPECT_EQ(thrown([] { (void)LuaValue().asArray(); }), "value is not an array");
    EXPECT_EQ(thrown([] { (void)LuaValue("x").asFloat(); }), "value is not numeric");
    // Floats outside the integer range saturate, NaN reads as 0: a host never traps on a conversion.
    EXPECT_EQ(LuaValue(1e300).asInteger(), INT64_MAX);
    EXPECT_EQ(LuaValue(-1e300).asInteger(), INT64_MIN);
    EXPECT_EQ(LuaValue(std::nan("")).asInteger(), 0);
    EXPECT_FALSE(LuaValue().isTruthy());
    EXPECT_FALSE(LuaValue(false).isTruthy());
    EXPECT_TRUE(LuaValue(0).isTruthy());
    EXPECT_TRUE(LuaValue("").isTruthy());
}

TEST(LuaValueTest, TextsKeepInsertionOrderAndCopiesShare)
{
    LuaMap map;
    map["b"] = LuaValue(1);
    map["a"] = LuaValue(2.5);
    map["b"] = LuaValue("again"); // keeps its first position
    EXPECT_EQ(LuaValue(map).toString(), "{b: again, a: 2.500000}");
    EXPECT_EQ(LuaValue(std::vector<LuaValue>{LuaValue(1), LuaValue("a"), LuaValue::makeMap()}).toString(), "[1, a, {}]");
    EXPECT_EQ(LuaValue(std::shared_ptr<velmar::lua::LuaFunctionHandle>()).toString(), "[function anonymous]");
    EXPECT_EQ(LuaVM::valueToString(LuaValue(true)), "true");
    // Erasing keeps the order of the rest and the index of each key behind it.
    LuaMap ordered{{"a", LuaValue(1)}, {"b", LuaValue(2)}, {"c", LuaValue(3)}, {"a", LuaValue(4)}};
    EXPECT_FALSE(ordered.erase("z"));
    EXPECT_TRUE(ordered.erase("a"));
    ordered.insert_or_assign("d", LuaValue(5));
    const LuaMap& view = ordered;
    EXPECT_EQ(view.find("c")->asInteger(), 3);
    EXPECT_EQ(view.find("a"), nullptr);
    EXPECT_EQ(LuaValue(ordered).toString(), "{b: 2, c: 3, d: 5}");
    LuaValue array = LuaValue::makeArray();
    LuaValue copy = array;
    copy.asArray().push_back(LuaValue(7));
    EXPECT_EQ(array.asArray().size(), 1u);
}

// ---- Results ----

TEST(LuaVMTest, ReturnValuesBecomeOneResultValue)
{
    LuaVM vm;
    EXPECT_EQ(run(vm, "return 1, 2, 3").value.toString(), "[1, 2, 3]");
    EXPECT_TRUE(run(vm, "return").value.isNil());
    EXPECT_TRUE(run(vm, "x = 1").value.isNil());
    EXPECT_EQ(run(vm, "return nil, 5").value.toString(), "{2: 5}");
    EXPECT_EQ(run(vm, "return 1, nil").value.toString(), "[1]");
    EXPECT_EQ(run(vm, "return {}").value.type(), LuaValue::Type::Array);
    EXPECT_EQ(run(vm, "return {x = 1}").value.toString(), "{x: 1}");
    EXPECT_EQ(run(vm, "return {1, 2, x = 3}").value.toString(), "{1: 1, 2: 2, x: 3}");
    EXPECT_EQ(run(vm, "return 10 / 2").value.type(), LuaValue::Type::Float);
}

TEST(LuaVMTest, FailedRunKeepsEarlierGlobalsAndTheVmUsable)
{
    LuaVM vm;
    EXPECT_FALSE(run(vm, "counter = 41\nerror('stop')\ncounter = 0").success);
    const LuaResult result = run(vm, "counter = counter + 1 return counter");
    ASSERT_TRUE(result.success) << result.error;
    EXPECT_EQ(result.value.asInteger(), 42);
    // A break that escapes a function called outside every loop ends the run too.
    EXPECT_EQ(run(vm, "local function f()\n  break\nend\nf()").error, "main.lua:2: break outside a loop");
}

// ---- Globals and bridging ----

TEST(LuaVMTest, GlobalsBridgeBothWays)
{
    LuaVM vm;
    LuaMap map;
    map["1"] = LuaValue("a");
    map["x"] = LuaValue(true);
    map[" 2"] = LuaValue("spaced"); // strtoll skips leading blanks, so this is the integer key 2
    vm.setGlobal("t", LuaValue(map));
    EXPECT_EQ(run(vm, "return t[1], t.x, t[2]").value.toString(), "[a, true, spaced]");

    vm.setGlobal("list", LuaValue(std::vector<LuaValue>{LuaValue(1), LuaValue(), LuaValue(3)}));
    EXPECT_EQ(run(vm, "return #list, list[3]").value.toString(), "[1, 3]");

    LuaValue out(99);
    EXPECT_FALSE(vm.getGlobal("neverAssigned", out));
    EXPECT_EQ(out.asInteger(), 99); // untouched
    ASSERT_TRUE(run(vm, "g = {10, 20, n = {true}}").success);
    ASSERT_TRUE(vm.getGlobal("g", out));
    EXPECT_EQ(out.toString(), "{1: 10, 2: 20, n: [true]}");
    ASSERT_TRUE(run(vm, "it = pairs({})").success);
    EXPECT_FALSE(vm.getGlobal("it", out)); // an iterator cannot be bridged
}

TEST(LuaVMTest, FunctionsKeepTheirIdentityAcrossTheBridge)
{
    LuaVM vm;
    ASSERT_TRUE(run(vm, "function double(x) return x * 2 end").success);
    LuaValue function;
    ASSERT_TRUE(vm.getGlobal("double", function));
    EXPECT_EQ(function.toString(), "[function double]");
    vm.setGlobal("again", function);
    EXPECT_EQ(run(vm, "return again == double, again(21)").value.toString(), "[true, 42]");
}

// A script function reads its globals through the slots of the interpreter that compiled it, so only
// that one may run it; a bound host function works anywhere, even after its interpreter is gone.
TEST(LuaVMTest, FunctionsHandedToAnotherInterpreter)
{
    LuaValue script;
    LuaValue host;
    {
        LuaVM origin;
        origin.bindFunction("twice", [](LuaVM&, const std::vector<LuaValue>& args) {
            return LuaValue(args.at(0).asInteger() * 2);
        });
        ASSERT_TRUE(run(origin, "a1 = 1 a2 = 2 a3 = 3 a4 = 4 secret = 5 function peek() return secret end").success);
        ASSERT_TRUE(origin.getGlobal("peek", script));
        ASSERT_TRUE(origin.getGlobal("twice", host));
        LuaVM other;
        other.setGlobal("peek", script);
        EXPECT_EQ(run(other, "\npeek()").error, "main.lua:2: attempt to call a function of another interpreter");
        // Handed back, it runs at home.
        LuaValue back;
        ASSERT_TRUE(other.getGlobal("peek", back));
        origin.setGlobal("returned", back);
        EXPECT_EQ(run(origin, "return returned()").value.toString(), "5");
    }
    LuaVM other;
    other.setGlobal("peek", script);
    other.setGlobal("twice", host);
    EXPECT_EQ(run(other, "return twice(21)").value.toString(), "42");
    // Its own interpreter is gone.
    EXPECT_EQ(run(other, "return pcall(peek)").value.toString(),
              "[false, the interpreter of this function no longer exists]");
    EXPECT_EQ(run(other, "local t = {f = peek} return pcall(function() return t.f() end)").value.toString(),
              "[false, the interpreter of this function no longer exists]");
}

// ---- Host functions ----

TEST(LuaVMTest, HostFunctionsReceiveArgumentsAndReturnOneValue)
{
    LuaVM vm;
    vm.bindFunction("sum", [](LuaVM&, const std::vector<LuaValue>& args) {
        long long total = 0;
        for (const LuaValue& arg : args)
        {
            total += arg.asInteger();
        }
        return LuaValue(total);
    });
    velmar::lua::bindCppFunctionToLuaVM(vm, "nothing", [](LuaVM&, const std::vector<LuaValue>&) { return LuaValue(); });
    EXPECT_EQ(run(vm, "return sum(1, 2, 3.9)").value.asInteger(), 6);
    EXPECT_EQ(run(vm, "return select == nil, nothing()").value.toString(), "[true]"); // a trailing nil is lost
    EXPECT_EQ(run(vm, "local a, b = nothing() return b == nil").value.toString(), "true");
}

TEST(LuaVMTest, HostFunctionErrorsBecomeScriptErrorsNamedAfterTheFunction)
{
    LuaVM vm;
    vm.bindFunction("myfn", [](LuaVM&, const std::vector<LuaValue>& args) { return LuaValue(args.at(0).asInteger()); });
    EXPECT_EQ(run(vm, "\n\n\nmyfn('text')").error, "main.lua:4: myfn: value is not numeric");
    EXPECT_EQ(run(vm, "return pcall(myfn, {})").value.toString(), "[false, myfn: value is not numeric]");
    // Exceptions outside the library's family pass through to the host unchanged.
    vm.bindFunction("raw", [](LuaVM&, const std::vector<LuaValue>&) -> LuaValue { throw std::logic_error("host"); });
    EXPECT_THROW(run(vm, "raw()"), std::logic_error);
    EXPECT_TRUE(run(vm, "return 1").success);
}

TEST(LuaVMTest, HostFunctionsCanRunNestedChunks)
{
    LuaVM vm;
    vm.bindFunction("eval", [](LuaVM& self, const std::vector<LuaValue>& args) {
        return self.runScriptString(args.at(0).asString(), "inner").value;
    });
    EXPECT_EQ(run(vm, "local x = eval('return 6 * 7') return x + 1").value.asInteger(), 43);
}

// ---- Moves ----

TEST(LuaVMTest, MovedInterpretersKeepTheirStateAndOwner)
{
    LuaVM first;
    ASSERT_TRUE(run(first, "kept = 'yes'").success);
    LuaVM second(std::move(first));
    second.bindFunction("who", [&second](LuaVM& vm, const std::vector<LuaValue>&) { return LuaValue(&vm == &second); });
    EXPECT_EQ(run(second, "return kept, who()").value.toString(), "[yes, true]");
    LuaVM third;
    third = std::move(second);
    EXPECT_EQ(run(third, "return kept").value.asString(), "yes");
    third = std::move(third);
    EXPECT_EQ(run(third, "return kept").value.asString(), "yes");
}

// ---- Bounded runs ----

TEST(LuaVMLimitTest, StepLimitFailsARunThatPcallCannotSave)
{
    LuaVM vm;
    vm.setStepLimit(1000);
    EXPECT_EQ(run(vm, "local n = 0\nwhile true do n = n + 1 end").error, "main.lua:2: step limit exceeded");
    EXPECT_EQ(run(vm, "\nwhile true do end").error, "main.lua:2: step limit exceeded"); // empty bodies count too
    EXPECT_EQ(run(vm, "local function f() return f() end\nprint(pcall(f))\nreturn 'not reached'").error,
              "main.lua:1: step limit exceeded");
    EXPECT_EQ(run(vm, "local s = 0 for i = 1, 100 do s = s + i end return s").value.asInteger(), 5050);
    vm.setStepLimit(0);
    EXPECT_EQ(run(vm, "local s = 0 for i = 1, 100000 do s = s + 1 end return s").value.asInteger(), 100000);
}

TEST(LuaVMLimitTest, StepLimitCoversRunsStartedByHostFunctions)
{
    LuaVM vm;
    std::string innerError;
    vm.bindFunction("nested", [&innerError](LuaVM& self, const std::vector<LuaValue>&) {
        innerError = self.runScriptString("while true do end", "inner").error;
        return LuaValue();
    });
    vm.setStepLimit(500);
    // The inner run fails on its own; the outer one stops at its next step.
    EXPECT_EQ(run(vm, "nested()\nreturn 1").error, "main.lua:2: step limit exceeded");
    EXPECT_EQ(innerError, "inner:1: step limit exceeded");
    EXPECT_EQ(run(vm, "return 2").value.asInteger(), 2);
}

TEST(LuaVMLimitTest, InterruptFromAnotherThreadStopsTheRun)
{
    LuaVM vm;
    vm.bindFunction("ready", [](LuaVM& self, const std::vector<LuaValue>&) {
        std::thread([&self] { self.interrupt(); }).detach(); // interrupts while the loop below spins
        return LuaValue();
    });
    EXPECT_EQ(run(vm, "ready()\nlocal ok = pcall(function() while true do end end)\nreturn ok").error,
              "main.lua:2: interrupted");
    EXPECT_EQ(run(vm, "return 'usable'").value.asString(), "usable"); // a new run starts uninterrupted
}

// Runs `source` under limits just at and just below `steps`: the first succeeds, the second fails at `line`.
testing::AssertionResult costsExactly(const std::string& source, std::uint64_t steps, int line)
{
    LuaVM vm;
    vm.setStepLimit(steps);
    const LuaResult enough = run(vm, source);
    if (!enough.success)
    {
        return testing::AssertionFailure() << steps << " steps are not enough: " << enough.error;
    }
    vm.setStepLimit(steps - 1);
    const std::string expected = "main.lua:" + std::to_string(line) + ": step limit exceeded";
    const LuaResult short_ = run(vm, source);
    if (short_.success || short_.error != expected)
    {
        return testing::AssertionFailure() << steps - 1 << " steps give \"" << (short_.success ? "success" : short_.error)
                                           << "\", not \"" << expected << "\"";
    }
    return testing::AssertionSuccess();
}

// Strings are charged by size: one further step per full 1,024 bytes an operation produces, on top of
// the steps of its statement and call; below 1,024 bytes nothing changes.
TEST(LuaVMLimitTest, BulkStringWorkSpendsStepsBySize)
{
    // return (1) + call (1) + 10 KiB (10)
    EXPECT_TRUE(costsExactly("return #string.rep('ab', 5120)", 12, 1));
    EXPECT_TRUE(costsExactly("return #string.rep('ab', 511)", 2, 1)); // 1,022 bytes
    // local (1) + rep (1) + local (1) + s .. s, 2,000 bytes (1) + s .. that, 3,000 bytes (2) + return (1)
    EXPECT_TRUE(costsExactly("local s = string.rep('x', 1000)\nlocal t = s .. s .. s\nreturn #t", 7, 3));
    EXPECT_TRUE(costsExactly("local s = string.rep('x', 1023)\nreturn #(s .. 1)", 4, 2)); // 1,024 bytes
    // local (1) + rep (1) + 3,000 bytes (2) + return (1) + sub (1) + 2,999 bytes (2)
    EXPECT_TRUE(costsExactly("local s = string.rep('a', 3000)\nreturn #string.sub(s, 2)", 8, 2));
    // two reps of 1,000 bytes, then format (1) + 4,041 units (3): 5 format bytes examined (40), two
    // arguments copied in (2,000) and the 2,001-byte result copied out
    EXPECT_TRUE(costsExactly("return #string.format('%s-%s', string.rep('x', 1000), string.rep('y', 1000))", 7, 1));
    // local (1) + for (1) + 512 iterations of one statement (1,024) + return (1) + concat (1) + 37,886 units
    // (36): 512 elements (32,768), 2,559 bytes appended, and the 2,559-byte result copied out
    EXPECT_TRUE(costsExactly("local t = {}\nfor i = 1, 512 do t[i] = 'abcd' end\nreturn #table.concat(t, ',')", 1064, 3));

    // Appending to a growing string: iteration k costs 3 steps plus k for the k KiB it copies, so 10,000
    // steps allow 137 iterations (3k + k(k+1)/2 reaches 10,000 at k = 138) instead of thousands.
    LuaVM vm;
    vm.setStepLimit(10000);
    EXPECT_EQ(run(vm, "n = 0\nlocal piece, s = string.rep('x', 1024), ''\nwhile true do s = s .. piece n = n + 1 end")
                  .error,
              "main.lua:3: step limit exceeded");
    LuaValue count;
    ASSERT_TRUE(vm.getGlobal("n", count));
    EXPECT_EQ(count.asInteger(), 137);
}

// Pattern calls spend a step per 1,024 units of matching work (a byte tested or skipped, a start tried,
// a byte produced), so one call that searches for a long time is stopped like a loop would be.
TEST(LuaVMLimitTest, PatternMatchingSpendsStepsByWork)
{
    // local (1) + rep (1) + 3,000 bytes (2) + return (1) + find (1) + 3,002 units (2): the pattern's byte,
    // 3,000 bytes skipped looking for a `b`, one attempt at the end
    EXPECT_TRUE(costsExactly("local s = string.rep('a', 3000)\nreturn string.find(s, 'b')", 8, 2));
    EXPECT_TRUE(costsExactly("local s = string.rep('a', 3000)\nreturn string.find(s, 'b', 1, true)", 8, 2));
    EXPECT_TRUE(costsExactly("return string.find('hello world', 'o w')", 2, 1)); // ordinary calls: no extra step

    LuaVM vm;
    vm.setStepLimit(10000);
    // Quadratic backtracking inside one call, with pcall around it: not caught, stopped at its line.
    EXPECT_EQ(run(vm, "local s = string.rep('a', 100000) .. \"'b\"\nreturn pcall(string.find, s, 'a*b')").error,
              "main.lua:2: step limit exceeded");
    EXPECT_EQ(run(vm, "local s = string.rep('a', 100000)\nreturn string.gsub(s, 'a*a*a*a*a*a*b', '')").error,
              "main.lua:2: step limit exceeded");
}

// ---- Containers and files ----

class LuaVMFileTest : public testing::Test
{
protected:
    void SetUp() override
    {
        previous_ = std::filesystem::current_path();
        directory_ = std::filesystem::temp_directory_path() / ("velmar-api-" + std::to_string(::getpid()));
        std::filesystem::create_directories(directory_);
        std::filesystem::current_path(directory_);
    }
    void TearDown() override
    {
        std::filesystem::current_path(previous_);
        std::filesystem::remove_all(directory_);
    }
    std::filesystem::path previous_;
    std::filesystem::path directory_;
};

TEST_F(LuaVMFileTest, ContainersHoldMagicVersionNameAndSource)
{
    LuaVM vm;
    const LuaBytecode bytecode = vm.compileScript("x = 1", "boot");
    const std::vector<std::uint8_t> expected = {'V', 'L', 'B', 'C', 1, 0, 0, 0, 4, 0, 0, 0, 'b', 'o', 'o', 't',
                                                5,   0,   0,   0,   'x', ' ', '=', ' ', '1'};
    EXPECT_EQ(bytecode.bytes, expected);
    LuaBytecode withTrailer = vm.compileScript("return 7", "seven");
    withTrailer.bytes.push_back(0xff);
    EXPECT_EQ(vm.runBytecode(withTrailer).value.asInteger(), 7);
    EXPECT_THROW(vm.compileScript("x = = 1", "bad"), std::exception);
}

TEST_F(LuaVMFileTest, DamagedContainersReportEachCheck)
{
    LuaVM vm;
    auto fails = [&](std::vector<std::uint8_t> bytes) { return vm.runBytecode(LuaBytecode{std::move(bytes)}).error; };
    EXPECT_EQ(fails({'V', 'L', 'B', 'C', 1, 0, 0}), "bytecode file is too small");
    EXPECT_EQ(fails({'V', 'L', 'B', 'X', 1, 0, 0, 0}), "invalid VelmarLua bytecode header");
    EXPECT_EQ(fails({'V', 'L', 'B', 'C', 2, 0, 0, 0}), "unsupported VelmarLua bytecode version");
    EXPECT_EQ(fails({'V', 'L', 'B', 'C', 1, 0, 0, 0}), "bytecode is truncated");
    EXPECT_EQ(fails({'V', 'L', 'B', 'C', 1, 0, 0, 0, 0xff, 0xff, 0xff, 0xff}), "bytecode string exceeds file size");
    EXPECT_EQ(fails({'V', 'L', 'B', 'C', 1, 0, 0, 0, 0, 0, 0, 0, 1, 0}), "bytecode is truncated");
    const LuaBytecode bad{{'V', 'L', 'B', 'C', 1, 0, 0, 0, 1, 0, 0, 0, 'k', 3, 0, 0, 0, 'x', ' ', '='}};
    EXPECT_EQ(vm.runBytecode(bad).error, "k:1:4: expected expression");
    LuaBytecode trailing = vm.compileScript("return 7", "seven"); // bytes after the source are ignored
    trailing.bytes.insert(trailing.bytes.end(), 1000, 0xff);
    EXPECT_EQ(vm.runBytecode(trailing).value.asInteger(), 7);
}

TEST_F(LuaVMFileTest, ContainerFilesRoundTripAndSyntaxErrorsWriteNothing)
{
    LuaVM vm;
    std::string error;
    ASSERT_TRUE(vm.writeBytecodeFile("return 'from file'", "good.vlbc", "good.lua", &error)) << error;
    EXPECT_EQ(vm.runBytecodeFile("good.vlbc").value.asString(), "from file");
    EXPECT_EQ(velmar::lua::runLuaScriptFromBytecodeFile(vm, "good.vlbc").value.asString(), "from file");
    EXPECT_FALSE(vm.writeBytecodeFile("return +", "bad.vlbc", "bad.lua", &error));
    EXPECT_EQ(error, "bad.lua:1:8: expected expression");
    EXPECT_FALSE(std::filesystem::exists("bad.vlbc"));
    EXPECT_EQ(vm.runBytecodeFile("missing.vlbc").error, "failed to open file: missing.vlbc");
}

TEST_F(LuaVMFileTest, ScriptFilesUseThePathAsChunkName)
{
    LuaVM vm;
    std::ofstream("script.lua") << "local s = ''\nfor i = 1, 600 do s = s .. 'x' end\nreturn #s\n";
    EXPECT_EQ(vm.runScriptFile("script.lua").value.asInteger(), 600);
    std::ofstream("broken.lua") << "\nerror('here')";
    EXPECT_EQ(velmar::lua::runLuaScriptFile(vm, "broken.lua").error, "broken.lua:2: here");
    EXPECT_EQ(vm.runScriptFile("missing.lua").error, "unable to open script file: missing.lua");
    // A 512-byte multiple must not lose its last piece.
    std::ofstream("exact.lua") << "return '" + std::string(1024 - 10, 'y') + "'";
    EXPECT_EQ(vm.runScriptFile("exact.lua").value.asString().size(), 1024u - 10u);
}

} // namespace
