-- Numeric for: inclusive bounds, integer and float loops, no wrap at the top of the range.
local function show(label, a, b, c)
  local out = label .. ":"
  if c == nil then
    for i = a, b do out = out .. " " .. i end
  else
    for i = a, b, c do out = out .. " " .. i end
  end
  print(out)
end
show("up", 1, 3)
show("empty", 3, 1)
show("wrong direction", 1, 3, -1)
show("down", 3, 1, -1)
show("step 2", 1, 6, 2)
show("single", 5, 5)
show("float start", 1.0, 3)
show("half steps", 1, 2, 0.5)
show("negative float step", 2, 1, -0.5)
show("tenths", 0, 1, 0.1)
local max = 9223372036854775807
local min = -max - 1
show("top of range", max - 1, max)
show("top by 2", max - 4, max, 2)
show("bottom of range", min + 1, min, -1)
show("step past the bottom", 1, min, min)
show("float limit", 1, 2.5)
show("float start down", 2.5, 1, -1)
local calls = 0
local function bound(v) calls = calls + 1 return v end
local n = 3
local count = 0
for i = bound(1), bound(n), bound(1) do
  n = 10
  count = count + 1
end
print("bounds evaluated once", count, calls)
for i = 1, 3 do
  local j = i
  i = i * 10
  print("assigning the variable", j, i)
end
print("variable is loop-local", i)
local function try(label, f) print(label, pcall(f)) end
try("zero step", function() for i = 1, 2, 0 do print("never") end end)
try("zero step on empty range", function() for i = 3, 1, 0 do print("never") end end)
try("tiny float step", function() for i = 1, 2, 0.0000000000000001 do print("never") end end)
try("string bound", function() for i = 1, "3" do end end)
try("nil start", function() for i = nil, 3 do end end)
try("table step", function() for i = 1, 3, {} do end end)
print("step zero uncaught")
for i = 1, 10, 0 do print("never") end
