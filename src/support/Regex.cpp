// The backtracking regex matcher: searches, the match iterator, and the recursive core over the pattern text.
#include "support/Regex.hpp"

#include "support/Errors.hpp"
#include "support/StackGuard.hpp"

#include <cstring>
#include <utility>

namespace zq
{
namespace
{

bool isQuantifier(char c)
{
    return c == '*' || c == '+' || c == '?';
}

char foldCase(char c, unsigned flags)
{
    if ((flags & regex::icase) != 0 && c >= 'A' && c <= 'Z')
    {
        return static_cast<char>(c - 'A' + 'a');
    }
    return c;
}

// A first atom that is one plain byte with no quantifier: a match can only start where that byte occurs,
// so the search may skip ahead to it. Returns false when the first atom is anything else.
bool leadingLiteral(std::string_view pattern, unsigned flags, char& literal)
{
    if (pattern.empty())
    {
        return false;
    }
    const char c = pattern[0];
    switch (c)
    {
    case '\\':
    case '[':
    case '.':
    case '*':
    case '+':
    case '?':
    case '$': // special only when it is the whole pattern; kept simple
    case '^': return false;
    default: break;
    }
    if (pattern.size() > 1 && isQuantifier(pattern[1]))
    {
        return false;
    }
    if ((flags & regex::icase) != 0 && ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')))
    {
        return false;
    }
    literal = c;
    return true;
}

} // namespace

sub_match match_results::prefix() const noexcept
{
    const sub_match& whole = (*this)[0];
    return sub_match{searchFirst_, whole.matched ? whole.first : searchLast_, searchFirst_ != nullptr};
}

sub_match match_results::suffix() const noexcept
{
    const sub_match& whole = (*this)[0];
    return sub_match{whole.matched ? whole.second : searchLast_, searchLast_, searchFirst_ != nullptr};
}

bool regex_char_equal(char a, char b, unsigned flags)
{
    return foldCase(a, flags) == foldCase(b, flags);
}

std::size_t regex_class_end(std::string_view pattern, std::size_t open)
{
    std::size_t i = open + 1;
    while (i < pattern.size())
    {
        if (pattern[i] == '\\')
        {
            i += 2;
            continue;
        }
        if (pattern[i] == ']')
        {
            return i; // no `]` counts as a first member, so `[]` is the empty class
        }
        ++i;
    }
    return regex_npos;
}

bool regex_class_contains(std::string_view pattern, std::size_t open, std::size_t close, char c, unsigned flags)
{
    std::size_t i = open + 1;
    bool negated = false;
    if (i < close && pattern[i] == '^')
    {
        negated = true;
        ++i;
    }
    // Reads one member end, taking a backslash as "the next character literally".
    auto readMember = [&](std::size_t& at) {
        char member = pattern[at];
        if (member == '\\' && at + 1 < close)
        {
            member = pattern[at + 1];
            at += 2;
            return member;
        }
        ++at;
        return member;
    };
    const unsigned char tested = static_cast<unsigned char>(foldCase(c, flags));
    bool found = false;
    while (i < close)
    {
        const char low = readMember(i);
        if (i + 1 < close && pattern[i] == '-')
        {
            ++i;
            const char high = readMember(i);
            if (!found)
            {
                unsigned char a = static_cast<unsigned char>(foldCase(low, flags));
                unsigned char b = static_cast<unsigned char>(foldCase(high, flags));
                if (a > b)
                {
                    std::swap(a, b); // a reversed range means the same characters as the ordered one
                }
                found = tested >= a && tested <= b;
            }
        }
        else if (!found)
        {
            found = regex_char_equal(low, c, flags);
        }
    }
    return found != negated;
}

bool regex_atom_matches(std::string_view pattern, std::size_t pi, char c, unsigned flags, std::size_t& next)
{
    const char atom = pattern[pi];
    if (atom == '\\')
    {
        if (pi + 1 < pattern.size())
        {
            next = pi + 2;
            return regex_char_equal(pattern[pi + 1], c, flags);
        }
        next = pi + 1; // a trailing backslash stands for itself
        return c == '\\';
    }
    if (atom == '[')
    {
        const std::size_t close = regex_class_end(pattern, pi);
        if (close != regex_npos)
        {
            next = close + 1;
            return regex_class_contains(pattern, pi, close, c, flags);
        }
        // an unclosed bracket is an ordinary character
    }
    next = pi + 1;
    if (atom == '.')
    {
        return true;
    }
    return regex_char_equal(atom, c, flags);
}

bool regex_match_here(std::string_view pattern, std::size_t pi, std::string_view text, std::size_t ti, unsigned flags,
                      std::size_t& end)
{
    if (stackExhausted())
    {
        throw runtime_error("stack overflow");
    }
    const std::size_t m = pattern.size();
    const std::size_t n = text.size();
    // Plain atoms advance in this loop; only quantified atoms recurse, so the depth follows the quantifiers.
    for (;;)
    {
        if (pi == m)
        {
            end = ti;
            return true;
        }
        if (pi + 1 == m && pattern[pi] == '$')
        {
            end = ti;
            return ti == n;
        }
        // At the end of the text the atom is not tested and `next` stays on it, so the quantifier check
        // below reads the atom's own first character: `a*` cannot match zero times there.
        std::size_t next = pi;
        const bool atomMatched = ti < n && regex_atom_matches(pattern, pi, text[ti], flags, next);
        if (next < m && isQuantifier(pattern[next]))
        {
            const char quantifier = pattern[next];
            const std::size_t rest = next + 1;
            if (quantifier != '+')
            {
                if (regex_match_here(pattern, rest, text, ti, flags, end))
                {
                    return true; // zero occurrences are preferred whenever the rest matches
                }
            }
            if (!atomMatched)
            {
                return false;
            }
            std::size_t k = ti + 1;
            if (quantifier != '?')
            {
                std::size_t ignored = 0;
                while (k < n && regex_atom_matches(pattern, pi, text[k], flags, ignored))
                {
                    ++k;
                }
            }
            for (std::size_t j = k; j > ti; --j)
            {
                if (regex_match_here(pattern, rest, text, j, flags, end))
                {
                    return true;
                }
            }
            return false;
        }
        if (!atomMatched)
        {
            return false;
        }
        pi = next;
        ++ti;
    }
}

bool regex_search(const char* first, const char* last, match_results& results, const regex& re)
{
    initStackLimit();
    results.searchFirst_ = first;
    results.searchLast_ = last;
    results.entries_.clear();

    const std::string_view pattern = re.pattern();
    const std::string_view text(first, static_cast<std::size_t>(last - first));
    const unsigned flags = re.flags();
    const std::size_t n = text.size();
    std::size_t end = 0;

    auto found = [&](std::size_t at) {
        results.entries_.push_back(sub_match{first + at, first + end, true});
        return true;
    };

    if (!pattern.empty() && pattern[0] == '^')
    {
        return regex_match_here(pattern, 1, text, 0, flags, end) && found(0);
    }
    char literal = 0;
    if (leadingLiteral(pattern, flags, literal))
    {
        // Only positions holding the literal can match; the end position cannot (its atom is never tested).
        const char* at = first;
        while (at < last)
        {
            at = static_cast<const char*>(std::memchr(at, literal, static_cast<std::size_t>(last - at)));
            if (at == nullptr)
            {
                return false;
            }
            const std::size_t ti = static_cast<std::size_t>(at - first);
            if (regex_match_here(pattern, 0, text, ti, flags, end))
            {
                return found(ti);
            }
            ++at;
        }
        return false;
    }
    for (std::size_t ti = 0; ti <= n; ++ti)
    {
        if (regex_match_here(pattern, 0, text, ti, flags, end))
        {
            return found(ti);
        }
    }
    return false;
}

sregex_iterator::sregex_iterator(const char* first, const char* last, const regex& re)
    : position_(first), last_(last), regex_(&re)
{
    if (first > last)
    {
        return;
    }
    search();
}

void sregex_iterator::search()
{
    atEnd_ = !regex_search(position_, last_, match_, *regex_);
}

sregex_iterator& sregex_iterator::operator++()
{
    if (atEnd_)
    {
        return *this;
    }
    const sub_match& whole = match_[0];
    position_ = whole.second;
    if (whole.first == whole.second)
    {
        if (position_ == last_)
        {
            // Searching again would find the same empty match at the end forever.
            atEnd_ = true;
            return *this;
        }
        ++position_; // an empty match must not repeat at the same place
    }
    search();
    return *this;
}

bool sregex_iterator::operator==(const sregex_iterator& other) const noexcept
{
    if (atEnd_ || other.atEnd_)
    {
        return atEnd_ && other.atEnd_;
    }
    return position_ == other.position_ && last_ == other.last_ && regex_ == other.regex_;
}

} // namespace zq
