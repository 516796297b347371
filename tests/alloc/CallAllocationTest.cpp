// Calls must not touch the heap: up to 8 frame slots without closures, 6 arguments and 2 results.
// This executable counts every operator new of the process, library included.
#include <velmar/lua/LuaVM.hpp>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

namespace
{
long gAllocations = 0;
}

void* operator new(std::size_t size)
{
    ++gAllocations;
    if (void* memory = std::malloc(size != 0 ? size : 1))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
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

} // namespace
