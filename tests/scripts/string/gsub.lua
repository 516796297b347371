-- string.gsub and string.gmatch: literal replacements, empty matches, anchors at every step.
print("simple", string.gsub("hello world", "o", "0"))
print("percent stays literal", string.gsub("abc", "%w", "%0"))
print("percent one", string.gsub("ab", "(a)", "%1"))
print("empty matches", string.gsub("abc", "x*", "-"))
print("star prefers empty", string.gsub("aaa", "a*", "-"))
print("empty subject", string.gsub("", "x*", "-"))
print("empty pattern", string.gsub("ab", "", "."))
print("no match", string.gsub("abc", "z", "y"))
print("number replacement", string.gsub("a.b", "%.", 1.5))
print("integer replacement", string.gsub("a.b", "%.", 7))
print("boolean replacement", string.gsub("ab", "b", true))
print("nil replacement", string.gsub("ab", "a", nil))
print("function replacement", string.gsub("ab", "a", print))
print("anchor repeats", string.gsub("aaab", "^a", "x"))
print("anchor stops", string.gsub("abaa", "^a", "x"))
print("runs", string.gsub("a  b   c", " +", " "))
print("whole", string.gsub("abc", ".+", "<%0>"))
print("method", ("a,b,c"):gsub(",", ";"))
local long = string.rep("ab", 5000)
local replaced, count = string.gsub(long, "b", "")
print("long", #replaced, count, string.sub(replaced, 1, 5))
local words = {}
for w in string.gmatch("one two  three", "%a+") do
    words[#words + 1] = w
end
print("gmatch words", #words, table.concat(words, ","))
local empties = {}
for e in string.gmatch("abc", "x*") do
    empties[#empties + 1] = "[" .. e .. "]"
end
print("gmatch empty matches", table.concat(empties))
local stars = {}
for e in string.gmatch("aaa", "a*") do
    stars[#stars + 1] = "[" .. e .. "]"
end
print("gmatch lazy star", table.concat(stars))
local anchored = 0
for a in string.gmatch("aaa", "^a") do
    anchored = anchored + 1
end
print("gmatch anchored each step", anchored)
local anchoredStop = 0
for a in string.gmatch("aba", "^a") do
    anchoredStop = anchoredStop + 1
end
print("gmatch anchor stops", anchoredStop)
for a, b in string.gmatch("xy", "%a") do
    print("gmatch one value", a, b)
end
local numbers = {}
for d in ("a1b22c333"):gmatch("%d+") do
    numbers[#numbers + 1] = d
end
print("gmatch method", table.concat(numbers, " "))
print("gmatch type", type(string.gmatch("a", "a")))
print("gmatch none", pcall(function() for x in string.gmatch("abc", "z") do return x end return "nothing" end))
print("gsub count", pcall(string.gsub, "a", "a"))
print("gsub limit", pcall(string.gsub, "a", "a", "b", 1))
print("gsub subject", pcall(string.gsub, 1, "a", "b"))
print("gsub pattern", pcall(string.gsub, "a", 1, "b"))
print("gmatch count", pcall(string.gmatch, "a"))
print("gmatch pattern", pcall(string.gmatch, "a", {}))
local shared = string.gmatch("one two three four", "%a+")
for w in shared do
    print("first loop", w)
    if w == "two" then
        break
    end
end
for w in shared do
    print("same iterator goes on", w)
end
for w in shared do
    print("never reached", w)
end
