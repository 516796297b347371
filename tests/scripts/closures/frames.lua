-- Where locals live: scopes without locals make no environment, so a reference must skip exactly the
-- scopes that exist between it and its local, inside loops, branches and closures alike.
local a = "a0"
if true then
  if true then
    local b = "b2"
    if true then
      if true then
        local f = function() return a .. b end
        print("skip empty scopes", f())
      end
    end
  end
end
for i = 1, 2 do
  if true then
    if i > 0 then
      if true then
        local c = "c" .. i
        while true do
          local g = function() return a .. c .. i end
          print("loop closure", g())
          break
        end
      end
    end
  end
end
local function outer(x)
  if true then
    local y = x * 2
    if true then
      if true then
        return function(z) if z then if true then return x + y + z end end end
      end
    end
  end
end
print("function depths", outer(1)(10), outer(5)(0))
local slot = {}
if true then
  local k = 2
  slot[(function() return k end)()] = "kept"
end
print("function in an assignment target", slot[2])

-- Functions called from the library (pcall, sort comparators) whose frames closures keep.
local kept = {}
local function keep(n)
  local m = n * 10
  kept[#kept + 1] = function() return n + m end
  return m
end
print("pcall heap frame", pcall(keep, 1))
print("pcall heap frame", pcall(keep, 2))
print("closures outlive the call", kept[1](), kept[2]())
local made = 0
local t = {3, 1, 2}
table.sort(t, function(p, q)
  local w = function() return p < q end
  made = made + 1
  return w()
end)
print("sort comparator closures", t[1], t[2], t[3], made > 0)
print("no frame at all", pcall(function() return "bare" end))
