-- String-keyed tables: counting into a map, records with named fields, deletion,
-- and traversal with pairs. Results are summed, never printed in traversal order.
local seed = 4242
local function nextRandom(limit)
  seed = (seed * 16807) % 2147483647
  return seed % limit
end

-- Tally keys of a skewed distribution into one map.
local counts = {}
for i = 1, 3600000 do
  local key = "key" .. nextRandom(nextRandom(4000) + 1)
  counts[key] = (counts[key] or 0) + 1
end
local distinct, tallied, weighted = 0, 0, 0
for key, n in pairs(counts) do
  distinct = distinct + 1
  tallied = tallied + n
  weighted = (weighted + n * #key) % 1000000007
end
print("distinct", distinct, "tallied", tallied, "weighted", weighted)

-- Remove every key whose count is odd, then refill some of them. The keys are
-- collected first: deleting during a pairs traversal behaves differently here.
local doomed = {}
for key, n in pairs(counts) do
  if n % 2 == 1 then
    doomed[#doomed + 1] = key
  end
end
local removed = #doomed
for i = 1, removed do
  counts[doomed[i]] = nil
end
for i = 0, 999 do
  local key = "key" .. i
  if counts[key] == nil then
    counts[key] = i
  end
end
local left, leftSum = 0, 0
for _, n in pairs(counts) do
  left = left + 1
  leftSum = leftSum + n
end
print("removed", removed, "left", left, "sum", leftSum)

-- Records with named fields, indexed by name, updated in place.
local people = {}
local names = {}
for i = 1, 20000 do
  local name = "person" .. i
  names[i] = name
  people[name] = { name = name, age = 18 + nextRandom(60), city = "city" .. nextRandom(50), score = 0 }
end
for round = 1, 140 do
  for i = 1, #names do
    local p = people[names[i]]
    p.score = p.score + p.age % 7 + round
    if p.score > 300 then
      p.score = p.score - 250
    end
  end
end
local byCity = {}
for _, p in pairs(people) do
  local entry = byCity[p.city]
  if entry == nil then
    entry = { people = 0, score = 0 }
    byCity[p.city] = entry
  end
  entry.people = entry.people + 1
  entry.score = entry.score + p.score
end
local cities, cityScore, peopleCount = 0, 0, 0
for city, entry in pairs(byCity) do
  cities = cities + 1
  peopleCount = peopleCount + entry.people
  cityScore = cityScore + entry.score * #city
end
print("cities", cities, "people", peopleCount, "city score", cityScore)
local total = 0
for _, p in pairs(people) do
  total = total + p.score
end
print("score total", total)
