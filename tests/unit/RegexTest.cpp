// The regex matcher: character and class tests, the backtracking core's quirks, searches, the iterator, stack guard.
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

// "at:len" of the first match, or "none"; positions count from the start of `text`.
std::string searchOutcome(std::string_view text, const regex& re)
{
    zq::match_results results;
    if (!zq::regex_search(text, results, re))
    {
        return results.empty() ? "none" : "none with entries";
    }
    return std::to_string(results.position(0)) + ":" + std::to_string(results.length(0));
}

std::string search(std::string_view text, std::string pattern, unsigned flags = 0)
{
    return searchOutcome(text, regex(std::move(pattern), flags));
}

bool contains(std::string_view cls, char c, unsigned flags = 0)
{
    const std::size_t close = zq::regex_class_end(cls, 0);
    EXPECT_NE(close, zq::regex_npos) << cls;
    return zq::regex_class_contains(cls, 0, close, c, flags);
}

// Every match of the iterator as "at:len", with positions from the start of `text`.
std::vector<std::string> allMatches(std::string_view text, const regex& re)
{
    std::vector<std::string> found;
    const char* first = text.data();
    for (zq::sregex_iterator it(first, first + text.size(), re), end; it != end; ++it)
    {
        found.push_back(std::to_string((*it)[0].first - first) + ":" + std::to_string(it->length(0)));
        if (found.size() > 100)
        {
            break; // a runaway iterator fails the comparison instead of hanging the suite
        }
    }
    return found;
}

std::string repeat(std::string_view piece, std::size_t times)
{
    std::string out;
    out.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
    {
        out += piece;
    }
    return out;
}

// Runs `body` on a fresh thread whose whole stack is `stackBytes`, passing any exception back.
void runOnThreadWithStack(std::size_t stackBytes, const std::function<void()>& body)
{
    struct Task
    {
        const std::function<void()>* body;
        std::exception_ptr error;
    } task{&body, nullptr};
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackBytes), 0);
    pthread_t thread;
    const int created = pthread_create(
        &thread, &attributes,
        [](void* raw) -> void*
        {
            Task* running = static_cast<Task*>(raw);
            try
            {
                (*running->body)();
            }
            catch (...)
            {
                running->error = std::current_exception();
            }
            return nullptr;
        },
        &task);
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(created, 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    if (task.error)
    {
        std::rethrow_exception(task.error);
    }
}

// "at:len", "none", or "error: <message>" for a search that throws the library's error.
std::string guardedSearch(const std::string& text, const std::string& pattern)
{
    try
    {
        return search(text, pattern);
    }
    catch (const zq::runtime_error& error)
    {
        return std::string("error: ") + error.what();
    }
}

TEST(RegexCharTest, CaseFlagFoldsOnlyAsciiLetters)
{
    EXPECT_TRUE(zq::regex_char_equal('a', 'a', 0));
    EXPECT_FALSE(zq::regex_char_equal('a', 'A', 0));
    EXPECT_TRUE(zq::regex_char_equal('a', 'A', regex::icase));
    EXPECT_TRUE(zq::regex_char_equal('Z', 'z', regex::icase));
    // Neighbours of the letter ranges differ by the same bit but are not letters.
    EXPECT_FALSE(zq::regex_char_equal('[', '{', regex::icase));
    EXPECT_FALSE(zq::regex_char_equal('@', '`', regex::icase));
    EXPECT_FALSE(zq::regex_char_equal('\xC9', '\xE9', regex::icase));
}

TEST(RegexClassTest, EndSkipsEscapesAndNeverTakesAFirstBracketAsMember)
{
    EXPECT_EQ(zq::regex_class_end("[abc]", 0), 4u);
    EXPECT_EQ(zq::regex_class_end("[]", 0), 1u);
    EXPECT_EQ(zq::regex_class_end("[]a]", 0), 1u);
    EXPECT_EQ(zq::regex_class_end("[\\]]", 0), 3u);
    EXPECT_EQ(zq::regex_class_end("x[a]", 1), 3u);
    EXPECT_EQ(zq::regex_class_end("[abc", 0), zq::regex_npos);
    EXPECT_EQ(zq::regex_class_end("[a\\]", 0), zq::regex_npos);
}

TEST(RegexClassTest, MembersRangesAndNegation)
{
    EXPECT_TRUE(contains("[a-c]", 'b'));
    EXPECT_FALSE(contains("[a-c]", 'd'));
    EXPECT_FALSE(contains("[^a-c]", 'b'));
    EXPECT_TRUE(contains("[^a-c]", 'd'));
    EXPECT_TRUE(contains("[xa-c]", 'x'));
    EXPECT_TRUE(contains("[a^]", '^')); // `^` negates only in first place
    EXPECT_FALSE(contains("[]", 'a'));
    EXPECT_TRUE(contains("[^]", 'a'));
    EXPECT_TRUE(contains("[a-]", '-')); // a trailing dash is a member, not a range
    EXPECT_FALSE(contains("[a-]", 'b'));
    EXPECT_TRUE(contains("[-a]", '-'));
    EXPECT_TRUE(contains("[\x80-\xff]", '\xC3')); // high bytes compare unsigned
    EXPECT_FALSE(contains("[\x80-\xff]", 'a'));
}

TEST(RegexClassTest, ReversedRangesMatchAsIfOrdered)
{
    EXPECT_TRUE(contains("[c-a]", 'b'));
    EXPECT_TRUE(contains("[c-a]", 'a'));
    EXPECT_TRUE(contains("[c-a]", 'c'));
    EXPECT_FALSE(contains("[c-a]", 'd'));
    EXPECT_FALSE(contains("[^9-0]", '5'));
}

TEST(RegexClassTest, BackslashTakesTheNextCharacterLiterally)
{
    EXPECT_TRUE(contains("[\\n]", 'n'));
    EXPECT_FALSE(contains("[\\n]", '\n'));
    EXPECT_TRUE(contains("[\\]]", ']'));
    EXPECT_TRUE(contains("[\\\\]", '\\'));
    EXPECT_TRUE(contains("[\\^a]", '^'));
    EXPECT_FALSE(contains("[\\^a]", 'b'));   // an escaped `^` does not negate
    EXPECT_TRUE(contains("[\\!-\\#]", '"')); // both range ends escaped
    EXPECT_FALSE(contains("[\\!-\\#]", '$'));
    EXPECT_TRUE(contains("[\\--/]", '.')); // escaped dash as a range start
}

TEST(RegexClassTest, CaseFlagFoldsRangeEndsAndTestedCharacter)
{
    EXPECT_FALSE(contains("[A-C]", 'b'));
    EXPECT_TRUE(contains("[A-C]", 'b', regex::icase));
    EXPECT_TRUE(contains("[a-c]", 'B', regex::icase));
    EXPECT_TRUE(contains("[^a-c]", 'D', regex::icase));
    EXPECT_FALSE(contains("[^a-c]", 'B', regex::icase));
    // `[Z-a]` spans the punctuation between the cases; folded it becomes `[z-a]`, i.e. the lower letters.
    EXPECT_TRUE(contains("[Z-a]", '['));
    EXPECT_FALSE(contains("[Z-a]", '[', regex::icase));
    EXPECT_TRUE(contains("[Z-a]", 'M', regex::icase));
}

TEST(RegexAtomTest, EachAtomKindReportsWhereItEnds)
{
    std::size_t next = 0;
    EXPECT_TRUE(zq::regex_atom_matches("\\.x", 0, '.', 0, next));
    EXPECT_EQ(next, 2u);
    EXPECT_FALSE(zq::regex_atom_matches("\\.x", 0, 'a', 0, next));
    EXPECT_EQ(next, 2u);
    EXPECT_TRUE(zq::regex_atom_matches("a\\", 1, '\\', 0, next)); // trailing backslash is itself
    EXPECT_EQ(next, 2u);
    EXPECT_FALSE(zq::regex_atom_matches("a\\", 1, 'a', 0, next));
    EXPECT_TRUE(zq::regex_atom_matches("[ab]c", 0, 'b', 0, next));
    EXPECT_EQ(next, 4u);
    EXPECT_TRUE(zq::regex_atom_matches("[ab", 0, '[', 0, next)); // unclosed bracket is ordinary
    EXPECT_EQ(next, 1u);
    EXPECT_TRUE(zq::regex_atom_matches(".", 0, '\n', 0, next));
    EXPECT_EQ(next, 1u);
    EXPECT_TRUE(zq::regex_atom_matches("(", 0, '(', 0, next));
    EXPECT_TRUE(zq::regex_atom_matches("A", 0, 'a', regex::icase, next));
    EXPECT_TRUE(zq::regex_atom_matches("\\A", 0, 'a', regex::icase, next));
}

TEST(RegexMatchHereTest, QuantifiedAtomCannotMatchEmptyOnceTextIsUsedUp)
{
    std::size_t end = 99;
    EXPECT_FALSE(zq::regex_match_here("a*", 0, "", 0, 0, end));
    EXPECT_FALSE(zq::regex_match_here("ba*", 0, "b", 0, 0, end));
    EXPECT_TRUE(zq::regex_match_here("ba*", 0, "bc", 0, 0, end));
    EXPECT_EQ(end, 1u);
    EXPECT_TRUE(zq::regex_match_here("a*", 0, "xa", 1, 0, end));
    EXPECT_EQ(end, 1u); // zero occurrences first, even with an `a` present
    EXPECT_TRUE(zq::regex_match_here("", 0, "", 0, 0, end));
    EXPECT_EQ(end, 0u);
}

TEST(RegexMatchHereTest, StarThenQuestionMarkReadsTheQuestionMarkAsALiteral)
{
    std::size_t end = 0;
    // At the end of the text `?` sits where the atom is looked up, so it acts as a quantifier there.
    EXPECT_TRUE(zq::regex_match_here("a*?", 0, "aaa", 0, 0, end));
    EXPECT_EQ(end, 3u);
    EXPECT_FALSE(zq::regex_match_here("a*?b", 0, "aab", 0, 0, end));
    EXPECT_TRUE(zq::regex_match_here("a*?b", 0, "a?b", 0, 0, end));
    EXPECT_EQ(end, 3u);
    EXPECT_TRUE(zq::regex_match_here("x??", 0, "x", 0, 0, end)); // the literal `?` turns quantifier at the end
    EXPECT_EQ(end, 1u);
}

TEST(RegexMatchHereTest, PlusTakesTheLongestRunThatLetsTheRestMatch)
{
    std::size_t end = 0;
    EXPECT_TRUE(zq::regex_match_here("a+", 0, "aaab", 0, 0, end));
    EXPECT_EQ(end, 3u);
    EXPECT_TRUE(zq::regex_match_here("a+ab", 0, "aaab", 0, 0, end));
    EXPECT_EQ(end, 4u);
    EXPECT_FALSE(zq::regex_match_here("a+", 0, "b", 0, 0, end));
    EXPECT_TRUE(zq::regex_match_here("a?b", 0, "ab", 0, 0, end));
    EXPECT_EQ(end, 2u);
    EXPECT_FALSE(zq::regex_match_here("a?b", 0, "aab", 0, 0, end)); // `?` runs one character only
}

TEST(RegexMatchHereTest, DollarIsSpecialOnlyAsTheLastCharacter)
{
    std::size_t end = 0;
    EXPECT_TRUE(zq::regex_match_here("a$", 0, "a", 0, 0, end));
    EXPECT_FALSE(zq::regex_match_here("a$", 0, "ab", 0, 0, end));
    EXPECT_TRUE(zq::regex_match_here("a$b", 0, "a$b", 0, 0, end));
    EXPECT_EQ(end, 3u);
    EXPECT_TRUE(zq::regex_match_here("$$", 0, "$", 0, 0, end));
}

TEST(RegexSearchTest, ResultsOfTheMatchingRules)
{
    EXPECT_EQ(search("aaa", "a*"), "0:0");
    EXPECT_EQ(search("baaa", "a+"), "1:3");
    EXPECT_EQ(search("b", "ba*"), "none");
    EXPECT_EQ(search("bc", "ba*"), "0:1");
    EXPECT_EQ(search("aab", "ba*"), "none");
    EXPECT_EQ(search("ab12", "[0-9]+$"), "2:2");
    EXPECT_EQ(search("ab", "^b"), "none");
    EXPECT_EQ(search("ab", "^a"), "0:1");
    EXPECT_EQ(search("a$b", "a$b"), "0:3");
    EXPECT_EQ(search("x$a", "$a"), "1:2");
    EXPECT_EQ(search("abc", ""), "0:0");
    EXPECT_EQ(search("", ""), "0:0");
    EXPECT_EQ(search("abc", "$"), "3:0");
    EXPECT_EQ(search("", "^$"), "0:0");
    EXPECT_EQ(search("", "x*"), "none");
    EXPECT_EQ(search("abc", "x*"), "0:0");
    EXPECT_EQ(search("x(ab)y", "([a-z]+)"), "1:4"); // parentheses are literal
    EXPECT_EQ(search("ab", "([a-z]+)"), "none");
    EXPECT_EQ(search("a.b", "\\."), "1:1");
    EXPECT_EQ(search(std::string_view("a\0b", 3), "b"), "2:1");
    EXPECT_EQ(search(std::string_view("a\0b", 3), std::string(1, '\0')), "1:1");
}

TEST(RegexSearchTest, CaseInsensitiveSearch)
{
    EXPECT_EQ(search("say HELLO", "hello", regex::icase), "4:5");
    EXPECT_EQ(search("say HELLO", "hello"), "none");
    EXPECT_EQ(search("xH", "h", regex::icase), "1:1");
    EXPECT_EQ(search("x7", "[A-Z0-9]", regex::icase), "0:1");
}

TEST(RegexSearchTest, RangeFormTreatsItsFirstPositionAsTheStart)
{
    const std::string text = "abab";
    zq::match_results results;
    ASSERT_TRUE(zq::regex_search(text.data() + 2, text.data() + 4, results, regex("^ab")));
    EXPECT_EQ(results[0].first, text.data() + 2);
    EXPECT_EQ(results.position(0), 0u);
    EXPECT_EQ(results.str(0), "ab");
    EXPECT_FALSE(zq::regex_search(text.data() + 1, text.data() + 4, results, regex("^ab")));
    EXPECT_FALSE(zq::regex_search(text.data(), text.data() + 3, results, regex("b$"))); // `$` is the range end
    ASSERT_TRUE(zq::regex_search(text.data(), text.data() + 3, results, regex("a$")));
    EXPECT_EQ(results.position(0), 2u);
    EXPECT_FALSE(zq::regex_search(text.data() + 2, text.data(), results, regex(""))); // reversed range
    EXPECT_TRUE(results.empty());
}

TEST(RegexSearchTest, ResultsHoldOneEntryAndAreClearedOnFailure)
{
    const std::string text = "xxabcyy";
    zq::match_results results;
    ASSERT_TRUE(zq::regex_search(text, results, regex("abc")));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(results[0].matched);
    EXPECT_EQ(results.str(0), "abc");
    EXPECT_EQ(results.prefix().str(), "xx");
    EXPECT_EQ(results.suffix().str(), "yy");
    EXPECT_FALSE(results[1].matched);
    EXPECT_EQ(results.str(1), "");
    const zq::sub_match* entry = &results[0];
    ASSERT_TRUE(zq::regex_search(text, results, regex("y+")));
    EXPECT_EQ(&results[0], entry); // the entry storage is reused, not reallocated
    EXPECT_EQ(results.str(0), "yy");
    EXPECT_FALSE(zq::regex_search(text, results, regex("q")));
    EXPECT_EQ(results.size(), 0u);
    EXPECT_FALSE(results[0].matched);
}

TEST(RegexIteratorTest, EmptyMatchesAdvanceOneByteAndStopAtTheEnd)
{
    EXPECT_EQ(allMatches("abc", regex("x*")), (std::vector<std::string>{"0:0", "1:0", "2:0"}));
    EXPECT_EQ(allMatches("aabaa", regex("a+")), (std::vector<std::string>{"0:2", "3:2"}));
    EXPECT_EQ(allMatches("baab", regex("a*")), (std::vector<std::string>{"0:0", "1:0", "2:0", "3:0"}));
    EXPECT_EQ(allMatches("", regex("x*")), std::vector<std::string>{});
    // Patterns that can match empty at the very end yield that match once and stop.
    EXPECT_EQ(allMatches("ab", regex("")), (std::vector<std::string>{"0:0", "1:0", "2:0"}));
    EXPECT_EQ(allMatches("ab", regex("$")), (std::vector<std::string>{"2:0"}));
    EXPECT_EQ(allMatches("ab", regex("b$")), std::vector<std::string>{"1:1"});
}

TEST(RegexIteratorTest, CaretAnchorsEveryStep)
{
    EXPECT_EQ(allMatches("aaab", regex("^a")), (std::vector<std::string>{"0:1", "1:1", "2:1"}));
    EXPECT_EQ(allMatches("abab", regex("^ab")), (std::vector<std::string>{"0:2", "2:2"}));
    EXPECT_EQ(allMatches("ba", regex("^a")), std::vector<std::string>{});
}

TEST(RegexIteratorTest, Equality)
{
    const std::string text = "aXaXa";
    const regex re("a");
    const regex sameText("a");
    const zq::sregex_iterator end;
    EXPECT_TRUE(end == zq::sregex_iterator());
    zq::sregex_iterator one(text.data(), text.data() + text.size(), re);
    zq::sregex_iterator two(text.data(), text.data() + text.size(), re);
    EXPECT_TRUE(one == two);
    EXPECT_FALSE(one == end);
    EXPECT_FALSE(one == zq::sregex_iterator(text.data(), text.data() + text.size(), sameText)); // regex by identity
    zq::sregex_iterator before = two++;
    EXPECT_TRUE(before == one);
    EXPECT_TRUE(one != two);
    ++one;
    EXPECT_TRUE(one == two);
    EXPECT_EQ(one->position(0), 1u); // each step searches from the previous match end
    ++one;
    ++one;
    EXPECT_TRUE(one == end);
    ++one; // stepping the end iterator is harmless
    EXPECT_TRUE(one == end);
    EXPECT_TRUE(zq::sregex_iterator(text.data() + 1, text.data(), re) == end); // start past the end
}

TEST(RegexStackGuardTest, DeepBacktrackingFailsCleanlyOnTheMainThread)
{
    // Each `a*` first tries zero occurrences by recursing into the rest, so the depth follows the pattern.
    const std::string deep = repeat("a*", 1'000'000);
    EXPECT_EQ(guardedSearch("aaaa", deep), "error: stack overflow");
    EXPECT_EQ(guardedSearch("aaaa", deep + "b"), "error: stack overflow");
    // The thread is fully usable afterwards, and a pattern that fits still matches.
    EXPECT_EQ(guardedSearch("aab", repeat("a*", 2000) + "b"), "0:3");
}

TEST(RegexStackGuardTest, DeepBacktrackingFailsCleanlyOnASmallThreadStack)
{
    const std::string deep = repeat("a*", 1'000'000);
    const std::string fits = repeat("a*", 1000) + "b";
    std::vector<std::string> outcomes;
    runOnThreadWithStack(std::size_t{1} << 20,
                         [&]
                         {
                             outcomes.push_back(guardedSearch("aaaa", deep));
                             outcomes.push_back(guardedSearch("aab", fits));
                             outcomes.push_back(guardedSearch("aaaa", repeat("a?", 200'000)));
                         });
    EXPECT_EQ(outcomes, (std::vector<std::string>{"error: stack overflow", "0:3", "error: stack overflow"}));
}

TEST(RegexStackGuardTest, IteratorSearchesAreGuardedToo)
{
    const std::string text = "aaaa";
    const regex re(repeat("a*", 1'000'000));
    std::string message;
    try
    {
        zq::sregex_iterator it(text.data(), text.data() + text.size(), re);
    }
    catch (const zq::runtime_error& error)
    {
        message = error.what();
    }
    EXPECT_EQ(message, "stack overflow");
}

// ---- Work budget ----

// Records what a search spends; throws once a cap is passed, as a step limit does.
class RecordingBudget final : public zq::regex_budget
{
public:
    explicit RecordingBudget(std::uint64_t cap = ~0ULL) : cap_(cap) {}
    std::uint64_t steps = 0;

private:
    void spend(std::uint64_t count) override
    {
        steps += count;
        if (steps > cap_)
        {
            throw std::runtime_error("spent");
        }
    }
    std::uint64_t cap_;
};

TEST(RegexBudgetTest, SearchesReportTheirWork)
{
    zq::match_results results;
    // 5,000 bytes skipped looking for `b`, one attempt at the end: 5,001 units, four full steps.
    const std::string text(5000, 'a');
    RecordingBudget skipped;
    EXPECT_FALSE(zq::regex_search(text, results, regex("b"), &skipped));
    EXPECT_EQ(skipped.steps, 4u);
    // The remainder carries over: a second search through the same budget completes a fifth step.
    EXPECT_FALSE(zq::regex_search(text, results, regex("b"), &skipped));
    EXPECT_EQ(skipped.steps, 9u);
    // Short searches spend nothing, and a budget never changes what is found.
    RecordingBudget small;
    EXPECT_TRUE(zq::regex_search("hello world", results, regex("o w"), &small));
    EXPECT_EQ(results.position(0), 4u);
    EXPECT_EQ(small.steps, 0u);
}

TEST(RegexBudgetTest, ASpendThatThrowsAbandonsAQuadraticSearch)
{
    const std::string text = std::string(200000, 'a') + "'b";
    zq::match_results results;
    RecordingBudget capped(1000);
    EXPECT_THROW(zq::regex_search(text, results, regex("a*b"), &capped), std::runtime_error);
    // Stopped at the first report past the cap (one start position reports at most twice the subject),
    // not after the 200,000 starts that the whole search would try.
    EXPECT_GT(capped.steps, 1000u);
    EXPECT_LE(capped.steps, 1000u + 2 * 16 * text.size() / zq::regex_budget::units_per_step + 1);
    RecordingBudget iterated(10);
    const regex re("a*b");
    EXPECT_THROW(zq::sregex_iterator(text.data(), text.data() + text.size(), re, &iterated), std::runtime_error);
}

} // namespace
