-- Constructors: positional fields take one value each, fields apply in source order.
local function three() return 1, 2, 3 end
print("call keeps first", #{three()}, #{three(), three()})
local t = {three()}
print("contents", t[1], t[2])
print("separators", #{1; 2, 3;}, #{1,})
local n = {nil, nil, 3}
print("nil uses its index", n[3], #n)
local named = {x = 1, ["y"] = 2, [3] = "three", 10}
print("mixed kinds", named.x, named.y, named[3], named[1])
print("positional then keyed", ({1, [1] = "keyed"})[1])
print("keyed then positional", ({[1] = "keyed", 1})[1])
print("named repeated", ({x = 1, x = 2}).x)
local nested = {inner = {deep = {value = "found"}}}
print("nested", nested.inner.deep.value)
local fnField = {f = function(x) return x + 1 end}
print("function field", fnField.f(1))
local exprKeys = {[1 + 1] = "two", ["a" .. "b"] = "ab", [2.0 * 2] = "four", [true] = "t"}
print("expression keys", exprKeys[2], exprKeys.ab, exprKeys[4], exprKeys[true])
local refs = {}
local a, b = refs, refs
a.x = 1
print("shared reference", b.x)
local grid = {{1, 2}, {3, 4}}
grid[2][1] = 30
print("nested tables", grid, grid[2][1])
print("prints", {1, 2}, {a = 1}, {})
-- Named fields are new keys in source order; nil makes no key; a repeated name overwrites.
print("nil named field", ({x = 1, y = nil, z = 3}).y, {x = 1, y = nil, z = 3}, {x = 1, x = nil}, {x = 1, x = nil, x = 2})
print("many names", {a = 1, b = 2, c = 3, d = 4, e = 5, f = 6, g = 7, h = 8, i = 9, j = 10, k = 11, l = 12, m = 13,
  n = 14, o = 15, p = 16, q = 17, a = 0})
