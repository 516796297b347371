-- The value of a guard clause's return fails at its own line; the guard runs as before.
local function clause(n)
  if n ~= 0 then
    return n
      + 1
  end
  return "zero"
end
print(clause(0), clause(1))
print(clause({}))
