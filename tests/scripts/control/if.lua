-- if chains, truthiness and short-circuit logic.
local function classify(v)
  if v == nil then return "nil"
  elseif v == false then return "false"
  elseif v then return "truthy"
  else return "unreachable" end
end
print("classify", classify(nil), classify(false), classify(0), classify(""), classify({}))
local called = 0
local function mark() called = called + 1 return true end
print("and short-circuits", nil and mark(), false and mark(), called)
print("or short-circuits", 1 or mark(), "x" or mark(), called)
print("and value", 1 and 2, mark() and "m", called)
print("or value", false or nil, nil or false, false or "x")
print("not", not nil, not 0, not "", not not {})
if 0 then print("zero is true") end
if "" then print("empty string is true") end
if 1 + 2 then print("a sum is true") end
if "a" .. "b" then print("a concatenation is true") end
if nil then print("never") elseif false then print("never") else print("else taken") end
if false then print("never") elseif 1 then print("elseif taken") else print("never") end
if false then print("never") end
local x = 1
if x == 1 then
  local x = 2
  print("shadowed in branch", x)
end
print("outer unchanged", x)
local first = true
if first then first = false print("branch runs once") elseif not first then print("never") end
local function pick(n)
  if n < 0 then return "negative" elseif n == 0 then return "zero" end
  return "positive"
end
print("pick", pick(-1), pick(0), pick(1))
