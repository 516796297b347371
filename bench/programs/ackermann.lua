-- Deep recursion with early returns: Ackermann and Takeuchi functions.
local function ack(m, n)
  if m == 0 then
    return n + 1
  end
  if n == 0 then
    return ack(m - 1, 1)
  end
  return ack(m - 1, ack(m, n - 1))
end

local function tak(x, y, z)
  if y >= x then
    return z
  end
  return tak(tak(x - 1, y, z), tak(y - 1, z, x), tak(z - 1, x, y))
end

local acks = 0
for round = 1, 4 do
  for n = 1, 9 do
    acks = acks + ack(3, n)
  end
end
print("4 x ack(3, 1..9)", acks)
print("ack(2, 300)", ack(2, 300))
print("tak(18, 12, 6)", tak(18, 12, 6))
print("tak(24, 16, 8)", tak(24, 16, 8))
