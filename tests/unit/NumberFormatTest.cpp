// Number to text: six decimals with rounding carry, signs of zero, the special values; exact floor and round.
#include "support/ExactMath.hpp"
#include "support/NumberFormat.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

namespace
{

TEST(NumberFormatTest, SixDecimalsCarriesSignsSpecialsAndSaturation)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> doubles[] = {
        {0.5, "0.500000"}, {-1.25, "-1.250000"}, {3.14159265, "3.141593"},
        // Rounding carries into the integer part, in both signs.
        {0.9999999, "1.000000"}, {-9.9999996, "-10.000000"}, {0.0000004, "0.000000"}, {0.0000005, "0.000001"},
        {0.0, "0.000000"}, {-0.0, "-0.000000"}, // zero keeps its sign
        {nan, "nan"}, {-nan, "nan"}, {inf, "inf"}, {-inf, "-inf"},
        // The integer part saturates at 2^64 - 1; a double keeps its own value, not its literal's.
        {1e300, "18446744073709551615.000000"}, {9007199254740993.0, "9007199254740992.000000"},
    };
    for (const auto& [value, text] : doubles)
    {
        EXPECT_EQ(zq::to_string(value), text);
    }
    EXPECT_EQ(zq::to_string(0LL), "0");
    EXPECT_EQ(zq::to_string(-42LL), "-42");
    EXPECT_EQ(zq::to_string(std::numeric_limits<long long>::min()), "-9223372036854775808");
    EXPECT_EQ(zq::to_string(std::numeric_limits<long long>::max()), "9223372036854775807");
}

// floorExact and roundExact agree with the C library's floor and round (exact on this desktop) on the
// edges where a soft-float library went wrong: large negative values with a fraction, halves, zeros of
// both signs, the limits of exact doubles, and the special values.
TEST(ExactMathTest, AgreesWithTheCLibraryOnEveryEdge)
{
    const double cases[] = {0.0, -0.0, 0.5, -0.5, 1.5, -1.5, 2.5, -2.5, 0.49999999999999994, -0.49999999999999994,
        0.999999, -0.000001, -3000000000.5, -2147483648.5, -1125899906842623.5, -2251799813685247.5,
        -4503599627370495.5, 4503599627370495.5, 4503599627370496.0, -4503599627370497.0, 9007199254740993.0,
        -9223372036854775808.0, 1e300, -1e300, 5e-324, -5e-324, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity()};
    for (const double x : cases)
    {
        for (const double y : {x, std::nextafter(x, 0.0), std::nextafter(x, x < 0 ? -1e308 : 1e308)})
        {
            EXPECT_EQ(zq::floorExact(y), std::floor(y)) << y;
            EXPECT_EQ(std::signbit(zq::floorExact(y)), std::signbit(std::floor(y))) << y;
            EXPECT_EQ(zq::roundExact(y), std::round(y)) << y;
            EXPECT_EQ(std::signbit(zq::roundExact(y)), std::signbit(std::round(y))) << y;
        }
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(zq::floorExact(nan)));
    EXPECT_TRUE(std::isnan(zq::roundExact(nan)));
}

} // namespace
