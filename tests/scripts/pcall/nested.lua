-- Nested protected calls: each catches its own errors; afterwards errors are unprotected again.
local function inner() error("inner failure") end
local function outer()
  local ok, m = pcall(inner)
  print("inner caught", ok, m)
  error("outer failure")
end
print("outer", pcall(outer))
print("deep", pcall(pcall, pcall, error, "x"))
for i = 1, 3 do
  local ok, m = pcall(function()
    if i == 2 then error("bad " .. i) end
    return i * 10
  end)
  print("loop", i, ok, m)
end
local function rethrow()
  local ok, m = pcall(error, "first")
  error("wrapped: " .. m)
end
print("rethrow", pcall(rethrow))
local function protectedTwice()
  local _, a = pcall(error, "one")
  local _, b = pcall(error, "two")
  return a, b, #{pcall(error, "three")}
end
print("sequential", pcall(protectedTwice))
print("after nested calls")
error("unprotected at depth zero")
