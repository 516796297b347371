-- Block locals of functions that make no closures share one frame: sibling blocks reuse the same
-- slots, inner blocks see outer ones, and every block starts its locals afresh.
local function siblings(n)
  local total = 0
  if n > 0 then
    local a, b = n, n * 2
    total = total + a + b
  end
  if n > 1 then
    local c = "second"
    print("sibling reads", c, total)
  else
    local d
    print("else sees a fresh local", d, total)
  end
  for i = 1, 2 do
    local e
    print("loop local starts nil", i, e)
    e = i * 10
    local i = i + 100 -- shadows the loop variable in the same block
    print("shadow", i, e)
  end
  return total
end
print("siblings", siblings(2))
print("siblings", siblings(1))

-- Nesting: reads and writes of locals declared several blocks out, in loops and branches.
local function nested(limit)
  local outer = 0
  for i = 1, limit do
    local row = i * 100
    local j = 0
    while j < i do
      j = j + 1
      local cell = row + j
      if cell % 2 == 0 then
        local even = cell
        outer = outer + even
      else
        outer = outer - 1
      end
    end
  end
  return outer
end
print("nested", nested(4))

-- Return and break from deep inside nested blocks.
local function find(t, wanted)
  for i = 1, #t do
    local row = t[i]
    for j = 1, #row do
      local value = row[j]
      if value == wanted then
        local where = i .. ":" .. j
        return where
      end
    end
  end
  return "none"
end
print("find", find({{1, 2}, {3, 4}}, 4), find({{1}}, 9))
local function firstOver(t, limit)
  local found = nil
  for _, row in ipairs(t) do
    for _, value in ipairs(row) do
      if value > limit then
        local hit = value
        found = hit
        break
      end
    end
    if found then
      break
    end
  end
  return found
end
print("break", firstOver({{1, 2}, {30, 40}, {50}}, 20), firstOver({{1}}, 5))

-- Recursion: every call has its own frame, block locals included.
local function depthSum(n)
  if n == 0 then
    return 0
  end
  local result = 0
  for k = 1, 2 do
    local part = n * k
    result = result + part
  end
  return result + depthSum(n - 1)
end
print("recursion", depthSum(10))

-- A loop inside a function that makes closures: the loop body's blocks share the body's frame, and
-- closures made outside the loop still see the function's locals.
local function withClosure()
  local count = 0
  local bump = function()
    count = count + 1
  end
  for i = 1, 3 do
    local twice = i * 2
    if twice > 2 then
      local more = twice + 1
      bump()
      print("inside", i, twice, more)
    end
  end
  return count
end
print("closure count", withClosure())

-- Conditions: and/or chains, not, mixed numbers, and values that are only truthy.
local function truth(a, b)
  local r = {}
  if a and b then r[#r + 1] = "and" end
  if a or b then r[#r + 1] = "or" end
  if not a then r[#r + 1] = "not" end
  if a == b then r[#r + 1] = "eq" end
  if a ~= b then r[#r + 1] = "ne" end
  while a and not b do
    r[#r + 1] = "while"
    a = false
  end
  return table.concat(r, ",")
end
print("truth", truth(1, 1.0), truth(nil, false), truth(0, ""), truth(false, 2), truth(1, 1.0000000000000002))
print("ordered", pcall(function(x) if x < 1 then return 1 end end, "s"))
print("fused", pcall(function(x) local y = 1 y = y + x return y end, {}))
print("fused ok", (function(x) local y = 0.5 y = y * x y = y + 0.5 return y end)(3))
