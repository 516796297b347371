// Faults at the public interface: moved-from interpreters, empty function handles, and host exceptions
// from outside the library's family.
#include "Outcome.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using velmar::lua::LuaBytecode;
using velmar::lua::LuaFunctionHandle;
using velmar::lua::LuaResult;
using velmar::lua::LuaValue;
using velmar::lua::LuaVM;

using testapi::outcome;

TEST(MovedFromTest, EveryMemberIsSafe)
{
    LuaVM source;
    LuaVM target(std::move(source));
    LuaVM assigned;
    assigned = std::move(target);
    for (LuaVM* moved : {&source, &target})
    {
        EXPECT_EQ(outcome(moved->runScriptString("return 1", "main.lua")), "error: this interpreter was moved from");
        EXPECT_EQ(outcome(moved->runScriptFile("missing.lua")), "error: this interpreter was moved from");
        EXPECT_EQ(outcome(moved->runBytecode(LuaBytecode{})), "error: this interpreter was moved from");
        EXPECT_EQ(outcome(moved->runBytecodeFile("missing.vlbc")), "error: this interpreter was moved from");
        EXPECT_EQ(outcome(moved->runScriptFromBytecodeFile("missing.vlbc")), "error: this interpreter was moved from");
        std::string error;
        EXPECT_FALSE(moved->writeBytecodeFile("return 1", "never.vlbc", "main.lua", &error));
        EXPECT_EQ(error, "this interpreter was moved from");
        EXPECT_THROW(moved->compileScript("return 1", "main.lua"), std::exception);
        moved->setGlobal("x", LuaValue(1));
        moved->bindFunction("f", [](LuaVM&, const std::vector<LuaValue>&) { return LuaValue(); });
        moved->setStepLimit(10);
        moved->setMemoryLimit(10);
        moved->interrupt();
        LuaValue out;
        EXPECT_FALSE(moved->getGlobal("x", out));
        EXPECT_EQ(moved->memoryInUse(), 0u);
    }
    // The interpreter that was moved twice still works, and a moved-from one takes a new one.
    EXPECT_EQ(outcome(assigned.runScriptString("return 2", "main.lua")), "=2");
    source = std::move(assigned);
    EXPECT_EQ(outcome(source.runScriptString("return 3", "main.lua")), "=3");
}

// A host can hand over a function value whose handle is empty: it reads, prints and types as a
// function, compares equal to itself, and calling it fails as the language says.
TEST(EmptyFunctionTest, AGlobalHoldingAnEmptyHandleIsAnUncallableFunction)
{
    LuaVM vm;
    vm.setGlobal("f", LuaValue(std::shared_ptr<LuaFunctionHandle>()));
    EXPECT_EQ(outcome(vm.runScriptString("local g = f return type(g), tostring(g), g == f", "main.lua")),
              "=[function, function: anonymous, true]");
    EXPECT_EQ(outcome(vm.runScriptString("print(f) return 1", "main.lua")), "=1");
    EXPECT_EQ(outcome(vm.runScriptString("\nf()", "main.lua")), "error: main.lua:2: attempt to call an empty function");
    EXPECT_EQ(outcome(vm.runScriptString("return pcall(f, 1)", "main.lua")),
              "=[false, attempt to call an empty function]");
    EXPECT_EQ(outcome(vm.runScriptString("return {f, f}", "main.lua")), "=[[function anonymous], [function anonymous]]");
    LuaValue back;
    ASSERT_TRUE(vm.getGlobal("f", back));
    EXPECT_EQ(back.type(), LuaValue::Type::Function);
    EXPECT_EQ(back.asFunction(), nullptr); // it leaves as it came: empty
}

struct HostFailure : std::logic_error
{
    using std::logic_error::logic_error;
};

// A host function's own exception passes to the run's caller, from any depth of calls and pcalls, and
// the interpreter is fully usable afterwards: protected-call depth, step budget, memory enforcement.
TEST(ForeignExceptionTest, TheVmIsFullyUsableAfterwards)
{
    LuaVM vm;
    vm.bindFunction("explode", [](LuaVM&, const std::vector<LuaValue>&) -> LuaValue { throw HostFailure("boom"); });
    vm.setStepLimit(1000);
    vm.setMemoryLimit(1u << 20);
    const char* const throwing[] = {
        "explode()",
        "pcall(explode)",
        "pcall(function() pcall(function() local t = {} for i = 1, 100 do t[i] = i end explode() end) end)",
        "local function deep(n) if n == 0 then explode() end return deep(n - 1) end pcall(deep, 50)",
        "for k in pairs({1, 2, 3}) do pcall(table.sort, {3, 2, 1}, function(a, b) explode() end) end",
    };
    for (const char* source : throwing)
    {
        EXPECT_THROW(vm.runScriptString(std::string("for i = 1, 400 do end\n") + source, "main.lua"), HostFailure)
            << source;
        // Errors are unprotected again (not caught by a pcall left open), the budget is whole again (900
        // steps would not be left over), and the memory limit is enforced only during runs.
        EXPECT_EQ(outcome(vm.runScriptString("for i = 1, 900 do end\nerror('after')", "main.lua")),
                  "error: main.lua:2: after")
            << source;
        EXPECT_EQ(outcome(vm.runScriptString("return pcall(error, 'caught')", "main.lua")), "=[false, caught]");
        EXPECT_NO_THROW(vm.setGlobal("big", LuaValue(std::string(2u << 20, 'x'))));
        vm.setGlobal("big", LuaValue());
        vm.setStepLimit(0);
        EXPECT_EQ(outcome(vm.runScriptString("local s = string.rep('x', 4000000)", "main.lua")),
                  "error: not enough memory");
        vm.setStepLimit(1000);
        EXPECT_EQ(outcome(vm.runScriptString(
                      "local function f(n) if n == 0 then return 0 end return 1 + f(n - 1) end return f(150)", "main.lua")),
                  "=150");
    }
}

} // namespace
