-- Integer loops over a boolean array: sieve of Eratosthenes, repeated.
local function sieve(n)
  local composite = {}
  for i = 1, n do
    composite[i] = false
  end
  local count, sum = 0, 0
  for i = 2, n do
    if not composite[i] then
      count = count + 1
      sum = sum + i
      for j = i * i, n, i do
        composite[j] = true
      end
    end
  end
  return count, sum
end

local totalCount, checksum = 0, 0
for round = 1, 12 do
  local count, sum = sieve(2000000 + round * 1000)
  totalCount = totalCount + count
  checksum = (checksum * 31 + sum) % 1000000007
end
print("primes", totalCount)
print("checksum", checksum)
