-- Sorting written in Lua: quicksort, merge sort and heap sort over 100,000 numbers
-- from a deterministic generator, each result checked against the others.
local seed = 1
local function fill(n, s)
  seed = s
  local t = {}
  for i = 1, n do
    seed = (seed * 16807) % 2147483647
    t[i] = seed % 1000000
  end
  return t
end

local function copy(t)
  local out = {}
  for i = 1, #t do
    out[i] = t[i]
  end
  return out
end

local function quicksort(t, lo, hi)
  while lo < hi do
    local pivot = t[math.floor((lo + hi) / 2)]
    local i, j = lo, hi
    while i <= j do
      while t[i] < pivot do
        i = i + 1
      end
      while t[j] > pivot do
        j = j - 1
      end
      if i <= j then
        t[i], t[j] = t[j], t[i]
        i = i + 1
        j = j - 1
      end
    end
    -- Recurse into the smaller side, loop on the larger one.
    if j - lo < hi - i then
      quicksort(t, lo, j)
      lo = i
    else
      quicksort(t, i, hi)
      hi = j
    end
  end
end

local function mergesort(t, n)
  local src, dst = t, {}
  local width = 1
  while width < n do
    local lo = 1
    while lo <= n do
      local mid = math.min(lo + width, n + 1)
      local hi = math.min(lo + 2 * width, n + 1)
      local i, j, k = lo, mid, lo
      while i < mid and j < hi do
        if src[j] < src[i] then
          dst[k] = src[j]
          j = j + 1
        else
          dst[k] = src[i]
          i = i + 1
        end
        k = k + 1
      end
      while i < mid do
        dst[k] = src[i]
        i = i + 1
        k = k + 1
      end
      while j < hi do
        dst[k] = src[j]
        j = j + 1
        k = k + 1
      end
      lo = hi
    end
    src, dst = dst, src
    width = width * 2
  end
  return src
end

local function heapsort(t, n)
  local function siftDown(start, stop)
    local root = start
    while true do
      local child = root * 2
      if child > stop then
        return
      end
      if child + 1 <= stop and t[child] < t[child + 1] then
        child = child + 1
      end
      if t[root] < t[child] then
        t[root], t[child] = t[child], t[root]
        root = child
      else
        return
      end
    end
  end
  for start = math.floor(n / 2), 1, -1 do
    siftDown(start, n)
  end
  for stop = n, 2, -1 do
    t[1], t[stop] = t[stop], t[1]
    siftDown(1, stop - 1)
  end
end

local function checksumOf(t, n)
  local sum = 0
  for i = 1, n do
    if i > 1 and t[i - 1] > t[i] then
      error("not sorted at " .. i)
    end
    sum = (sum + t[i] * (i % 1000 + 1)) % 1000000007
  end
  return sum
end

local n = 100000
local total = 0
for round = 1, 5 do
  local original = fill(n, round * 7919)
  local a = copy(original)
  quicksort(a, 1, n)
  local b = mergesort(copy(original), n)
  local c = copy(original)
  heapsort(c, n)
  local ca, cb, cc = checksumOf(a, n), checksumOf(b, n), checksumOf(c, n)
  if ca ~= cb or cb ~= cc then
    error("sorts disagree")
  end
  print("round", round, "min", a[1], "median", a[math.floor(n / 2)], "max", a[n], "checksum", ca)
  total = (total + ca) % 1000000007
end
print("total", total)
