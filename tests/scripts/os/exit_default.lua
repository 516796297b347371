-- os.exit without a code ends the run with 0, from deep inside calls and pcall.
local function deep(n)
    if n == 0 then
        os.exit()
    end
    return deep(n - 1)
end
print("start")
print(pcall(deep, 50))
print("not reached")
