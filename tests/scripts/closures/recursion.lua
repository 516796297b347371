-- Recursion through local functions, globals, fields and forward-declared locals.
local function fact(n)
  if n <= 1 then return 1 end
  return n * fact(n - 1)
end
print("factorial", fact(10), fact(20))
local function fib(n)
  if n < 2 then return n end
  return fib(n - 1) + fib(n - 2)
end
print("fibonacci", fib(20))
local isEven, isOdd
function isEven(n)
  if n == 0 then return true end
  return isOdd(n - 1)
end
function isOdd(n)
  if n == 0 then return false end
  return isEven(n - 1)
end
print("mutual", isEven(10), isOdd(7), isEven(7))
print("forward locals stay local", isEven == nil, type(isOdd))
function countdown(n)
  if n == 0 then return "liftoff" end
  return countdown(n - 1)
end
print("global recursion", countdown(50))
local function range(n)
  if n == 0 then return end
  return n, range(n - 1)
end
print("multiple results", range(4))
local obj = {}
function obj.walk(n)
  if n == 0 then return 0 end
  return 1 + obj.walk(n - 1)
end
print("field recursion", obj.walk(30))
local function sum(t, i)
  i = i or 1
  if t[i] == nil then return 0 end
  return t[i] + sum(t, i + 1)
end
print("sum", sum({1, 2, 3, 4, 5}))
local depth = 0
local function nest(n)
  depth = depth + 1
  if n > 0 then nest(n - 1) end
end
nest(150)
print("moderate depth", depth)
print("names", tostring(fact), tostring(countdown))
-- A guard clause at the top of a function returns its values straight to the caller, as many as the
-- caller takes.
local function many() return 1, 2, 3 end
local function guard(kind)
  if kind == "call" then return many() end
  if kind == "list" then return 4, 5, 6 end
  if kind == "none" then return end
  return "fell through"
end
print("guards", guard("call"))
print("guards", guard("list"))
print("guards one each", (guard("call")), (guard("list")), guard("none"), guard("other"))
local first = guard("list")
print("guards counted", #{guard("call")}, #{guard("none")}, first)
