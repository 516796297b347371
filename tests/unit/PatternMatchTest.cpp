// Lua pattern translation and findPattern: every translation rule, offsets, plain search, matcher quirks.
#include "stdlib/PatternMatch.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>

#include <string>

namespace
{

using velmar::lua::escapeRegexLiteralChar;
using velmar::lua::findPattern;
using velmar::lua::PatternMatch;
using velmar::lua::translateLuaPatternToRegex;

// "start-end text" of the match, or "none".
std::string firstMatch(std::string_view subject, std::string_view pattern, std::size_t init = 0, bool plain = false)
{
    PatternMatch match;
    if (!findPattern(subject, pattern, init, plain, match))
    {
        return "none";
    }
    EXPECT_TRUE(match.captures.empty());
    return std::to_string(match.start) + "-" + std::to_string(match.end) + " " + match.text;
}

TEST(PatternMatchTranslateTest, OperatorsPassThroughAndDashBecomesStarQuestion)
{
    EXPECT_EQ(translateLuaPatternToRegex("().*+?^$"), "().*+?^$");
    EXPECT_EQ(translateLuaPatternToRegex("-"), "*?");
    EXPECT_EQ(translateLuaPatternToRegex("a-b"), "a*?b");
    EXPECT_EQ(translateLuaPatternToRegex(""), "");
}

TEST(PatternMatchTranslateTest, PercentClassesOutsideASet)
{
    EXPECT_EQ(translateLuaPatternToRegex("%a"), "[A-Za-z]");
    EXPECT_EQ(translateLuaPatternToRegex("%A"), "[^A-Za-z]");
    EXPECT_EQ(translateLuaPatternToRegex("%d"), "[0-9]");
    EXPECT_EQ(translateLuaPatternToRegex("%D"), "[^0-9]");
    EXPECT_EQ(translateLuaPatternToRegex("%s"), "[\\f\\n\\r\\t\\v ]");
    EXPECT_EQ(translateLuaPatternToRegex("%S"), "[^\\f\\n\\r\\t\\v ]");
    EXPECT_EQ(translateLuaPatternToRegex("%w"), "[A-Za-z0-9_]");
    EXPECT_EQ(translateLuaPatternToRegex("%W"), "[^A-Za-z0-9_]");
    EXPECT_EQ(translateLuaPatternToRegex("%d+%.%d*"), "[0-9]+\\.[0-9]*");
    // Other classes are just their letter or digit; escaped specials keep a backslash.
    EXPECT_EQ(translateLuaPatternToRegex("%l%u%p%c%x%b%f%1"), "lupcxbf1");
    EXPECT_EQ(translateLuaPatternToRegex("%%%[%]%(%-%^%$%\\"), "%\\[\\]\\(-\\^\\$\\\\");
}

TEST(PatternMatchTranslateTest, TrailingPercentAndLiteralEscapes)
{
    EXPECT_EQ(translateLuaPatternToRegex("50%"), "50%");
    EXPECT_EQ(translateLuaPatternToRegex("%"), "%");
    EXPECT_EQ(translateLuaPatternToRegex("{}"), "\\{\\}");
    EXPECT_EQ(translateLuaPatternToRegex("a|b\\c]"), "a\\|b\\\\c\\]");
}

TEST(PatternMatchTranslateTest, SetsUseTheInnerTable)
{
    EXPECT_EQ(translateLuaPatternToRegex("[%a_]"), "[A-Za-z_]");
    EXPECT_EQ(translateLuaPatternToRegex("[^%d]"), "[^0-9]");
    EXPECT_EQ(translateLuaPatternToRegex("[%w%s]"), "[A-Za-z0-9_\\f\\n\\r\\t\\v ]");
    EXPECT_EQ(translateLuaPatternToRegex("[%A%D]"), "[AD]");
    EXPECT_EQ(translateLuaPatternToRegex("[%S]"), "[^\\f\\n\\r\\t\\v ]");
    EXPECT_EQ(translateLuaPatternToRegex("[%W]"), "[^A-Za-z0-9_]");
    EXPECT_EQ(translateLuaPatternToRegex("[x%W]"), "[x^A-Za-z0-9_]");
    EXPECT_EQ(translateLuaPatternToRegex("[%.%%%-]"), "[.%-]");
    EXPECT_EQ(translateLuaPatternToRegex("[a-z]+"), "[a-z]+");
    EXPECT_EQ(translateLuaPatternToRegex("[\\]"), "[\\\\]");
    EXPECT_EQ(translateLuaPatternToRegex("[(.*)]"), "[(.*)]");
    // `%]` does not close the set and comes out unescaped.
    EXPECT_EQ(translateLuaPatternToRegex("[%]]"), "[]]");
    EXPECT_EQ(translateLuaPatternToRegex("[]"), "[]");
    EXPECT_EQ(translateLuaPatternToRegex("[^]"), "[^]");
    EXPECT_EQ(translateLuaPatternToRegex("[]a]"), "[]a\\]");
}

TEST(PatternMatchTranslateTest, UnclosedSetBecomesALiteralBracket)
{
    EXPECT_EQ(translateLuaPatternToRegex("x["), "x\\[");
    EXPECT_EQ(translateLuaPatternToRegex("[abc"), "\\[abc");
    EXPECT_EQ(translateLuaPatternToRegex("[a%"), "\\[a%");
    EXPECT_EQ(translateLuaPatternToRegex("[%]"), "\\[\\]"); // the `%` hides the only `]`
    EXPECT_EQ(translateLuaPatternToRegex("[%d"), "\\[[0-9]");
}

TEST(PatternMatchTranslateTest, EscapeRegexLiteralChar)
{
    for (char c : std::string("$()*+.?[\\]^{|}"))
    {
        EXPECT_EQ(escapeRegexLiteralChar(c), std::string("\\") + c);
    }
    EXPECT_EQ(escapeRegexLiteralChar('a'), "a");
    EXPECT_EQ(escapeRegexLiteralChar('-'), "-");
    EXPECT_EQ(escapeRegexLiteralChar('%'), "%");
    EXPECT_EQ(escapeRegexLiteralChar('\0'), std::string(1, '\0'));
}

TEST(PatternMatchFindTest, OffsetsAndAnchoring)
{
    EXPECT_EQ(firstMatch("hello", "l"), "2-3 l");
    EXPECT_EQ(firstMatch("abc", ""), "0-0 ");
    EXPECT_EQ(firstMatch("abc", "", 3), "3-3 ");
    EXPECT_EQ(firstMatch("abc", "", 4), "none");
    EXPECT_EQ(firstMatch("abc", "a", 10), "none");
    EXPECT_EQ(firstMatch("abcabc", "b", 2), "4-5 b");
    EXPECT_EQ(firstMatch("ab", "^b"), "none");
    EXPECT_EQ(firstMatch("ab", "^b", 1), "1-2 b"); // `^` anchors at the start offset
    EXPECT_EQ(firstMatch("aab", "^a+", 1), "1-2 a");
    EXPECT_EQ(firstMatch("abc", "c$", 1), "2-3 c");
    EXPECT_EQ(firstMatch("x=1", "%d"), "2-3 1");
    EXPECT_EQ(firstMatch("a.b", "%."), "1-2 .");
    EXPECT_EQ(firstMatch("ab12", "[0-9]+$"), "2-4 12");
    EXPECT_EQ(firstMatch("a$b", "a$b"), "0-3 a$b");
    EXPECT_EQ(firstMatch("50%", "0%"), "1-3 0%");
    EXPECT_EQ(firstMatch("x[y", "x["), "0-2 x[");
    EXPECT_EQ(firstMatch("a{1}", "{1}"), "1-4 {1}");
}

TEST(PatternMatchFindTest, PlainSearch)
{
    EXPECT_EQ(firstMatch("a.b", ".", 0, true), "1-2 .");
    EXPECT_EQ(firstMatch("a+b", "+b", 0, true), "1-3 +b");
    EXPECT_EQ(firstMatch("a.b.", ".", 2, true), "3-4 .");
    EXPECT_EQ(firstMatch("a.b", "x", 0, true), "none");
    EXPECT_EQ(firstMatch("abc", "", 3, true), "3-3 ");
    EXPECT_EQ(firstMatch("abc", "", 4, true), "none");

    PatternMatch match;
    match.captures = {"kept"};
    ASSERT_TRUE(findPattern("abc", "bc", 0, true, match));
    EXPECT_EQ(match.captures, std::vector<std::string>{"kept"}); // plain search leaves captures alone
}

TEST(PatternMatchFindTest, ParenthesesAreLiteralAndCapturesStayEmpty)
{
    EXPECT_EQ(firstMatch("key=val", "(%w+)=(%w+)"), "none");
    EXPECT_EQ(firstMatch("x(abc)y", "(%a+)"), "1-6 (abc)");
    EXPECT_EQ(firstMatch("abc", "(%a+)"), "none");

    PatternMatch match;
    match.captures = {"stale"};
    ASSERT_TRUE(findPattern("f(x)", "(%a)", 0, false, match));
    EXPECT_TRUE(match.captures.empty());
}

TEST(PatternMatchFindTest, WhiteSpaceClassesHoldLettersNotControlCharacters)
{
    for (const char* member : {"f", "n", "r", "t", "v", " "})
    {
        EXPECT_EQ(firstMatch(member, "%s"), std::string("0-1 ") + member);
        EXPECT_EQ(firstMatch(member, "%S"), "none");
        EXPECT_EQ(firstMatch(member, "[%s]"), std::string("0-1 ") + member);
    }
    for (const char* control : {"\t", "\n", "\r", "\f", "\v"})
    {
        EXPECT_EQ(firstMatch(control, "%s"), "none");
        EXPECT_EQ(firstMatch(control, "%S"), std::string("0-1 ") + control);
    }
    EXPECT_EQ(firstMatch("\tn", "%s"), "1-2 n");
    EXPECT_EQ(firstMatch("a b", "%S+"), "0-1 a");
}

TEST(PatternMatchFindTest, RepetitionQuirks)
{
    EXPECT_EQ(firstMatch("aaa", "a*"), "0-0 ");
    EXPECT_EQ(firstMatch("baaa", "a+"), "1-4 aaa");
    EXPECT_EQ(firstMatch("b", "ba*"), "none");
    EXPECT_EQ(firstMatch("bc", "ba*"), "0-1 b");
    EXPECT_EQ(firstMatch("abc", "x*"), "0-0 ");
    EXPECT_EQ(firstMatch("abc", "c%d*"), "none"); // the quantified class is reached at the end of the text
    // `-` becomes a star followed by a literal `?` that only vanishes at the end of the text.
    EXPECT_EQ(firstMatch("aaa", "a-"), "0-3 aaa");
    EXPECT_EQ(firstMatch("aab", "a-b"), "none");
    EXPECT_EQ(firstMatch("a?b", "a-b"), "0-3 a?b");
    EXPECT_EQ(firstMatch("3.14", "%d+%.?%d*"), "0-1 3"); // the optional dot prefers zero
    EXPECT_EQ(firstMatch("ab", "[%a]?b"), "0-2 ab");
}

TEST(PatternMatchFindTest, SetCorners)
{
    EXPECT_EQ(firstMatch("A_b", "[%a_]+"), "0-3 A_b");
    EXPECT_EQ(firstMatch("ab3", "[^%a]"), "2-3 3");
    EXPECT_EQ(firstMatch("zAD", "[%A%D]"), "1-2 A"); // plain letters inside a set
    EXPECT_EQ(firstMatch("-^", "[x%W]"), "1-2 ^");   // a `^` past the first place is a member
    EXPECT_EQ(firstMatch("a\tb", "[%S]+"), "0-3 a\tb");
    EXPECT_EQ(firstMatch("[]", "[]"), "none"); // the empty set never matches
    EXPECT_EQ(firstMatch("z-a", "[z-a]"), "0-1 z");
    EXPECT_EQ(firstMatch("m", "[z-a]"), "0-1 m"); // reversed ranges count as ordered
    EXPECT_EQ(firstMatch("a\\b", "[\\]"), "1-2 \\");
}

TEST(PatternMatchFindTest, DeepPatternsFailWithStackOverflow)
{
    std::string deep;
    for (int i = 0; i < 1'000'000; ++i)
    {
        deep += "a?";
    }
    std::string message;
    try
    {
        firstMatch("aaaa", deep);
    }
    catch (const zq::runtime_error& error)
    {
        message = error.what();
    }
    EXPECT_EQ(message, "stack overflow");
    EXPECT_EQ(firstMatch("aaaa", "a?a?a?a?a?a?a?a?"), "0-0 ");
}

} // namespace
