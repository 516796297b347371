local function f() end
(f)() = 1
