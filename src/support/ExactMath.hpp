// floor and round of a double, exact for every input on every C library: some soft-float libraries
// get large negative values wrong by a power of two, and scripts see these results as integers.
#pragma once

#include <cmath>

namespace zq
{

// Doubles of this magnitude or more have no fraction bits.
inline constexpr double kIntegralMagnitude = 4503599627370496.0; // 2^52

// The largest integral value not above `x`; NaN, infinities and integral values come back unchanged.
inline double floorExact(double x) noexcept
{
    if (!(std::fabs(x) < kIntegralMagnitude))
    {
        return x;
    }
    double whole = static_cast<double>(static_cast<long long>(x)); // truncated, exactly
    if (whole > x)
    {
        whole -= 1.0;
    }
    return whole == 0.0 ? std::copysign(0.0, x) : whole;
}

// The nearest integral value, halfway cases away from zero (as std::round).
inline double roundExact(double x) noexcept
{
    if (!(std::fabs(x) < kIntegralMagnitude))
    {
        return x;
    }
    double whole = static_cast<double>(static_cast<long long>(x));
    const double fraction = x - whole; // exact: both lie within one binade step of each other
    if (fraction >= 0.5)
    {
        whole += 1.0;
    }
    else if (fraction <= -0.5)
    {
        whole -= 1.0;
    }
    return whole == 0.0 ? std::copysign(0.0, x) : whole;
}

} // namespace zq
