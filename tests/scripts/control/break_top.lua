-- A break that leaves every loop fails the run instead of escaping.
print("before")
local function leave() break end
for i = 1, 2 do leave() end
print("caught by the caller's loop")
break
print("not reached")
