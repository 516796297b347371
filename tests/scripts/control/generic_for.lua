-- Generic for needs an iterator value; only the first value of its list is used.
local t = {10, 20, 30, x = "a", y = "b"}
for k, v in pairs(t) do print("pairs", k, v) end
for i, v in ipairs(t) do print("ipairs", i, v) end
for a, b, c in pairs({5}) do print("extra variables", a, b, c) end
for k in pairs({x = 1}) do print("one variable", k) end
for k, v in pairs({7}), "ignored" do print("extra list values", k, v) end
local it = pairs({1, 2})
for k, v in it do print("first pass", k, v) end
for k, v in it do print("second pass", k, v) end
print("iterator used up")
for k, v in pairs({1, 2, 3, 4}) do
  if v == 3 then break end
  print("until three", v)
end
local function try(label, f) print(label, pcall(f)) end
try("table", function() for k in {} do end end)
try("function", function() for k in function() end do end end)
try("nil", function() for k in nil do end end)
try("iterator second", function() for k in 5, pairs({1}) do end end)
try("call without results", function() for k in (function() end)() do end end)
local total = 0
for _, v in ipairs({1, 2, 3}) do
  for _, w in ipairs({10, 20}) do total = total + v * w end
end
print("nested", total)
print("uncaught next")
for k, v in t do end
