-- Word frequencies of a text with the string and table libraries.
local text = [[
The quick brown fox jumps over the lazy dog. The dog sleeps; the fox runs
over the hill and the dog follows the fox over the river.
]]

local counts = {}
local words = {}
for word in string.gmatch(text, "%a+") do
  local key = string.gsub(word, "^T", "t") -- fold the capitalised article
  if counts[key] == nil then
    counts[key] = 0
    words[#words + 1] = key
  end
  counts[key] = counts[key] + 1
end

table.sort(words, function(a, b)
  if counts[a] ~= counts[b] then return counts[a] > counts[b] end
  return a < b
end)

for i = 1, 5 do
  local word = words[i]
  print(string.format("%s %s %s", string.rep("#", counts[word]), word, counts[word]))
end
print("distinct words:", #words, "characters:", #text)
