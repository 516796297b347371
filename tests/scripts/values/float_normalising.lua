-- Float results within one epsilon of an integer become integers; everything else stays a float,
-- whatever the magnitude, the sign or the operand kinds.
local huge = 1000000000000000000000000000000.0 -- 1e30
local inf = huge * huge * huge * huge * huge * huge * huge * huge * huge * huge * huge
local eps = 0.0000000000000002220446049250313
print("exact", 0.5 + 0.5, 1.5 * 2, 2.5 - 0.5, 3 * 0.5, 0.25 * 4, -0.5 - 0.5)
print("one epsilon off", 1 + eps, 1 - eps, 2 - eps, 0 + eps, 0 - eps, 1 + eps * 2)
print("two epsilons off", 2 + eps * 4, 1 - eps * 2, 0.5 + eps)
print("just beside", 0.9999999999999999 + 0, 1.0000000000000002 * 1, 0.4999999999999999 + 0.5)
print("negative", -1.5 * 3, -0.25 - 0.25, -2.5 + 0.5, -1 - eps, -0.1 * 10)
print("fractions", 0.1 + 0.2, 0.3 - 0.1, 1 / 3 * 3, 7 * 0.1, 100.5 - 0.25)
print("near 2^52", 4503599627370495.5 + 0, 4503599627370496.0 + 0.5, 4503599627370497.0 - 0)
print("near 2^53", 9007199254740992.0 + 1, 9007199254740993 * 1.0, 18014398509481984.0 - 0)
print("near 2^63", 9223372036854775807 + 0.0, 9223372036854775808.0 * 1, -9223372036854775808.0 - 0)
print("beyond 2^63", 9223372036854775808.0 * 2, -9223372036854775808.0 * 4, huge * huge)
print("infinite", inf, -inf, inf - 1, inf * 0.5, 0.5 - inf, inf + inf)
print("not a number", inf - inf, 0 * inf, inf * 0)
print("integer overflow", 9223372036854775807 + 1, -9223372036854775807 - 2, 9223372036854775807 * 2)
print("constant right", 0.5 * 2, 2.5 + 1, 0.75 - 1, 1.25 * 4, -0.5 * 3)
print("division", 1 / 4, 6 / 3, 1.5 / 0.5, -3 / 2, 1 / 3)
print("ordering", 0.5 < 1, 1 < 0.5, 1.5 <= 1.5, 2 > 1.5, 1.5 >= 2, 1 <= 1.0, 2.0 >= 2)
local nan = inf - inf
print("nan ordering", nan < 1, nan <= nan, 1 > nan, nan >= 0.5, 0.5 < nan)
print("tiny divisor", pcall(function() return 1 / (eps / 2) end))
print("zero divisor", pcall(function() return 1.5 / 0 end))
print("float and string", pcall(function() return 1.5 + "x" end))
print("float and nil", pcall(function() return nil * 0.5 end))
print("float ordering with string", pcall(function() return 0.5 < "1" end))
local sum = 0.0
for i = 1, 10 do
  sum = sum + 0.1
end
print("ten tenths", sum, sum * 10, sum - 1)
