-- Array writes and reads: appends with t[#t + 1], indexed reads, in-place swaps,
-- filtering, prefix sums, a stack drained with table.remove, and integer matrix products.
local seed = 12345
local function nextRandom(limit)
  seed = (seed * 16807) % 2147483647
  return seed % limit
end

local function build(n)
  local t = {}
  for i = 1, n do
    t[#t + 1] = nextRandom(1000)
  end
  return t
end

local function prefixSums(t)
  local out = {}
  local running = 0
  for i = 1, #t do
    running = running + t[i]
    out[i] = running
  end
  return out
end

local function keepEven(t)
  local out = {}
  for i = 1, #t do
    local v = t[i]
    if v % 2 == 0 then
      out[#out + 1] = v
    end
  end
  return out
end

local function reverse(t)
  local i, j = 1, #t
  while i < j do
    t[i], t[j] = t[j], t[i]
    i = i + 1
    j = j - 1
  end
end

local function drain(t)
  local total = 0
  local v = table.remove(t)
  while v ~= nil do
    total = (total * 7 + v) % 1000003
    v = table.remove(t)
  end
  return total
end

local function matrix(n)
  local m = {}
  for i = 1, n do
    local row = {}
    for j = 1, n do
      row[j] = nextRandom(10)
    end
    m[i] = row
  end
  return m
end

local function multiply(a, b, n)
  local c = {}
  for i = 1, n do
    local row, ai = {}, a[i]
    for j = 1, n do
      local sum = 0
      for k = 1, n do
        sum = sum + ai[k] * b[k][j]
      end
      row[j] = sum
    end
    c[i] = row
  end
  return c
end

local checksum = 0
for round = 1, 700 do
  local t = build(5000)
  local sums = prefixSums(t)
  local evens = keepEven(t)
  reverse(t)
  checksum = (checksum + sums[#sums] + #evens * 3 + t[1] + drain(evens)) % 1000000007
end
print("array checksum", checksum)

local a, b = matrix(200), matrix(200)
local c = multiply(a, b, 200)
c = multiply(c, a, 200)
local trace = 0
for i = 1, 200 do
  trace = trace + c[i][i]
end
print("matrix trace", trace)
