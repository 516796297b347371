// Built against an installed VelmarLua: proves the headers, the package and the library work.
#include <velmar/lua/LuaVM.hpp>

#include <cstdio>

int main()
{
    velmar::lua::LuaVM vm;
    vm.bindFunction("twice", [](velmar::lua::LuaVM&, const std::vector<velmar::lua::LuaValue>& args) {
        return velmar::lua::LuaValue(args.at(0).asInteger() * 2);
    });
    const velmar::lua::LuaResult result = vm.runScriptString("return twice(21), _VERSION", "consumer");
    std::printf("%s\n", result.success ? result.value.toString().c_str() : result.error.c_str());
    return result.success ? 0 : 1;
}
