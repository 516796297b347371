-- pcall returns true and the results, or false and the bare message.
print(pcall(function() return 1, 2 end))
print(pcall(function() end))
print(pcall(function(a, b) return a + b end, 3, 4))
print(pcall(function(a, b) return a, b end, 1))
print(pcall(error, "boom"))
print(pcall(nil))
print(pcall(5))
print(pcall({}))
print(pcall(tostring))
print(pcall(pcall))
print(pcall(pcall, error, "inner"))
print(pcall(type, pcall))
print(pcall(function() local x = nil return x.y end))
print(pcall(function() return 1 + {} end))
local ok, m = pcall(function() error("no prefix") end)
print("message has no position", m)
count = 0
local function bump()
  count = count + 1
  error("after bump")
end
print("effects before the error stay", pcall(bump), count)
local t = {}
local function partial()
  t.a = 1
  local bad = nil + 1
  t.b = 2
end
print(pcall(partial))
print("partial effects", t.a, t.b)
print("uncaught next")
pcall()
