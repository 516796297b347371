-- Arguments meet parameters: missing ones are nil, extra ones are evaluated and dropped, and only a
-- final call spreads its results, over exactly the parameters that are left.
local log = {}
local function note(text, value)
  log[#log + 1] = text
  return value
end
local function three(a, b, c)
  return tostring(a) .. "," .. tostring(b) .. "," .. tostring(c)
end
local function none()
  return "none"
end
local function pair()
  return "p1", "p2"
end
local function many()
  return 1, 2, 3, 4
end
print("fewer", three(1), three(1, 2))
print("extra", three(1, 2, 3, note("x", 4), note("y", 5)), table.concat(log, " "))
print("no parameters", none(note("z", 1), note("w", 2)), table.concat(log, " "))
print("final call spreads", three(pair()), three(0, pair()), three(0, 0, pair()))
print("final call fills", three(many()), three(9, many()))
print("inner call not final", three(pair(), 7), three(many(), many()))
print("empty final call", three(1, none(), none()))
local object = {name = "obj"}
function object:describe(a, b)
  return self.name .. ":" .. tostring(a) .. ":" .. tostring(b)
end
print("method", object:describe(), object:describe(1), object:describe(pair()), object:describe(1, 2, 3))
print("method via dot", object.describe(object, many()), object.describe({name = "other"}))
local function counter()
  local count = 0
  return function(step)
    count = count + (step or 1)
    return count
  end
end
local tick = counter()
print("closure frames", tick(), tick(5), tick(many()))
print("results in one value", (many()), many() + 10, #{many()}, #{many(), many()})
local ok, message = pcall(function() local f = 5 return f(note("arg", 1)) end)
print("call not a function", ok, message, log[#log])
print("method not a function", pcall(function() return object:missing(1) end))
print("call nil field", pcall(function() return object.nothing() end))
-- An argument that fails leaves the arguments made before it to be freed, and the frame unused.
local function both(a, b) return a, b end
print("failing argument", pcall(function() return both({1}, nil + 1) end))
print("failing argument", pcall(function() return both("made", both({}, error("second"))) end))
local seen = 0
local function see() seen = seen + 1 return seen end
print("extra arguments still run", both(see(), see(), see(), see()), seen)
-- The same bindings into a frame that a closure keeps (on the heap): a receiver, a final call spreading.
local keeper = {name = "keeper"}
function keeper:keep(a, b) return function() return self.name, a, b end end
print("kept frame", keeper:keep(pair())())
print("kept frame", keeper:keep(1, many())())
print("kept frame", keeper.keep(keeper, "no spread")())
