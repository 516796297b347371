-- A comparison in a loop condition fails at its operator's line, on the first test that fails.
local function loop(limit)
  local i = 0
  while i < 2 and i
    <= limit do
    i = i + 1
  end
  return i
end
print(loop(3))
print(loop(nil))
