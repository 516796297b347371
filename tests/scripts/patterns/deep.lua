-- A pattern too deep for the matcher's stack fails with a clean error, caught by pcall like any other.
local deep = string.rep("a*", 200000) .. "b"
print("find", pcall(string.find, "b", deep))
print("match", pcall(string.match, "b", deep))
print("gsub", pcall(string.gsub, "b", deep, "x"))
print("gmatch", pcall(string.gmatch, "b", deep))
print("shallow still works", string.find("b", string.rep("a*", 1000) .. "b"))
print("library still usable", string.rep("ok", 2))
string.match("b", deep)
