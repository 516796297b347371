-- table.remove: positions below 1 are raised, positions past the end change nothing.
local t = {1, 2, 3}
print("last", table.remove(t), t)
t = {1, 2, 3}
print("first", table.remove(t, 1), t)
t = {1, 2, 3}
print("zero raised to first", table.remove(t, 0), t)
t = {1, 2, 3}
print("negative raised", table.remove(t, -5), t)
t = {1, 2, 3}
print("past end", table.remove(t, 7), t)
print("just past end", table.remove(t, 4), t)
print("float position", table.remove(t, 2.7), t)
print("empty", table.remove({}))
print("empty position unchecked", table.remove({}, "x"))
print("hole first", table.remove({nil, 2}))
t = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}
print("middle", table.remove(t, 5), table.concat(t, ","), #t)
t = {1, 2, nil, 4}
print("stops at border", #t, table.remove(t), t)
local h = {}
h[100] = 100
for i = 1, 99 do
    h[i] = i
end
print("sequence through hash", #h, table.remove(h, 50), #h, h[49], h[50], h[99], h[100])
print("pop through hash", table.remove(h), #h, h[98], h[99])
local stack = {}
for i = 1, 1000 do
    stack[#stack + 1] = i
end
local sum = 0
while #stack > 0 do
    sum = sum + table.remove(stack)
end
print("drained", sum, #stack)
local shared = {"x", "y"}
local alias = shared
table.remove(alias, 1)
print("in place", shared[1], #shared)
print("removed value kinds", table.remove({false}), table.remove({{}}) ~= nil)
print("not a table", pcall(table.remove, "abc"))
print("nil table", pcall(table.remove, nil))
print("no arguments", pcall(table.remove))
print("too many", pcall(table.remove, {1}, 1, 1))
print("position string", pcall(table.remove, {1}, "1"))
print("position nil", pcall(table.remove, {1}, nil))
