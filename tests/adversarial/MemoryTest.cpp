// Allocation failure: sizes no machine can hold, and real exhaustion under an address-space cap. Every
// case must end in a clean "not enough memory" with the VM usable afterwards, never in an abort.
#include "Adversarial.hpp"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace
{

using namespace adversarial;

// Sizes that cannot be represented fail before anything is allocated, so this holds under every build.
TEST(MemoryTest, StringRepOfUnrepresentableSizesFailsWithNotEnoughMemory)
{
    LuaVM vm;
    for (const char* source : {
             "return string.rep('x', 9223372036854775807)",
             "return string.rep('abc', 4611686018427387904)",
             "local s = string.rep('ab', 1000) return string.rep(s, 4611686018427387)",
         })
    {
        SCOPED_TRACE(source);
        EXPECT_EQ(describe(run(vm, source)), "not enough memory");
        EXPECT_EQ(describe(run(vm, "return #string.rep('ab', 3)")), "=6");
    }
}

// Allocation failure is not a script error: pcall does not catch it, the run fails as a whole.
TEST(MemoryTest, PcallDoesNotCatchNotEnoughMemory)
{
    LuaVM vm;
    EXPECT_EQ(describe(run(vm, "local ok, e = pcall(string.rep, 'x', 9223372036854775807)\nreturn 'caught: ' .. tostring(e)")),
              "not enough memory");
    EXPECT_EQ(describe(run(vm, "return 1")), "=1");
}

// Runs `source` in a child process whose address space is capped, and returns what the run reported
// followed by the result of a second, small run in the same VM. By default the VM lives on a fresh
// thread, so no per-thread state of the library exists before the cap; `onMainThread` runs it on the
// child's main thread instead.
std::string runUnderAddressSpaceCap(const std::string& source, rlim_t cap, bool onMainThread = false)
{
    int channel[2];
    if (pipe(channel) != 0)
    {
        return "pipe failed";
    }
    const pid_t child = fork();
    if (child == 0)
    {
        close(channel[0]);
        std::string report;
        auto body = [&] {
            const rlimit limit{cap, cap};
            setrlimit(RLIMIT_AS, &limit);
            LuaVM vm;
            report = describe(run(vm, source));
            report += " | then " + describe(run(vm, "return 6 * 7"));
        };
        if (onMainThread)
        {
            body();
        }
        else
        {
            std::thread(body).join();
        }
        const ssize_t written = write(channel[1], report.data(), report.size());
        _exit(written == static_cast<ssize_t>(report.size()) ? 0 : 3);
    }
    close(channel[1]);
    std::string report;
    char buffer[512];
    for (ssize_t got; (got = read(channel[0], buffer, sizeof buffer)) > 0;)
    {
        report.append(buffer, static_cast<std::size_t>(got));
    }
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    {
        return report + " [child died: status " + std::to_string(status) + "]";
    }
    return report;
}

constexpr rlim_t kCap = rlim_t{768} << 20;

class ExhaustionTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (VELMAR_ADVERSARIAL_ASAN)
        {
            // AddressSanitizer reports a failed operator new as a fatal error and cannot run under an
            // address-space cap; these cases run in the ordinary build.
            GTEST_SKIP() << "real allocation failure is fatal under AddressSanitizer";
        }
    }
};

TEST_F(ExhaustionTest, StringRepLargerThanMemory)
{
    EXPECT_EQ(runUnderAddressSpaceCap("return #string.rep('x', 1099511627776)", kCap), "not enough memory | then =42");
    EXPECT_EQ(runUnderAddressSpaceCap("return #string.rep('0123456789', 100000000)", kCap),
              "not enough memory | then =42");
}

TEST_F(ExhaustionTest, ConcatenationThatDoublesUntilMemoryRunsOut)
{
    EXPECT_EQ(runUnderAddressSpaceCap("local s = string.rep('x', 1048576) while true do s = s .. s end", kCap),
              "not enough memory | then =42");
    EXPECT_EQ(runUnderAddressSpaceCap("local s = string.rep('x', 1048576) while true do s = s .. 1 .. s end", kCap),
              "not enough memory | then =42");
}

TEST_F(ExhaustionTest, TablesAndStringsThatGrowUntilMemoryRunsOut)
{
    EXPECT_EQ(runUnderAddressSpaceCap("local t = {} local i = 1 while true do t[i] = i i = i + 1 end", kCap),
              "not enough memory | then =42");
    EXPECT_EQ(runUnderAddressSpaceCap("local t = {} local i = 1 while true do t['k' .. i] = {} i = i + 1 end", kCap),
              "not enough memory | then =42");
    EXPECT_EQ(runUnderAddressSpaceCap("local t = {} local s = string.rep('x', 65536) while true do t[#t + 1] = s .. #t end",
                                      kCap),
              "not enough memory | then =42");
}

// Releasing values during memory exhaustion (the unwinding after the failed allocation) must not need
// memory: no thread-exit destructor to register, no worklist to grow. Run it alone (as ctest does): an
// earlier test in the same process may already have touched the thread's state.
TEST_F(ExhaustionTest, ReleasingDuringExhaustionNeedsNoMemory)
{
    EXPECT_EQ(runUnderAddressSpaceCap("local t = {} local i = 1 while true do t['k' .. i] = {} i = i + 1 end", kCap, true),
              "not enough memory | then =42");
}

TEST_F(ExhaustionTest, LibraryFunctionsThatBuildLargeResults)
{
    EXPECT_EQ(runUnderAddressSpaceCap("local t = {} for i = 1, 100 do t[i] = string.rep('x', 4194304) end\n"
                                      "local s = table.concat(t) return #table.concat({s, s, s})",
                                      kCap),
              "not enough memory | then =42");
    EXPECT_EQ(runUnderAddressSpaceCap("local s = string.rep('a', 1048576)\nreturn #string.gsub(s, 'a', string.rep('b', 1024))", kCap),
              "not enough memory | then =42");
    EXPECT_EQ(runUnderAddressSpaceCap("local s = string.rep('a', 268435456)\nreturn #string.format('%s%s%s', s, s, s)", kCap),
              "not enough memory | then =42");
}

} // namespace
