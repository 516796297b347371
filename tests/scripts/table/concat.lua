-- table.concat: any element and any separator by their text, up to the first hole.
print("commas", table.concat({1, 2, 3}, ", "))
print("empty", "[" .. table.concat({}) .. "]")
print("empty with separator", "[" .. table.concat({}, ",") .. "]")
print("number separator", table.concat({"a", true}, 5))
print("no separator", table.concat({"x", "y", "z"}))
print("floats", table.concat({1.5, 2, 0.25}, " "))
print("nil separator", table.concat({1, 2}, nil))
print("false separator", table.concat({1, 2}, false))
print("float separator", table.concat({1, 2}, 0.5))
print("function separator", table.concat({1, 2}, print))
print("booleans", table.concat({true, false}, "/"))
local inner = {}
print("table element", table.concat({inner}) == tostring(inner))
print("function element", table.concat({print, 1}, " "))
print("stops at hole", table.concat({1, 2, nil, 4}, "-"))
print("single", table.concat({"solo"}, "-"))
print("hash ignored", table.concat({1, 2, x = 3}, "+"))
local parts = {}
for i = 1, 10000 do
    parts[i] = "ab"
end
local joined = table.concat(parts, ",")
print("large", #joined, string.sub(joined, 1, 8))
local sparse = {}
sparse[100] = "z"
for i = 1, 99 do
    sparse[i] = "."
end
print("through hash part", #table.concat(sparse), string.sub(table.concat(sparse), 98))
print("not a table", pcall(table.concat, "abc"))
print("no arguments", pcall(table.concat))
print("too many", pcall(table.concat, {}, ",", 1, 2))
