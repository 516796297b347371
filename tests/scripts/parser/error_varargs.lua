local function f(...) end
