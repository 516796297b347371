-- while loops and break: break ends the innermost loop, even from inside a called function.
local i = 0
while i < 3 do
  i = i + 1
  print("while", i)
end
local n = 0
while true do
  n = n + 1
  if n == 4 then break end
end
print("broke at", n)
for a = 1, 2 do
  for b = 1, 3 do
    if b == 2 then break end
    print("inner only", a, b)
  end
end
while false do print("never") end
local z = 0
while z do z = nil end
print("nil ends loop", z)
local function stop() break end
for j = 1, 5 do
  print("before stop", j)
  if j == 2 then stop() end
end
print("after stop loop")
local function deeper() stop() end
local w = 0
while true do
  w = w + 1
  if w == 3 then deeper() end
end
print("ended by deep break", w)
local function loopInside()
  for k = 1, 3 do
    if k == 2 then break end
    print("own loop", k)
  end
  return "function continued"
end
for m = 1, 2 do print(loopInside(), m) end
for x = 1, 2 do
  break
  print("unreachable")
end
print("break need not be last")
local fns = {}
local c = 0
while c < 3 do
  c = c + 1
  local snapshot = c
  fns[c] = function() return snapshot end
  if c == 2 then break end
end
print("break with closures", #fns, fns[1](), fns[2]())
local function find()
  for i = 1, 10 do
    while true do
      if i == 3 then return i, "found" end
      break
    end
  end
end
print("return leaves every loop", find())
