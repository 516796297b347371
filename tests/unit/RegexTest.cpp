// The regex matcher under the pattern functions: its matching rules and quirks as one table of searches,
// the result object, and the stack guard on a small thread (the work it reports shows through gmatch and
// gsub in the budget tests, the iterator's steps in tests/scripts/string).
#include "support/Regex.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using zq::regex;

// "at:len" of the first match, "none", or "error: <message>" for a search that throws the library's error.
std::string firstMatch(std::string_view text, std::string pattern, unsigned flags = 0)
{
    try
    {
        zq::match_results results;
        if (!zq::regex_search(text, results, regex(std::move(pattern), flags)))
        {
            return results.empty() ? "none" : "none with entries";
        }
        return std::to_string(results.position(0)) + ":" + std::to_string(results.length(0));
    }
    catch (const zq::runtime_error& error)
    {
        return std::string("error: ") + error.what();
    }
}

std::string repeat(std::string_view piece, std::size_t times)
{
    std::string out;
    for (std::size_t i = 0; i < times; ++i)
    {
        out += piece;
    }
    return out;
}

TEST(RegexSearchTest, MatchingRules)
{
    constexpr unsigned I = regex::icase;
    struct Case
    {
        std::string text;
        std::string pattern;
        unsigned flags;
        const char* expected;
    };
    const Case cases[] = {
        // Case folding touches ASCII letters only, never their neighbours or high bytes.
        {"A", "a", 0, "none"}, {"Z", "z", I, "0:1"}, {"{", "\\[", I, "none"}, {"`", "@", I, "none"},
        {"\xE9", "\xC9", I, "none"}, {"say HELLO", "hello", I, "4:5"}, {"x7", "[A-Z0-9]", I, "0:1"},
        // Classes: ranges, negation, `^` only first, trailing or leading dash, unsigned high bytes.
        {"b", "[a-c]", 0, "0:1"}, {"d", "[a-c]", 0, "none"}, {"b", "[^a-c]", 0, "none"}, {"d", "[^a-c]", 0, "0:1"},
        {"x", "[xa-c]", 0, "0:1"}, {"^", "[a^]", 0, "0:1"}, {"a", "[]", 0, "none"}, {"a", "[^]", 0, "0:1"},
        {"-", "[a-]", 0, "0:1"}, {"b", "[a-]", 0, "none"}, {"-", "[-a]", 0, "0:1"},
        {"\xC3", "[\x80-\xff]", 0, "0:1"}, {"a", "[\x80-\xff]", 0, "none"},
        // Reversed ranges match as if ordered.
        {"b", "[c-a]", 0, "0:1"}, {"c", "[c-a]", 0, "0:1"}, {"d", "[c-a]", 0, "none"}, {"5", "[^9-0]", 0, "none"},
        // A backslash in a class takes the next byte literally, range ends included.
        {"n", "[\\n]", 0, "0:1"}, {"\n", "[\\n]", 0, "none"}, {"]", "[\\]]", 0, "0:1"}, {"\\", "[\\\\]", 0, "0:1"},
        {"^", "[\\^a]", 0, "0:1"}, {"b", "[\\^a]", 0, "none"}, {"\"", "[\\!-\\#]", 0, "0:1"},
        {"$", "[\\!-\\#]", 0, "none"}, {".", "[\\--/]", 0, "0:1"}, {"[a]", "[a\\]", 0, "0:3"},
        // The case flag folds the range ends and the byte tested; `[Z-a]` folded is `[z-a]`.
        {"b", "[A-C]", 0, "none"}, {"b", "[A-C]", I, "0:1"}, {"B", "[a-c]", I, "0:1"}, {"D", "[^a-c]", I, "0:1"},
        {"B", "[^a-c]", I, "none"}, {"[", "[Z-a]", 0, "0:1"}, {"[", "[Z-a]", I, "none"}, {"M", "[Z-a]", I, "0:1"},
        // Atoms: escapes, a trailing backslash, an unclosed bracket, a dot matching a line feed.
        {"a.b", "\\.", 0, "1:1"}, {"a\\", "a\\", 0, "0:2"}, {"[ab", "[ab", 0, "0:3"}, {"\n", ".", 0, "0:1"},
        {"a", "\\A", I, "0:1"}, {"x(ab)y", "([a-z]+)", 0, "1:4"}, {"ab", "([a-z]+)", 0, "none"},
        // Quantifiers: zero occurrences first, never empty at the very end, `+` backs off, `?` once.
        {"aaa", "a*", 0, "0:0"}, {"baaa", "a+", 0, "1:3"}, {"b", "ba*", 0, "none"}, {"bc", "ba*", 0, "0:1"},
        {"", "x*", 0, "none"}, {"abc", "x*", 0, "0:0"}, {"aaab", "a+ab", 0, "0:4"}, {"ab", "a?b", 0, "0:2"},
        {"aab", "a?b", 0, "1:2"}, {"aab", "^a?b", 0, "none"},
        // `?` after `*` is a literal, except at the end of the text, where it quantifies.
        {"aaa", "a*?", 0, "0:3"}, {"aab", "^a*?b", 0, "none"}, {"a?b", "a*?b", 0, "0:3"}, {"x", "x??", 0, "0:1"},
        // Anchors: `^` first, `$` only as the last byte.
        {"ab12", "[0-9]+$", 0, "2:2"}, {"ab", "^b", 0, "none"}, {"ab", "^a", 0, "0:1"}, {"a$b", "a$b", 0, "0:3"},
        {"x$a", "$a", 0, "1:2"}, {"$", "$$", 0, "0:1"}, {"abc", "$", 0, "3:0"}, {"", "^$", 0, "0:0"},
        {"abc", "", 0, "0:0"}, {"", "", 0, "0:0"},
        // Zero bytes are ordinary in text and pattern.
        {std::string("a\0b", 3), "b", 0, "2:1"}, {std::string("a\0b", 3), std::string(1, '\0'), 0, "1:1"},
    };
    for (const Case& c : cases)
    {
        EXPECT_EQ(firstMatch(c.text, c.pattern, c.flags), c.expected) << '"' << c.text << "\" ~ \"" << c.pattern << '"';
    }
}

TEST(RegexSearchTest, RangeFormAndResults)
{
    const std::string text = "abab";
    zq::match_results results;
    ASSERT_TRUE(zq::regex_search(text.data() + 2, text.data() + 4, results, regex("^ab")));
    EXPECT_EQ(results[0].first, text.data() + 2); // the range's first position is the start
    EXPECT_EQ(results.position(0), 0u);
    EXPECT_FALSE(zq::regex_search(text.data() + 1, text.data() + 4, results, regex("^ab")));
    EXPECT_FALSE(zq::regex_search(text.data(), text.data() + 3, results, regex("b$"))); // `$` is the range end
    ASSERT_TRUE(zq::regex_search(text.data(), text.data() + 3, results, regex("a$")));
    EXPECT_EQ(results.position(0), 2u);
    EXPECT_FALSE(zq::regex_search(text.data() + 2, text.data(), results, regex(""))); // reversed range
    EXPECT_TRUE(results.empty());

    const std::string other = "xxabcyy";
    ASSERT_TRUE(zq::regex_search(other, results, regex("abc")));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results.prefix().str(), "xx");
    EXPECT_EQ(results.suffix().str(), "yy");
    EXPECT_FALSE(results[1].matched);
    EXPECT_EQ(results.str(1), "");
    const zq::sub_match* entry = &results[0];
    ASSERT_TRUE(zq::regex_search(other, results, regex("y+")));
    EXPECT_EQ(&results[0], entry); // the entry storage is reused, not reallocated
    EXPECT_EQ(results.str(0), "yy");
    EXPECT_FALSE(zq::regex_search(other, results, regex("q")));
    EXPECT_FALSE(results[0].matched);
}

// Each `a*` first tries zero occurrences by recursing into the rest, so the depth follows the pattern;
// the guard measures real stack use, so it holds on a 1 MiB thread as on the main thread.
TEST(RegexStackGuardTest, DeepBacktrackingFailsCleanlyOnAnyStack)
{
    const std::string deep = repeat("a*", 1'000'000);
    EXPECT_EQ(firstMatch("aaaa", deep + "b"), "error: stack overflow");
    EXPECT_EQ(firstMatch("aab", repeat("a*", 2000) + "b"), "0:3");
    std::vector<std::string> outcomes;
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{1} << 20), 0);
    std::function<void()> body = [&]
    {
        outcomes.push_back(firstMatch("aaaa", deep));
        outcomes.push_back(firstMatch("aab", repeat("a*", 1000) + "b"));
        outcomes.push_back(firstMatch("aaaa", repeat("a?", 200'000)));
        const regex re(deep);
        try
        {
            zq::sregex_iterator it(deep.data(), deep.data() + 4, re);
            outcomes.push_back("iterator unguarded");
        }
        catch (const zq::runtime_error& error)
        {
            outcomes.push_back(std::string("iterator: ") + error.what());
        }
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, &attributes, [](void* raw) -> void* { (*static_cast<std::function<void()>*>(raw))(); return nullptr; },
                  &body),
              0);
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(outcomes, (std::vector<std::string>{"error: stack overflow", "0:3", "error: stack overflow",
                                                  "iterator: stack overflow"}));
}

} // namespace
