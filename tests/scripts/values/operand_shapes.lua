-- Every operator gives the same result whatever shape its operands have: literals, locals of the
-- running function, locals of enclosing functions, and expressions that run code. Each line of
-- output is one operator on one pair of values; a shape that disagrees with the first prints a
-- line of its own.
local function w(v)
  return v
end
local function show(ok, result)
  if ok then
    return tostring(result)
  end
  return "error: " .. result
end
local function compare(label, a, b, forms)
  local first = show(pcall(forms[1], a, b))
  for i = 2, #forms do
    local result = show(pcall(forms[i], a, b))
    if result ~= first then
      print(label, "shape " .. i .. " differs", result, first)
    end
  end
  print(label, first)
end

-- Operands held in locals, in enclosing functions' locals, and produced by calls.
local shapes = {
  {"+", function(a, b) return a + b end, function(a, b) local function f() return a + b end return f() end, function(a, b) return w(a) + w(b) end, function(a, b) return a + w(b) end, function(a, b) return w(a) + b end},
  {"-", function(a, b) return a - b end, function(a, b) local function f() return a - b end return f() end, function(a, b) return w(a) - w(b) end, function(a, b) return a - w(b) end, function(a, b) return w(a) - b end},
  {"*", function(a, b) return a * b end, function(a, b) local function f() return a * b end return f() end, function(a, b) return w(a) * w(b) end, function(a, b) return a * w(b) end, function(a, b) return w(a) * b end},
  {"/", function(a, b) return a / b end, function(a, b) local function f() return a / b end return f() end, function(a, b) return w(a) / w(b) end, function(a, b) return a / w(b) end, function(a, b) return w(a) / b end},
  {"%", function(a, b) return a % b end, function(a, b) local function f() return a % b end return f() end, function(a, b) return w(a) % w(b) end, function(a, b) return a % w(b) end, function(a, b) return w(a) % b end},
  {"<", function(a, b) return a < b end, function(a, b) local function f() return a < b end return f() end, function(a, b) return w(a) < w(b) end, function(a, b) return a < w(b) end, function(a, b) return w(a) < b end},
  {"<=", function(a, b) return a <= b end, function(a, b) local function f() return a <= b end return f() end, function(a, b) return w(a) <= w(b) end, function(a, b) return a <= w(b) end, function(a, b) return w(a) <= b end},
  {">", function(a, b) return a > b end, function(a, b) local function f() return a > b end return f() end, function(a, b) return w(a) > w(b) end, function(a, b) return a > w(b) end, function(a, b) return w(a) > b end},
  {">=", function(a, b) return a >= b end, function(a, b) local function f() return a >= b end return f() end, function(a, b) return w(a) >= w(b) end, function(a, b) return a >= w(b) end, function(a, b) return w(a) >= b end},
  {"==", function(a, b) return a == b end, function(a, b) local function f() return a == b end return f() end, function(a, b) return w(a) == w(b) end, function(a, b) return a == w(b) end, function(a, b) return w(a) == b end},
  {"~=", function(a, b) return a ~= b end, function(a, b) local function f() return a ~= b end return f() end, function(a, b) return w(a) ~= w(b) end, function(a, b) return a ~= w(b) end, function(a, b) return w(a) ~= b end}
}
local t = {}
-- Every case (a label, then its forms) on every pair of values.
local function compareEach(values, cases, label)
  for _, pair in ipairs(values) do
    for _, case in ipairs(cases) do
      local forms = {}
      for i = 2, #case do
        forms[#forms + 1] = case[i]
      end
      compare(label(case[1], type(pair[1]) == "table" and "t" or tostring(pair[1]), pair), pair[1], pair[2], forms)
    end
  end
end
local values = {{7, 3}, {-7, 3}, {7, 0}, {2.5, 2}, {5, 0.0000000000000002}, {9223372036854775807, 1},
  {4611686018427387904, 3}, {0.30000000000000004, 0.3}, {3, 3.0000000000000004}, {"a", 1}, {t, 1}, {1, nil}}
compareEach(values, shapes, function(name, first, pair) return type(pair[1]) .. " " .. first .. " " .. name .. " " .. tostring(pair[2]) end)

-- Literal operands, against the same values in locals.
local literals = {
  {"7 + 3", 7, 3, function(a, b) return a + b end, function() return 7 + 3 end, function(a) return a + 3 end, function(a, b) return 7 + b end, function(a, b) return 7 + w(b) end},
  {"7 - 3", 7, 3, function(a, b) return a - b end, function() return 7 - 3 end, function(a) return a - 3 end, function(a, b) return 7 - b end, function(a, b) return 7 - w(b) end},
  {"7 * 3", 7, 3, function(a, b) return a * b end, function() return 7 * 3 end, function(a) return a * 3 end, function(a, b) return 7 * b end, function(a, b) return 7 * w(b) end},
  {"7 / 3", 7, 3, function(a, b) return a / b end, function() return 7 / 3 end, function(a) return a / 3 end, function(a, b) return 7 / b end, function(a, b) return 7 / w(b) end},
  {"7 % 3", 7, 3, function(a, b) return a % b end, function() return 7 % 3 end, function(a) return a % 3 end, function(a, b) return 7 % b end, function(a, b) return 7 % w(b) end},
  {"7 < 3", 7, 3, function(a, b) return a < b end, function() return 7 < 3 end, function(a) return a < 3 end, function(a, b) return 7 < b end, function(a, b) return 7 < w(b) end},
  {"7 <= 3", 7, 3, function(a, b) return a <= b end, function() return 7 <= 3 end, function(a) return a <= 3 end, function(a, b) return 7 <= b end, function(a, b) return 7 <= w(b) end},
  {"7 > 3", 7, 3, function(a, b) return a > b end, function() return 7 > 3 end, function(a) return a > 3 end, function(a, b) return 7 > b end, function(a, b) return 7 > w(b) end},
  {"7 >= 3", 7, 3, function(a, b) return a >= b end, function() return 7 >= 3 end, function(a) return a >= 3 end, function(a, b) return 7 >= b end, function(a, b) return 7 >= w(b) end},
  {"7 == 3", 7, 3, function(a, b) return a == b end, function() return 7 == 3 end, function(a) return a == 3 end, function(a, b) return 7 == b end, function(a, b) return 7 == w(b) end},
  {"7 ~= 3", 7, 3, function(a, b) return a ~= b end, function() return 7 ~= 3 end, function(a) return a ~= 3 end, function(a, b) return 7 ~= b end, function(a, b) return 7 ~= w(b) end},
  {"7 + 0", 7, 0, function(a, b) return a + b end, function() return 7 + 0 end, function(a) return a + 0 end, function(a, b) return 7 + b end, function(a, b) return 7 + w(b) end},
  {"7 - 0", 7, 0, function(a, b) return a - b end, function() return 7 - 0 end, function(a) return a - 0 end, function(a, b) return 7 - b end, function(a, b) return 7 - w(b) end},
  {"7 * 0", 7, 0, function(a, b) return a * b end, function() return 7 * 0 end, function(a) return a * 0 end, function(a, b) return 7 * b end, function(a, b) return 7 * w(b) end},
  {"7 / 0", 7, 0, function(a, b) return a / b end, function() return 7 / 0 end, function(a) return a / 0 end, function(a, b) return 7 / b end, function(a, b) return 7 / w(b) end},
  {"7 % 0", 7, 0, function(a, b) return a % b end, function() return 7 % 0 end, function(a) return a % 0 end, function(a, b) return 7 % b end, function(a, b) return 7 % w(b) end},
  {"7 < 0", 7, 0, function(a, b) return a < b end, function() return 7 < 0 end, function(a) return a < 0 end, function(a, b) return 7 < b end, function(a, b) return 7 < w(b) end},
  {"7 <= 0", 7, 0, function(a, b) return a <= b end, function() return 7 <= 0 end, function(a) return a <= 0 end, function(a, b) return 7 <= b end, function(a, b) return 7 <= w(b) end},
  {"7 > 0", 7, 0, function(a, b) return a > b end, function() return 7 > 0 end, function(a) return a > 0 end, function(a, b) return 7 > b end, function(a, b) return 7 > w(b) end},
  {"7 >= 0", 7, 0, function(a, b) return a >= b end, function() return 7 >= 0 end, function(a) return a >= 0 end, function(a, b) return 7 >= b end, function(a, b) return 7 >= w(b) end},
  {"7 == 0", 7, 0, function(a, b) return a == b end, function() return 7 == 0 end, function(a) return a == 0 end, function(a, b) return 7 == b end, function(a, b) return 7 == w(b) end},
  {"7 ~= 0", 7, 0, function(a, b) return a ~= b end, function() return 7 ~= 0 end, function(a) return a ~= 0 end, function(a, b) return 7 ~= b end, function(a, b) return 7 ~= w(b) end},
  {"2.5 + 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a + b end, function() return 2.5 + 0.0000000000000002 end, function(a) return a + 0.0000000000000002 end, function(a, b) return 2.5 + b end, function(a, b) return 2.5 + w(b) end},
  {"2.5 - 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a - b end, function() return 2.5 - 0.0000000000000002 end, function(a) return a - 0.0000000000000002 end, function(a, b) return 2.5 - b end, function(a, b) return 2.5 - w(b) end},
  {"2.5 * 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a * b end, function() return 2.5 * 0.0000000000000002 end, function(a) return a * 0.0000000000000002 end, function(a, b) return 2.5 * b end, function(a, b) return 2.5 * w(b) end},
  {"2.5 / 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a / b end, function() return 2.5 / 0.0000000000000002 end, function(a) return a / 0.0000000000000002 end, function(a, b) return 2.5 / b end, function(a, b) return 2.5 / w(b) end},
  {"2.5 % 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a % b end, function() return 2.5 % 0.0000000000000002 end, function(a) return a % 0.0000000000000002 end, function(a, b) return 2.5 % b end, function(a, b) return 2.5 % w(b) end},
  {"2.5 < 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a < b end, function() return 2.5 < 0.0000000000000002 end, function(a) return a < 0.0000000000000002 end, function(a, b) return 2.5 < b end, function(a, b) return 2.5 < w(b) end},
  {"2.5 <= 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a <= b end, function() return 2.5 <= 0.0000000000000002 end, function(a) return a <= 0.0000000000000002 end, function(a, b) return 2.5 <= b end, function(a, b) return 2.5 <= w(b) end},
  {"2.5 > 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a > b end, function() return 2.5 > 0.0000000000000002 end, function(a) return a > 0.0000000000000002 end, function(a, b) return 2.5 > b end, function(a, b) return 2.5 > w(b) end},
  {"2.5 >= 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a >= b end, function() return 2.5 >= 0.0000000000000002 end, function(a) return a >= 0.0000000000000002 end, function(a, b) return 2.5 >= b end, function(a, b) return 2.5 >= w(b) end},
  {"2.5 == 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a == b end, function() return 2.5 == 0.0000000000000002 end, function(a) return a == 0.0000000000000002 end, function(a, b) return 2.5 == b end, function(a, b) return 2.5 == w(b) end},
  {"2.5 ~= 0.0000000000000002", 2.5, 0.0000000000000002, function(a, b) return a ~= b end, function() return 2.5 ~= 0.0000000000000002 end, function(a) return a ~= 0.0000000000000002 end, function(a, b) return 2.5 ~= b end, function(a, b) return 2.5 ~= w(b) end},
  {"9223372036854775807 + 1", 9223372036854775807, 1, function(a, b) return a + b end, function() return 9223372036854775807 + 1 end, function(a) return a + 1 end, function(a, b) return 9223372036854775807 + b end, function(a, b) return 9223372036854775807 + w(b) end},
  {"9223372036854775807 - 1", 9223372036854775807, 1, function(a, b) return a - b end, function() return 9223372036854775807 - 1 end, function(a) return a - 1 end, function(a, b) return 9223372036854775807 - b end, function(a, b) return 9223372036854775807 - w(b) end},
  {"9223372036854775807 * 1", 9223372036854775807, 1, function(a, b) return a * b end, function() return 9223372036854775807 * 1 end, function(a) return a * 1 end, function(a, b) return 9223372036854775807 * b end, function(a, b) return 9223372036854775807 * w(b) end},
  {"9223372036854775807 / 1", 9223372036854775807, 1, function(a, b) return a / b end, function() return 9223372036854775807 / 1 end, function(a) return a / 1 end, function(a, b) return 9223372036854775807 / b end, function(a, b) return 9223372036854775807 / w(b) end},
  {"9223372036854775807 % 1", 9223372036854775807, 1, function(a, b) return a % b end, function() return 9223372036854775807 % 1 end, function(a) return a % 1 end, function(a, b) return 9223372036854775807 % b end, function(a, b) return 9223372036854775807 % w(b) end},
  {"9223372036854775807 < 1", 9223372036854775807, 1, function(a, b) return a < b end, function() return 9223372036854775807 < 1 end, function(a) return a < 1 end, function(a, b) return 9223372036854775807 < b end, function(a, b) return 9223372036854775807 < w(b) end},
  {"9223372036854775807 <= 1", 9223372036854775807, 1, function(a, b) return a <= b end, function() return 9223372036854775807 <= 1 end, function(a) return a <= 1 end, function(a, b) return 9223372036854775807 <= b end, function(a, b) return 9223372036854775807 <= w(b) end},
  {"9223372036854775807 > 1", 9223372036854775807, 1, function(a, b) return a > b end, function() return 9223372036854775807 > 1 end, function(a) return a > 1 end, function(a, b) return 9223372036854775807 > b end, function(a, b) return 9223372036854775807 > w(b) end},
  {"9223372036854775807 >= 1", 9223372036854775807, 1, function(a, b) return a >= b end, function() return 9223372036854775807 >= 1 end, function(a) return a >= 1 end, function(a, b) return 9223372036854775807 >= b end, function(a, b) return 9223372036854775807 >= w(b) end},
  {"9223372036854775807 == 1", 9223372036854775807, 1, function(a, b) return a == b end, function() return 9223372036854775807 == 1 end, function(a) return a == 1 end, function(a, b) return 9223372036854775807 == b end, function(a, b) return 9223372036854775807 == w(b) end},
  {"9223372036854775807 ~= 1", 9223372036854775807, 1, function(a, b) return a ~= b end, function() return 9223372036854775807 ~= 1 end, function(a) return a ~= 1 end, function(a, b) return 9223372036854775807 ~= b end, function(a, b) return 9223372036854775807 ~= w(b) end},
  {"0.30000000000000004 + 0.3", 0.30000000000000004, 0.3, function(a, b) return a + b end, function() return 0.30000000000000004 + 0.3 end, function(a) return a + 0.3 end, function(a, b) return 0.30000000000000004 + b end, function(a, b) return 0.30000000000000004 + w(b) end},
  {"0.30000000000000004 - 0.3", 0.30000000000000004, 0.3, function(a, b) return a - b end, function() return 0.30000000000000004 - 0.3 end, function(a) return a - 0.3 end, function(a, b) return 0.30000000000000004 - b end, function(a, b) return 0.30000000000000004 - w(b) end},
  {"0.30000000000000004 * 0.3", 0.30000000000000004, 0.3, function(a, b) return a * b end, function() return 0.30000000000000004 * 0.3 end, function(a) return a * 0.3 end, function(a, b) return 0.30000000000000004 * b end, function(a, b) return 0.30000000000000004 * w(b) end},
  {"0.30000000000000004 / 0.3", 0.30000000000000004, 0.3, function(a, b) return a / b end, function() return 0.30000000000000004 / 0.3 end, function(a) return a / 0.3 end, function(a, b) return 0.30000000000000004 / b end, function(a, b) return 0.30000000000000004 / w(b) end},
  {"0.30000000000000004 % 0.3", 0.30000000000000004, 0.3, function(a, b) return a % b end, function() return 0.30000000000000004 % 0.3 end, function(a) return a % 0.3 end, function(a, b) return 0.30000000000000004 % b end, function(a, b) return 0.30000000000000004 % w(b) end},
  {"0.30000000000000004 < 0.3", 0.30000000000000004, 0.3, function(a, b) return a < b end, function() return 0.30000000000000004 < 0.3 end, function(a) return a < 0.3 end, function(a, b) return 0.30000000000000004 < b end, function(a, b) return 0.30000000000000004 < w(b) end},
  {"0.30000000000000004 <= 0.3", 0.30000000000000004, 0.3, function(a, b) return a <= b end, function() return 0.30000000000000004 <= 0.3 end, function(a) return a <= 0.3 end, function(a, b) return 0.30000000000000004 <= b end, function(a, b) return 0.30000000000000004 <= w(b) end},
  {"0.30000000000000004 > 0.3", 0.30000000000000004, 0.3, function(a, b) return a > b end, function() return 0.30000000000000004 > 0.3 end, function(a) return a > 0.3 end, function(a, b) return 0.30000000000000004 > b end, function(a, b) return 0.30000000000000004 > w(b) end},
  {"0.30000000000000004 >= 0.3", 0.30000000000000004, 0.3, function(a, b) return a >= b end, function() return 0.30000000000000004 >= 0.3 end, function(a) return a >= 0.3 end, function(a, b) return 0.30000000000000004 >= b end, function(a, b) return 0.30000000000000004 >= w(b) end},
  {"0.30000000000000004 == 0.3", 0.30000000000000004, 0.3, function(a, b) return a == b end, function() return 0.30000000000000004 == 0.3 end, function(a) return a == 0.3 end, function(a, b) return 0.30000000000000004 == b end, function(a, b) return 0.30000000000000004 == w(b) end},
  {"0.30000000000000004 ~= 0.3", 0.30000000000000004, 0.3, function(a, b) return a ~= b end, function() return 0.30000000000000004 ~= 0.3 end, function(a) return a ~= 0.3 end, function(a, b) return 0.30000000000000004 ~= b end, function(a, b) return 0.30000000000000004 ~= w(b) end},
  {"3 + 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a + b end, function() return 3 + 3.0000000000000004 end, function(a) return a + 3.0000000000000004 end, function(a, b) return 3 + b end, function(a, b) return 3 + w(b) end},
  {"3 - 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a - b end, function() return 3 - 3.0000000000000004 end, function(a) return a - 3.0000000000000004 end, function(a, b) return 3 - b end, function(a, b) return 3 - w(b) end},
  {"3 * 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a * b end, function() return 3 * 3.0000000000000004 end, function(a) return a * 3.0000000000000004 end, function(a, b) return 3 * b end, function(a, b) return 3 * w(b) end},
  {"3 / 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a / b end, function() return 3 / 3.0000000000000004 end, function(a) return a / 3.0000000000000004 end, function(a, b) return 3 / b end, function(a, b) return 3 / w(b) end},
  {"3 % 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a % b end, function() return 3 % 3.0000000000000004 end, function(a) return a % 3.0000000000000004 end, function(a, b) return 3 % b end, function(a, b) return 3 % w(b) end},
  {"3 < 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a < b end, function() return 3 < 3.0000000000000004 end, function(a) return a < 3.0000000000000004 end, function(a, b) return 3 < b end, function(a, b) return 3 < w(b) end},
  {"3 <= 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a <= b end, function() return 3 <= 3.0000000000000004 end, function(a) return a <= 3.0000000000000004 end, function(a, b) return 3 <= b end, function(a, b) return 3 <= w(b) end},
  {"3 > 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a > b end, function() return 3 > 3.0000000000000004 end, function(a) return a > 3.0000000000000004 end, function(a, b) return 3 > b end, function(a, b) return 3 > w(b) end},
  {"3 >= 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a >= b end, function() return 3 >= 3.0000000000000004 end, function(a) return a >= 3.0000000000000004 end, function(a, b) return 3 >= b end, function(a, b) return 3 >= w(b) end},
  {"3 == 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a == b end, function() return 3 == 3.0000000000000004 end, function(a) return a == 3.0000000000000004 end, function(a, b) return 3 == b end, function(a, b) return 3 == w(b) end},
  {"3 ~= 3.0000000000000004", 3, 3.0000000000000004, function(a, b) return a ~= b end, function() return 3 ~= 3.0000000000000004 end, function(a) return a ~= 3.0000000000000004 end, function(a, b) return 3 ~= b end, function(a, b) return 3 ~= w(b) end},
  {"'a' + 1", "a", 1, function(a, b) return a + b end, function() return "a" + 1 end, function(a) return a + 1 end, function(a, b) return "a" + b end, function(a, b) return "a" + w(b) end},
  {"'a' - 1", "a", 1, function(a, b) return a - b end, function() return "a" - 1 end, function(a) return a - 1 end, function(a, b) return "a" - b end, function(a, b) return "a" - w(b) end},
  {"'a' * 1", "a", 1, function(a, b) return a * b end, function() return "a" * 1 end, function(a) return a * 1 end, function(a, b) return "a" * b end, function(a, b) return "a" * w(b) end},
  {"'a' / 1", "a", 1, function(a, b) return a / b end, function() return "a" / 1 end, function(a) return a / 1 end, function(a, b) return "a" / b end, function(a, b) return "a" / w(b) end},
  {"'a' % 1", "a", 1, function(a, b) return a % b end, function() return "a" % 1 end, function(a) return a % 1 end, function(a, b) return "a" % b end, function(a, b) return "a" % w(b) end},
  {"'a' < 1", "a", 1, function(a, b) return a < b end, function() return "a" < 1 end, function(a) return a < 1 end, function(a, b) return "a" < b end, function(a, b) return "a" < w(b) end},
  {"'a' <= 1", "a", 1, function(a, b) return a <= b end, function() return "a" <= 1 end, function(a) return a <= 1 end, function(a, b) return "a" <= b end, function(a, b) return "a" <= w(b) end},
  {"'a' > 1", "a", 1, function(a, b) return a > b end, function() return "a" > 1 end, function(a) return a > 1 end, function(a, b) return "a" > b end, function(a, b) return "a" > w(b) end},
  {"'a' >= 1", "a", 1, function(a, b) return a >= b end, function() return "a" >= 1 end, function(a) return a >= 1 end, function(a, b) return "a" >= b end, function(a, b) return "a" >= w(b) end},
  {"'a' == 1", "a", 1, function(a, b) return a == b end, function() return "a" == 1 end, function(a) return a == 1 end, function(a, b) return "a" == b end, function(a, b) return "a" == w(b) end},
  {"'a' ~= 1", "a", 1, function(a, b) return a ~= b end, function() return "a" ~= 1 end, function(a) return a ~= 1 end, function(a, b) return "a" ~= b end, function(a, b) return "a" ~= w(b) end}
}
for _, case in ipairs(literals) do
  local forms = {}
  for i = 4, #case do
    forms[#forms + 1] = case[i]
  end
  compare(case[1], case[2], case[3], forms)
end

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

-- Unary operators on a local here, a local of an enclosing function and any other operand: the same
-- results and the same errors at the operator's line.
local n, s, t = 5, "abc", {1, 2, 3}
local function unaries()
  local m = -2
  print("unary here", -m, not m, #t)
  print("unary outer", -n, not n, #s, #t)
  print("unary any", -(n + 1), not (n == 5), #(s .. s))
  print(pcall(function() return -s end))
  print(pcall(function() return #n end))
  print(pcall(function() local z = {} return -z end))
end
unaries()
-- `not` as a condition, through and/or chains and nested negations.
local function pick(a, b)
  if not a then return "not a" elseif not (a and b) then return "not (a and b)" elseif not not b then return "b" end
  return "none"
end
print("not in conditions", pick(nil, 1), pick(false, nil), pick(0, false), pick(0, ""))
local i = 0
while not (i >= 3) do i = i + 1 end
print("while not", i)

-- Nested arithmetic over literals and locals hands its numbers up without building values; every
-- shape of the same expression agrees with the one whose operands go through calls.
local c = 3
local pure = {
  {"(a+b)*(a-b)", function(a, b) return w(a + b) * w(a - b) end, function(a, b) return (a + b) * (a - b) end,
    function(a, b) local r = 0 r = (a + b) * (a - b) return r end},
  {"2*a*b+a", function(a, b) return w(w(2 * a) * b) + a end, function(a, b) return 2 * a * b + a end,
    function(a, b) local r = 0 r = 2 * a * b + a return r end, function(a, b) return a + 2 * a * b - 0 end},
  {"(a*2+b-a%3)/(b+1)", function(a, b) return w(w(a * 2 + b) - w(a % 3)) / w(b + 1) end,
    function(a, b) return (a * 2 + b - a % 3) / (b + 1) end,
    function(a, b) local r = 0 r = (a * 2 + b - a % 3) / (b + 1) return r end},
  {"(a+b)*c", function(a, b) return w(a + b) * c end, function(a, b) return (a + b) * c end,
    function(a, b) return c * (a + b) end, function(a, b) local r = 0 r = (a + b) * c return r end},
  {"(a-b)*w(b)", function(a, b) return w(a - b) * w(b) end, function(a, b) return (a - b) * w(b) end,
    function(a, b) local r = 0 r = w(b) * (a - b) return r end},
  {"a*a-b*b<a+b", function(a, b) return w(a * a - b * b) < w(a + b) end,
    function(a, b) if a * a - b * b < a + b then return true end return false end,
    function(a, b) return a * a - b * b < a + b end, function(a, b) while a * a - b * b < a + b do return true end return false end},
  {"1+a*1>=b", function(a, b) return w(1 + a * 1) >= b end, function(a, b) if 1 + a * 1 >= b then return true end return false end},
  -- a nested result near an integer is one before it is compared: 0 == 0.0000000000000001, 0.0 ~= it
  {"a*1.0==b", function(a, b) return w(a * 1.0) == b end, function(a, b) if a * 1.0 == b then return true end return false end,
    function(a, b) return (a * 1.0 + 0) == b end},
}
local pairsForPure = {{7, 3}, {-7, 3}, {7, 0}, {2.5, 2}, {9223372036854775807, 1}, {4611686018427387904, 3},
  {0.30000000000000004, 0.3}, {3, 3.0000000000000004}, {0, 0.0000000000000001}, {"a", 1}, {t, 1}, {1, nil}}
compareEach(pairsForPure, pure, function(name, first, pair) return name .. " " .. first .. " " .. tostring(pair[2]) end)
