// The math library: min, max and floor, with double results folded back to integers where exact.
#include "runtime/Operators.hpp"
#include "runtime/WorkMeter.hpp"
#include "stdlib/Library.hpp"
#include "support/ExactMath.hpp"

#include <cmath>

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

// Only a strictly better value replaces the running one: the first of equal values wins, and a NaN is
// skipped unless it comes first.
template <bool kWantSmaller> MultiValue extremum(Impl& vm, const char* name, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount(name, args.size(), 1, kUnbounded);
    WorkMeter(vm, line).scanned(args.size()); // every argument is looked at
    double best = Impl::requireNumber(name, args, 0, line);
    for (std::size_t i = 1; i < args.size(); ++i)
    {
        const double candidate = Impl::requireNumber(name, args, i, line);
        if (kWantSmaller ? candidate < best : candidate > best)
        {
            best = candidate;
        }
    }
    return MultiValue(numericResult(best));
}

MultiValue mathMin(LuaVM& vm, ValueSpan args, unsigned line)
{
    return extremum<true>(Impl::of(vm), "math.min", args, line);
}

MultiValue mathMax(LuaVM& vm, ValueSpan args, unsigned line)
{
    return extremum<false>(Impl::of(vm), "math.max", args, line);
}

MultiValue mathFloor(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("math.floor", args.size(), 1, 1);
    // Integers exactly representable as doubles, and floats whose floor is, come back unchanged by the
    // round trip through double and numericResult: they skip it.
    constexpr double kExact = 9007199254740992.0; // 2^53
    if (args[0].isInteger() && args[0].integer() >= -(1LL << 53) && args[0].integer() <= (1LL << 53))
    {
        return MultiValue(args[0]);
    }
    if (args[0].isFloat() && std::fabs(args[0].number()) < kExact)
    {
        return MultiValue(Value(static_cast<long long>(zq::floorExact(args[0].number()))));
    }
    return MultiValue(numericResult(zq::floorExact(Impl::requireNumber("math.floor", args, 0, line))));
}

} // namespace

void bindMathLibrary(LuaVM::Impl& vm)
{
    Ref<Table> table = makeLibraryTable(vm, "math");
    vm.bindTableFunction(*table, "min", mathMin);
    vm.bindTableFunction(*table, "max", mathMax);
    vm.bindTableFunction(*table, "floor", mathFloor);
}

} // namespace velmar::lua
