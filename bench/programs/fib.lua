-- Recursion with early returns: naive Fibonacci, dominated by call overhead.
local function fib(n)
  if n < 2 then
    return n
  end
  return fib(n - 1) + fib(n - 2)
end

local total = 0
for n = 20, 34 do
  total = total + fib(n)
end
print("fib(34)", fib(34))
print("sum fib(20..34)", total)
