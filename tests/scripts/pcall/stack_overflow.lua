-- Runaway recursion is a catchable "stack overflow"; the interpreter stays usable afterwards.
local function f(n) return f(n + 1) + 1 end
print("runaway", pcall(f, 1))
local function g(n)
  if n == 0 then return 0 end
  return 1 + g(n - 1)
end
print("modest recursion still works", g(100))
print("again", pcall(f, 1))
local t = {}
local function build(n)
  t[n] = n
  return build(n + 1)
end
local ok, m = pcall(build, 1)
print("work before the overflow kept", ok, m, t[1], t[2])
print("innermost pcall catches", pcall(function()
  local ok2, m2 = pcall(f, 1)
  return tostring(ok2) .. " " .. m2
end))
local function viaMethod(self) return self:again() + 1 end
local obj = {again = viaMethod}
print("method recursion", pcall(viaMethod, obj))
local function tableBuild(n) return {tableBuild(n + 1)} end
print("constructor recursion", pcall(tableBuild, 1))
local loop = {}
loop.self = loop
print("self-containing table", pcall(print, loop))
print("still usable", g(50), pcall(error, "done"))
