-- Each loop iteration has its own variables; closures of one iteration share them.
local fns = {}
for i = 1, 3 do fns[i] = function() return i end end
print("numeric for", fns[1](), fns[2](), fns[3]())
local gen = {}
for k, v in pairs({"a", "b"}) do gen[k] = function() return k .. v end end
print("generic for", gen[1](), gen[2]())
local ws = {}
local n = 0
while n < 3 do
  n = n + 1
  local captured = n * 10
  ws[n] = function()
    captured = captured + 1
    return captured
  end
end
print("while locals", ws[1](), ws[2](), ws[3](), ws[1]())
local pairsOfFns = {}
for i = 1, 2 do
  local count = 0
  pairsOfFns[i] = {function() count = count + 1 end, function() return count end}
end
pairsOfFns[1][1]()
pairsOfFns[1][1]()
print("same iteration shares", pairsOfFns[1][2](), pairsOfFns[2][2]())
local mods = {}
for i = 1, 3 do
  i = i * 2
  mods[#mods + 1] = function() return i end
end
print("modified loop variable", mods[1](), mods[2](), mods[3]())
local branchFn
if true then
  local hidden = "in branch"
  branchFn = function() return hidden end
end
print("if block", branchFn())
local fl = {}
for x = 0.5, 1.5, 0.5 do fl[#fl + 1] = function() return x end end
print("float loop", fl[1](), fl[2](), fl[3]())
local fresh = {}
for i = 1, 2 do
  local uninitialised
  if i == 1 then uninitialised = "set" end
  fresh[i] = function() return uninitialised end
end
print("fresh locals", fresh[1](), fresh[2]())
local plain = {}
for i = 1, 2 do
  local slot
  plain[i] = slot
  slot = i
end
print("locals reset without closures", plain[1], plain[2])
