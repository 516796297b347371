-- Methods: a:m declarations add self, a:m() passes the receiver evaluated once.
local account = {balance = 100}
function account:deposit(v)
  self.balance = self.balance + v
  return self.balance
end
function account.withdraw(self, v)
  self.balance = self.balance - v
  return self.balance
end
print("method call", account:deposit(50))
print("dot call with receiver", account.deposit(account, 25))
print("colon call of dot declaration", account:withdraw(75))
local a = {b = {n = 10}}
function a.b:c(x) return self.n + x end
print("a.b:c", a.b:c(5), a.b.c({n = 1}, 1))
function a.b.d(x) return x * 2 end
print("a.b.d", a.b.d(21))
local deep = {b = {c = {v = "deep self"}}}
function deep.b.c:d() return self.v end
print("a.b.c:d", deep.b.c:d())
local evaluated = 0
local function getObj()
  evaluated = evaluated + 1
  return account
end
getObj():deposit(0)
print("receiver evaluated once", evaluated)
local proto = {name = "proto"}
function proto:describe(extra) return self.name .. (extra or "") end
print("self parameter", proto:describe(), proto:describe("!"), proto.describe({name = "other"}))
local builder = {parts = {}}
function builder:add(p)
  self.parts[#self.parts + 1] = p
  return self
end
builder:add("x"):add("y"):add("z")
print("chained", builder.parts)
local shape = {w = 2, h = 3}
function shape:area() return self.w * self.h end
print("method as value", shape.area(shape), shape.area({w = 5, h = 5}))
print(pcall(function() return account:missing() end))
print(pcall(function() local none return none:method() end))
print(pcall(function() return ("text"):nothing() end))
