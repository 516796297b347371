-- String building: short concatenation chains with .., incremental growth of a
-- line, and assembling large texts from parts with table.concat.
local seed = 777
local function nextRandom(limit)
  seed = (seed * 16807) % 2147483647
  return seed % limit
end

local words = { "alpha", "beta", "gamma", "delta", "epsilon", "zeta", "eta", "theta", "iota", "kappa" }

-- Build records as small strings with .. and measure them.
local recordLength = 0
for i = 1, 1200000 do
  local w = words[i % #words + 1]
  local record = "id=" .. i .. ";name=" .. w .. ";size=" .. (i % 97) .. ";"
  recordLength = recordLength + #record
end
print("records", recordLength)

-- Grow a line piece by piece, flushing it into a list when it gets long.
local lines = {}
local line = ""
for i = 1, 900000 do
  line = line .. words[nextRandom(#words) + 1] .. " "
  if #line > 70 then
    lines[#lines + 1] = line
    line = ""
  end
end
lines[#lines + 1] = line
local text = table.concat(lines, "\n")
print("lines", #lines, "text", #text)

-- Join numbers with separators, split the result back with string.find.
local checksum = 0
for round = 1, 360 do
  local parts = {}
  for i = 1, 2000 do
    parts[#parts + 1] = tostring((i * round) % 1009)
  end
  local joined = table.concat(parts, ",")
  local pos, count = 1, 0
  while true do
    local comma = string.find(joined, ",", pos, true)
    if comma == nil then
      break
    end
    count = count + 1
    pos = comma + 1
  end
  checksum = (checksum + #joined * 7 + count) % 1000000007
end
print("joined", checksum)

-- Nested concat: a table of rows, each row a concat of cells.
local rows = {}
for r = 1, 18000 do
  local cells = {}
  for c = 1, 12 do
    cells[c] = string.rep("x", (r + c) % 5) .. (r * c)
  end
  rows[r] = "|" .. table.concat(cells, "|") .. "|"
end
local grid = table.concat(rows, "\n")
print("grid", #grid, string.sub(grid, 1, 40))
