-- pairs walks the array part in index order, then hash entries in insertion order.
local t = {}
t.a = 1
t.b = 2
t.c = 3
t.b = nil
t.b = 4
local out = ""
for k, v in pairs(t) do out = out .. k .. "=" .. v .. " " end
print("re-added goes last", out)
local mixed = {10, 20, x = "x", 30, [5] = 50, y = "y"}
for k, v in pairs(mixed) do print("mixed", k, v) end
for k, v in pairs({1, nil, 3}) do print("holes", k, v) end
local o = {}
o.first = 1
o.second = 2
o.first = 10
for k, v in pairs(o) do print("overwrite keeps place", k, v) end
local far = {}
far[1000] = "a"
far[-5] = "b"
far[500] = "c"
far[1] = "one"
for k, v in pairs(far) do print("far", k, v) end
local kinds = {}
kinds[true] = "t"
kinds.s = "s"
kinds[false] = "f"
for k, v in pairs(kinds) do print("kinds", k, v) end
for k in pairs({}) do print("never") end
local grow = {1, 2}
for k, v in pairs(grow) do
  print("array growth seen", k, v)
  if k == 1 then grow[3] = 3 end
end
local fixed = {a = 1}
for k, v in pairs(fixed) do
  print("hash additions unseen", k, v)
  fixed.b = 2
  fixed.c = 3
end
print("after walk", fixed.b, fixed.c)
