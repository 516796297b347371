-- Keys: integral floats collapse to integers, other floats and non-scalar values are refused.
local t = {}
t[2.0] = "two"
print("float key reads int", t[2], t[2.0])
t[2] = "deux"
print("same entry", t[2.0])
t[1.0000000000000002] = "near one"
print("within epsilon", t[1])
t["2"] = "string two"
print("string key distinct", t[2], t["2"])
t[true] = "yes"
t[false] = "no"
print("boolean keys", t[true], t[false])
print("missing keys", t.nothing, t[99], t[-1])
t.k = "v"
t.k = nil
print("deleted", t.k)
local function try(label, f) print(label, pcall(f)) end
try("store 1.5", function() t[1.5] = 1 end)
try("read 1.5", function() return t[1.5] end)
try("store nil key", function() t[nil] = 1 end)
try("read nil key", function() return t[nil] end)
try("table key", function() t[{}] = 1 end)
try("function key", function() t[print] = 1 end)
try("nan key", function() t[tonumber("nan")] = 1 end)
try("inf key", function() return t[tonumber("inf")] end)
try("constructor 1.5", function() return {[1.5] = 1} end)
try("constructor nil", function() return {[nil] = 1} end)
local c = {[1.0] = "a", [2] = "b"}
print("constructor float key", c[1], #c)
local order = ""
local function note(s) order = order .. s return s end
local o = {[note("k")] = note("v")}
print("key before value", order, o.k)
t.x = 1
t.x = 2
print("field and string index", t.x, t["x"])
local big = {}
big[-1] = "neg"
big[0] = "zero"
print("non-positive keys", big[-1], big[0], #big)
-- The same keys held in locals.
local k1, k2, k3, k4, k5 = 2.0, "2", true, 1.0000000000000002, "x"
print("local keys", t[k1], t[k2], t[k3], t[k4], t[k5])
try("read with a local 1.5", function() local k = 1.5; return t[k] end)
try("read with a local nil", function() local k; return t[k] end)
try("read with a local table", function() local k = {}; return t[k] end)
try("index a local number", function() local n, k = 5, 1; return n[k] end)
