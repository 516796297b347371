-- Operator type errors: no implicit conversion between strings and numbers.
local function check(label, f) print(label, pcall(f)) end
check("add string", function() return "10" + 1 end)
check("sub table", function() return {} - 1 end)
check("mul nil", function() return nil * 2 end)
check("div string", function() return "a" / 1 end)
check("div type before zero", function() return "x" / 0 end)
check("mod boolean", function() return true % 1 end)
check("mod type before zero", function() return 1 % false end)
check("unary minus string", function() return -"1" end)
check("unary minus table", function() return -{} end)
check("length number", function() return #5 end)
check("length boolean", function() return #true end)
check("compare mixed", function() return 1 < "2" end)
check("compare booleans", function() return true <= false end)
check("division by zero", function() return 1 / 0 end)
check("modulo by zero", function() return 1 % 0 end)
check("concat never fails", function() return nil .. {} ~= nil end)
check("equality never fails", function() return {} == 1, print ~= "x" end)
check("right operand first error", function() return 1 + nil end)
local evaluated = {}
local function mark(name) evaluated[#evaluated + 1] = name return nil end
check("both operands evaluated", function() return mark("left") + mark("right") end)
print("order", evaluated[1], evaluated[2])
