-- error always raises text: any value is converted, the level is ignored.
print(pcall(error, "boom"))
print(pcall(error))
print(pcall(error, nil))
print(pcall(error, 42))
print(pcall(error, 1.5))
print(pcall(error, 10 / 2))
print(pcall(error, true))
print(pcall(error, "level ignored", 2))
print(pcall(error, 1, 2, 3))
local ok, m = pcall(error, 42)
print("message is text", ok, type(m), m == "42")
local t = {}
ok, m = pcall(error, t)
print("table message", m == tostring(t))
ok, m = pcall(error, print)
print("function message", m)
local function thrower() error("from function") end
print(pcall(thrower))
print(pcall(function() error("in literal", 0) end))
local function deep()
  error("deep failure", 1)
end
local function middle() deep() end
print("uncaught next")
middle()
