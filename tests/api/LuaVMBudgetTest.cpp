// Budgets a host can size its process by: every operation whose work grows with its data spends steps
// for it, an interrupt stops it in its middle, and what it builds counts against the memory limit.
#include <velmar/lua/HostInterface.hpp>
#include <velmar/lua/LuaVM.hpp>

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace
{

using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

constexpr const char* kScratch = "velmar-budget-test.tmp";

// One operation at a hostile size: `setup` runs without limits, then `operation` (one line) alone.
struct Hostile
{
    const char* kind;
    const char* setup;
    const char* operation;
};

// One per kind of work. Each operation is a single call or statement, so without its own charge it
// would cost a handful of steps.
const Hostile kOperations[] = {
    {"default sort of numbers", "t = {} for i = 1, 20000 do t[i] = (i * 7919) % 20011 end", "table.sort(t)"},
    {"default sort of strings", "t = {} for i = 1, 20000 do t[i] = tostring((i * 7919) % 20011) end", "table.sort(t)"},
    {"default sort of mixed values", "t = {} for i = 1, 2000 do t[i] = i % 2 == 0 and i or tostring(-i) end",
     "table.sort(t)"},
    {"table.remove from the front", "t = {} for i = 1, 100000 do t[i] = i end", "table.remove(t, 1)"},
    {"table.concat of short parts", "t = {} for i = 1, 100000 do t[i] = 'a' end", "local s = table.concat(t)"},
    {"length through the hash part", "t = {} for i = 100000, 66, -1 do t[i] = i end for i = 1, 65 do t[i] = i end",
     "local n = #t"},
    {"ipairs through the hash part", "t = {} for i = 100000, 66, -1 do t[i] = i end for i = 1, 65 do t[i] = i end",
     "local it = ipairs(t)"},
    {"pairs over a run of nils", "t = {} for i = 1, 100000 do t[i] = i end for i = 1, 99999 do t[i] = nil end",
     "for k in pairs(t) do end"},
    {"print of a large table", "t = {} for i = 1, 20000 do t[i] = i end", "print(t)"},
    {"print of a long string", "s = string.rep('x', 1000000)", "print(s)"},
    {"host function given a large table", "t = {} for i = 1, 20000 do t[i] = i end", "noop(t)"},
    {"tonumber of a long text", "s = string.rep('1', 1000000)", "local n = tonumber(s)"},
    {"string.unpack of many fields", "f = string.rep('I4', 20000) d = string.rep('abcd', 20000)",
     "local a = string.unpack(f, d)"},
    {"string.unpack of a long format", "f = string.rep(' ', 1000000)", "local a = string.unpack(f, '')"},
    {"equality of long strings", "a = string.rep('x', 1000000) b = string.rep('x', 1000000)", "local r = a == b"},
    {"order of long strings", "a = string.rep('x', 1000000) b = string.rep('x', 1000000)", "local r = a < b"},
    {"error text through pcall", "s = string.rep('x', 1000000)", "pcall(error, s)"},
    {"gmatch of many matches", "s = string.rep('a', 100000)", "local it = string.gmatch(s, 'a')"},
    {"gsub of many matches", "s = string.rep('a', 100000)", "local r = string.gsub(s, 'a', 'b')"},
    {"string.format of a long text", "s = string.rep('x', 1000000)", "local r = string.format('%s', s)"},
    {"io.write of a long text", "s = string.rep('x', 1000000)", "io.write(s)"},
    {"file write", "f = io.open('velmar-budget-test.tmp', 'w') s = string.rep('x', 1000000)", "f:write(s)"},
    {"file write far past the end", "f = io.open('velmar-budget-test.tmp', 'w')",
     "f:seek('set', 10000000) f:write('x')"},
    {"file read", "f = io.open('velmar-budget-test.tmp', 'w') f:write(string.rep('x', 1000000)) f:close()"
                  " f = io.open('velmar-budget-test.tmp')",
     "local s = f:read('*a')"},
    {"file open", "f = io.open('velmar-budget-test.tmp', 'w') f:write(string.rep('x', 1000000)) f:close()",
     "local g = io.open('velmar-budget-test.tmp', 'a')"},
};

int discardLine(const char*)
{
    return 1;
}

// The console output of these tests is large and of no interest.
class BudgetTest : public testing::Test
{
protected:
    // Each test works in a directory of its own process: ctest runs the cases of this file side by side,
    // and one case's clean-up must not remove the scratch file another is in the middle of using.
    void SetUp() override
    {
        silent_ = *zq_desktop_program_api();
        silent_.write_line = discardLine;
        previous_ = zq_set_program_api(&silent_);
        previousDirectory_ = std::filesystem::current_path();
        directory_ = std::filesystem::temp_directory_path() / ("velmar-budget-" + std::to_string(::getpid()));
        std::filesystem::create_directories(directory_);
        std::filesystem::current_path(directory_);
    }
    void TearDown() override
    {
        zq_set_program_api(previous_);
        std::filesystem::current_path(previousDirectory_);
        std::filesystem::remove_all(directory_);
    }

    static LuaVM makeVm(const Hostile& hostile)
    {
        LuaVM vm;
        vm.bindFunction("noop", [](LuaVM&, const std::vector<LuaValue>&) { return LuaValue(); });
        const LuaResult setup = vm.runScriptString(hostile.setup, "setup.lua");
        EXPECT_TRUE(setup.success) << hostile.kind << ": " << setup.error;
        return vm;
    }

private:
    zq_program_api silent_{};
    const zq_program_api* previous_ = nullptr;
    std::filesystem::path previousDirectory_;
    std::filesystem::path directory_;
};

// Under a budget of 50 steps each operation stops at its own line; with a generous budget it completes.
TEST_F(BudgetTest, EveryOperationSpendsStepsInProportionToItsWork)
{
    for (const Hostile& hostile : kOperations)
    {
        LuaVM vm = makeVm(hostile);
        vm.setStepLimit(50);
        const LuaResult stopped = vm.runScriptString(std::string("\n") + hostile.operation, "op.lua");
        EXPECT_EQ(stopped.error, "op.lua:2: step limit exceeded") << hostile.kind;
        vm.setStepLimit(50000000);
        const LuaResult completed = vm.runScriptString(hostile.operation, "op.lua");
        EXPECT_TRUE(completed.success) << hostile.kind << ": " << completed.error;
    }
}

// The fewest steps `source` completes in (the step limit at which it first succeeds).
std::uint64_t stepsToRun(const std::string& setup, const std::string& source)
{
    std::uint64_t low = 1;
    std::uint64_t high = 1u << 16;
    while (low < high)
    {
        const std::uint64_t limit = (low + high) / 2;
        LuaVM vm;
        EXPECT_TRUE(vm.runScriptString(setup, "setup.lua").success) << setup;
        vm.setStepLimit(limit);
        if (vm.runScriptString(source, "list.lua").success)
        {
            high = limit;
        }
        else
        {
            low = limit + 1;
        }
    }
    return low;
}

// "x1, x2, ..., xN" (each followed by `tail`), or N copies of `item` when `numbered` is false.
std::string sourceList(const char* item, int count, bool numbered, const char* tail = "")
{
    std::string out;
    for (int i = 1; i <= count; ++i)
    {
        out += (i == 1 ? "" : ", ") + std::string(item) + (numbered ? std::to_string(i) : "") + tail;
    }
    return out;
}

// Lists whose length is in the source spend a step per 16 items over the step of their statement or
// call, so a statement of thousands of items cannot pass for one step.
TEST_F(BudgetTest, SourceSizedListsSpendAStepPerSixteenItems)
{
    struct Shape
    {
        const char* kind;
        std::string setup;
        std::string (*source)(int items);
    };
    const Shape shapes[] = {
        {"table constructor", "", [](int n) { return "local t = {" + sourceList("7", n, false) + "}"; }},
        {"named fields", "", [](int n) { return "local t = {" + sourceList("k", n, true, " = 7") + "}"; }},
        {"call arguments", "function f() end", [](int n) { return "f(" + sourceList("7", n, false) + ")"; }},
        {"method call arguments", "o = {} function o.m() end",
         [](int n) { return "o:m(" + sourceList("7", n, false) + ")"; }},
        {"parameters", "", [](int n) { return "local function f(" + sourceList("p", n, true) + ") end f()"; }},
        {"returned values", "", [](int n) { return "local function f() return " + sourceList("7", n, false) +
                                                   " end local r = f()"; }},
        {"assignment targets", "", [](int n) { return "local " + sourceList("v", n, true) + " = 1"; }},
        {"assigned values", "", [](int n) { return "local a, b = " + sourceList("7", n, false); }},
    };
    for (const Shape& shape : shapes)
    {
        const std::uint64_t one = stepsToRun(shape.setup, shape.source(1));
        EXPECT_EQ(stepsToRun(shape.setup, shape.source(15)), one) << shape.kind;
        EXPECT_EQ(stepsToRun(shape.setup, shape.source(1600)), one + 100) << shape.kind;
    }
}

// Interrupted from another thread while it is in progress, an operation never completes: the statement
// after it does not run, and the run fails at the operation's own line.
TEST_F(BudgetTest, AnInterruptStopsEveryLongOperationInItsMiddle)
{
    const Hostile longOperations[] = {
        {"string.rep of a huge size", "", "x = string.rep('x', 2000000000)"},
        {"tonumber of a long text", "s = string.rep('7', 200000000)", "x = tonumber(s)"},
        {"table.concat", "t = {} for i = 1, 2000000 do t[i] = 'abcdefgh' end",
         "for i = 1, 100 do x = table.concat(t) end"},
        {"table.sort of a million elements", "t = {} for i = 1, 1000000 do t[i] = tostring((i * 7919) % 1000003) end",
         "table.sort(t) x = true"},
        {"print of a huge table", "t = {} for i = 1, 1000000 do t[i] = i end", "for i = 1, 100 do print(t) end x = true"},
        {"file writes", "f = io.open('velmar-budget-test.tmp', 'w') s = string.rep('x', 100000000)",
         "for i = 1, 100 do f:seek('set', 0) f:write(s) end x = true"},
        {"the evaluator", "", "while true do end"},
    };
    for (const Hostile& hostile : longOperations)
    {
        LuaVM vm = makeVm(hostile);
        vm.bindFunction("ready", [](LuaVM& self, const std::vector<LuaValue>&) {
            std::thread([&self] {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                self.interrupt();
            }).detach();
            return LuaValue();
        });
        const LuaResult result = vm.runScriptString(std::string("ready()\n") + hostile.operation, "op.lua");
        EXPECT_EQ(result.error, "op.lua:2: interrupted") << hostile.kind;
        LuaValue finished;
        EXPECT_FALSE(vm.getGlobal("x", finished)) << hostile.kind << " completed";
        std::this_thread::sleep_for(std::chrono::milliseconds(40)); // the interrupting thread is done with vm
    }
}

// A host function that interrupts its own interpreter stops the run at the very next step, though
// interrupts from elsewhere are only looked at every so many steps.
TEST_F(BudgetTest, AHostFunctionsOwnInterruptStopsTheNextStatement)
{
    LuaVM vm;
    vm.bindFunction("stop", [](LuaVM& self, const std::vector<LuaValue>&) {
        self.interrupt();
        return LuaValue();
    });
    EXPECT_EQ(vm.runScriptString("local n = 0\nstop()\nx = true", "own.lua").error, "own.lua:3: interrupted");
    LuaValue finished;
    EXPECT_FALSE(vm.getGlobal("x", finished));
    EXPECT_TRUE(vm.runScriptString("x = true", "next.lua").success); // the next run starts uninterrupted
}

constexpr std::size_t kMiB = 1u << 20;

// Memory that is not a script value still counts: file buffers, whole-file reads, the public copies
// made for print and host functions, texts being built.
TEST_F(BudgetTest, TheMemoryLimitCoversWhatOperationsBuild)
{
    const Hostile cases[] = {
        {"a file written whole", "s = string.rep('x', 1048576)",
         "local f = io.open('velmar-budget-test.tmp', 'w') for i = 1, 24 do f:write(s) end"},
        {"a write far past the end", "", "local f = io.open('velmar-budget-test.tmp', 'w') f:seek('set', 100000000) f:write('x')"},
        {"a file opened for reading", "", "local f = io.open('velmar-budget-test.tmp')"},
        {"a file opened for appending", "", "local f = io.open('velmar-budget-test.tmp', 'a')"},
        {"print of a large table", "t = {} for i = 1, 100000 do t[i] = i end", "print(t)"},
        {"a host function given a large table", "t = {} for i = 1, 100000 do t[i] = i end", "noop(t)"},
        {"table.concat", "t = {} s = string.rep('x', 65536) for i = 1, 256 do t[i] = s end",
         "local r = table.concat(t)"},
        {"string.gsub", "s = string.rep('a', 1000000)", "local r = string.gsub(s, 'a', string.rep('b', 20))"},
    };
    for (const Hostile& hostile : cases)
    {
        std::FILE* big = std::fopen(kScratch, "wb"); // 24 MiB, rewritten each time: a failed case may empty it
        ASSERT_NE(big, nullptr);
        const std::string chunk(kMiB, 'x');
        for (int i = 0; i < 24; ++i)
        {
            std::fwrite(chunk.data(), 1, chunk.size(), big);
        }
        std::fclose(big);
        LuaVM vm = makeVm(hostile);
        vm.setMemoryLimit(8 * kMiB);
        const LuaResult result = vm.runScriptString(hostile.operation, "op.lua");
        EXPECT_EQ(result.error, "not enough memory") << hostile.kind;
        EXPECT_LT(vm.memoryInUse(), 8 * kMiB) << hostile.kind;
        // Nothing it held is still counted once the run is over, and the VM goes on.
        vm.setMemoryLimit(0);
        EXPECT_TRUE(vm.runScriptString("t = nil s = nil", "clear.lua").success);
        EXPECT_LT(vm.memoryInUse(), kMiB) << hostile.kind;
    }
}

// An open file's buffer stays counted while it is open and is given back when it is closed.
TEST_F(BudgetTest, OpenFilesHoldTheirMemoryUntilClosed)
{
    LuaVM vm;
    const std::size_t empty = vm.memoryInUse();
    ASSERT_TRUE(vm.runScriptString("f = io.open('velmar-budget-test.tmp', 'w') f:write(string.rep('x', 3000000))",
                                   "open.lua")
                    .success);
    EXPECT_GE(vm.memoryInUse(), empty + 4 * kMiB); // the buffer, grown by doubling to 4 MiB
    ASSERT_TRUE(vm.runScriptString("f:close()", "close.lua").success);
    EXPECT_LT(vm.memoryInUse(), empty + kMiB);
}

} // namespace
