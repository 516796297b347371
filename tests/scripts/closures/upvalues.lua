-- Closures capture variables, not values: every closure of a scope shares them.
local function counterPair()
  local n = 0
  local function inc() n = n + 1 return n end
  local function get() return n end
  return inc, get
end
local inc, get = counterPair()
inc()
inc()
print("shared", get())
local inc2, get2 = counterPair()
inc2()
print("independent", get(), get2())
local v = "before"
local function readV() return v end
v = "after"
print("sees later assignment", readV())
local w = 1
local function setW(x) w = x end
setW(42)
print("assigned through closure", w)
local function level1()
  local a = 1
  return function()
    local b = 10
    return function()
      a = a + 1
      b = b + 1
      return a + b
    end
  end
end
local f3 = level1()()
print("three levels", f3(), f3())
local function make(x) return function() return x end end
local m1, m2 = make("one"), make("two")
print("kept alive", m1(), m2())
local x = 5
local function shadow()
  local x = x + 1
  return x
end
print("local x = x", shadow(), x)
local function callLater() return later() end
function later() return "late bound" end
print("global looked up at call", callLater())
local selfRef = function() return selfRef end
print("not visible in own initialiser", selfRef())
local function g() return "first" end
local h = function() return g() end
g = function() return "second" end
print("rebound local", h())
local function adder(n) return function(m) return n + m end end
local add5 = adder(5)
print("parameters captured", add5(1), adder(10)(1), add5(2))
