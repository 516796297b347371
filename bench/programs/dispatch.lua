-- A bytecode-style dispatch loop: a little stack machine steps through an array of operations
-- with an if-elseif chain over the opcode, the shape of a hand-written interpreter's core.
local PUSH, LOAD, STORE, ADD, SUB, MUL, MOD, LT, JMP, JZ, DUP, POP, HALT = 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13

local function run(code, registers)
  local stack = {}
  local sp, pc = 0, 1
  local executed = 0
  while true do
    local op = code[pc]
    local arg = code[pc + 1]
    pc = pc + 2
    executed = executed + 1
    if op == PUSH then
      sp = sp + 1
      stack[sp] = arg
    elseif op == LOAD then
      sp = sp + 1
      stack[sp] = registers[arg]
    elseif op == STORE then
      registers[arg] = stack[sp]
      sp = sp - 1
    elseif op == ADD then
      stack[sp - 1] = stack[sp - 1] + stack[sp]
      sp = sp - 1
    elseif op == SUB then
      stack[sp - 1] = stack[sp - 1] - stack[sp]
      sp = sp - 1
    elseif op == MUL then
      stack[sp - 1] = stack[sp - 1] * stack[sp]
      sp = sp - 1
    elseif op == MOD then
      stack[sp - 1] = stack[sp - 1] % stack[sp]
      sp = sp - 1
    elseif op == LT then
      if stack[sp - 1] < stack[sp] then
        stack[sp - 1] = 1
      else
        stack[sp - 1] = 0
      end
      sp = sp - 1
    elseif op == JMP then
      pc = arg
    elseif op == JZ then
      if stack[sp] == 0 then
        pc = arg
      end
      sp = sp - 1
    elseif op == DUP then
      sp = sp + 1
      stack[sp] = stack[sp - 1]
    elseif op == POP then
      sp = sp - 1
    elseif op == HALT then
      return executed
    end
  end
end

-- Assembles (op, arg) pairs; jump targets are operation numbers, turned into array positions.
local function assemble(listing)
  local code = {}
  for i = 1, #listing do
    local item = listing[i]
    local op, arg = item[1], item[2] or 0
    if op == JMP or op == JZ then
      arg = 2 * arg - 1
    end
    code[#code + 1] = op
    code[#code + 1] = arg
  end
  return code
end

-- r1 = i, r2 = accumulator: for i = 0, n-1: acc = (acc * 31 + i) % 1000003
local program = assemble({
  { PUSH, 0 }, { STORE, 1 },            -- 1, 2: i = 0
  { PUSH, 7 }, { STORE, 2 },            -- 3, 4: acc = 7
  { LOAD, 1 }, { LOAD, 3 }, { LT },     -- 5, 6, 7: i < n
  { JZ, 22 },                           -- 8
  { LOAD, 2 }, { PUSH, 31 }, { MUL },   -- 9, 10, 11
  { LOAD, 1 }, { ADD },                 -- 12, 13
  { PUSH, 1000003 }, { MOD },           -- 14, 15
  { STORE, 2 },                         -- 16
  { LOAD, 1 }, { PUSH, 1 }, { ADD },    -- 17, 18, 19
  { STORE, 1 },                         -- 20
  { JMP, 5 },                           -- 21
  { HALT },                             -- 22
})

local registers = { 0, 0, 600000 }
local executed = run(program, registers)
print("executed", executed, "accumulator", registers[2])
