-- Nested arithmetic fails at the line of the operator that failed, however deep it sits.
local x, y = 2, 3.5
print((x + y) * (x - y) / 2)
local z = 0
z = (x * 2
  + y) * (1 -
  nil)
print("not reached")
