-- math.floor: the floor as a double, then folded to an integer when it fits.
local huge = 2.5
for i = 1, 12 do
    huge = huge * huge
end
print("negative half", math.floor(-0.5))
print("positive", math.floor(3.7))
print("integer", math.floor(5), math.floor(-5))
print("negative", math.floor(-3.2))
print("exact float", math.floor(2.0))
print("negation folds tiny floats", math.floor(-0.0000000000000000001))
print("division", math.floor(7 / 2), math.floor(-7 / 2))
print("is integer", math.floor(2.5) .. "", math.floor(10 / 2) .. "")
print("infinity", math.floor(huge), math.floor(-huge))
print("nan", math.floor(huge - huge))
print("beyond integers", math.floor(10000000000000000000.0))
print("string", pcall(math.floor, "3"))
print("none", pcall(math.floor))
print("two", pcall(math.floor, 1, 2))
print("boolean", pcall(math.floor, true))
local names = {}
for name in pairs(math) do
    names[#names + 1] = name
end
print("library members", table.concat(names, " "))
print("nothing else", math.pi, math.abs, math.huge)
