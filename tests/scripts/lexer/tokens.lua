-- Number literals, names and keywords.
print("decimal", 0, 42, 007)
print("hex", 0x10, 0XfF, 0xFFFFFFFFFFFFFFFF, 0x7fffffffffffffff)
print("hex keeps the low 64 bits", 0x10000000000000001)
print("bare 0x", 0x)
print("floats", 3.14, 0.5, 10.0, 007.50)
print("dots", 1..2, 1 .. 2)
print("largest integer", 9223372036854775807)
print("beyond range is a float", 9223372036854775808)
print("smallest integer", -9223372036854775808)
print("beyond range compares", 9223372036854775808 == 9223372036854775807)
print("minus minus", - -3, -(-3))
local True, NIL, _end, end_, Local = 1, 2, 3, 4, 5
print("keywords are case-sensitive", True, NIL, _end, end_, Local)
local _ = "underscore"
local a1_b2 = "digits"
print("names", _, a1_b2)
print("semicolons");;; print("still fine");
local x = 1 local y = 2 print("no separators needed", x + y)
print("tabs	and	spaces", 1	+	2)
