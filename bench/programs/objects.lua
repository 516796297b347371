-- Object-style code: tables of functions called as methods with self, simple
-- inheritance by copying methods, and polymorphic dispatch through a method name.
local Vector = {}

function Vector.new(x, y)
  return { x = x, y = y, add = Vector.add, scale = Vector.scale, dot = Vector.dot, length1 = Vector.length1 }
end

function Vector:add(other)
  return Vector.new(self.x + other.x, self.y + other.y)
end

function Vector:scale(k)
  return Vector.new(self.x * k, self.y * k)
end

function Vector:dot(other)
  return self.x * other.x + self.y * other.y
end

function Vector:length1()
  local ax, ay = self.x, self.y
  if ax < 0 then ax = -ax end
  if ay < 0 then ay = -ay end
  return ax + ay
end

-- A bounded queue kept in a ring buffer.
local Queue = {}

function Queue.new(capacity)
  local q = { items = {}, head = 1, size = 0, capacity = capacity }
  for name, method in pairs(Queue) do
    if name ~= "new" then
      q[name] = method
    end
  end
  return q
end

function Queue:push(v)
  if self.size == self.capacity then
    return false
  end
  local slot = (self.head + self.size - 1) % self.capacity + 1
  self.items[slot] = v
  self.size = self.size + 1
  return true
end

function Queue:pop()
  if self.size == 0 then
    return nil
  end
  local v = self.items[self.head]
  self.items[self.head] = nil
  self.head = self.head % self.capacity + 1
  self.size = self.size - 1
  return v
end

-- Shapes: a base "class" whose methods are copied into each kind, one of them overridden.
local Shape = {}

function Shape:describe()
  return self.kind .. ":" .. self:area()
end

function Shape:grow(d)
  self.size = self.size + d
  return self
end

local function extend(base, methods)
  local class = {}
  for name, f in pairs(base) do
    class[name] = f
  end
  for name, f in pairs(methods) do
    class[name] = f
  end
  return class
end

local Square = extend(Shape, {
  area = function(self) return self.size * self.size end,
})
local Rect = extend(Shape, {
  area = function(self) return self.size * (self.size + 3) end,
})
local Tri = extend(Shape, {
  area = function(self) return math.floor(self.size * self.size / 2) end,
  describe = function(self) return "tri(" .. self.size .. ")=" .. self:area() end,
})

local function instantiate(class, kind, size)
  local obj = { kind = kind, size = size }
  for name, f in pairs(class) do
    obj[name] = f
  end
  return obj
end

-- Vectors: a walk that allocates a new vector per step.
local acc = Vector.new(0, 0)
local dotSum = 0
for i = 1, 1000000 do
  local step = Vector.new(i % 7 - 3, i % 5 - 2)
  acc = acc:add(step:scale(2))
  dotSum = dotSum + acc:dot(step) + step:length1()
end
print("walk", acc.x, acc.y, dotSum)

-- Queue: producers and consumers of different rates.
local q = Queue.new(64)
local produced, consumed, dropped, qsum = 0, 0, 0, 0
for t = 1, 700000 do
  for _ = 1, t % 3 + 1 do
    produced = produced + 1
    if not q:push(produced) then
      dropped = dropped + 1
    end
  end
  for _ = 1, t % 4 do
    local v = q:pop()
    if v ~= nil then
      consumed = consumed + 1
      qsum = (qsum + v) % 1000000007
    end
  end
end
print("queue", produced, consumed, dropped, qsum)

-- Shapes: polymorphic calls through the same method names.
local classes = { Square, Rect, Tri }
local kinds = { "square", "rect", "tri" }
local shapes = {}
for i = 1, 3000 do
  local c = i % 3 + 1
  shapes[i] = instantiate(classes[c], kinds[c], i % 40 + 1)
end
local areaSum, textLength = 0, 0
for round = 1, 100 do
  for i = 1, #shapes do
    local s = shapes[i]
    areaSum = areaSum + s:grow(1):area()
    textLength = textLength + #s:describe()
    s.size = s.size - 1
  end
end
print("shapes", areaSum, textLength)
