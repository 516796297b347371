-- Float-heavy kernel: nested loops of float * + - and comparisons (a fractal and an n-body step).
-- Only integer counts and math.floor of scaled sums are printed, so float formatting never shows.
local function mandelbrot(width, height, limit)
  local inside, total = 0, 0
  for py = 0, height - 1 do
    local ci = py * 2.0 / height - 1.0
    for px = 0, width - 1 do
      local cr = px * 3.0 / width - 2.0
      local zr, zi = 0.0, 0.0
      local zr2, zi2 = 0.0, 0.0
      local k = 0
      while k < limit and zr2 + zi2 < 4.0 do
        zi = 2.0 * zr * zi + ci
        zr = zr2 - zi2 + cr
        zr2 = zr * zr
        zi2 = zi * zi
        k = k + 1
      end
      if k == limit then
        inside = inside + 1
      end
      total = total + k
    end
  end
  return inside, total
end

-- A few bodies under softened gravity; velocities and positions in flat arrays.
local function nbody(count, steps)
  local x, y, vx, vy, m = {}, {}, {}, {}, {}
  for i = 1, count do
    x[i] = (i * 37 % 101) * 0.1
    y[i] = (i * 53 % 97) * 0.1
    vx[i] = 0.0
    vy[i] = 0.0
    m[i] = 1.0 + (i % 3) * 0.5
  end
  local dt = 0.001
  for _ = 1, steps do
    for i = 1, count do
      local xi, yi = x[i], y[i]
      local ax, ay = 0.0, 0.0
      for j = 1, count do
        if j ~= i then
          local dx = x[j] - xi
          local dy = y[j] - yi
          local d2 = dx * dx + dy * dy + 0.01
          local s = m[j] / (d2 * d2)
          ax = ax + dx * s
          ay = ay + dy * s
        end
      end
      vx[i] = vx[i] + ax * dt
      vy[i] = vy[i] + ay * dt
    end
    for i = 1, count do
      x[i] = x[i] + vx[i] * dt
      y[i] = y[i] + vy[i] * dt
    end
  end
  local energy = 0.0
  for i = 1, count do
    energy = energy + 0.5 * m[i] * (vx[i] * vx[i] + vy[i] * vy[i])
  end
  return energy
end

local inside, total = mandelbrot(480, 320, 200)
print("mandelbrot inside", inside, "iterations", total)
print("nbody energy x1000", math.floor(nbody(32, 900) * 1000))
