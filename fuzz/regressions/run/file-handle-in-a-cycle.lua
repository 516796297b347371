local w = io.open("m.txt", "w") w:write("x") w:close()
local r = io.open("m.txt")
local f = function() end
