-- Runaway recursion outside pcall fails the run with a positioned error.
print("before")
local function f(n) return f(n + 1) + 1 end
f(1)
print("not reached")
