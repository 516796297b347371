-- Stores into fields and indexes: the value is evaluated before the table and the key, whatever
-- shape the target has, and overwriting, adding and deleting string keys keep the insertion order.
local t, u = {}, {}
local function switch(v)
  t = u
  return v
end
t.x = switch("field")
print("field store reads the table after the value", t == u, u.x)

t, u = {}, {}
local k = "a"
local function rekey(v)
  k = "b"
  t = u
  return v
end
t[k] = rekey("index")
print("index store reads table and key after the value", u.a, u.b)

t, u = {}, {}
local before = t
local function retarget()
  t = u
  return "k"
end
t[retarget()] = "stored"
print("a key that reassigns the table stores into the table read before it", before.k, u.k)

local holder = {inner = {}}
local function replaceInner(v)
  holder.inner = {mark = "new"}
  return v
end
holder.inner.y = replaceInner(5)
print("nested target read after the value", holder.inner.mark, holder.inner.y)

local r = {first = 1, second = 2, third = 3}
r.second = 20
r["first"] = 10
r.fourth = 4
r.third = nil
r["fifth"] = 5
r.third = 30
local keys = {}
for key, value in pairs(r) do
  keys[#keys + 1] = key .. "=" .. value
end
print("order after overwrite, delete and re-add", table.concat(keys, " "))

local s = {}
s.name = "x"
s.name = nil
s.name = nil
local count = 0
for _ in pairs(s) do
  count = count + 1
end
print("deleted twice", count, s.name)

local a = {10, 20, 30}
a[2] = "two"
a["2"] = "string two"
a[4] = 40
print("integer and string keys stay apart", a[2], a["2"], #a)

local function try(label, f)
  print(label, pcall(f))
end
try("field of a number", function() local n = 5; n.x = 1 end)
try("index of nil", function() local n; n[1] = 1 end)
try("field of a string", function() local str = "s"; str.x = 1 end)
try("nil key", function() local q = {}; q[nil] = 1 end)
try("fractional key", function() local q = {}; local z = 0.5; q[z] = 1 end)
