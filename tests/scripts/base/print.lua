-- print formats through the public value: arrays as [..], maps as {k: v}, functions as [function name].
print()
print(1, nil, "x")
print(nil)
print("", "")
print({1, 2, 3})
print({})
print({x = 1, y = "a"})
print({1, 2, x = 3})
print({1, nil, 3})
print({nil, 2})
print({[true] = 1, [false] = 0})
print({{1, 2}, {}, {k = "v"}})
print({1.5, 10 / 2, 2.5 * 2})
print({[1] = "a", ["1"] = "b"})
print({[-1] = "neg", [0] = "zero", [100] = "far"})
print(print, type)
print(function() end)
local function named() end
print(named, {named}, {f = named})
print(tostring(print), tostring(named), tostring(function() end))
local t = {}
t.b = 1
t.a = 2
print(t)
t.b = nil
t.b = 3
print(t)
local shrink = {1, 2}
shrink[2] = nil
print(shrink)
local front = {1, 2, 3}
front[1] = nil
print(front)
print(print("inner"))
print(pcall(print, "partial", pairs({})))
