// Number to text: six decimals with rounding carry, signs of zero, the special values.
#include "support/NumberFormat.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

TEST(NumberFormatTest, DoublesShowSixDecimals)
{
    EXPECT_EQ(zq::to_string(0.5), "0.500000");
    EXPECT_EQ(zq::to_string(1.0), "1.000000");
    EXPECT_EQ(zq::to_string(2.5), "2.500000");
    EXPECT_EQ(zq::to_string(-1.25), "-1.250000");
    EXPECT_EQ(zq::to_string(3.14159265), "3.141593");
}

TEST(NumberFormatTest, RoundingCarriesIntoTheIntegerPart)
{
    EXPECT_EQ(zq::to_string(0.9999999), "1.000000");
    EXPECT_EQ(zq::to_string(-9.9999996), "-10.000000");
    EXPECT_EQ(zq::to_string(0.0000004), "0.000000");
    EXPECT_EQ(zq::to_string(0.0000005), "0.000001");
}

TEST(NumberFormatTest, ZeroKeepsItsSign)
{
    EXPECT_EQ(zq::to_string(0.0), "0.000000");
    EXPECT_EQ(zq::to_string(-0.0), "-0.000000");
}

TEST(NumberFormatTest, SpecialValuesHaveNoDecimals)
{
    EXPECT_EQ(zq::to_string(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(zq::to_string(-std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(zq::to_string(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(zq::to_string(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(NumberFormatTest, HugeMagnitudesSaturateTheIntegerPart)
{
    EXPECT_EQ(zq::to_string(1e300), "18446744073709551615.000000");
    EXPECT_EQ(zq::to_string(9007199254740993.0), "9007199254740992.000000");
}

TEST(NumberFormatTest, IntegersArePlainDecimal)
{
    EXPECT_EQ(zq::to_string(0LL), "0");
    EXPECT_EQ(zq::to_string(-42LL), "-42");
    EXPECT_EQ(zq::to_string(std::numeric_limits<long long>::min()), "-9223372036854775808");
    EXPECT_EQ(zq::to_string(std::numeric_limits<long long>::max()), "9223372036854775807");
}

} // namespace
