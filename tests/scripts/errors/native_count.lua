-- A library argument-count error carries the line of the call.
print("start")
local function describe(v)
  return tostring(v, "extra")
end
print(pcall(describe, 1))
describe(2)
