-- A small real program: a JSON encoder and a recursive-descent parser, run over
-- generated documents that are encoded, parsed back and encoded again.
-- Objects are encoded with sorted keys so the text never depends on table order.
local seed = 99
local function nextRandom(limit)
  seed = (seed * 16807) % 2147483647
  return seed % limit
end

local function sortStrings(t)
  -- Insertion sort: key lists are short.
  for i = 2, #t do
    local key = t[i]
    local j = i - 1
    while j >= 1 and t[j] > key do
      t[j + 1] = t[j]
      j = j - 1
    end
    t[j + 1] = key
  end
end

local encodeValue

local function encodeString(s)
  if string.find(s, "\\", 1, true) then
    s = string.gsub(s, "\\", "\\\\")
  end
  if string.find(s, "\"", 1, true) then
    s = string.gsub(s, "\"", "\\\"")
  end
  return "\"" .. s .. "\""
end

local function encodeTable(t, out)
  if t[1] ~= nil then
    out[#out + 1] = "["
    for i = 1, #t do
      if i > 1 then
        out[#out + 1] = ","
      end
      encodeValue(t[i], out)
    end
    out[#out + 1] = "]"
    return
  end
  local keys = {}
  for k in pairs(t) do
    keys[#keys + 1] = k
  end
  sortStrings(keys)
  out[#out + 1] = "{"
  for i = 1, #keys do
    if i > 1 then
      out[#out + 1] = ","
    end
    out[#out + 1] = encodeString(keys[i])
    out[#out + 1] = ":"
    encodeValue(t[keys[i]], out)
  end
  out[#out + 1] = "}"
end

encodeValue = function(v, out)
  local kind = type(v)
  if kind == "table" then
    encodeTable(v, out)
  elseif kind == "string" then
    out[#out + 1] = encodeString(v)
  elseif kind == "number" then
    out[#out + 1] = tostring(v)
  elseif kind == "boolean" then
    if v then
      out[#out + 1] = "true"
    else
      out[#out + 1] = "false"
    end
  else
    out[#out + 1] = "null"
  end
end

local function encode(v)
  local out = {}
  encodeValue(v, out)
  return table.concat(out)
end

-- Parser: positions are 1-based; every function returns the value and the next position.
local parseValue

local function skipSpace(s, pos)
  while true do
    local c = string.sub(s, pos, pos)
    if c == " " or c == "\n" or c == "\t" or c == "\r" then
      pos = pos + 1
    else
      return pos
    end
  end
end

local function parseString(s, pos)
  -- pos is at the opening quote.
  local parts = {}
  local i = pos + 1
  while true do
    local c = string.sub(s, i, i)
    if c == "\"" then
      return table.concat(parts), i + 1
    elseif c == "\\" then
      parts[#parts + 1] = string.sub(s, i + 1, i + 1)
      i = i + 2
    elseif c == "" then
      error("unterminated string at " .. pos)
    else
      -- Copy the run up to the next quote or backslash in one piece.
      local q = string.find(s, "\"", i, true)
      local b = string.find(s, "\\", i, true)
      local stop = q
      if b ~= nil and b < q then
        stop = b
      end
      parts[#parts + 1] = string.sub(s, i, stop - 1)
      i = stop
    end
  end
end

local function parseNumber(s, pos)
  local stop = pos
  if string.sub(s, stop, stop) == "-" then
    stop = stop + 1
  end
  while true do
    local c = string.sub(s, stop, stop)
    if c >= "0" and c <= "9" and c ~= "" then
      stop = stop + 1
    else
      break
    end
  end
  return tonumber(string.sub(s, pos, stop - 1)), stop
end

local function parseArray(s, pos)
  local result = {}
  pos = skipSpace(s, pos + 1)
  if string.sub(s, pos, pos) == "]" then
    return result, pos + 1
  end
  while true do
    local v
    v, pos = parseValue(s, pos)
    result[#result + 1] = v
    pos = skipSpace(s, pos)
    local c = string.sub(s, pos, pos)
    if c == "]" then
      return result, pos + 1
    elseif c ~= "," then
      error("expected , or ] at " .. pos)
    end
    pos = skipSpace(s, pos + 1)
  end
end

local function parseObject(s, pos)
  local result = {}
  pos = skipSpace(s, pos + 1)
  if string.sub(s, pos, pos) == "}" then
    return result, pos + 1
  end
  while true do
    if string.sub(s, pos, pos) ~= "\"" then
      error("expected key at " .. pos)
    end
    local key
    key, pos = parseString(s, pos)
    pos = skipSpace(s, pos)
    if string.sub(s, pos, pos) ~= ":" then
      error("expected : at " .. pos)
    end
    local v
    v, pos = parseValue(s, skipSpace(s, pos + 1))
    result[key] = v
    pos = skipSpace(s, pos)
    local c = string.sub(s, pos, pos)
    if c == "}" then
      return result, pos + 1
    elseif c ~= "," then
      error("expected , or } at " .. pos)
    end
    pos = skipSpace(s, pos + 1)
  end
end

parseValue = function(s, pos)
  pos = skipSpace(s, pos)
  local c = string.sub(s, pos, pos)
  if c == "{" then
    return parseObject(s, pos)
  elseif c == "[" then
    return parseArray(s, pos)
  elseif c == "\"" then
    return parseString(s, pos)
  elseif c == "t" and string.sub(s, pos, pos + 3) == "true" then
    return true, pos + 4
  elseif c == "f" and string.sub(s, pos, pos + 4) == "false" then
    return false, pos + 5
  elseif c == "n" and string.sub(s, pos, pos + 3) == "null" then
    return nil, pos + 4
  else
    return parseNumber(s, pos)
  end
end

local function decode(s)
  local v, pos = parseValue(s, 1)
  pos = skipSpace(s, pos)
  if pos <= #s then
    error("trailing text at " .. pos)
  end
  return v
end

-- Document generator.
local syllables = { "ka", "lo", "mi", "ne", "su", "ta", "ri", "vo" }
local function makeName()
  local parts = {}
  for i = 1, nextRandom(3) + 2 do
    parts[i] = syllables[nextRandom(#syllables) + 1]
  end
  local name = table.concat(parts)
  if nextRandom(20) == 0 then
    name = name .. " \"quoted\" \\ path"
  end
  return name
end

local function makeRecord(id)
  local tags = {}
  for i = 1, nextRandom(5) + 1 do
    tags[i] = makeName()
  end
  return {
    id = id,
    name = makeName(),
    active = nextRandom(2) == 1,
    score = nextRandom(100000),
    tags = tags,
    position = { x = nextRandom(1000), y = nextRandom(1000), zone = "z" .. nextRandom(9) },
    history = { nextRandom(50), nextRandom(50), nextRandom(50), -nextRandom(50) },
  }
end

local function makeDocument(count)
  local records = {}
  for i = 1, count do
    records[i] = makeRecord(i)
  end
  return { version = 3, title = "inventory", records = records, meta = { generator = "bench", empty = {} } }
end

-- Walk a decoded document and fold its contents into a number.
local function digest(v)
  local kind = type(v)
  if kind == "number" then
    -- Keep % on non-negative operands.
    if v < 0 then
      v = 1 - v
    end
    return v % 1000003
  elseif kind == "string" then
    return #v * 31 + 7
  elseif kind == "boolean" then
    if v then return 3 end
    return 5
  elseif kind == "table" then
    local sum = 11
    for k, item in pairs(v) do
      local keyWeight = 1
      if type(k) == "string" then
        keyWeight = #k
      end
      sum = (sum + keyWeight * digest(item)) % 1000000007
    end
    return sum
  end
  return 1
end

local checksum, bytes = 0, 0
for round = 1, 45 do
  local document = makeDocument(400)
  local text = encode(document)
  local decoded = decode(text)
  local again = encode(decoded)
  if again ~= text then
    error("round trip changed the text in round " .. round)
  end
  bytes = bytes + #text
  checksum = (checksum + digest(decoded) + #again) % 1000000007
end
print("bytes", bytes)
print("checksum", checksum)
