-- One-character results of string.sub are ordinary strings: equal to any other string of that byte,
-- usable as keys, and independent of the text they came from.
local text = "hello, world"
local counts = {}
for i = 1, #text do
  local c = string.sub(text, i, i)
  counts[c] = (counts[c] or 0) + 1
end
print(counts["l"], counts["o"], counts[","], counts[" "])
print(string.sub(text, 1, 1) == "h", string.sub(text, -1) == "d", string.sub("x", 1, 1) == "x")
print(string.sub(text, 5, 5) .. string.sub(text, 5, 5), #string.sub(text, 3, 3))
local zero = string.sub("a\0b", 2, 2)
print(#zero, zero == "\0", zero < "a")
text = nil
print(counts["h"], string.sub("xyz", 2, 2), string.sub("xyz", -3, -3))
