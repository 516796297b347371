-- Concatenation accepts values of every kind and formats them as tostring does.
print("integers", 1 .. 2, 1..2, -1 .. -2)
print("floats", 1.5 .. "", 10 / 2 .. "|", 2.5 * 2 .. "")
print("nil and booleans", nil .. "x", "x" .. nil, true .. false)
print("functions", "f:" .. print, "" .. function() end)
local function named() end
print("declared function", named .. "")
local t = {}
print("table text matches tostring", t .. "" == tostring(t), #("" .. t) >= 10)
local it = pairs({})
print("iterator text matches tostring", it .. "" == tostring(it))
print("right associative", "a" .. "b" .. "c")
print("binds looser than arithmetic", 1 + 2 .. 3 - 4, 2 * 3 .. 4 / 4)
print("binds tighter than comparison", "a" .. "b" == "ab")
print("empty strings", "" .. "", #("" .. ""))
print("numbers keep kind", 0 / -1 .. "", -0.0 .. "")
local parts = ""
for i = 1, 5 do parts = parts .. i .. "," end
print("loop", parts)
