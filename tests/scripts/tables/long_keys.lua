-- Long string keys: strings that differ in one byte anywhere (each word of the wide hash, the tail
-- after the last full block, the last byte) are different keys; equal strings made apart are one key.
local base = string.rep("abcdefgh", 16) -- 128 bytes
local t = {}
local count = 0
for _, length in ipairs({63, 64, 65, 96, 127, 128}) do
  local stem = string.sub(base, 1, length)
  t[stem] = length
  count = count + 1
  for _, position in ipairs({1, 8, 9, 17, 25, 32, 33, length - 1, length}) do
    local key = string.sub(stem, 1, position - 1) .. "#" .. string.sub(stem, position + 1)
    if t[key] == nil then
      count = count + 1
    end
    t[key] = length * 1000 + position
  end
end
print(count)
print(t[string.sub(base, 1, 64)], t[string.sub(base, 1, 32) .. string.sub(base, 33, 64)])
print(t[string.sub(base, 1, 64) .. ""], t[string.sub(base, 1, 65)])
local probe = string.sub(base, 1, 127)
probe = string.sub(probe, 1, 126) .. "#"
print(t[probe])
print(t["#" .. string.sub(base, 2, 96)], t[string.sub(base, 1, 96) .. "x"])
local sum = 0
for k, v in pairs(t) do
  sum = sum + v
end
print(sum)
