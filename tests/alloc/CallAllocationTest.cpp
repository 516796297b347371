// Calls must not touch the heap: up to 8 frame slots without closures, 6 arguments and 2 results; and a
// VM must give back everything it allocated, reference cycles included. This executable counts every
// operator new and delete of the process, library included.
#include <velmar/lua/LuaVM.hpp>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

namespace
{
long gAllocations = 0;
long gLiveAllocations = 0;
}

void* operator new(std::size_t size)
{
    ++gAllocations;
    ++gLiveAllocations;
    if (void* memory = std::malloc(size != 0 ? size : 1))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    if (memory)
    {
        --gLiveAllocations;
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    if (memory)
    {
        --gLiveAllocations;
    }
    std::free(memory);
}

namespace
{

// Allocations made by one run of a loop of `count` iterations of `body`. The source is the same for
// every count (the count comes from a global), so compiling it always costs the same.
long allocationsPerRun(velmar::lua::LuaVM& vm, const std::string& body, int count)
{
    vm.setGlobal("count", velmar::lua::LuaValue(count));
    const std::string source = "local s = 0 for i = 1, count do " + body + " end return s";
    const long before = gAllocations;
    const velmar::lua::LuaResult result = vm.runScriptString(source, "loop");
    EXPECT_TRUE(result.success) << result.error;
    return gAllocations - before;
}

TEST(CallAllocationTest, ScriptCallsWithinTheInlineLimitsDoNotAllocate)
{
    velmar::lua::LuaVM vm;
    ASSERT_TRUE(vm.runScriptString("function f(a, b, c, d, e, g)\n"
                                   "  local x, y = a + b, c\n"
                                   "  if x > 1 then return x, y end\n"
                                   "  return 1\n"
                                   "end\n"
                                   "function leaf(n) return n end",
                                   "setup")
                    .success);
    const std::string body = "local p, q = f(i, 2, 3, 4, 5, 6) s = s + p + leaf(q)";
    // The same code run 10 or 100,000 times allocates the same amount: nothing per call.
    const long warmUp = allocationsPerRun(vm, body, 10);
    const long few = allocationsPerRun(vm, body, 10);
    EXPECT_EQ(few, allocationsPerRun(vm, body, 100000)) << "first run: " << warmUp;
}

TEST(CallAllocationTest, LibraryCallsReturningFewValuesDoNotAllocate)
{
    velmar::lua::LuaVM vm;
    // Functions that make new strings allocate those strings; these return numbers only.
    const std::string body = "s = s + math.max(i, 3) + math.floor(2.5)";
    allocationsPerRun(vm, body, 10);
    const long few = allocationsPerRun(vm, body, 10);
    EXPECT_EQ(few, allocationsPerRun(vm, body, 100000));
}

// Every kind of cycle a script can make: a table holding itself, a recursive local function (held by
// the scope it captures), a closure stored in a table it captures, an iterator over the table that
// holds it, and a long ring through all of them. The VM must free them all when it goes.
constexpr const char* kCycles = "local t = {} t.self = t\n"
                                "local function f(n) if n > 0 then return f(n - 1) end return 0 end\n"
                                "local box = {} box.get = function() return box end\n"
                                "local ring = {} local head = ring\n"
                                "for i = 1, 1000 do local nxt = {} ring.next = nxt ring.fn = function() return nxt end ring = nxt end\n"
                                "ring.next = head\n"
                                "cycle = {t, f, box}\n"
                                "for k, v in pairs(cycle) do cycle.iter = k end\n"
                                "return f(3)";

TEST(CycleReleaseTest, DestroyingTheVmFreesEveryCycleItsScriptsMade)
{
    // The first VM pays for whatever the process sets up once (console, thread state).
    {
        velmar::lua::LuaVM vm;
        ASSERT_TRUE(vm.runScriptString(kCycles, "cycles").success);
    }
    const long before = gLiveAllocations;
    {
        velmar::lua::LuaVM vm;
        const velmar::lua::LuaResult result = vm.runScriptString(kCycles, "cycles");
        ASSERT_TRUE(result.success) << result.error;
        EXPECT_GT(gLiveAllocations, before + 2000);
    }
    EXPECT_EQ(gLiveAllocations, before);
}

} // namespace
