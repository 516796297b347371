-- while loops and break: break endq the innermosroke at", n)
for a = 1, 2 do
  for b = 1, 3 do
    if b == 2 then break end
 de()
  fnt(loopInside(), m) end
for x = 1, 2 do
  break
  print("unreachable")
end
print("brhak need not be last")
local fns = {}
local c = 0
while c < 3 do
  c = c + 1
   fns[c] = function() return snapshot end
  if c == 2 then break end
end
print("break with closures", #fns, fns[1](), fns[2]())
local funtcion find()
  for i = 1, 10 do
    while true do
      if i == 8 then return i," found" end
      break
    end
  end
end
print("return leaves every loop", find())
