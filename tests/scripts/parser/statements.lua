-- Statement forms: separators, return placement, declarations and call statements.
local a = 1 local b = 2 print("no separators", a + b)
;;; print("leading semicolons");
local c, d
print("local without values", c, d)
local function early() return "first" print("unreachable") end
print("return before other statements", early())
local function bare() return end
local function semi() return; end
print("bare returns", bare(), semi())
local function returnsCall()
  return
  tostring(7)
end
print("return takes the next line", returnsCall())
if a then elseif b then else end
while false do end
for i = 1, 0 do end
print("empty blocks")
local t = {1, 2; x = 3, [4] = 5,}
print("table separators", t[1], t[2], t.x, t[4])
local obj = {inner = {}}
function obj.inner.deep(v) return v * 2 end
print("dotted declaration", obj.inner.deep(4))
local call = (print)
call("parenthesised callee")
f = function(x) return x end
print("global function value", f(9))
local chain = {a = {b = {c = function() return "called" end}}}
print("call through fields", chain.a.b.c(), chain["a"]["b"].c())
print("call on next line"
)
local s = "x" local n = #s print("length statement", n)
local nest = {b = {}}
;(nest).b.x = 4
print("parenthesised target", nest.b.x)
function nest.b:twice(self) return self end
print("a parameter named self hides the receiver", nest.b:twice(7))
print("before top-level return")
return;
print("never")
