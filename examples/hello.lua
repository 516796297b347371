-- A tour of VelmarLua: closures, tables, loops, errors and its own number rules.
local function makeCounter(step)
  local count = 0
  return function()
    count = count + step
    return count
  end
end

local byTwo = makeCounter(2)
byTwo()
print("counter:", byTwo())

local inventory = {apples = 3, pears = 0, plums = 12}
inventory.pears = nil
inventory.figs = 5
for name, amount in pairs(inventory) do
  print(name, amount)
end

local squares = {}
for i = 1, 5 do
  squares[#squares + 1] = i * i
end
print("squares:", squares)

-- Division always gives a float; results within one epsilon of an integer become integers.
print("10 / 4 =", 10 / 4, " 2.5 * 2 =", 2.5 * 2, " -7 % 3 =", -7 % 3)

local ok, message = pcall(function() return nil + 1 end)
print("caught:", ok, message)

if arg then
  print("arguments:", #arg, arg[1])
end
return "done"
