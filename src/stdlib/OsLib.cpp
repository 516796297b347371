// The os library: execute through the host's command runner, and exit.
#include "stdlib/Library.hpp"
#include "host/SystemServices.hpp"

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

MultiValue osExecute(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("os.execute", args.size(), 1, 1);
    const Value& command = Impl::requireString("os.execute", args, 0, line);
    return MultiValue(Value(static_cast<long long>(zq::system(command.string()->data()))));
}

// Ends the run from anywhere: the exit signal belongs to no error family, so pcall lets it through.
MultiValue osExit(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("os.exit", args.size(), 0, 1);
    const std::int64_t code = args.empty() ? 0 : Impl::requireInteger("os.exit", args, 0, line);
    throw ExitSignal{static_cast<std::int32_t>(code)}; // narrowed to 32 bits, keeping the low bits
}

} // namespace

void bindOsLibrary(LuaVM::Impl& vm)
{
    Ref<Table> table = makeLibraryTable(vm, "os");
    vm.bindTableFunction(*table, "execute", osExecute);
    vm.bindTableFunction(*table, "exit", osExit);
}

} // namespace velmar::lua
