// Number to text: the fixed six-decimal form for doubles and plain decimal for integers.
#include "support/NumberFormat.hpp"
#include "support/ExactMath.hpp"

#include <cmath>
#include <cstdint>

namespace zq
{
namespace
{

void appendUnsigned(std::string& out, unsigned long long value)
{
    char digits[24];
    int count = 0;
    do
    {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count > 0)
    {
        out.push_back(digits[--count]);
    }
}

// Saturating double to unsigned 64-bit conversion: huge magnitudes print as the largest value.
unsigned long long truncateToUnsigned(double magnitude)
{
    if (!(magnitude < 18446744073709551616.0))
    {
        return UINT64_MAX;
    }
    return static_cast<unsigned long long>(magnitude);
}

} // namespace

void append_number(std::string& out, long long value)
{
    if (value < 0)
    {
        out.push_back('-');
        appendUnsigned(out, 0ULL - static_cast<unsigned long long>(value));
        return;
    }
    appendUnsigned(out, static_cast<unsigned long long>(value));
}

void append_number(std::string& out, double value)
{
    if (std::isnan(value))
    {
        out += "nan";
        return;
    }
    if (std::isinf(value))
    {
        out += value > 0 ? "inf" : "-inf";
        return;
    }
    const bool negative = value < 0 || std::signbit(value);
    const double magnitude = std::fabs(value);
    unsigned long long integral = truncateToUnsigned(magnitude);
    double fraction = magnitude - static_cast<double>(integral);
    if (!(fraction >= 0.0 && fraction < 1.0))
    {
        fraction = 0.0; // beyond the 64-bit range the integer part saturated and no fraction is left
    }
    // One fused multiply-add, so the rounding of the sixth decimal matches the reference formatting.
    double scaled = zq::floorExact(std::fma(fraction, 1000000.0, 0.5));
    long long decimals = scaled < 0 ? 0 : static_cast<long long>(scaled);
    if (decimals > 999999)
    {
        integral += 1;
        decimals -= 1000000;
    }
    if (negative)
    {
        out.push_back('-');
    }
    appendUnsigned(out, integral);
    out.push_back('.');
    char six[6];
    for (int i = 5; i >= 0; --i)
    {
        six[i] = static_cast<char>('0' + decimals % 10);
        decimals /= 10;
    }
    out.append(six, 6);
}

std::string to_string(double value)
{
    std::string out;
    append_number(out, value);
    return out;
}

std::string to_string(long long value)
{
    std::string out;
    append_number(out, value);
    return out;
}

} // namespace zq
