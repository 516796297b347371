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

bool isAsciiLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
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

namespace
{

// ---- Class and byte tests of the matcher, indices into the pattern text.

// Marks "no closing bracket" from regex_class_end.
constexpr std::size_t regex_npos = static_cast<std::size_t>(-1);

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
    auto readMember = [&](std::size_t& at)
    {
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


// Index just after the atom at pi; the atom's extent depends only on the pattern.
std::size_t atomEnd(std::string_view pattern, std::size_t pi)
{
    if (pattern[pi] == '\\')
    {
        return pi + 1 < pattern.size() ? pi + 2 : pi + 1; // a trailing backslash stands for itself
    }
    if (pattern[pi] == '[')
    {
        const std::size_t close = regex_class_end(pattern, pi);
        if (close != regex_npos)
        {
            return close + 1;
        }
        // an unclosed bracket is an ordinary character
    }
    return pi + 1;
}

// Tests the atom [pi, end) against one byte; callers that already know `end` skip rescanning classes.
bool atomTest(std::string_view pattern, std::size_t pi, std::size_t end, char c, unsigned flags)
{
    switch (pattern[pi])
    {
    case '\\': return end == pi + 2 ? regex_char_equal(pattern[pi + 1], c, flags) : c == '\\';
    case '[': return end > pi + 1 ? regex_class_contains(pattern, pi, end - 1, c, flags) : c == '[';
    case '.': return true;
    default: return regex_char_equal(pattern[pi], c, flags);
    }
}

// When every match of pattern[pi..] at a position before the end of the text needs the atom at pi to
// match the byte there, returns the atom's end; otherwise (end of pattern, final `$`, or an atom that
// may occur zero times) returns 0. Lets callers reject a position without entering the matcher.
std::size_t requiredAtomEnd(std::string_view pattern, std::size_t pi)
{
    const std::size_t m = pattern.size();
    if (pi >= m || (pi + 1 == m && pattern[pi] == '$'))
    {
        return 0;
    }
    const std::size_t end = atomEnd(pattern, pi);
    if (end < m && (pattern[end] == '*' || pattern[end] == '?'))
    {
        return 0;
    }
    return end;
}

// What one unit of the matcher's work (a byte tested against an atom, a position tried) weighs in the
// budget's units, where a byte merely copied or skipped by memchr weighs one: backtracking costs
// several nanoseconds a unit.
constexpr std::uint64_t kStepUnit = 16;

bool matchHere(std::string_view pattern, std::size_t pi, std::string_view text, std::size_t ti, unsigned flags,
               std::size_t& end, regex_budget& work)
{
    work.add(kStepUnit);
    if (stackExhausted())
    {
        throw runtime_error("stack overflow");
    }
    const std::size_t m = pattern.size();
    const std::size_t n = text.size();
    // Bytes passed by plain atoms are reported once, on the way out.
    const std::size_t start = ti;
    // Plain atoms advance in this loop; only quantified atoms recurse, so the depth follows the quantifiers.
    for (;;)
    {
        if (pi == m)
        {
            work.add((ti - start) * kStepUnit);
            end = ti;
            return true;
        }
        if (pi + 1 == m && pattern[pi] == '$')
        {
            work.add((ti - start) * kStepUnit);
            end = ti;
            return ti == n;
        }
        // At the end of the text the atom is not tested and `next` stays on it, so the quantifier check
        // below reads the atom's own first character: `a*` cannot match zero times there.
        std::size_t next = pi;
        bool atomMatched = false;
        if (ti < n)
        {
            next = atomEnd(pattern, pi);
            atomMatched = atomTest(pattern, pi, next, text[ti], flags);
        }
        if (next < m && isQuantifier(pattern[next]))
        {
            work.add((ti - start) * kStepUnit);
            const char quantifier = pattern[next];
            const std::size_t rest = next + 1;
            const std::size_t restEnd = requiredAtomEnd(pattern, rest);
            // True when the continuation cannot start at j, decided without a recursive call.
            auto restFailsAt = [&](std::size_t j)
            { return restEnd != 0 && j < n && !atomTest(pattern, rest, restEnd, text[j], flags); };
            if (quantifier != '+' && !restFailsAt(ti))
            {
                if (matchHere(pattern, rest, text, ti, flags, end, work))
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
                while (k < n && atomTest(pattern, pi, next, text[k], flags))
                {
                    ++k;
                }
            }
            work.add(2 * (k - ti) * kStepUnit); // the run scanned, and at most as many places to backtrack to
            for (std::size_t j = k; j > ti; --j)
            {
                if (!restFailsAt(j) && matchHere(pattern, rest, text, j, flags, end, work))
                {
                    return true;
                }
            }
            return false;
        }
        if (!atomMatched)
        {
            work.add((ti - start) * kStepUnit);
            return false;
        }
        pi = next;
        ++ti;
    }
}

} // namespace

bool regex_search(const char* first, const char* last, match_results& results, const regex& re, regex_budget* budget)
{
    unbounded_budget unbounded;
    regex_budget& work = budget != nullptr ? *budget : unbounded;
    initStackLimit();
    results.searchFirst_ = first;
    results.searchLast_ = last;
    results.entries_.clear();
    if (last < first)
    {
        return false; // a reversed range holds no text to search
    }

    const std::string_view pattern = re.pattern();
    const std::string_view text(first, static_cast<std::size_t>(last - first));
    const unsigned flags = re.flags();
    const std::size_t n = text.size();
    std::size_t end = 0;

    auto found = [&](std::size_t at)
    {
        results.entries_.push_back(sub_match{first + at, first + end, true});
        return true;
    };

    if (!pattern.empty() && pattern[0] == '^')
    {
        return matchHere(pattern, 1, text, 0, flags, end, work) && found(0);
    }
    // A first atom that cannot occur zero times must match where a match starts, so the scan skips every
    // other position. At the end position the atom is never tested, so that one goes through the matcher.
    const std::size_t firstEnd = requiredAtomEnd(pattern, 0);
    if (firstEnd != 0)
    {
        const char lead = pattern[0];
        const bool literal = firstEnd == 1 && lead != '.' && !((flags & regex::icase) != 0 && isAsciiLetter(lead));
        std::size_t ti = 0;
        while (ti < n)
        {
            const std::size_t from = ti;
            if (literal)
            {
                const void* hit = std::memchr(first + ti, lead, n - ti);
                ti = hit == nullptr ? n : static_cast<std::size_t>(static_cast<const char*>(hit) - first);
            }
            else
            {
                while (ti < n && !atomTest(pattern, 0, firstEnd, text[ti], flags))
                {
                    ++ti;
                }
            }
            work.add((ti - from) * (literal ? 1 : kStepUnit)); // the bytes skipped, by memchr or one by one
            if (ti == n)
            {
                break;
            }
            if (matchHere(pattern, 0, text, ti, flags, end, work))
            {
                return found(ti);
            }
            ++ti;
        }
        return matchHere(pattern, 0, text, n, flags, end, work) && found(n);
    }
    for (std::size_t ti = 0; ti <= n; ++ti)
    {
        if (matchHere(pattern, 0, text, ti, flags, end, work))
        {
            return found(ti);
        }
    }
    return false;
}

sregex_iterator::sregex_iterator(const char* first, const char* last, const regex& re, regex_budget* budget)
    : position_(first), last_(last), regex_(&re), budget_(budget)
{
    if (first > last)
    {
        return;
    }
    search();
}

void sregex_iterator::search()
{
    atEnd_ = !regex_search(position_, last_, match_, *regex_, budget_);
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

} // namespace zq
