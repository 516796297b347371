// Releasing enormous structures: a million-long chain of tables, closures or environments must be freed
// without recursing the machine stack, whether the script drops it, a failed run unwinds it, or the VM
// holding it is destroyed, and on a host thread with a 1 MiB stack as well.
#include "Adversarial.hpp"

namespace
{

using namespace adversarial;

// The closure chains are held by globals: a closure kept in a local of the scope it captures would be a
// reference cycle, which only the cycle collector frees, and these chains must be freed by release alone.
constexpr const char* kTableChain = "local t = nil for i = 1, 1000000 do t = {t} end\n";
constexpr const char* kMapChain = "local t = nil for i = 1, 1000000 do t = {next = t, i} end\n";
constexpr const char* kClosureChain = "f = nil for i = 1, 1000000 do local g = f f = function() return g end end\n";
constexpr const char* kNestedClosureChain = "function link(prev) return function() return prev end end\n"
                                            "f = nil for i = 1, 1000000 do f = link(f) end\n";

void expectRunsOnBothStacks(const std::string& source, const std::string& expected)
{
    {
        LuaVM vm;
        const LuaResult result = run(vm, source);
        EXPECT_EQ(result.success ? result.value.toString() : "error: " + result.error, expected) << source;
    }
    LuaResult onThread;
    runOnThread(kSmallHostStack, [&] {
        LuaVM vm;
        onThread = run(vm, source);
    });
    EXPECT_EQ(onThread.success ? onThread.value.toString() : "error: " + onThread.error, expected)
        << "on a 1 MiB thread: " << source;
}

TEST(ReleaseTest, DroppingAMillionLongTableChain)
{
    expectRunsOnBothStacks(std::string(kTableChain) + "t = nil\nreturn 1", "1");
    expectRunsOnBothStacks(std::string(kMapChain) + "t = nil\nreturn 1", "1");
}

TEST(ReleaseTest, DroppingAMillionLongClosureChain)
{
    expectRunsOnBothStacks(std::string(kClosureChain) + "f = nil\nreturn 1", "1");
    expectRunsOnBothStacks(std::string(kNestedClosureChain) + "f = nil\nreturn 1", "1");
}

TEST(ReleaseTest, AFailedRunUnwindingAMillionLongChain)
{
    expectRunsOnBothStacks(std::string(kTableChain) + "error('stop')", "error: main.lua:2: stop");
    expectRunsOnBothStacks(std::string(kClosureChain) + "error('stop')", "error: main.lua:2: stop");
}

TEST(ReleaseTest, DestroyingAVmThatHoldsAMillionLongChain)
{
    expectRunsOnBothStacks(std::string(kTableChain) + "kept = t\nreturn 1", "1");
    expectRunsOnBothStacks(std::string(kClosureChain) + "return 1", "1");
    expectRunsOnBothStacks(std::string(kNestedClosureChain) + "return 1", "1");
}

// Replacing a chain link by link from the head frees one link at a time: no deep release at all.
TEST(ReleaseTest, ChainsUnlinkedFromTheHeadAreReleasedIteratively)
{
    expectRunsOnBothStacks(std::string(kTableChain) + "while t do t = t[1] end\nreturn 1", "1");
    expectRunsOnBothStacks(std::string(kClosureChain) + "while f do f = f() end\nreturn 1", "1");
}

// The same run made a million times in one VM: values of each run are released, nothing accumulates.
TEST(ReleaseTest, ShortChainsReleasedRepeatedly)
{
    LuaVM vm;
    for (int round = 0; round < 200; ++round)
    {
        const LuaResult result = run(vm, "local t = nil for i = 1, 5000 do t = {t, tostring(i)} end\n"
                                         "f = nil for i = 1, 5000 do local g = f f = function() return g end end\n"
                                         "return t[2]");
        ASSERT_TRUE(result.success) << result.error;
        ASSERT_EQ(result.value.asString(), "5000");
    }
}

} // namespace
