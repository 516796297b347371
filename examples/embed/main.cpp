// A minimal host: bind a native function, run a script that uses it, and read back results.
#include <velmar/lua/LuaVM.hpp>

#include <cstdio>

int main()
{
    using velmar::lua::LuaValue;
    velmar::lua::LuaVM vm;

    // Scripts call greet(name, times); the host returns one value to them.
    vm.bindFunction("greet", [](velmar::lua::LuaVM&, const std::vector<LuaValue>& args) {
        std::string text;
        for (long long i = 0; i < args.at(1).asInteger(); ++i)
        {
            text += "hello " + args.at(0).asString() + "! ";
        }
        return LuaValue(text);
    });
    vm.setGlobal("config", LuaValue(velmar::lua::LuaMap{{"name", LuaValue("host")}, {"times", LuaValue(2)}}));

    const velmar::lua::LuaResult result = vm.runScriptString(R"(
        local message = greet(config.name, config.times)
        print(message)
        total = 0
        for i = 1, 10 do total = total + i end
        return #message, total / 4
    )",
                                                             "example.lua");
    if (!result.success)
    {
        std::fprintf(stderr, "script failed: %s\n", result.error.c_str());
        return 1;
    }
    LuaValue total;
    vm.getGlobal("total", total);
    std::printf("script returned %s; total is %lld\n", result.value.toString().c_str(), total.asInteger());
    return 0;
}
