// Number to text: the fixed six-decimal form for doubles and plain decimal for integers.
#pragma once

#include <string>

namespace zq
{

std::string to_string(double value);
std::string to_string(long long value);

// Appends the same texts to an existing string without a temporary.
void append_number(std::string& out, double value);
void append_number(std::string& out, long long value);

} // namespace zq
