-- Every operator gives the same result whatever shape its operands have: literals, locals of the
-- running function, locals of enclosing functions, and expressions that run code. Each check
-- evaluates one operator on one pair of values in every shape and prints the result once, or each
-- differing shape.
local t = {}
local function w(v)
  return v
end
local function try(f, p, q)
  local ok, result = pcall(f, p, q)
  if ok then
    return tostring(result)
  end
  return "error: " .. result
end
local function check(label, a, b, shapes)
  local results = shapes(a, b)
  for i = 2, #results do
    if results[i] ~= results[1] then
      print(label, "shape " .. i .. " differs", results[i], results[1])
    end
  end
  print(label, results[1])
end

check("7 + 3", 7, 3, function(a, b)
  return {
    try(function() return 7 + 3 end), try(function(p) return p + 3 end, a), try(function() return a + 3 end),
    try(function(p, q) return 7 + q end, a, b), try(function() return 7 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("7 - 3", 7, 3, function(a, b)
  return {
    try(function() return 7 - 3 end), try(function(p) return p - 3 end, a), try(function() return a - 3 end),
    try(function(p, q) return 7 - q end, a, b), try(function() return 7 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("7 * 3", 7, 3, function(a, b)
  return {
    try(function() return 7 * 3 end), try(function(p) return p * 3 end, a), try(function() return a * 3 end),
    try(function(p, q) return 7 * q end, a, b), try(function() return 7 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("7 / 3", 7, 3, function(a, b)
  return {
    try(function() return 7 / 3 end), try(function(p) return p / 3 end, a), try(function() return a / 3 end),
    try(function(p, q) return 7 / q end, a, b), try(function() return 7 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("7 % 3", 7, 3, function(a, b)
  return {
    try(function() return 7 % 3 end), try(function(p) return p % 3 end, a), try(function() return a % 3 end),
    try(function(p, q) return 7 % q end, a, b), try(function() return 7 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("7 < 3", 7, 3, function(a, b)
  return {
    try(function() return 7 < 3 end), try(function(p) return p < 3 end, a), try(function() return a < 3 end),
    try(function(p, q) return 7 < q end, a, b), try(function() return 7 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("7 <= 3", 7, 3, function(a, b)
  return {
    try(function() return 7 <= 3 end), try(function(p) return p <= 3 end, a), try(function() return a <= 3 end),
    try(function(p, q) return 7 <= q end, a, b), try(function() return 7 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("7 > 3", 7, 3, function(a, b)
  return {
    try(function() return 7 > 3 end), try(function(p) return p > 3 end, a), try(function() return a > 3 end),
    try(function(p, q) return 7 > q end, a, b), try(function() return 7 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("7 >= 3", 7, 3, function(a, b)
  return {
    try(function() return 7 >= 3 end), try(function(p) return p >= 3 end, a), try(function() return a >= 3 end),
    try(function(p, q) return 7 >= q end, a, b), try(function() return 7 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("7 == 3", 7, 3, function(a, b)
  return {
    try(function() return 7 == 3 end), try(function(p) return p == 3 end, a), try(function() return a == 3 end),
    try(function(p, q) return 7 == q end, a, b), try(function() return 7 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("7 ~= 3", 7, 3, function(a, b)
  return {
    try(function() return 7 ~= 3 end), try(function(p) return p ~= 3 end, a), try(function() return a ~= 3 end),
    try(function(p, q) return 7 ~= q end, a, b), try(function() return 7 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("-7 + 3", -7, 3, function(a, b)
  return {
    try(function() return -7 + 3 end), try(function(p) return p + 3 end, a), try(function() return a + 3 end),
    try(function(p, q) return -7 + q end, a, b), try(function() return -7 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("-7 - 3", -7, 3, function(a, b)
  return {
    try(function() return -7 - 3 end), try(function(p) return p - 3 end, a), try(function() return a - 3 end),
    try(function(p, q) return -7 - q end, a, b), try(function() return -7 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("-7 * 3", -7, 3, function(a, b)
  return {
    try(function() return -7 * 3 end), try(function(p) return p * 3 end, a), try(function() return a * 3 end),
    try(function(p, q) return -7 * q end, a, b), try(function() return -7 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("-7 / 3", -7, 3, function(a, b)
  return {
    try(function() return -7 / 3 end), try(function(p) return p / 3 end, a), try(function() return a / 3 end),
    try(function(p, q) return -7 / q end, a, b), try(function() return -7 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("-7 % 3", -7, 3, function(a, b)
  return {
    try(function() return -7 % 3 end), try(function(p) return p % 3 end, a), try(function() return a % 3 end),
    try(function(p, q) return -7 % q end, a, b), try(function() return -7 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("-7 < 3", -7, 3, function(a, b)
  return {
    try(function() return -7 < 3 end), try(function(p) return p < 3 end, a), try(function() return a < 3 end),
    try(function(p, q) return -7 < q end, a, b), try(function() return -7 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("-7 <= 3", -7, 3, function(a, b)
  return {
    try(function() return -7 <= 3 end), try(function(p) return p <= 3 end, a), try(function() return a <= 3 end),
    try(function(p, q) return -7 <= q end, a, b), try(function() return -7 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("-7 > 3", -7, 3, function(a, b)
  return {
    try(function() return -7 > 3 end), try(function(p) return p > 3 end, a), try(function() return a > 3 end),
    try(function(p, q) return -7 > q end, a, b), try(function() return -7 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("-7 >= 3", -7, 3, function(a, b)
  return {
    try(function() return -7 >= 3 end), try(function(p) return p >= 3 end, a), try(function() return a >= 3 end),
    try(function(p, q) return -7 >= q end, a, b), try(function() return -7 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("-7 == 3", -7, 3, function(a, b)
  return {
    try(function() return -7 == 3 end), try(function(p) return p == 3 end, a), try(function() return a == 3 end),
    try(function(p, q) return -7 == q end, a, b), try(function() return -7 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("-7 ~= 3", -7, 3, function(a, b)
  return {
    try(function() return -7 ~= 3 end), try(function(p) return p ~= 3 end, a), try(function() return a ~= 3 end),
    try(function(p, q) return -7 ~= q end, a, b), try(function() return -7 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("7 + 0", 7, 0, function(a, b)
  return {
    try(function() return 7 + 0 end), try(function(p) return p + 0 end, a), try(function() return a + 0 end),
    try(function(p, q) return 7 + q end, a, b), try(function() return 7 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("7 - 0", 7, 0, function(a, b)
  return {
    try(function() return 7 - 0 end), try(function(p) return p - 0 end, a), try(function() return a - 0 end),
    try(function(p, q) return 7 - q end, a, b), try(function() return 7 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("7 * 0", 7, 0, function(a, b)
  return {
    try(function() return 7 * 0 end), try(function(p) return p * 0 end, a), try(function() return a * 0 end),
    try(function(p, q) return 7 * q end, a, b), try(function() return 7 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("7 / 0", 7, 0, function(a, b)
  return {
    try(function() return 7 / 0 end), try(function(p) return p / 0 end, a), try(function() return a / 0 end),
    try(function(p, q) return 7 / q end, a, b), try(function() return 7 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("7 % 0", 7, 0, function(a, b)
  return {
    try(function() return 7 % 0 end), try(function(p) return p % 0 end, a), try(function() return a % 0 end),
    try(function(p, q) return 7 % q end, a, b), try(function() return 7 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("7 < 0", 7, 0, function(a, b)
  return {
    try(function() return 7 < 0 end), try(function(p) return p < 0 end, a), try(function() return a < 0 end),
    try(function(p, q) return 7 < q end, a, b), try(function() return 7 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("7 <= 0", 7, 0, function(a, b)
  return {
    try(function() return 7 <= 0 end), try(function(p) return p <= 0 end, a), try(function() return a <= 0 end),
    try(function(p, q) return 7 <= q end, a, b), try(function() return 7 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("7 > 0", 7, 0, function(a, b)
  return {
    try(function() return 7 > 0 end), try(function(p) return p > 0 end, a), try(function() return a > 0 end),
    try(function(p, q) return 7 > q end, a, b), try(function() return 7 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("7 >= 0", 7, 0, function(a, b)
  return {
    try(function() return 7 >= 0 end), try(function(p) return p >= 0 end, a), try(function() return a >= 0 end),
    try(function(p, q) return 7 >= q end, a, b), try(function() return 7 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("7 == 0", 7, 0, function(a, b)
  return {
    try(function() return 7 == 0 end), try(function(p) return p == 0 end, a), try(function() return a == 0 end),
    try(function(p, q) return 7 == q end, a, b), try(function() return 7 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("7 ~= 0", 7, 0, function(a, b)
  return {
    try(function() return 7 ~= 0 end), try(function(p) return p ~= 0 end, a), try(function() return a ~= 0 end),
    try(function(p, q) return 7 ~= q end, a, b), try(function() return 7 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("2.5 + 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 + 2 end), try(function(p) return p + 2 end, a), try(function() return a + 2 end),
    try(function(p, q) return 2.5 + q end, a, b), try(function() return 2.5 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("2.5 - 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 - 2 end), try(function(p) return p - 2 end, a), try(function() return a - 2 end),
    try(function(p, q) return 2.5 - q end, a, b), try(function() return 2.5 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("2.5 * 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 * 2 end), try(function(p) return p * 2 end, a), try(function() return a * 2 end),
    try(function(p, q) return 2.5 * q end, a, b), try(function() return 2.5 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("2.5 / 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 / 2 end), try(function(p) return p / 2 end, a), try(function() return a / 2 end),
    try(function(p, q) return 2.5 / q end, a, b), try(function() return 2.5 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("2.5 % 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 % 2 end), try(function(p) return p % 2 end, a), try(function() return a % 2 end),
    try(function(p, q) return 2.5 % q end, a, b), try(function() return 2.5 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("2.5 < 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 < 2 end), try(function(p) return p < 2 end, a), try(function() return a < 2 end),
    try(function(p, q) return 2.5 < q end, a, b), try(function() return 2.5 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("2.5 <= 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 <= 2 end), try(function(p) return p <= 2 end, a), try(function() return a <= 2 end),
    try(function(p, q) return 2.5 <= q end, a, b), try(function() return 2.5 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("2.5 > 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 > 2 end), try(function(p) return p > 2 end, a), try(function() return a > 2 end),
    try(function(p, q) return 2.5 > q end, a, b), try(function() return 2.5 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("2.5 >= 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 >= 2 end), try(function(p) return p >= 2 end, a), try(function() return a >= 2 end),
    try(function(p, q) return 2.5 >= q end, a, b), try(function() return 2.5 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("2.5 == 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 == 2 end), try(function(p) return p == 2 end, a), try(function() return a == 2 end),
    try(function(p, q) return 2.5 == q end, a, b), try(function() return 2.5 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("2.5 ~= 2", 2.5, 2, function(a, b)
  return {
    try(function() return 2.5 ~= 2 end), try(function(p) return p ~= 2 end, a), try(function() return a ~= 2 end),
    try(function(p, q) return 2.5 ~= q end, a, b), try(function() return 2.5 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("5 + 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 + 0.0000000000000002 end), try(function(p) return p + 0.0000000000000002 end, a), try(function() return a + 0.0000000000000002 end),
    try(function(p, q) return 5 + q end, a, b), try(function() return 5 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("5 - 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 - 0.0000000000000002 end), try(function(p) return p - 0.0000000000000002 end, a), try(function() return a - 0.0000000000000002 end),
    try(function(p, q) return 5 - q end, a, b), try(function() return 5 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("5 * 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 * 0.0000000000000002 end), try(function(p) return p * 0.0000000000000002 end, a), try(function() return a * 0.0000000000000002 end),
    try(function(p, q) return 5 * q end, a, b), try(function() return 5 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("5 / 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 / 0.0000000000000002 end), try(function(p) return p / 0.0000000000000002 end, a), try(function() return a / 0.0000000000000002 end),
    try(function(p, q) return 5 / q end, a, b), try(function() return 5 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("5 % 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 % 0.0000000000000002 end), try(function(p) return p % 0.0000000000000002 end, a), try(function() return a % 0.0000000000000002 end),
    try(function(p, q) return 5 % q end, a, b), try(function() return 5 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("5 < 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 < 0.0000000000000002 end), try(function(p) return p < 0.0000000000000002 end, a), try(function() return a < 0.0000000000000002 end),
    try(function(p, q) return 5 < q end, a, b), try(function() return 5 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("5 <= 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 <= 0.0000000000000002 end), try(function(p) return p <= 0.0000000000000002 end, a), try(function() return a <= 0.0000000000000002 end),
    try(function(p, q) return 5 <= q end, a, b), try(function() return 5 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("5 > 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 > 0.0000000000000002 end), try(function(p) return p > 0.0000000000000002 end, a), try(function() return a > 0.0000000000000002 end),
    try(function(p, q) return 5 > q end, a, b), try(function() return 5 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("5 >= 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 >= 0.0000000000000002 end), try(function(p) return p >= 0.0000000000000002 end, a), try(function() return a >= 0.0000000000000002 end),
    try(function(p, q) return 5 >= q end, a, b), try(function() return 5 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("5 == 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 == 0.0000000000000002 end), try(function(p) return p == 0.0000000000000002 end, a), try(function() return a == 0.0000000000000002 end),
    try(function(p, q) return 5 == q end, a, b), try(function() return 5 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("5 ~= 0.0000000000000002", 5, 0.0000000000000002, function(a, b)
  return {
    try(function() return 5 ~= 0.0000000000000002 end), try(function(p) return p ~= 0.0000000000000002 end, a), try(function() return a ~= 0.0000000000000002 end),
    try(function(p, q) return 5 ~= q end, a, b), try(function() return 5 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("9223372036854775807 + 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 + 1 end), try(function(p) return p + 1 end, a), try(function() return a + 1 end),
    try(function(p, q) return 9223372036854775807 + q end, a, b), try(function() return 9223372036854775807 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("9223372036854775807 - 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 - 1 end), try(function(p) return p - 1 end, a), try(function() return a - 1 end),
    try(function(p, q) return 9223372036854775807 - q end, a, b), try(function() return 9223372036854775807 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("9223372036854775807 * 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 * 1 end), try(function(p) return p * 1 end, a), try(function() return a * 1 end),
    try(function(p, q) return 9223372036854775807 * q end, a, b), try(function() return 9223372036854775807 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("9223372036854775807 / 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 / 1 end), try(function(p) return p / 1 end, a), try(function() return a / 1 end),
    try(function(p, q) return 9223372036854775807 / q end, a, b), try(function() return 9223372036854775807 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("9223372036854775807 % 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 % 1 end), try(function(p) return p % 1 end, a), try(function() return a % 1 end),
    try(function(p, q) return 9223372036854775807 % q end, a, b), try(function() return 9223372036854775807 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("9223372036854775807 < 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 < 1 end), try(function(p) return p < 1 end, a), try(function() return a < 1 end),
    try(function(p, q) return 9223372036854775807 < q end, a, b), try(function() return 9223372036854775807 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("9223372036854775807 <= 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 <= 1 end), try(function(p) return p <= 1 end, a), try(function() return a <= 1 end),
    try(function(p, q) return 9223372036854775807 <= q end, a, b), try(function() return 9223372036854775807 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("9223372036854775807 > 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 > 1 end), try(function(p) return p > 1 end, a), try(function() return a > 1 end),
    try(function(p, q) return 9223372036854775807 > q end, a, b), try(function() return 9223372036854775807 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("9223372036854775807 >= 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 >= 1 end), try(function(p) return p >= 1 end, a), try(function() return a >= 1 end),
    try(function(p, q) return 9223372036854775807 >= q end, a, b), try(function() return 9223372036854775807 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("9223372036854775807 == 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 == 1 end), try(function(p) return p == 1 end, a), try(function() return a == 1 end),
    try(function(p, q) return 9223372036854775807 == q end, a, b), try(function() return 9223372036854775807 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("9223372036854775807 ~= 1", 9223372036854775807, 1, function(a, b)
  return {
    try(function() return 9223372036854775807 ~= 1 end), try(function(p) return p ~= 1 end, a), try(function() return a ~= 1 end),
    try(function(p, q) return 9223372036854775807 ~= q end, a, b), try(function() return 9223372036854775807 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("4611686018427387904 + 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 + 3 end), try(function(p) return p + 3 end, a), try(function() return a + 3 end),
    try(function(p, q) return 4611686018427387904 + q end, a, b), try(function() return 4611686018427387904 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("4611686018427387904 - 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 - 3 end), try(function(p) return p - 3 end, a), try(function() return a - 3 end),
    try(function(p, q) return 4611686018427387904 - q end, a, b), try(function() return 4611686018427387904 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("4611686018427387904 * 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 * 3 end), try(function(p) return p * 3 end, a), try(function() return a * 3 end),
    try(function(p, q) return 4611686018427387904 * q end, a, b), try(function() return 4611686018427387904 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("4611686018427387904 / 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 / 3 end), try(function(p) return p / 3 end, a), try(function() return a / 3 end),
    try(function(p, q) return 4611686018427387904 / q end, a, b), try(function() return 4611686018427387904 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("4611686018427387904 % 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 % 3 end), try(function(p) return p % 3 end, a), try(function() return a % 3 end),
    try(function(p, q) return 4611686018427387904 % q end, a, b), try(function() return 4611686018427387904 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("4611686018427387904 < 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 < 3 end), try(function(p) return p < 3 end, a), try(function() return a < 3 end),
    try(function(p, q) return 4611686018427387904 < q end, a, b), try(function() return 4611686018427387904 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("4611686018427387904 <= 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 <= 3 end), try(function(p) return p <= 3 end, a), try(function() return a <= 3 end),
    try(function(p, q) return 4611686018427387904 <= q end, a, b), try(function() return 4611686018427387904 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("4611686018427387904 > 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 > 3 end), try(function(p) return p > 3 end, a), try(function() return a > 3 end),
    try(function(p, q) return 4611686018427387904 > q end, a, b), try(function() return 4611686018427387904 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("4611686018427387904 >= 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 >= 3 end), try(function(p) return p >= 3 end, a), try(function() return a >= 3 end),
    try(function(p, q) return 4611686018427387904 >= q end, a, b), try(function() return 4611686018427387904 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("4611686018427387904 == 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 == 3 end), try(function(p) return p == 3 end, a), try(function() return a == 3 end),
    try(function(p, q) return 4611686018427387904 == q end, a, b), try(function() return 4611686018427387904 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("4611686018427387904 ~= 3", 4611686018427387904, 3, function(a, b)
  return {
    try(function() return 4611686018427387904 ~= 3 end), try(function(p) return p ~= 3 end, a), try(function() return a ~= 3 end),
    try(function(p, q) return 4611686018427387904 ~= q end, a, b), try(function() return 4611686018427387904 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("0.30000000000000004 + 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 + 0.3 end), try(function(p) return p + 0.3 end, a), try(function() return a + 0.3 end),
    try(function(p, q) return 0.30000000000000004 + q end, a, b), try(function() return 0.30000000000000004 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("0.30000000000000004 - 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 - 0.3 end), try(function(p) return p - 0.3 end, a), try(function() return a - 0.3 end),
    try(function(p, q) return 0.30000000000000004 - q end, a, b), try(function() return 0.30000000000000004 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("0.30000000000000004 * 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 * 0.3 end), try(function(p) return p * 0.3 end, a), try(function() return a * 0.3 end),
    try(function(p, q) return 0.30000000000000004 * q end, a, b), try(function() return 0.30000000000000004 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("0.30000000000000004 / 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 / 0.3 end), try(function(p) return p / 0.3 end, a), try(function() return a / 0.3 end),
    try(function(p, q) return 0.30000000000000004 / q end, a, b), try(function() return 0.30000000000000004 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("0.30000000000000004 % 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 % 0.3 end), try(function(p) return p % 0.3 end, a), try(function() return a % 0.3 end),
    try(function(p, q) return 0.30000000000000004 % q end, a, b), try(function() return 0.30000000000000004 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("0.30000000000000004 < 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 < 0.3 end), try(function(p) return p < 0.3 end, a), try(function() return a < 0.3 end),
    try(function(p, q) return 0.30000000000000004 < q end, a, b), try(function() return 0.30000000000000004 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("0.30000000000000004 <= 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 <= 0.3 end), try(function(p) return p <= 0.3 end, a), try(function() return a <= 0.3 end),
    try(function(p, q) return 0.30000000000000004 <= q end, a, b), try(function() return 0.30000000000000004 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("0.30000000000000004 > 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 > 0.3 end), try(function(p) return p > 0.3 end, a), try(function() return a > 0.3 end),
    try(function(p, q) return 0.30000000000000004 > q end, a, b), try(function() return 0.30000000000000004 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("0.30000000000000004 >= 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 >= 0.3 end), try(function(p) return p >= 0.3 end, a), try(function() return a >= 0.3 end),
    try(function(p, q) return 0.30000000000000004 >= q end, a, b), try(function() return 0.30000000000000004 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("0.30000000000000004 == 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 == 0.3 end), try(function(p) return p == 0.3 end, a), try(function() return a == 0.3 end),
    try(function(p, q) return 0.30000000000000004 == q end, a, b), try(function() return 0.30000000000000004 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("0.30000000000000004 ~= 0.3", 0.30000000000000004, 0.3, function(a, b)
  return {
    try(function() return 0.30000000000000004 ~= 0.3 end), try(function(p) return p ~= 0.3 end, a), try(function() return a ~= 0.3 end),
    try(function(p, q) return 0.30000000000000004 ~= q end, a, b), try(function() return 0.30000000000000004 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("3 + 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 + 3.0000000000000004 end), try(function(p) return p + 3.0000000000000004 end, a), try(function() return a + 3.0000000000000004 end),
    try(function(p, q) return 3 + q end, a, b), try(function() return 3 + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("3 - 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 - 3.0000000000000004 end), try(function(p) return p - 3.0000000000000004 end, a), try(function() return a - 3.0000000000000004 end),
    try(function(p, q) return 3 - q end, a, b), try(function() return 3 - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("3 * 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 * 3.0000000000000004 end), try(function(p) return p * 3.0000000000000004 end, a), try(function() return a * 3.0000000000000004 end),
    try(function(p, q) return 3 * q end, a, b), try(function() return 3 * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("3 / 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 / 3.0000000000000004 end), try(function(p) return p / 3.0000000000000004 end, a), try(function() return a / 3.0000000000000004 end),
    try(function(p, q) return 3 / q end, a, b), try(function() return 3 / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("3 % 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 % 3.0000000000000004 end), try(function(p) return p % 3.0000000000000004 end, a), try(function() return a % 3.0000000000000004 end),
    try(function(p, q) return 3 % q end, a, b), try(function() return 3 % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("3 < 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 < 3.0000000000000004 end), try(function(p) return p < 3.0000000000000004 end, a), try(function() return a < 3.0000000000000004 end),
    try(function(p, q) return 3 < q end, a, b), try(function() return 3 < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("3 <= 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 <= 3.0000000000000004 end), try(function(p) return p <= 3.0000000000000004 end, a), try(function() return a <= 3.0000000000000004 end),
    try(function(p, q) return 3 <= q end, a, b), try(function() return 3 <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("3 > 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 > 3.0000000000000004 end), try(function(p) return p > 3.0000000000000004 end, a), try(function() return a > 3.0000000000000004 end),
    try(function(p, q) return 3 > q end, a, b), try(function() return 3 > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("3 >= 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 >= 3.0000000000000004 end), try(function(p) return p >= 3.0000000000000004 end, a), try(function() return a >= 3.0000000000000004 end),
    try(function(p, q) return 3 >= q end, a, b), try(function() return 3 >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("3 == 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 == 3.0000000000000004 end), try(function(p) return p == 3.0000000000000004 end, a), try(function() return a == 3.0000000000000004 end),
    try(function(p, q) return 3 == q end, a, b), try(function() return 3 == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("3 ~= 3.0000000000000004", 3, 3.0000000000000004, function(a, b)
  return {
    try(function() return 3 ~= 3.0000000000000004 end), try(function(p) return p ~= 3.0000000000000004 end, a), try(function() return a ~= 3.0000000000000004 end),
    try(function(p, q) return 3 ~= q end, a, b), try(function() return 3 ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("'a' + 1", "a", 1, function(a, b)
  return {
    try(function() return "a" + 1 end), try(function(p) return p + 1 end, a), try(function() return a + 1 end),
    try(function(p, q) return "a" + q end, a, b), try(function() return "a" + b end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("'a' - 1", "a", 1, function(a, b)
  return {
    try(function() return "a" - 1 end), try(function(p) return p - 1 end, a), try(function() return a - 1 end),
    try(function(p, q) return "a" - q end, a, b), try(function() return "a" - b end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("'a' * 1", "a", 1, function(a, b)
  return {
    try(function() return "a" * 1 end), try(function(p) return p * 1 end, a), try(function() return a * 1 end),
    try(function(p, q) return "a" * q end, a, b), try(function() return "a" * b end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("'a' / 1", "a", 1, function(a, b)
  return {
    try(function() return "a" / 1 end), try(function(p) return p / 1 end, a), try(function() return a / 1 end),
    try(function(p, q) return "a" / q end, a, b), try(function() return "a" / b end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("'a' % 1", "a", 1, function(a, b)
  return {
    try(function() return "a" % 1 end), try(function(p) return p % 1 end, a), try(function() return a % 1 end),
    try(function(p, q) return "a" % q end, a, b), try(function() return "a" % b end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("'a' < 1", "a", 1, function(a, b)
  return {
    try(function() return "a" < 1 end), try(function(p) return p < 1 end, a), try(function() return a < 1 end),
    try(function(p, q) return "a" < q end, a, b), try(function() return "a" < b end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("'a' <= 1", "a", 1, function(a, b)
  return {
    try(function() return "a" <= 1 end), try(function(p) return p <= 1 end, a), try(function() return a <= 1 end),
    try(function(p, q) return "a" <= q end, a, b), try(function() return "a" <= b end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("'a' > 1", "a", 1, function(a, b)
  return {
    try(function() return "a" > 1 end), try(function(p) return p > 1 end, a), try(function() return a > 1 end),
    try(function(p, q) return "a" > q end, a, b), try(function() return "a" > b end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("'a' >= 1", "a", 1, function(a, b)
  return {
    try(function() return "a" >= 1 end), try(function(p) return p >= 1 end, a), try(function() return a >= 1 end),
    try(function(p, q) return "a" >= q end, a, b), try(function() return "a" >= b end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("'a' == 1", "a", 1, function(a, b)
  return {
    try(function() return "a" == 1 end), try(function(p) return p == 1 end, a), try(function() return a == 1 end),
    try(function(p, q) return "a" == q end, a, b), try(function() return "a" == b end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("'a' ~= 1", "a", 1, function(a, b)
  return {
    try(function() return "a" ~= 1 end), try(function(p) return p ~= 1 end, a), try(function() return a ~= 1 end),
    try(function(p, q) return "a" ~= q end, a, b), try(function() return "a" ~= b end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)
check("t + 1", t, 1, function(a, b)
  return {
    try(function(p) return p + 1 end, a), try(function() return a + 1 end), try(function(p, q) return p + q end, a, b),
    try(function() return a + b end), try(function() return w(a) + w(b) end), try(function(p, q) return p + w(q) end, a, b),
    try(function(p, q) return w(p) + q end, a, b)
  }
end)
check("t - 1", t, 1, function(a, b)
  return {
    try(function(p) return p - 1 end, a), try(function() return a - 1 end), try(function(p, q) return p - q end, a, b),
    try(function() return a - b end), try(function() return w(a) - w(b) end), try(function(p, q) return p - w(q) end, a, b),
    try(function(p, q) return w(p) - q end, a, b)
  }
end)
check("t * 1", t, 1, function(a, b)
  return {
    try(function(p) return p * 1 end, a), try(function() return a * 1 end), try(function(p, q) return p * q end, a, b),
    try(function() return a * b end), try(function() return w(a) * w(b) end), try(function(p, q) return p * w(q) end, a, b),
    try(function(p, q) return w(p) * q end, a, b)
  }
end)
check("t / 1", t, 1, function(a, b)
  return {
    try(function(p) return p / 1 end, a), try(function() return a / 1 end), try(function(p, q) return p / q end, a, b),
    try(function() return a / b end), try(function() return w(a) / w(b) end), try(function(p, q) return p / w(q) end, a, b),
    try(function(p, q) return w(p) / q end, a, b)
  }
end)
check("t % 1", t, 1, function(a, b)
  return {
    try(function(p) return p % 1 end, a), try(function() return a % 1 end), try(function(p, q) return p % q end, a, b),
    try(function() return a % b end), try(function() return w(a) % w(b) end), try(function(p, q) return p % w(q) end, a, b),
    try(function(p, q) return w(p) % q end, a, b)
  }
end)
check("t < 1", t, 1, function(a, b)
  return {
    try(function(p) return p < 1 end, a), try(function() return a < 1 end), try(function(p, q) return p < q end, a, b),
    try(function() return a < b end), try(function() return w(a) < w(b) end), try(function(p, q) return p < w(q) end, a, b),
    try(function(p, q) return w(p) < q end, a, b)
  }
end)
check("t <= 1", t, 1, function(a, b)
  return {
    try(function(p) return p <= 1 end, a), try(function() return a <= 1 end), try(function(p, q) return p <= q end, a, b),
    try(function() return a <= b end), try(function() return w(a) <= w(b) end), try(function(p, q) return p <= w(q) end, a, b),
    try(function(p, q) return w(p) <= q end, a, b)
  }
end)
check("t > 1", t, 1, function(a, b)
  return {
    try(function(p) return p > 1 end, a), try(function() return a > 1 end), try(function(p, q) return p > q end, a, b),
    try(function() return a > b end), try(function() return w(a) > w(b) end), try(function(p, q) return p > w(q) end, a, b),
    try(function(p, q) return w(p) > q end, a, b)
  }
end)
check("t >= 1", t, 1, function(a, b)
  return {
    try(function(p) return p >= 1 end, a), try(function() return a >= 1 end), try(function(p, q) return p >= q end, a, b),
    try(function() return a >= b end), try(function() return w(a) >= w(b) end), try(function(p, q) return p >= w(q) end, a, b),
    try(function(p, q) return w(p) >= q end, a, b)
  }
end)
check("t == 1", t, 1, function(a, b)
  return {
    try(function(p) return p == 1 end, a), try(function() return a == 1 end), try(function(p, q) return p == q end, a, b),
    try(function() return a == b end), try(function() return w(a) == w(b) end), try(function(p, q) return p == w(q) end, a, b),
    try(function(p, q) return w(p) == q end, a, b)
  }
end)
check("t ~= 1", t, 1, function(a, b)
  return {
    try(function(p) return p ~= 1 end, a), try(function() return a ~= 1 end), try(function(p, q) return p ~= q end, a, b),
    try(function() return a ~= b end), try(function() return w(a) ~= w(b) end), try(function(p, q) return p ~= w(q) end, a, b),
    try(function(p, q) return w(p) ~= q end, a, b)
  }
end)

-- A local operand is read where it lives only when the other operand runs no code: a call that
-- assigns the local must not change what the operator read before it.
local x = 1
local function bump()
  x = 10
  return 0
end
print("left read before the call", x + bump(), x)
x = 1
print("right read after the call", bump() + x)
local y = 2
local function bumpBoth()
  y = 5
  return 1
end
print("both sides", y * (bumpBoth() + y), y)
