-- Integer arithmetic is exact until it overflows; % truncates toward zero; tiny divisors count as zero.
local max = 9223372036854775807
local min = -9223372036854775807 - 1
print("min", min, min == -9223372036854775808)
print("add sub mul", 2 + 3, 2 - 5, -4 * 3, 2 + 0.5)
print("overflow to float", 4611686018427387904 * 3)
print("overflow back to integer", -9223372036854775807 - 2)
print("at two to the 63", max + 1, -min, min * -1)
print("no overflow", max - 1 + 1, min + 1 - 1)
print("truncating modulo", 7 % 3, -7 % 3, 7 % -3, -7 % -3)
print("float modulo", 5.5 % 2, -5.5 % 2, 7 % 3.5, 6 % 2.0)
print("min % -1", min % -1)
print("division", 1 / 0.000001, 9 / 3, -9 / 3)
local function try(label, f) print(label, pcall(f)) end
try("1 / 0", function() return 1 / 0 end)
try("1 / 0.0", function() return 1 / 0.0 end)
try("1 / 1e-16", function() return 1 / 0.0000000000000001 end)
try("1 / -1e-16", function() return 1 / -0.0000000000000001 end)
try("5 % 0", function() return 5 % 0 end)
try("5 % 0.0", function() return 5 % 0.0 end)
try("5 % 2e-16", function() return 5 % 0.0000000000000002 end)
try("0 / 5", function() return 0 / 5 end)
print("folding", 2.5 * 2, 0.5 + 0.5, 0.1 + 0.2, 0.00000000000000000001 + 0, -(2.0), -(0.0), 5 % 2.5, 6.0 % 4)
print("edges", max + max, min - max, 3037000499 * 3037000499, -min, max % -1, min % max, 4611686018427387904 * 4)
print("strings never convert")
local bad = 1 + "1"
