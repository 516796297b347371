-- os.exit keeps the low 32 bits of its code as a signed number; a negative code reaches the host as a
-- plain successful run, with no exit code.
io.write("pending text")
print("exits with", 2147483648)
os.exit(2147483648)
print("not reached")
