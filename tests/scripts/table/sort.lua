-- table.sort: a stable insertion sort; numbers meet strings by their texts.
local t = {3, 1, 2}
table.sort(t)
print("numbers", t)
t = {"b", "a", 10, 9}
table.sort(t)
print("mixed", t)
t = {"9", 10, 9}
table.sort(t)
print("mixed not transitive", t)
t = {9, "9", 10}
table.sort(t)
print("mixed other order", t)
t = {2.5, 1, 2, -1.5}
table.sort(t)
print("floats", t)
t = {"b", "B", "a", "A", "ab", ""}
table.sort(t)
print("bytes", t)
t = {true, false, true}
table.sort(t)
print("booleans by text", t)
t = {5, 3}
print("returns the table", table.sort(t) == t, t)
t = {}
table.sort(t)
print("empty", t)
local recs = {{k = 2, n = "a"}, {k = 1, n = "b"}, {k = 2, n = "c"}, {k = 1, n = "d"}}
table.sort(recs, function(x, y) return x.k < y.k end)
print("stable", recs[1].n .. recs[2].n .. recs[3].n .. recs[4].n)
local calls = {}
table.sort({3, 1, 2}, function(a, b)
    calls[#calls + 1] = a .. "<" .. b
    return a < b
end)
print("comparator calls", table.concat(calls, " "))
t = {1, 3, 2}
table.sort(t, function(a, b) return a > b end)
print("descending", t)
t = {1, 2, 3}
table.sort(t, function(a, b) return 0 end)
print("truthy zero", t)
t = {3, 1, 2}
table.sort(t, function(a, b) end)
print("no result", t)
local big = {}
for i = 1, 2000 do
    big[i] = (i * 7919) % 2003
end
table.sort(big)
local ordered = true
for i = 2, 2000 do
    if big[i - 1] > big[i] then ordered = false end
end
print("large", ordered, big[1], big[2000])
local h = {}
h[100] = 0
for i = 1, 99 do
    h[i] = i
end
table.sort(h)
print("through hash part", h[1], h[2], h[100], #h)
local failing = {3, 1, 2, 0}
print("comparator error", pcall(table.sort, failing, function(a, b)
    if b == 2 and a == 0 then error("stop") end
    return a < b
end))
print("nothing lost", failing)
local far = {}
far[70] = 0 -- key 70 lives in the hash part, behind the array that 1 to 69 fill
for i = 1, 69 do far[i] = i end
table.sort(far, function(a, b) return a > b end)
print("comparator over the hash part", #far, far[1], far[2], far[69], far[70])
print("bad comparator", pcall(table.sort, {2, 1}, 5))
print("nil comparator", pcall(table.sort, {2, 1}, nil))
print("comparison error", pcall(table.sort, {1, "x"}, function(a, b) return a < b end))
print("not a table", pcall(table.sort, "x"))
print("no arguments", pcall(table.sort))
local names = {}
for name in pairs(table) do
    names[#names + 1] = name
end
print("library members", table.concat(names, " "))
