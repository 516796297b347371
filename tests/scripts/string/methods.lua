-- Method calls on strings reach whatever the global string table holds, and nothing else.
print("method", ("abc"):sub(2))
local s = "hello"
print("on local", s:find("l"))
print("upper missing", pcall(function() return ("abc"):upper() end))
print("field", pcall(function() return ("abc").foo end))
print("number key", pcall(function() return ("abc")[1] end))
print("len missing", pcall(function() return s:len() end))
string.shout = function(text) return text .. "!" end
print("added member", ("hi"):shout())
local names = {}
for name in pairs(string) do
    names[#names + 1] = name
end
print("members in order", table.concat(names, " "))
local saved = string
string = nil
print("library removed", pcall(function() return s:sub(1) end))
string = {sub = function(text, i) return "mine " .. text .. i end}
print("library replaced", s:sub(2))
string = saved
print("restored", s:sub(1, 1))
print("print form", string.sub)
print("tostring form", tostring(string.sub))
print("library types", type(string), type(string.format))
print("qualified names", pcall(string.rep))
