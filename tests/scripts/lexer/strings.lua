-- Quoted and long strings: the escape set is small, unknown escapes drop the backslash.
print("escapes", "tab[\t] quote[\"] apostrophe[\'] backslash[\\]")
print("newline escape", "a\nb")
print("zero escape", #"\065", "\065" == "\0" .. "65", #"\0")
print("unknown escapes", "\a\x41\z\q\1")
print("other quotes", 'say "hi"', "it's", '\'single\'')
print("backslash newline", "one\
two")
print("raw newline", "three
four")
print("long string", [[no \n escapes "quotes" 'kept']])
local first = [[
kept]]
print("first newline kept", #first)
print("single brackets", [[a]b]=]c]])
print("no levels", [[x[[y]])
print("empty", [[]], "", #[[]], #"")
print("carriage return escape", #"\r", "\r" == "\13")
print("long multi", [[line1
line2]])
print("adjacent", "a".."b", [[c]]..[[d]])
