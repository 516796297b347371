-- io.write and the two console streams: no separators, each write ends its own line.
io.write("a", 1, nil)
print("write result", io.write("x"))
io.write("no newline")
io.write(" separate\n")
io.write(1.5, " ", true, "\n")
io.write("two\nlines")
print("stdout self", io.stdout:write("hi") == io.stdout)
print("stderr self", io.stderr:write("err") == io.stderr)
print("cross stream", io.stdout.write(io.stderr, "x") == io.stderr)
print("chained", io.stdout:write("a"):write("b") == io.stdout)
io.stdout:write(1, 2.5, false, "\n")
print("names", tostring(io.stdout.write), tostring(io.stderr.write))
print("print form", io.stdout.write)
print("types", type(io.stdout), type(io.stderr))
print("no other fields", io.stdout.read, io.stdout.close, io.stderr.seek)
print("fresh functions", io.stdout.write == io.stdout.write)
print("same stream", io.stdout == io.stdout)
local names = {}
for name in pairs(io) do
    names[#names + 1] = name
end
print("library members", table.concat(names, " "))
print("stream count", pcall(io.stdout.write, io.stdout))
print("stream not userdata", pcall(io.stdout.write, "x", "y"))
print("stream nothing", pcall(io.stdout.write))
print("io.write nothing", pcall(io.write))
print("numeric field", pcall(function() return io.stdout[1] end))
io.stdout:read()
