-- math.min and math.max: computed in doubles, integral results come back as integers.
local huge = 2.5
for i = 1, 12 do
    huge = huge * huge
end
local nan = huge - huge
print("min mixed", math.min(3, 1.0, 2))
print("max float", math.max(2.5, 1))
print("max integral float", math.max(1, 2.0))
print("min float", math.min(1.5, 2))
print("single", math.min(7), math.max(-7))
print("negatives", math.max(-3, -7.5), math.min(-3, -7.5))
print("many", math.max(4, 8, 15, 16, 23, 42), math.min(4, 8, 15, 16, 23, 42))
print("integer result", math.max(2.5, 3) .. "", math.min(0.5, 0.25) .. "")
print("tiny difference", math.max(1, 1.0000000000000002))
print("precision", math.max(9007199254740993, 1))
print("infinite", math.max(1, huge), math.min(1, -huge))
print("nan first", math.max(nan, 5), math.min(nan, 5))
print("nan later", math.max(5, nan), math.min(5, nan, 4))
print("min none", pcall(math.min))
print("max none", pcall(math.max))
print("max string", pcall(math.max, 1, "2"))
print("min nil", pcall(math.min, nil))
print("min table", pcall(math.min, 1, {}))
