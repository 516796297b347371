-- Multiple assignment and multiple results: only a final call expands.
local function two() return 1, 2 end
local function three() return "a", "b", "c" end
local function none() end
local x, y = two(), 5
print("call then value", x, y)
x, y = 5, two()
print("value then call", x, y)
local a, b, c = three()
print("all results", a, b, c)
a, b, c = two()
print("padded with nil", a, b, c)
a, b = 1
print("short list", a, b)
a, b = 1, 2, 3
print("extra dropped", a, b)
a, b = b, a
print("swap", a, b)
a, b = (two())
print("parentheses keep all", a, b)
a, b = none(), 7
print("empty first", a, b)
a, b = 7, none()
print("empty last", a, b)
local t = {}
local i = 1
i, t[i] = i + 1, 20
print("target index read at store", i, t[1], t[2])
print("arguments", two(), two())
print("parenthesised argument", (two()))
print("no results", none())
print("nil result", (nil))
local p, q
print("local without values", p, q)
local function ret() return two() end
local function retParen() return (two()) end
local function retMiddle() return two(), "end" end
print("return expands", ret())
print("return parenthesised", retParen())
print("return middle call", retMiddle())
local function args(a1, a2, a3) return a1, a2, a3 end
print("missing arguments", args(1))
print("extra arguments", args(1, 2, 3, 4))
print("final call spreads", args(0, two()))
print("middle call truncated", args(two(), 9))
local g1, g2 = 1, 2
g1, g2 = g2
print("fewer values than locals", g1, g2)
