// Lua patterns for the string library: translation into the matcher's regex dialect and the search entry.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zq
{
class regex_budget;
}

namespace velmar::lua
{

// One successful search: zero-based byte offsets into the whole subject, `end` exclusive.
struct PatternMatch
{
    std::size_t start = 0;
    std::size_t end = 0;
    std::vector<std::string> captures; // the matcher has no groups, so this stays empty
    std::string text;
};

// Rewrites a Lua pattern as a regex for zq::regex. Never fails: malformed pieces become literal text.
std::string translateLuaPatternToRegex(std::string_view pattern);

// Searches `subject` from the zero-based offset `init`; `plain` looks for the pattern as literal text.
// A leading `^` anchors at `init`. An `init` past the end of the subject never matches. The work goes to
// `budget` when there is one: the pattern's length, then the search's own units.
bool findPattern(std::string_view subject, std::string_view pattern, std::size_t init, bool plain, PatternMatch& out,
                 zq::regex_budget* budget = nullptr);

} // namespace velmar::lua
