-- Spectral-norm-like kernel: the power method on an infinite matrix whose entries come from a
-- small float function, called once per entry (many small calls of float arithmetic).
local function entry(i, j)
  local ij = i + j
  return 1.0 / (ij * (ij + 1) * 0.5 + i + 1)
end

local function multiply(x, y, n)
  for i = 0, n - 1 do
    local sum = 0.0
    for j = 0, n - 1 do
      sum = sum + entry(i, j) * x[j]
    end
    y[i] = sum
  end
end

local function multiplyTransposed(x, y, n)
  for i = 0, n - 1 do
    local sum = 0.0
    for j = 0, n - 1 do
      sum = sum + entry(j, i) * x[j]
    end
    y[i] = sum
  end
end

local function multiplyBoth(x, y, t, n)
  multiply(x, t, n)
  multiplyTransposed(t, y, n)
end

local function dominantNormSquared(n)
  local u, v, t = {}, {}, {}
  for i = 0, n - 1 do
    u[i] = 1.0
  end
  for _ = 1, 10 do
    multiplyBoth(u, v, t, n)
    multiplyBoth(v, u, t, n)
  end
  local vBv, vv = 0.0, 0.0
  for i = 0, n - 1 do
    local ui, vi = u[i], v[i]
    vBv = vBv + ui * vi
    vv = vv + vi * vi
  end
  return vBv / vv
end

print("dominant norm squared x1e9", math.floor(dominantNormSquared(500) * 1000000000))
