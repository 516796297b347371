-- Closures: counters with private state, pairs of closures sharing one variable,
-- per-iteration captures in for and while loops, and higher-order helpers.
local function makeCounter(step)
  local n = 0
  return function()
    n = n + step
    return n
  end
end

local function makeAccount(balance)
  local function deposit(amount)
    balance = balance + amount
  end
  local function withdraw(amount)
    if amount > balance then
      return false
    end
    balance = balance - amount
    return true
  end
  local function get()
    return balance
  end
  return deposit, withdraw, get
end

local function map(t, f)
  local out = {}
  for i = 1, #t do
    out[i] = f(t[i])
  end
  return out
end

local function fold(t, f, acc)
  for i = 1, #t do
    acc = f(acc, t[i])
  end
  return acc
end

local function compose(f, g)
  return function(x)
    return f(g(x))
  end
end

local checksum = 0

-- Counters: create many, call each a few times.
for i = 1, 1000000 do
  local c = makeCounter(i % 13 + 1)
  c()
  c()
  checksum = (checksum + c()) % 1000000007
end

-- Shared state: three closures over one balance.
local deposit, withdraw, get = makeAccount(100)
local refused = 0
for i = 1, 5000000 do
  deposit(i % 50)
  if not withdraw(i % 97) then
    refused = refused + 1
  end
end
print("balance", get(), "refused", refused)

-- Per-iteration capture: each closure sees its own loop variable.
local adders = {}
for i = 1, 200 do
  adders[i] = function(x)
    return x + i
  end
end
local spread = 0
for round = 1, 20000 do
  for i = 1, #adders do
    spread = spread + adders[i](round) - round
  end
end
print("spread", spread)

-- While loop: a fresh local each iteration, captured and called later.
local thunks = {}
local k = 0
while k < 200000 do
  k = k + 1
  local captured = k * 3
  thunks[k] = function()
    return captured
  end
end
local thunkSum = 0
for i = 1, #thunks do
  thunkSum = thunkSum + thunks[i]()
end
print("thunks", thunkSum)

-- Higher-order pipeline built from closures.
local numbers = {}
for i = 1, 2000 do
  numbers[i] = i
end
local double = function(x) return x * 2 end
local inc = function(x) return x + 1 end
local doubleThenInc = compose(inc, double)
for round = 1, 2000 do
  local mapped = map(numbers, doubleThenInc)
  local total = fold(mapped, function(acc, v) return acc + v % (round + 1) end, 0)
  checksum = (checksum * 3 + total) % 1000000007
end
print("checksum", checksum)
