-- Fused forms report the line of the node that failed, as the general path does: a condition's
-- comparison, an if-return's value, and an arithmetic store into a local.
local function guard(n)
  if n
    < 1 then
    return n
  end
  return 0
end
print(pcall(guard, "x"))
local function clause(n)
  if n then
    return n
      + 1
  end
end
print(pcall(clause, {}))
local function loop(limit)
  local i = 0
  while i
    <= limit do
    i = i + 1
  end
  return i
end
print(loop(3), pcall(loop, false))
local x = 1
local t = {}
print("before")
x = x
  * t
print("not reached")
