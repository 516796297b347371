// findPattern, the search under string.find, match, gmatch and gsub: offsets, anchoring, plain search,
// and the matcher's quirks, as one table; the pattern texts reach every translation rule.
#include "stdlib/PatternMatch.hpp"

#include <gtest/gtest.h>

#include <string>

namespace
{

using velmar::lua::findPattern;
using velmar::lua::PatternMatch;

TEST(PatternMatchFindTest, Searches)
{
    struct Case
    {
        std::string subject;
        std::string pattern;
        std::size_t init;
        bool plain;
        const char* expected; // "start-end text" of the match, or "none"
    };
    const Case cases[] = {
        // Offsets and anchoring: `^` anchors at the start offset.
        {"hello", "l", 0, false, "2-3 l"}, {"abc", "", 0, false, "0-0 "}, {"abc", "", 3, false, "3-3 "},
        {"abc", "", 4, false, "none"}, {"abc", "a", 10, false, "none"}, {"abcabc", "b", 2, false, "4-5 b"},
        {"ab", "^b", 0, false, "none"}, {"ab", "^b", 1, false, "1-2 b"}, {"aab", "^a+", 1, false, "1-2 a"},
        {"abc", "c$", 1, false, "2-3 c"}, {"x=1", "%d", 0, false, "2-3 1"}, {"a.b", "%.", 0, false, "1-2 ."},
        {"ab12", "[0-9]+$", 0, false, "2-4 12"}, {"a$b", "a$b", 0, false, "0-3 a$b"}, {"50%", "0%", 0, false, "1-3 0%"},
        {"x[y", "x[", 0, false, "0-2 x["}, {"a{1}", "{1}", 0, false, "1-4 {1}"}, {"a\\b", "\\", 0, false, "1-2 \\"},
        // Plain search.
        {"a.b", ".", 0, true, "1-2 ."}, {"a+b", "+b", 0, true, "1-3 +b"}, {"a.b.", ".", 2, true, "3-4 ."},
        {"a.b", "x", 0, true, "none"}, {"abc", "", 3, true, "3-3 "}, {"abc", "", 4, true, "none"},
        // Parentheses are literal.
        {"key=val", "(%w+)=(%w+)", 0, false, "none"}, {"x(abc)y", "(%a+)", 0, false, "1-6 (abc)"},
        {"abc", "(%a+)", 0, false, "none"},
        // `%s` holds the letters f n r t v and the space, not control characters.
        {"n", "%s", 0, false, "0-1 n"}, {" ", "[%s]", 0, false, "0-1  "}, {"v", "%S", 0, false, "none"},
        {"\t", "%s", 0, false, "none"}, {"\n", "%S", 0, false, "0-1 \n"}, {"\tn", "%s", 0, false, "1-2 n"},
        {"a b", "%S+", 0, false, "0-1 a"},
        // Repetition: zero occurrences first; `-` is a star and a literal `?` that vanishes at the end.
        {"aaa", "a*", 0, false, "0-0 "}, {"baaa", "a+", 0, false, "1-4 aaa"}, {"b", "ba*", 0, false, "none"},
        {"bc", "ba*", 0, false, "0-1 b"}, {"abc", "c%d*", 0, false, "none"}, {"aaa", "a-", 0, false, "0-3 aaa"},
        {"aab", "a-b", 0, false, "none"}, {"a?b", "a-b", 0, false, "0-3 a?b"},
        {"3.14", "%d+%.?%d*", 0, false, "0-1 3"}, {"ab", "[%a]?b", 0, false, "0-2 ab"},
        // Classes other than a d s w and their capitals are their plain letter; escaped and magic bytes.
        {"lupcxbf1", "%l%u%p%c%x%b%f%1", 0, false, "0-8 lupcxbf1"}, {"_9", "%w%d", 0, false, "0-2 _9"},
        {"a_!", "%W", 0, false, "2-3 !"}, {"x1", "%A%D", 0, false, "none"}, {"1x", "%A%D", 0, false, "0-2 1x"},
        {"%[](-^$\\", "%%%[%]%(%-%^%$%\\", 0, false, "0-8 %[](-^$\\"}, {"5%", "%", 0, false, "1-2 %"},
        {"{}", "{}", 0, false, "0-2 {}"}, {"a|b\\c]", "a|b\\c]", 0, false, "0-6 a|b\\c]"},
        // Sets: classes inside, `^` a member past the first place, `%]` unescaped, unclosed sets literal.
        {"A_b", "[%a_]+", 0, false, "0-3 A_b"}, {"ab3", "[^%a]", 0, false, "2-3 3"},
        {"zAD", "[%A%D]", 0, false, "1-2 A"}, {"-^", "[x%W]", 0, false, "1-2 ^"}, {"b", "[x%W]", 0, false, "0-1 b"},
        {"a\tb", "[%S]+", 0, false, "0-3 a\tb"}, {"x y", "[%w%s]+", 0, false, "0-3 x y"}, {"_", "[%W]", 0, false, "none"},
        {"ab-", "[%.%%%-]", 0, false, "2-3 -"}, {"x*", "[(.*)]", 0, false, "1-2 *"}, {"[]", "[]", 0, false, "none"},
        {"]", "[%]]", 0, false, "none"}, {"q", "[^]", 0, false, "0-1 q"}, {"]a]", "[]a]", 0, false, "none"},
        {"z-a", "[z-a]", 0, false, "0-1 z"}, {"m", "[z-a]", 0, false, "0-1 m"}, {"a\\b", "[\\]", 0, false, "1-2 \\"},
        {"x[abc", "[abc", 0, false, "1-5 [abc"}, {"[a%", "[a%", 0, false, "0-3 [a%"}, {"[]", "[%]", 0, false, "0-2 []"},
        {"[5", "[%d", 0, false, "0-2 [5"},
    };
    for (const Case& c : cases)
    {
        PatternMatch match;
        match.captures = {"stale"};
        std::string outcome = "none";
        if (findPattern(c.subject, c.pattern, c.init, c.plain, match))
        {
            outcome = std::to_string(match.start) + "-" + std::to_string(match.end) + " " + match.text;
            // Captures do not exist: a search clears them, a plain search leaves them alone.
            EXPECT_EQ(match.captures.size(), c.plain ? 1u : 0u) << c.pattern;
        }
        EXPECT_EQ(outcome, c.expected) << '"' << c.subject << "\" ~ \"" << c.pattern << "\" from " << c.init;
    }
}

} // namespace
