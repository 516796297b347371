-- Writing, reading back and seeking in a file with the io library.
-- Under /tmp, so that running the example leaves nothing in the working tree (the library cannot
-- delete files: there is no os.remove).
local name = "/tmp/velmar-example.txt"
local f = assert(io.open(name, "w"))
f:write("first line\n", 2, " ", 3.5, "\n", true)
f:close()

local r = assert(io.open(name, "r"))
local all = r:read("*a")
print("size:", #all, "seek to end:", r:seek("end"))
r:seek("set", 6)
print("from offset 6:", r:read(4))
r:close()
print("reading a closed file gives", r:read(1))

local missing, message = io.open("no-such-file.txt")
print(missing, message)
io.write("io.write adds no newline", "\n")
-- os.execute runs no commands in this build.
print("os.execute gives", os.execute("ls"))
