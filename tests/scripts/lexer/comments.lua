-- line comment
print("after line comment") -- trailing comment
--[[ long
comment ]] print("after long comment")
--[==[ only a line comment
print("level brackets start a line comment")
print(1 --[[ inline ]] + --[[ more ]] 2)
--[[]]print("empty long comment")
---[[ three dashes make a line comment
print("three dashes")
--]]
local s = "-- not a comment"
print(s)
print(5 - -3, 10 -1)
--
print("empty comment")
local multi = [[
a
b]]
--[[
x
y
]]
local n = nil
  + 1
