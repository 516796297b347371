-- A small real program: tokenizer, recursive-descent parser and tree-walking
-- evaluator for a toy imperative language, running a few toy programs.
local letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
local digits = "0123456789"
local charClass = {}
for i = 1, #letters do
  charClass[string.sub(letters, i, i)] = "letter"
end
for i = 1, #digits do
  charClass[string.sub(digits, i, i)] = "digit"
end
charClass[" "] = "space"
charClass["\n"] = "space"
charClass["\t"] = "space"

local keywords = { ["while"] = true, ["do"] = true, ["end"] = true, ["if"] = true, ["then"] = true,
  ["else"] = true, ["print"] = true, ["and"] = true, ["or"] = true, ["not"] = true }
local twoCharOps = { ["<="] = true, [">="] = true, ["=="] = true, ["~="] = true }

local function tokenize(src)
  local tokens = {}
  local pos, n = 1, #src
  while pos <= n do
    local c = string.sub(src, pos, pos)
    local class = charClass[c]
    if class == "space" then
      pos = pos + 1
    elseif class == "letter" then
      local s, e = string.find(src, "%a+", pos)
      local word = string.sub(src, s, e)
      if keywords[word] then
        tokens[#tokens + 1] = { kind = word }
      else
        tokens[#tokens + 1] = { kind = "name", text = word }
      end
      pos = e + 1
    elseif class == "digit" then
      local s, e = string.find(src, "%d+", pos)
      tokens[#tokens + 1] = { kind = "number", value = tonumber(string.sub(src, s, e)) }
      pos = e + 1
    else
      local two = string.sub(src, pos, pos + 1)
      if twoCharOps[two] then
        tokens[#tokens + 1] = { kind = two }
        pos = pos + 2
      else
        tokens[#tokens + 1] = { kind = c }
        pos = pos + 1
      end
    end
  end
  tokens[#tokens + 1] = { kind = "eof" }
  return tokens
end

-- Parser over the token list; the state is a cursor in a table.
local function newParser(tokens)
  local p = { tokens = tokens, index = 1 }

  function p:peek()
    return self.tokens[self.index].kind
  end

  function p:advance()
    local t = self.tokens[self.index]
    self.index = self.index + 1
    return t
  end

  function p:expect(kind)
    local t = self:advance()
    if t.kind ~= kind then
      error("expected " .. kind .. " but found " .. t.kind)
    end
    return t
  end

  return p
end

local parseExpression

local function parsePrimary(p)
  local t = p:advance()
  if t.kind == "number" then
    return { kind = "number", value = t.value }
  elseif t.kind == "name" then
    return { kind = "variable", name = t.text }
  elseif t.kind == "(" then
    local e = parseExpression(p, 0)
    p:expect(")")
    return e
  elseif t.kind == "-" then
    return { kind = "negate", operand = parsePrimary(p) }
  elseif t.kind == "not" then
    return { kind = "not", operand = parsePrimary(p) }
  end
  error("unexpected token " .. t.kind)
end

local precedence = { ["or"] = 1, ["and"] = 2, ["<"] = 3, ["<="] = 3, [">"] = 3, [">="] = 3,
  ["=="] = 3, ["~="] = 3, ["+"] = 4, ["-"] = 4, ["*"] = 5, ["/"] = 5, ["%"] = 5 }

parseExpression = function(p, minPrecedence)
  local left = parsePrimary(p)
  while true do
    local op = p:peek()
    local prec = precedence[op]
    if prec == nil or prec <= minPrecedence then
      return left
    end
    p:advance()
    local right = parseExpression(p, prec)
    left = { kind = "binary", op = op, left = left, right = right }
  end
end

local parseBlock

local function parseStatement(p)
  local kind = p:peek()
  if kind == "while" then
    p:advance()
    local cond = parseExpression(p, 0)
    p:expect("do")
    local body = parseBlock(p)
    p:expect("end")
    return { kind = "while", cond = cond, body = body }
  elseif kind == "if" then
    p:advance()
    local cond = parseExpression(p, 0)
    p:expect("then")
    local thenBody = parseBlock(p)
    local elseBody = nil
    if p:peek() == "else" then
      p:advance()
      elseBody = parseBlock(p)
    end
    p:expect("end")
    return { kind = "if", cond = cond, thenBody = thenBody, elseBody = elseBody }
  elseif kind == "print" then
    p:advance()
    local e = parseExpression(p, 0)
    p:expect(";")
    return { kind = "print", expr = e }
  end
  local target = p:expect("name").text
  p:expect("=")
  local e = parseExpression(p, 0)
  p:expect(";")
  return { kind = "assign", name = target, expr = e }
end

parseBlock = function(p)
  local statements = {}
  while true do
    local kind = p:peek()
    if kind == "end" or kind == "else" or kind == "eof" then
      return statements
    end
    statements[#statements + 1] = parseStatement(p)
  end
end

-- Evaluator: a dispatch table of handlers keyed by node kind; values are integers,
-- truth is "not zero".
local evaluate
local binary = {
  ["+"] = function(a, b) return a + b end,
  ["-"] = function(a, b) return a - b end,
  ["*"] = function(a, b) return a * b end,
  ["/"] = function(a, b) return math.floor(a / b) end,
  ["%"] = function(a, b) return a % b end,
  ["<"] = function(a, b) if a < b then return 1 end return 0 end,
  ["<="] = function(a, b) if a <= b then return 1 end return 0 end,
  [">"] = function(a, b) if a > b then return 1 end return 0 end,
  [">="] = function(a, b) if a >= b then return 1 end return 0 end,
  ["=="] = function(a, b) if a == b then return 1 end return 0 end,
  ["~="] = function(a, b) if a ~= b then return 1 end return 0 end,
}

local handlers = {
  number = function(node, env)
    return node.value
  end,
  variable = function(node, env)
    local v = env[node.name]
    if v == nil then
      error("undefined variable " .. node.name)
    end
    return v
  end,
  negate = function(node, env)
    return -evaluate(node.operand, env)
  end,
  ["not"] = function(node, env)
    if evaluate(node.operand, env) == 0 then
      return 1
    end
    return 0
  end,
  binary = function(node, env)
    local op = node.op
    if op == "and" then
      if evaluate(node.left, env) == 0 then
        return 0
      end
      return evaluate(node.right, env)
    elseif op == "or" then
      local left = evaluate(node.left, env)
      if left ~= 0 then
        return left
      end
      return evaluate(node.right, env)
    end
    return binary[op](evaluate(node.left, env), evaluate(node.right, env))
  end,
}

evaluate = function(node, env)
  return handlers[node.kind](node, env)
end

local execute
local function executeBlock(statements, env, out)
  for i = 1, #statements do
    execute(statements[i], env, out)
  end
end

execute = function(stmt, env, out)
  local kind = stmt.kind
  if kind == "assign" then
    env[stmt.name] = evaluate(stmt.expr, env)
  elseif kind == "while" then
    while evaluate(stmt.cond, env) ~= 0 do
      executeBlock(stmt.body, env, out)
    end
  elseif kind == "if" then
    if evaluate(stmt.cond, env) ~= 0 then
      executeBlock(stmt.thenBody, env, out)
    elseif stmt.elseBody ~= nil then
      executeBlock(stmt.elseBody, env, out)
    end
  elseif kind == "print" then
    out[#out + 1] = evaluate(stmt.expr, env)
  end
end

local function run(src)
  local p = newParser(tokenize(src))
  local program = parseBlock(p)
  p:expect("eof")
  local out = {}
  executeBlock(program, {}, out)
  return out
end

local programs = {
  -- Primes by trial division.
  [[
    count = 0; sum = 0; i = 2;
    while i < 9000 do
      j = 2; prime = 1;
      while j * j <= i and prime do
        if i % j == 0 then prime = 0; end
        j = j + 1;
      end
      if prime then count = count + 1; sum = sum + i; end
      i = i + 1;
    end
    print count; print sum;
  ]],
  -- Iterative Fibonacci modulo a prime, and a Collatz walk.
  [[
    a = 0; b = 1; k = 0;
    while k < 20000 do
      t = (a + b) % 1000003; a = b; b = t; k = k + 1;
    end
    print a;
    n = 27; steps = 0;
    while n ~= 1 do
      if n % 2 == 0 then n = n / 2; else n = 3 * n + 1; end
      steps = steps + 1;
    end
    print steps;
  ]],
  -- Nested loops with gcd by subtraction.
  [[
    total = 0; x = 1;
    while x <= 60 do
      y = 1;
      while y <= 60 do
        a = x; b = y;
        while a ~= b do
          if a > b then a = a - b; else b = b - a; end
        end
        total = total + a;
        y = y + 1;
      end
      x = x + 1;
    end
    print total;
  ]],
}

local checksum, printed = 0, 0
for round = 1, 5 do
  for i = 1, #programs do
    local out = run(programs[i])
    for j = 1, #out do
      printed = printed + 1
      checksum = (checksum * 31 + out[j]) % 1000000007
      if round == 1 then
        print("program " .. i .. " says " .. out[j])
      end
    end
  end
end
print("printed", printed, "checksum", checksum)
