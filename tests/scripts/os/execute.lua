-- os.execute has no command processor behind it; os.exit narrows its code and passes through pcall.
print("execute", os.execute("ls"))
print("execute empty", os.execute(""))
print("execute type", type(os.execute("echo hi")))
print("execute number", pcall(os.execute, 1))
print("execute none", pcall(os.execute))
print("execute two", pcall(os.execute, "a", "b"))
print("exit string", pcall(os.exit, "1"))
print("exit nil", pcall(os.exit, nil))
print("exit count", pcall(os.exit, 1, 2))
local names = {}
for name in pairs(os) do
    names[#names + 1] = name
end
print("library members", table.concat(names, " "))
print("nothing else", os.time, os.clock, os.getenv)
local function run()
    for i = 1, 3 do
        print("loop", i)
        if i == 2 then
            os.exit(4294967298.9)
        end
    end
end
print("protected", pcall(run))
print("not reached")
