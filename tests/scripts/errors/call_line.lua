-- A call reports the line of its "(" even when the callee sits on an earlier line.
local value = 1
print("start")
local f
local r = f
(
  value
)
