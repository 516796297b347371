-- One field read, one store and one method lookup in the tree, met with tables of different shapes:
-- each must find its name wherever it lies now.
local function getX(t) return t.x end
local shapes = { { x = 1 }, { a = 0, x = 2 }, { a = 0, b = 0, c = 0, x = 3 }, { y = 9 }, {} }
local seen = {}
for i = 1, #shapes do seen[i] = tostring(getX(shapes[i])) end
print("shapes", table.concat(seen, " "))

-- The entry the last read found is deleted, then the name comes back at the end of the order.
local t = { x = 10, y = 20, z = 30 }
print("before", getX(t))
t.x = nil
print("deleted", getX(t))
t.x = 11
print("re-added", getX(t))

-- A key made at run time is the same key as the name in the source.
local u = {}
u["x" .. ""] = 12
print("computed key", getX(u))
local name = string.sub("xyz", 1, 1)
u[name] = 13
print("stored by computed name", getX(u), u.x)

-- Many deletions: the dead entries are swept and the live ones move down.
local big = {}
for i = 1, 40 do big["k" .. i] = i end
big.x = 99
print("late field", getX(big))
for i = 1, 40 do big["k" .. i] = nil end
print("after sweep", getX(big))
big.x = nil
print("gone", getX(big))

-- One method call node over objects whose methods lie at different positions.
local function area(shape) return shape:area() end
local square = { side = 3, area = function(self) return self.side * self.side end }
local rect = { w = 2, h = 5, tag = "r", area = function(self) return self.w * self.h end }
local total = 0
for _ = 1, 3 do total = total + area(square) + area(rect) end
print("methods", total)
rect.area = nil
print("method gone", pcall(area, rect))
