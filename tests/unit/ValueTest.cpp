// Runtime values: operator kernels, numeric views and sharing (texts, type names and what scripts see of
// the operators: tests/scripts/base and tests/scripts/values).
#include "runtime/Value.hpp"
#include "runtime/Operators.hpp"
#include "runtime/Function.hpp"
#include "runtime/Table.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace
{

using namespace velmar::lua;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

Value integer(std::int64_t i)
{
    return Value(static_cast<long long>(i));
}

// "i:<n>" or "f:<n>", so a test sees both the kind and the exact value.
std::string shape(const Value& v)
{
    char text[64];
    if (v.isInteger())
    {
        std::snprintf(text, sizeof text, "i:%lld", static_cast<long long>(v.integer()));
    }
    else
    {
        std::snprintf(text, sizeof text, "f:%.17g", v.number());
    }
    return text;
}

// The operators' corners on numbers: overflow to float, the near-integer rule at the 64-bit edges, the
// modulo that would trap (the values tests under tests/scripts cover what scripts see).
TEST(ValueTest, OperatorKernels)
{
    const auto add = [](const Value& a, const Value& b) { return arithmetic<TokenKind::Plus>(a, b, 1); };
    const auto subtract = [](const Value& a, const Value& b) { return arithmetic<TokenKind::Minus>(a, b, 1); };
    const auto multiply = [](const Value& a, const Value& b) { return arithmetic<TokenKind::Star>(a, b, 1); };
    const auto modulo = [](const Value& a, const Value& b) { return arithmetic<TokenKind::Percent>(a, b, 1); };
    const std::pair<Value, const char*> results[] = {
        {add(integer(2), integer(3)), "i:5"},
        {add(integer(kMax), integer(1)), "i:9223372036854775807"}, // 2^63 saturates
        {add(Value(0.1), Value(0.2)), "f:0.30000000000000004"},
        {subtract(integer(3), integer(5)), "i:-2"},
        {subtract(integer(kMin), integer(kMax)), "f:-1.8446744073709552e+19"},
        {multiply(integer(3037000499), integer(3037000499)), "i:9223372030926249001"},
        {multiply(Value(2.5), integer(2)), "i:5"},
        {modulo(integer(-7), integer(3)), "i:-1"},
        {modulo(integer(kMin), integer(-1)), "i:0"},
        {modulo(Value(-5.5), integer(2)), "f:-1.5"},
        {negate(integer(kMin), 1), "i:9223372036854775807"},
        {modulo(integer(-7), Value(2.0)), "i:-1"},
        {modulo(Value(7.5), integer(-2)), "f:1.5"},
        {numericResult(1.0000000000000002), "i:1"},
        {numericResult(3.0000000000000004), "f:3.0000000000000004"},
        {numericResult(-9223372036854775808.0), "i:-9223372036854775808"},
        {numericResult(18446744073709551616.0), "f:1.8446744073709552e+19"},
    };
    for (const auto& [result, expected] : results)
    {
        EXPECT_EQ(shape(result), expected);
    }
    EXPECT_TRUE(valuesEqual(integer(1), Value(1.0000000000000002)));
    EXPECT_FALSE(valuesEqual(Value(1.0), Value(1.0000000000000002))); // two floats: no tolerance
    EXPECT_FALSE(valuesEqual(integer(kMax), integer(kMax - 1)));
    EXPECT_TRUE(valuesEqual(Value(true), Value(true)));
    EXPECT_FALSE(valuesEqual(Value(kNaN), Value(kNaN)));
    EXPECT_FALSE(valuesEqual(Value(std::string_view("a\0b", 3)), Value(std::string_view("a\0c", 3))));
    EXPECT_FALSE(valuesEqual(Value(makeNativeFunction("f", {})), Value(makeNativeFunction("f", {}))));
}

// The inline test that decides most float results (floatResult) gives what the full near-integer rule
// gives, on values within a few units in the last place of integers of every size and on random bits.
TEST(ValueTest, TheFastNearIntegerTestAgreesWithTheFullRule)
{
    std::mt19937_64 random(7);
    const auto check = [](double number) {
        const Value fast = floatResult(number);
        const Value full = numericResult(number);
        ASSERT_EQ(fast.kind(), full.kind()) << number;
        if (fast.isInteger())
        {
            ASSERT_EQ(fast.integer(), full.integer()) << number;
        }
        else
        {
            ASSERT_EQ(std::bit_cast<std::uint64_t>(fast.number()), std::bit_cast<std::uint64_t>(full.number()))
                << number;
        }
    };
    for (const double number : {0.0, -0.0, 1e-17, -1e-17, 0.5, -1.5, 4503599627370495.5, 4503599627370496.0,
                                -4503599627370497.0, kNaN, kInf, -kInf})
    {
        check(number);
    }
    for (int i = 0; i < 200000; ++i)
    {
        const double scales[] = {1.0, 1e-6, 1e9, 1e15};
        double number = static_cast<double>(static_cast<long long>(random() % 2000001) - 1000000) * scales[i % 4];
        for (int step = static_cast<int>(random() % 9) - 4; step != 0; step += step > 0 ? -1 : 1)
        {
            number = std::nextafter(number, step > 0 ? kInf : -kInf);
        }
        check(number);
        check(std::bit_cast<double>(random()));
    }
}

TEST(ValueTest, NumericViewsTruncateSaturateAndRefuseOtherKinds)
{
    EXPECT_EQ(Value(3.9).asInteger(), 3);
    EXPECT_EQ(Value(-3.9).asInteger(), -3);
    EXPECT_EQ(Value(1e300).asInteger(), kMax);
    EXPECT_EQ(Value(-1e300).asInteger(), kMin);
    EXPECT_EQ(Value(9223372036854775808.0).asInteger(), kMax);
    EXPECT_EQ(integer(kMin).asInteger(), kMin);
    EXPECT_EQ(integer(7).asFloat(), 7.0);
    EXPECT_EQ(Value(2.25).asFloat(), 2.25);
    for (const Value& bad : {Value(), Value("1"), Value(true), Value(makeTable())})
    {
        for (int view = 0; view < 2; ++view)
        {
            try
            {
                view == 0 ? static_cast<void>(bad.asFloat()) : static_cast<void>(bad.asInteger());
                ADD_FAILURE() << describeValueType(bad) << " converted";
            }
            catch (const zq::runtime_error& error)
            {
                EXPECT_STREQ(error.what(), "value is not numeric");
            }
        }
    }
}

TEST(ValueTest, CopiesShareObjectsAndStringBytes)
{
    Ref<Table> table = makeTable();
    EXPECT_EQ(table->refCount, 1u);
    {
        Value a(table);
        Value b = a;
        EXPECT_EQ(table->refCount, 3u);
        tableSetByKey(b.table(), TableKey::makeInteger(1), Value("seen"));
        EXPECT_EQ(tableGetByKey(a.table(), TableKey::makeInteger(1)).toString(), "seen");
        Value& alias = b;
        b = alias; // self-assignment keeps the value and the count
        EXPECT_TRUE(b.isTable());
        EXPECT_EQ(table->refCount, 3u);
        b = std::move(alias); // so does moving a value onto itself
        EXPECT_TRUE(b.isTable());
        EXPECT_EQ(table->refCount, 3u);
        Value moved = std::move(a);
        EXPECT_EQ(table->refCount, 3u);
        b = Value(1.5);
        EXPECT_EQ(table->refCount, 2u);
    }
    EXPECT_EQ(table->refCount, 1u);

    Value text("hello");
    Value copy = text;
    EXPECT_EQ(copy.string(), text.string());
    EXPECT_EQ(text.string()->refCount, 2u);
    copy = Value("other");
    EXPECT_EQ(text.string()->refCount, 1u);
    Value& self = text;
    text = self;
    ASSERT_TRUE(text.isString());
    EXPECT_EQ(text.toString(), "hello");
    EXPECT_EQ(text.string()->refCount, 1u);
}

} // namespace
