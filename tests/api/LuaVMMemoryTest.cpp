// The memory a VM's values hold: the memory limit, and the collection of reference cycles.
#include "Outcome.hpp"

#include <gtest/gtest.h>

#include <string>

namespace
{

using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

// "=value" for a success, "error: message" for a failure.
std::string outcome(LuaVM& vm, const std::string& source)
{
    return testapi::outcome(vm.runScriptString(source, "main.lua"));
}

constexpr std::size_t kMiB = 1u << 20;

TEST(MemoryLimitTest, EveryKindOfGrowthFailsTheRunAndPcallCannotCatchIt)
{
    LuaVM vm;
    vm.setMemoryLimit(4 * kMiB);
    EXPECT_EQ(outcome(vm, "local s = string.rep('x', 8388608) return #s"), "error: not enough memory");
    EXPECT_EQ(outcome(vm, "return pcall(string.rep, 'x', 8388608)"), "error: not enough memory");
    EXPECT_EQ(outcome(vm, "local s = 'xxxxxxxx' while true do s = s .. s end"), "error: not enough memory");
    EXPECT_EQ(outcome(vm, "local t = {} local i = 1 while true do t[i] = i i = i + 1 end"), "error: not enough memory");
    EXPECT_EQ(outcome(vm, "local t = {} local i = 1 while true do t['k' .. i] = true i = i + 1 end"),
              "error: not enough memory");
    EXPECT_EQ(outcome(vm, "local keep = {} while true do keep[#keep + 1] = function() return keep end end"),
              "error: not enough memory");
    EXPECT_EQ(outcome(vm, "local ok = pcall(function() local t = {} while true do t[#t + 1] = {} end end)\n"
                          "return 'caught'"),
              "error: not enough memory");
    // The failed runs' values are gone and the VM goes on.
    EXPECT_LT(vm.memoryInUse(), kMiB);
    EXPECT_EQ(outcome(vm, "local t = {} for i = 1, 1000 do t[i] = i end return #t"), "=1000");
}

TEST(MemoryLimitTest, TheSyntaxTreeOfAChunkCountsWhileItRuns)
{
    std::string statements;
    std::string constructor = "local t = {";
    for (int i = 0; i < 100000; ++i)
    {
        statements += "x = " + std::to_string(i) + " + y * 2\n";
        constructor += std::to_string(i) + ", ";
    }
    constructor += "} return #t";
    LuaVM vm;
    vm.setMemoryLimit(4 * kMiB); // each chunk is under 2 MB of text, but its tree needs more than 4 MiB
    EXPECT_EQ(outcome(vm, statements), "error: not enough memory");
    EXPECT_EQ(outcome(vm, constructor), "error: not enough memory");
    EXPECT_LT(vm.memoryInUse(), kMiB);
    vm.setMemoryLimit(0);
    EXPECT_EQ(outcome(vm, constructor), "=100000");
    EXPECT_LT(vm.memoryInUse(), kMiB); // the tree's charge goes with the tree
}

TEST(MemoryLimitTest, GarbageCyclesAreCollectedBeforeTheyBreachTheLimit)
{
    LuaVM vm;
    vm.setMemoryLimit(2 * kMiB);
    // About 40 MB of cycles over the run, never more than a fraction alive.
    EXPECT_EQ(outcome(vm, "local n = 0\n"
                          "for i = 1, 200000 do local t = {i} t.self = t n = n + #t.self end\n"
                          "for i = 1, 100000 do local function f() return f end n = n + 1 end\n"
                          "return n"),
              "=300000");
    // A request that only fits once the garbage is gone collects first: 1.5 MB of cycle, then 3 MB
    // wanted under a 4 MiB limit, all within one budget between two collections.
    vm.setMemoryLimit(4 * kMiB);
    EXPECT_EQ(outcome(vm, "local g = {string.rep('x', 1500000)} g.self = g g = nil\n"
                          "return #string.rep('y', 3000000)"),
              "=3000000");
}

TEST(MemoryLimitTest, ValuesTheHostStoresCountButAreNeverRefused)
{
    LuaVM vm;
    const std::size_t base = vm.memoryInUse();
    EXPECT_GT(base, 0u); // the library's own tables and functions
    vm.setMemoryLimit(base + 64 * 1024);
    vm.setGlobal("big", LuaValue(std::string(256 * 1024, 'x'))); // past the limit, and kept
    EXPECT_GT(vm.memoryInUse(), base + 256 * 1024);
    EXPECT_EQ(outcome(vm, "return 1"), "error: not enough memory"); // a run can allocate nothing more
    vm.setMemoryLimit(base + 512 * 1024);
    EXPECT_EQ(outcome(vm, "return #big"), "=262144");
    EXPECT_EQ(outcome(vm, "return #(big .. big)"), "error: not enough memory");
    vm.setMemoryLimit(0); // no limit again
    EXPECT_EQ(outcome(vm, "return #(big .. big)"), "=524288");
}

TEST(CycleCollectionTest, ALongLivedVmRunningCycleMakingScriptsStaysFlat)
{
    LuaVM vm;
    const std::string cycles = "for i = 1, 1000 do\n"
                               "  local t = {} t.self = t\n"
                               "  local function f() return f end\n"
                               "  local box = {} box.get = function() return box end\n"
                               "end";
    ASSERT_EQ(outcome(vm, cycles), "=nil");
    const std::size_t early = vm.memoryInUse();
    for (int i = 0; i < 300; ++i)
    {
        ASSERT_EQ(outcome(vm, cycles), "=nil");
    }
    // 300 runs make about 150 MB of cycles; what is in use never goes past one collection's budget.
    EXPECT_LT(vm.memoryInUse(), early + 16 * kMiB);
    // Small cycles holding large strings: the strings' bytes bring collections on as well.
    ASSERT_EQ(outcome(vm, "for i = 1, 2000 do local t = {string.rep('x', 100000) .. i} t.self = t end"), "=nil");
    EXPECT_LT(vm.memoryInUse(), early + 16 * kMiB);
}

TEST(CycleCollectionTest, CollectionsLeaveReachableCyclesIntact)
{
    LuaVM vm;
    ASSERT_EQ(outcome(vm, "keep = {n = 42} keep.self = keep\n"
                          "keep.get = function() return keep.self.n end\n"
                          "local function counter() local c = 0 return function() c = c + 1 return c end end\n"
                          "tick = counter()"),
              "=nil");
    // Enough garbage for several collections, made while the kept cycles are in use.
    EXPECT_EQ(outcome(vm, "local sum = 0\n"
                          "for i = 1, 300000 do local g = {i, keep} g.me = g sum = sum + g[2].get() + tick() * 0 end\n"
                          "return sum"),
              "=12600000");
    EXPECT_EQ(outcome(vm, "return keep.self.self.get() + tick()"), "=300043");
}

} // namespace
