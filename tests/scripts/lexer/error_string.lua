print("fine")
local s = "starts here
and never ends
