-- Integer arithmetic in while loops: Collatz chain lengths, gcd and digit sums.
local function collatzLength(n)
  local steps = 0
  while n ~= 1 do
    if n % 2 == 0 then
      n = math.floor(n / 2)
    else
      n = 3 * n + 1
    end
    steps = steps + 1
  end
  return steps
end

local bestStart, bestLength, totalSteps = 1, 0, 0
for start = 1, 250000 do
  local length = collatzLength(start)
  totalSteps = totalSteps + length
  if length > bestLength then
    bestStart, bestLength = start, length
  end
end
print("longest chain", bestStart, bestLength)
print("total steps", totalSteps)

local function gcd(a, b)
  while b ~= 0 do
    a, b = b, a % b
  end
  return a
end

local gcdSum = 0
for a = 1, 700 do
  for b = 1, 700 do
    gcdSum = gcdSum + gcd(a * 7 + 3, b * 5 + 2)
  end
end
print("gcd sum", gcdSum)

local digitTotal = 0
for n = 1, 450000 do
  local m = n * 12345
  while m > 0 do
    digitTotal = digitTotal + m % 10
    m = math.floor(m / 10)
  end
end
print("digit total", digitTotal)
