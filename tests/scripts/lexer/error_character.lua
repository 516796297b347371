-- comments may hold $ and ^ freely
print("so may strings: $^@")
local x = 2 ^ 3
