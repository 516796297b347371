-- pcall catches errors, not break: a break inside passes through to the caller's loop.
for i = 1, 3 do
  print("iteration", i)
  pcall(function() break end)
  print("not reached", i)
end
print("after loop")
print(pcall(error, "still caught"))
local function loopInside()
  for j = 1, 3 do
    if j == 2 then break end
  end
  return "break stayed inside"
end
print(pcall(loopInside))
error("unprotected")
