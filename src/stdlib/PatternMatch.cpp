// Lua pattern to regex translation and the search used by string.find and string.match.
#include "stdlib/PatternMatch.hpp"

#include "support/Regex.hpp"

#include <cstring>

namespace velmar::lua
{
namespace
{

bool isRegexSpecial(char c)
{
    switch (c)
    {
    case '$':
    case '(':
    case ')':
    case '*':
    case '+':
    case '.':
    case '?':
    case '[':
    case '\\':
    case ']':
    case '^':
    case '{':
    case '|':
    case '}': return true;
    default: return false;
    }
}

void appendEscaped(std::string& out, char c)
{
    if (isRegexSpecial(c))
    {
        out.push_back('\\');
    }
    out.push_back(c);
}

// `%x` outside a set. The white-space classes hold backslash-letter pairs, which the matcher reads as the
// letters themselves: `%s` matches f, n, r, t, v and a blank, not a tab.
void appendOuterClass(std::string& out, char c)
{
    switch (c)
    {
    case 'a': out += "[A-Za-z]"; break;
    case 'A': out += "[^A-Za-z]"; break;
    case 'd': out += "[0-9]"; break;
    case 'D': out += "[^0-9]"; break;
    case 's': out += "[\\f\\n\\r\\t\\v ]"; break;
    case 'S': out += "[^\\f\\n\\r\\t\\v ]"; break;
    case 'w': out += "[A-Za-z0-9_]"; break;
    case 'W': out += "[^A-Za-z0-9_]"; break;
    default: appendEscaped(out, c); break;
    }
}

// `%x` inside a set. `%A` and `%D` are plain letters here, and `%S`/`%W` negate only when they come first.
void appendInnerClass(std::string& out, char c)
{
    switch (c)
    {
    case 'a': out += "A-Za-z"; break;
    case 'd': out += "0-9"; break;
    case 's': out += "\\f\\n\\r\\t\\v "; break;
    case 'S': out += "^\\f\\n\\r\\t\\v "; break;
    case 'w': out += "A-Za-z0-9_"; break;
    case 'W': out += "^A-Za-z0-9_"; break;
    default: out.push_back(c); break;
    }
}

// Translates the set opened at `open` and returns the index to continue from. A set with no closing
// bracket leaves a literal `[` and resumes right after it.
std::size_t translateSet(std::string_view pattern, std::size_t open, std::string& out)
{
    const std::size_t n = pattern.size();
    std::size_t close = open + 1;
    while (close < n && pattern[close] != ']')
    {
        close += pattern[close] == '%' ? 2 : 1;
    }
    if (close >= n)
    {
        out += "\\[";
        return open + 1;
    }
    out.push_back('[');
    std::size_t i = open + 1;
    if (i < close && pattern[i] == '^')
    {
        out.push_back('^');
        ++i;
    }
    while (i < close)
    {
        const char c = pattern[i];
        if (c == '%')
        {
            if (i + 1 < close)
            {
                appendInnerClass(out, pattern[i + 1]);
            }
            i += 2;
            continue;
        }
        if (c == '\\' || c == ']')
        {
            out.push_back('\\');
        }
        out.push_back(c);
        ++i;
    }
    out.push_back(']');
    return close + 1;
}

} // namespace

std::string translateLuaPatternToRegex(std::string_view pattern)
{
    std::string out;
    out.reserve(pattern.size() * 2);
    const std::size_t n = pattern.size();
    std::size_t i = 0;
    while (i < n)
    {
        const char c = pattern[i];
        switch (c)
        {
        case '(':
        case ')':
        case '*':
        case '+':
        case '.':
        case '?':
        case '^':
        case '$':
            out.push_back(c);
            ++i;
            break;
        case '-':
            out += "*?"; // the matcher reads this as a star then a literal `?`
            ++i;
            break;
        case '%':
            if (i + 1 == n)
            {
                out.push_back('%'); // a trailing percent sign stays literal
                return out;
            }
            appendOuterClass(out, pattern[i + 1]);
            i += 2;
            break;
        case '[': i = translateSet(pattern, i, out); break;
        default:
            appendEscaped(out, c);
            ++i;
            break;
        }
    }
    return out;
}

namespace
{

// The first occurrence of `needle` at or after `from`, as std::string_view::find finds it, reporting one
// unit per byte skipped and the needle's length per candidate compared (the worst case is quadratic).
std::size_t findPlain(std::string_view subject, std::string_view needle, std::size_t from, zq::regex_budget& work)
{
    const std::size_t m = needle.size();
    if (m == 0)
    {
        return from;
    }
    const std::size_t n = subject.size();
    std::size_t at = from;
    while (n - at >= m)
    {
        const void* hit = std::memchr(subject.data() + at, needle[0], n - at - m + 1);
        if (hit == nullptr)
        {
            work.add(n - at);
            return std::string_view::npos;
        }
        const auto candidate = static_cast<std::size_t>(static_cast<const char*>(hit) - subject.data());
        work.add(candidate - at + m);
        if (std::memcmp(subject.data() + candidate, needle.data(), m) == 0)
        {
            return candidate;
        }
        at = candidate + 1;
    }
    return std::string_view::npos;
}

} // namespace

bool findPattern(std::string_view subject, std::string_view pattern, std::size_t init, bool plain, PatternMatch& out,
                 zq::regex_budget* budget)
{
    if (init > subject.size())
    {
        return false;
    }
    zq::unbounded_budget unbounded;
    zq::regex_budget& work = budget != nullptr ? *budget : unbounded;
    work.add(pattern.size());
    if (plain)
    {
        const std::size_t at = findPlain(subject, pattern, init, work);
        if (at == std::string_view::npos)
        {
            return false;
        }
        out.start = at;
        out.end = at + pattern.size();
        out.text.assign(subject.substr(at, pattern.size()));
        return true;
    }
    const zq::regex re(translateLuaPatternToRegex(pattern));
    zq::match_results results;
    // Searching only the suffix makes a leading `^` anchor at init.
    if (!zq::regex_search(subject.substr(init), results, re, &work))
    {
        return false;
    }
    out.start = init + results.position(0);
    out.end = out.start + results.length(0);
    out.text.assign(results[0].view());
    out.captures.clear();
    for (std::size_t i = 1; i < results.size(); ++i)
    {
        out.captures.push_back(results.str(i));
    }
    return true;
}

} // namespace velmar::lua
