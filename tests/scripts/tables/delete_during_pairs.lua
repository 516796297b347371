-- Deleting hash keys keeps the order of the rest, also while pairs walks the table: the key after a
-- deleted one moves into its place, so removing the key just visited skips its successor.
print("small")
local t = {}
for i = 1, 10 do t["k" .. i] = i end
local seen = {}
for k in pairs(t) do seen[#seen + 1] = k t[k] = nil end
print(table.concat(seen, " "))
local left = {}
for k in pairs(t) do left[#left + 1] = k end
print(table.concat(left, " "))

print("deleting ahead of the cursor")
local u = {a = 1, b = 2, c = 3, d = 4, e = 5}
for k in pairs(u) do
  if k == "b" then u.d = nil end
  io.write(k, " ")
end
print()
u.d = 9
for k, v in pairs(u) do io.write(k, "=", v, " ") end
print()

print("many deletions, then more keys")
local big = {}
for i = 1, 1000 do big["x" .. i] = i end
for i = 1, 1000 do if i % 5 ~= 0 then big["x" .. i] = nil end end
local count, sum, first, last = 0, 0, nil, nil
for k, v in pairs(big) do
  count = count + 1 sum = sum + v
  first = first or k last = k
end
print(count, sum, first, last)
big.x3 = 3
big.x5 = nil
local order = {}
for k in pairs(big) do order[#order + 1] = k end
print(#order, order[1], order[2], order[#order - 1], order[#order])

print("every key deleted while visited")
local all = {}
for i = 1, 1000 do all["y" .. i] = i end
local visited = 0
for k in pairs(all) do visited = visited + 1 all[k] = nil end
local remaining = 0
for k in pairs(all) do remaining = remaining + 1 end
print(visited, remaining)

print("the last key deleted and added again")
local last = {p = 1, q = 2}
for i = 1, 5 do last.r = i last.r = nil end
last.r = 3
for k, v in pairs(last) do io.write(k, v, " ") end
print()

print("lengths across the hash part")
local seq = {}
for i = 200, 66, -1 do seq[i] = i end
for i = 1, 65 do seq[i] = i end
print(#seq)
seq[150] = nil
print(#seq)
seq[150] = 150
print(#seq)

print("array borders")
local arr = {}
for i = 1, 1000 do arr[i] = i end
arr[1] = nil
print(#arr)
arr[1] = 1
print(#arr)
arr[500] = nil
arr[1] = nil
arr[1] = 1
print(#arr)
arr[500] = 500
print(#arr)
table.remove(arr)
arr[1] = nil
arr[1] = 1
print(#arr)
