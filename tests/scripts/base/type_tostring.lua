-- type names every kind; tostring formats through the internal value text.
print("type", type(nil), type(1), type(1.5), type("s"), type({}), type(print), type(true))
print("type of iterators", type(pairs({})), type(ipairs({})))
print("type of literal function", type(function() end))
print("type returns a string", type(type(1)))
print("tostring", tostring(nil), tostring(true), tostring(-7), tostring(0.5), tostring("s"))
print("tostring floats", tostring(10 / 2), tostring(2.5 * 2), tostring(0 / -1))
print("tostring natives", tostring(print), tostring(tostring), tostring(pcall))
print("tostring literal", tostring(function() end))
local function helper() end
function globalFn() end
local assigned = function() end
print("declared names", tostring(helper), tostring(globalFn), tostring(assigned))
local t = {}
print("table identity", tostring(t) == tostring(t), tostring(t) == tostring({}))
print("version", _VERSION)
print("undefined global", undefinedName)
print(pcall(type))
print(pcall(type, 1, 2))
print(pcall(tostring))
print(pcall(tostring, 1, 2))
local function none() end
print(pcall(function() return type(none()) end))
print(pcall(function() return tostring(none()) end))
local savedPrint = print
print = nil
savedPrint("print removed", pcall(function() print("x") end))
