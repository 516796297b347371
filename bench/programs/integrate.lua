-- Float loops: midpoint-rule integration and a chain of masses on springs.
-- Only integers derived with math.floor are printed, so float formatting never shows.
local function integratePi(steps)
  local h = 1.0 / steps
  local sum = 0.0
  for i = 0, steps - 1 do
    local x = (i + 0.5) * h
    sum = sum + 4.0 / (1.0 + x * x)
  end
  return sum * h
end

-- Simpson's rule for the integral of x^3 - 2x + 1 over [0, 3] (exact value 14.25).
local function simpsonCubic(steps)
  local a, b = 0.0, 3.0
  local h = (b - a) / steps
  local function f(x)
    return x * x * x - 2.0 * x + 1.0
  end
  local sum = f(a) + f(b)
  for i = 1, steps - 1 do
    local weight = 2.0
    if i % 2 == 1 then
      weight = 4.0
    end
    sum = sum + weight * f(a + i * h)
  end
  return sum * h / 3.0
end

-- A linear chain of unit masses joined by springs, integrated with velocity Verlet.
local function springChain(count, steps)
  local position, velocity, force = {}, {}, {}
  for i = 1, count do
    position[i] = 0.0
    velocity[i] = 0.0
    force[i] = 0.0
  end
  position[1] = 1.0
  local k, dt = 1.5, 0.01
  local function computeForces()
    for i = 1, count do
      local f = 0.0
      if i > 1 then
        f = f - k * (position[i] - position[i - 1])
      end
      if i < count then
        f = f - k * (position[i] - position[i + 1])
      end
      force[i] = f
    end
  end
  computeForces()
  for step = 1, steps do
    for i = 1, count do
      velocity[i] = velocity[i] + 0.5 * dt * force[i]
      position[i] = position[i] + dt * velocity[i]
    end
    computeForces()
    for i = 1, count do
      velocity[i] = velocity[i] + 0.5 * dt * force[i]
    end
  end
  local kinetic, potential, centre = 0.0, 0.0, 0.0
  for i = 1, count do
    kinetic = kinetic + 0.5 * velocity[i] * velocity[i]
    centre = centre + position[i]
    if i < count then
      local d = position[i + 1] - position[i]
      potential = potential + 0.5 * k * d * d
    end
  end
  return kinetic + potential, centre
end

print("pi x 1e8", math.floor(integratePi(22000000) * 100000000))
print("simpson x 1e6", math.floor(simpsonCubic(6000000) * 1000000 + 0.5))
local energy, centre = springChain(40, 60000)
print("spring energy x 1e6", math.floor(energy * 1000000))
print("spring centre x 1e6", math.floor(centre * 1000000 + 0.5))
