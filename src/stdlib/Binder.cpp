// Library binding: the predefined globals in their fixed order, and the argument checks.
#include "runtime/NativeObject.hpp"
#include "stdlib/Library.hpp"

namespace velmar::lua
{

void LuaVM::Impl::bindDefaults()
{
    // The order fixes the insertion order of the library tables, which pairs exposes.
    bindBaseLibrary(*this);
    bindStringLibrary(*this);
    bindTableLibrary(*this);
    bindMathLibrary(*this);
    bindIoLibrary(*this);
    bindOsLibrary(*this);
}

Ref<Table> makeLibraryTable(LuaVM::Impl& vm, const char* name)
{
    Ref<Table> table = makeTable();
    vm.setGlobalValue(name, Value(table));
    return table;
}

void LuaVM::Impl::failArgumentCount(const char* name, std::size_t min, std::size_t max)
{
    std::string message = std::string(name) + " expects ";
    if (min == max)
    {
        message += std::to_string(min) + (min == 1 ? " argument" : " arguments");
    }
    else if (max == kUnbounded)
    {
        message += "at least " + std::to_string(min) + " arguments"; // plural even for 1, as shipped
    }
    else
    {
        message += "between " + std::to_string(min) + " and " + std::to_string(max) + " arguments";
    }
    throw zq::runtime_error(std::move(message));
}

std::int64_t LuaVM::Impl::requireInteger(const char* name, ValueSpan args, std::size_t index, std::uint32_t line)
{
    if (index >= args.size() || !args[index].isNumber())
    {
        failRuntime(line, std::string(name) + " expects a numeric argument");
    }
    return args[index].asInteger();
}

double LuaVM::Impl::requireNumber(const char* name, ValueSpan args, std::size_t index, std::uint32_t line)
{
    if (index >= args.size() || !args[index].isNumber())
    {
        failRuntime(line, std::string(name) + " expects a numeric argument");
    }
    return args[index].asFloat();
}

const Value& LuaVM::Impl::requireString(const char* name, ValueSpan args, std::size_t index, std::uint32_t line)
{
    if (index >= args.size() || !args[index].isString())
    {
        failRuntime(line, std::string(name) + " expects a string argument");
    }
    return args[index];
}

Table* LuaVM::Impl::requireTable(const char* name, ValueSpan args, std::size_t index, std::uint32_t line)
{
    if (index >= args.size() || !args[index].isTable())
    {
        failRuntime(line, std::string(name) + " expects a table");
    }
    return args[index].table();
}

NativeObject* LuaVM::Impl::requireUserData(const char* name, ValueSpan args, std::uint32_t line, std::uint8_t kind)
{
    if (args.empty() || args[0].kind() != ValueKind::UserData)
    {
        failRuntime(line, std::string(name) + " expects userdata");
    }
    NativeObject* object = args[0].userData();
    if (!object || static_cast<std::uint8_t>(object->kind) != kind)
    {
        failRuntime(line, std::string(name) + " received the wrong userdata type");
    }
    return object;
}

} // namespace velmar::lua
