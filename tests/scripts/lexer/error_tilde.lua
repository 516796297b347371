print("never printed")
local ok =	1 ~ 2
