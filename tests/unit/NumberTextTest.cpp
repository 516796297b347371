// Shortened number texts must read exactly as the long ones: same value bits, same range error, same
// "all of it was read". Checked against the C library itself on hand-picked corners and generated texts.
#include "support/NumberText.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

struct Reading
{
    bool whole = false;
    int error = 0;
    std::uint64_t bits = 0;
    bool operator==(const Reading&) const = default;
};

Reading readInteger(const std::string& text, int base)
{
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, base);
    return {end == text.c_str() + text.size(), errno, static_cast<std::uint64_t>(value)};
}

Reading readFloat(const std::string& text)
{
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    Reading reading{end == text.c_str() + text.size(), errno, 0};
    std::memcpy(&reading.bits, &value, sizeof value);
    return reading;
}

int checkpoints = 0;
const zq::ScanCheckpoint countCheckpoint = [] { ++checkpoints; };

// The shortened text must read whole, as the original does, or be absent when the original is not read whole.
void expectSameInteger(const std::string& text, int base)
{
    const std::optional<std::string> shortened = zq::shortIntegerText(text, base, countCheckpoint);
    const Reading original = readInteger(text, base);
    if (!shortened)
    {
        EXPECT_FALSE(original.whole) << "base " << base << ": " << text.substr(0, 200);
        return;
    }
    EXPECT_LE(shortened->size(), 80u);
    EXPECT_EQ(readInteger(*shortened, base), original) << "base " << base << ": " << text.substr(0, 200)
                                                       << " -> " << *shortened;
}

void expectSameFloat(const std::string& text)
{
    const std::optional<std::string> shortened = zq::shortFloatText(text, countCheckpoint);
    const Reading original = readFloat(text);
    if (!shortened)
    {
        EXPECT_FALSE(original.whole) << text.substr(0, 200);
        return;
    }
    EXPECT_LE(shortened->size(), 850u);
    EXPECT_EQ(readFloat(*shortened), original) << text.substr(0, 200) << " -> " << shortened->substr(0, 200);
}

// The exact decimal digits of 2^-exponent (5^exponent, placed after the point).
std::string digitsOfPowerOfHalf(int exponent)
{
    std::vector<int> digits{1};
    for (int i = 0; i < exponent; ++i)
    {
        int carry = 0;
        for (auto it = digits.rbegin(); it != digits.rend(); ++it)
        {
            const int product = *it * 5 + carry;
            *it = product % 10;
            carry = product / 10;
        }
        if (carry != 0)
        {
            digits.insert(digits.begin(), carry);
        }
    }
    std::string text = "0." + std::string(exponent - digits.size(), '0');
    for (const int digit : digits)
    {
        text += static_cast<char>('0' + digit);
    }
    return text;
}

TEST(NumberTextTest, CornersReadAsTheCLibraryReadsThem)
{
    const std::string zeros(5000, '0');
    const std::string nines(5000, '9');
    const std::vector<std::string> texts = {
        "", " ", "+", "-", ".", "0", "-0", "00017", "0x1f", "0X1F", "0x", "0xg", "0x.", "0x.8", "0x.p1", "1e", "1e+",
        "1e-320", "0x1p-1074", "1e400", "-1e400", "  \t\n\v\f\r12", "12 ", "1_000", "9223372036854775807",
        "9223372036854775808", "-9223372036854775808", "-9223372036854775809", "inf", "-INF", "Infinity",
        "infinit", "nan", "NaN", "nan()", "nan(1)", "nan(017)", "nan(0x5)", "nan(abc)", "nan(0x)", "nan(08)",
        "nan(-5)", "nan( 5)", "nan(5", "0" + zeros + "17", "0x" + zeros + "1f", zeros + nines, "-" + zeros + "1",
        "1." + zeros, "1." + zeros + "1", "0." + zeros + "1e5000", nines + "e-5000", nines + "." + nines,
        "0x" + std::string(3000, 'f') + "p-12000", "1e" + zeros + "5", "1e-" + nines + nines,
        "0e" + nines + nines, "nan(" + nines + ")", "nan(" + nines + "_)", "nan(0x" + std::string(500, 'f') + ")",
        "nan(" + zeros + "5)", "nan(" + zeros + "a" + nines + ")", std::string(70000, ' ') + "42",
        std::string(70000, ' '), "0" + std::string(70000, '1') + "z",
    };
    for (const std::string& text : texts)
    {
        for (const int base : {0, 2, 8, 10, 16, 36})
        {
            expectSameInteger(text, base);
        }
        expectSameFloat(text);
    }
}

// Halfway between two doubles, a long mantissa rounds by its last digit: the cut must keep that.
TEST(NumberTextTest, MidpointsRoundByDigitsFarPastTheCut)
{
    const std::string halfOfSmallest = digitsOfPowerOfHalf(1075); // below 2^-1074, exactly halfway to zero
    const std::string aboveOne = "1" + digitsOfPowerOfHalf(53).substr(1); // halfway from 1 to the next double
    for (const std::string& midpoint : {halfOfSmallest, aboveOne})
    {
        expectSameFloat(midpoint);                                  // a tie: rounds to even
        expectSameFloat(midpoint + std::string(2000, '0'));         // still a tie
        expectSameFloat(midpoint + std::string(2000, '0') + "1");   // just above: rounds away
        expectSameFloat(midpoint.substr(0, midpoint.size() - 1) + "4" + std::string(2000, '9')); // just below
    }
    EXPECT_NE(readFloat(halfOfSmallest + std::string(2000, '0') + "1"), readFloat(halfOfSmallest));
}

TEST(NumberTextTest, GeneratedTextsReadAsTheCLibraryReadsThem)
{
    std::mt19937 random(20261124);
    const std::vector<std::string> pieces = {" ", "+", "-", "0", "00000", "1", "9", "7", "f", "F", "z", "x", "0x",
                                             ".", "e", "E", "p", "P", "e-", "p+", "_", "(", ")", "nan", "inf"};
    const auto runOf = [&](char c) { return std::string(random() % 3000, c); };
    for (int i = 0; i < 20000; ++i)
    {
        std::string text;
        const int count = static_cast<int>(random() % 7);
        for (int j = 0; j < count; ++j)
        {
            switch (random() % 4)
            {
            case 0: text += runOf("0123456789"[random() % 10]); break;
            case 1: text += runOf('0'); break;
            default: text += pieces[random() % pieces.size()]; break;
            }
        }
        for (const int base : {0, 10, 16})
        {
            expectSameInteger(text, base);
        }
        expectSameFloat(text);
    }
}

TEST(NumberTextTest, LongScansCallTheCheckpointPerBlock)
{
    checkpoints = 0;
    const std::string text = std::string(10 * zq::kCheckpointBytes, '0') + "5";
    EXPECT_EQ(zq::shortFloatText(text, countCheckpoint), std::optional<std::string>("0.5e1"));
    EXPECT_EQ(checkpoints, 10);
    const zq::ScanCheckpoint stop = [] { throw std::runtime_error("stopped"); };
    EXPECT_THROW(zq::shortIntegerText(text, 10, stop), std::runtime_error);
}

} // namespace
