-- # stops at the first nil of the array part, then follows integer keys in the hash part.
print("sequence", #{1, 2, 3}, #{}, #{n = 1})
print("hole in constructor", #{1, 2, nil, 4})
local t = {}
t[1] = 1
t[2] = 2
t[4] = 4
print("hole by assignment", #t)
t[3] = 3
print("hole filled", #t)
t[4] = nil
print("end removed", #t)
local mid = {1, 2, 3}
mid[2] = nil
print("middle removed", #mid)
local h = {}
h[100] = "x"
print("far key only", #h, h[100])
for i = 1, 99 do h[i] = i end
print("hash continuation", #h)
h[101] = "y"
print("grown past the far key", #h, h[100], h[101])
h[100] = "z"
print("far key reassigned", #h, h[100])
local s = {1, 2, 3}
print("repeated", #s, #s)
s[#s + 1] = 4
print("append", #s, s[4])
s[1] = nil
print("first removed", #s)
print("strings", #"", #"abc", #"a\0b")
print("zero key", #{[0] = "z"})
print(pcall(function() return #5 end))
print(pcall(function() return #nil end))
print(pcall(function() return #print end))
print(pcall(function() return #pairs({}) end))
