-- ipairs fixes the length when it is called; pairs and ipairs check their arguments.
local t = {1, 2, 3}
for i, v in ipairs(t) do
  print("fixed length", i, v)
  if i == 1 then
    t[2] = nil
    t[4] = 4
  end
end
for i, v in ipairs({1, nil, 3}) do print("stops at border", i, v) end
for i, v in ipairs({n = 1}) do print("never", i, v) end
local h = {}
h[100] = "far"
for i = 1, 99 do h[i] = i end
local count = 0
for i, v in ipairs(h) do count = count + 1 end
print("through the hash part", count)
local it = ipairs({"a"})
for i, v in it do print("first use", i, v) end
for i, v in it do print("second use", i, v) end
print("iterator used up")
print(pcall(ipairs, "x"))
print(pcall(ipairs))
print(pcall(ipairs, {}, {}))
print(pcall(pairs, nil))
print(pcall(pairs, {}, 1))
print(pcall(pairs))
