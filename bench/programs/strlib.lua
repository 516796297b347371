-- The string library over a generated text: gmatch, gsub, find (plain and with
-- patterns), match, sub, format and rep. Patterns stay within plain literals and
-- the %a / %d classes with +, which both interpreters read the same way.
local seed = 2024
local function nextRandom(limit)
  seed = (seed * 16807) % 2147483647
  return seed % limit
end

local vocabulary = {
  "the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog", "and", "then",
  "runs", "into", "forest", "where", "owls", "watch", "quietly", "from", "old", "trees",
}

local function makeText(wordCount)
  local parts = {}
  for i = 1, wordCount do
    local r = nextRandom(100)
    if r < 8 then
      parts[#parts + 1] = tostring(nextRandom(100000))
    else
      parts[#parts + 1] = vocabulary[nextRandom(#vocabulary) + 1]
    end
    if i % 12 == 0 then
      parts[#parts + 1] = ".\n"
    elseif i % 5 == 0 then
      parts[#parts + 1] = ", "
    else
      parts[#parts + 1] = " "
    end
  end
  return table.concat(parts)
end

local text = makeText(30000)
print("text bytes", #text)

local checksum = 0
for round = 1, 70 do
  -- Word frequencies with gmatch; summed, so traversal order never matters.
  local freq = {}
  local words = 0
  for w in string.gmatch(text, "%a+") do
    words = words + 1
    freq[w] = (freq[w] or 0) + 1
  end
  local distinct, weight = 0, 0
  for w, n in pairs(freq) do
    distinct = distinct + 1
    weight = weight + n * #w
  end

  -- Sorted report built with format.
  local keys = {}
  for w in pairs(freq) do
    keys[#keys + 1] = w
  end
  table.sort(keys)
  local report = {}
  for i = 1, #keys do
    report[i] = string.format("%s=%d", keys[i], freq[keys[i]])
  end
  local reportText = table.concat(report, ";")

  -- Replacements: digits runs, a literal word, letters runs.
  local masked, numbers = string.gsub(text, "%d+", "#")
  local swapped, foxes = string.gsub(text, "fox", "cat")
  local shapeOnly, runs = string.gsub(text, "%a+", "w")

  -- Plain find over lines, and counting a word by plain find.
  local lines, pos = 0, 1
  while true do
    local nl = string.find(text, "\n", pos, true)
    if nl == nil then
      break
    end
    lines = lines + 1
    pos = nl + 1
  end
  local thes = 0
  pos = 1
  while true do
    local s, e = string.find(text, "the", pos, true)
    if s == nil then
      break
    end
    thes = thes + 1
    pos = e + 1
  end

  -- Numbers found with a pattern search and read back with sub and tonumber.
  local numberSum = 0
  pos = 1
  while true do
    local s, e = string.find(text, "%d+", pos)
    if s == nil then
      break
    end
    numberSum = numberSum + tonumber(string.sub(text, s, e))
    pos = e + 1
  end

  -- First word of each of the first lines with match.
  local firstLetters = 0
  pos = 1
  for _ = 1, 200 do
    local word = string.match(text, "%a+", pos)
    firstLetters = firstLetters + #word
    local nl = string.find(text, "\n", pos, true)
    pos = nl + 1
  end

  local banner = string.rep("=-", 40 + round)
  checksum = (checksum + words + distinct * 3 + weight + #reportText + numbers + #masked
    + foxes + #swapped + runs + #shapeOnly + lines + thes + numberSum + firstLetters + #banner) % 1000000007
  if round == 1 then
    print("words", words, "distinct", distinct, "numbers", numbers, "lines", lines, "the", thes)
    print("report", string.sub(reportText, 1, 48))
  end
end
print("checksum", checksum)
