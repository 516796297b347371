-- An uncaught error names the line of the failing operator, not of the statement.
print("output before the error is kept")
local t = {}
t.count = 1
local total = t.count
  + 1
  +
  nil
print("not reached")
