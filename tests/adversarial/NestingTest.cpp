// Hostile source text: nesting far past any real program, enormous lines and expressions, stray bytes.
#include "Adversarial.hpp"

namespace
{

using namespace adversarial;
using namespace std::string_literals;

constexpr std::size_t kDeep = 100000;

const char* const kNestingTooDeep = R"(main\.lua:\d+:\d+: nesting too deep)";

struct NestedSource
{
    const char* shape;
    std::string source;
};

std::vector<NestedSource> deeplyNestedSources()
{
    return {
        {"parentheses", "return " + std::string(kDeep, '(') + "1" + std::string(kDeep, ')')},
        {"table constructors", "x = " + std::string(kDeep, '{') + std::string(kDeep, '}')},
        {"keyed table constructors", "x = " + repeat("{a = ", kDeep) + "1" + std::string(kDeep, '}')},
        {"if blocks", repeat("if true then ", kDeep) + repeat("end ", kDeep)},
        {"while blocks", repeat("while false do ", kDeep) + repeat("end ", kDeep)},
        {"function literals", "f = " + repeat("function() return ", kDeep) + "1" + repeat(" end", kDeep)},
        {"unary minus", "return " + repeat("- ", kDeep) + "1"},
        {"not", "return " + repeat("not ", kDeep) + "true"},
        {"calls", "return " + repeat("f(", kDeep) + std::string(kDeep, ')')},
        {"index brackets", "return " + repeat("t[", kDeep) + "1" + std::string(kDeep, ']')},
        // `..` is right-associative, so a long chain nests to the right.
        {"concatenation chain", "x = " + repeat("'a' .. ", kDeep) + "'a'"},
        // Unclosed nesting must be reported as too deep before running off the end.
        {"unclosed parentheses", "return " + std::string(kDeep, '(')},
        {"unclosed blocks", repeat("while true do ", kDeep)},
    };
}

// On the main thread and on a small host thread; the VM stays usable after each.
TEST(NestingTest, DeepSyntaxFailsWithNestingTooDeepOnAnyStack)
{
    const std::vector<NestedSource> sources = deeplyNestedSources();
    std::vector<LuaResult> small(sources.size());
    runOnThread(kSmallHostStack, [&] {
        LuaVM vm;
        for (std::size_t i = 0; i < sources.size(); ++i)
        {
            small[i] = run(vm, sources[i].source);
        }
    });
    LuaVM vm;
    for (std::size_t i = 0; i < sources.size(); ++i)
    {
        SCOPED_TRACE(sources[i].shape);
        EXPECT_TRUE(failsWith(small[i], kNestingTooDeep));
        EXPECT_TRUE(failsWith(run(vm, sources[i].source), kNestingTooDeep));
        EXPECT_EQ(describe(run(vm, "return 6 * 7")), "=42");
    }
}

TEST(NestingTest, CompileScriptThrowsNestingTooDeep)
{
    LuaVM vm;
    try
    {
        vm.compileScript("return " + std::string(kDeep, '{') + std::string(kDeep, '}'), "deep.lua");
        FAIL() << "compileScript accepted 100,000 nested tables";
    }
    catch (const std::exception& error)
    {
        EXPECT_TRUE(std::regex_match(error.what(), std::regex(R"(deep\.lua:1:\d+: nesting too deep)"))) << error.what();
    }
}

// Nesting that real programs reach must keep working, on a 1 MiB host thread too: the limit is far above
// it. (AddressSanitizer's frames are six to eight times larger, so there a small thread runs out of stack
// cleanly after 100 to 300 levels; the deep tests above hold in both builds.)
TEST(NestingTest, ModerateNestingStillRuns)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"return " + std::string(200, '(') + "7" + std::string(200, ')'), "=7"},
        {"local n = 0 " + repeat("if true then n = n + 1 ", 200) + repeat("end ", 200) + "return n", "=200"},
        {"local n = 0 " + repeat("while n < 1 do ", 200) + "n = 1 " + repeat("end ", 200) + "return n", "=1"},
        {"local t = " + std::string(200, '{') + "5" + std::string(200, '}') + " for i = 1, 199 do t = t[1] end return t[1]",
         "=5"},
        {"return " + repeat("(function() return ", 200) + "3" + repeat(" end)()", 200), "=3"},
        {"return " + repeat("- ", 200) + "1", "=1"},
        {"return " + repeat("not ", 200) + "true", "=true"},
        {"t = {1} return " + repeat("t[", 200) + "1" + std::string(200, ']'), "=1"},
    };
    std::vector<std::string> small(cases.size());
    runOnThread(kSmallHostStack, [&] {
        LuaVM vm;
        for (std::size_t i = 0; i < cases.size(); ++i)
        {
            small[i] = describe(run(vm, cases[i].first));
        }
    });
    LuaVM vm;
    for (std::size_t i = 0; i < cases.size(); ++i)
    {
        EXPECT_EQ(describe(run(vm, cases[i].first)), cases[i].second) << cases[i].first.substr(0, 40);
        if (!VELMAR_ADVERSARIAL_ASAN)
        {
            EXPECT_EQ(small[i], cases[i].second) << "on a 1 MiB thread: " << cases[i].first.substr(0, 40);
        }
    }
}

// Chains are parsed by a loop into a tree as deep as the chain (a million-term sum leans left a million
// nodes deep). Evaluating one may fail as too deep, but parsing, failing and freeing the tree must never
// recurse the machine stack, on the main thread or a small one.
TEST(NestingTest, LongChainsAreParsedAndReleasedWithoutRecursion)
{
    const std::string setup = "function f() return f end a = 1 t = {}\n";
    const std::vector<std::pair<std::string, std::string>> chains = {
        {"x = 1" + repeat(" + 1", 999999) + "\nreturn x", "=1000000"},
        {setup + "x = f" + repeat("()", 100000) + "\nreturn 1", "=1"},
        {setup + "x = a" + repeat(" or a", 100000) + "\nreturn x", "=1"},
        {setup + "x = t" + repeat(".b", 100000) + "\nreturn x", "main.lua:2: attempt to index a nil value"},
    };
    for (const auto& [source, expected] : chains)
    {
        SCOPED_TRACE(source.substr(0, 60));
        LuaResult mainThread;
        {
            LuaVM vm;
            mainThread = run(vm, source);
        }
        LuaResult smallThread;
        runOnThread(kSmallHostStack, [&] {
            LuaVM vm;
            smallThread = run(vm, source);
        });
        for (const LuaResult* result : {&mainThread, &smallThread})
        {
            if (describe(*result) != expected)
            {
                EXPECT_TRUE(failsWith(*result, R"(main\.lua:[12](:\d+: nesting too deep|: stack overflow))"));
            }
        }
    }
}

TEST(NestingTest, MillionStatementChunkRunsAndIsReleased)
{
    LuaVM vm;
    const LuaResult result = run(vm, "local n = 0\n" + repeat("n = n + 1\n", 1000000) + "return n");
    ASSERT_TRUE(result.success) << result.error;
    EXPECT_EQ(result.value.asInteger(), 1000000);
}

// ---- Long lines ----

constexpr std::size_t kTenMegabytes = 10 * 1024 * 1024;

TEST(LongLineTest, TenMegabyteStringLiteral)
{
    LuaVM vm;
    const LuaResult result = run(vm, "local s = \"" + std::string(kTenMegabytes, 'a') + "\" return #s, s:sub(-3)");
    ASSERT_TRUE(result.success) << result.error;
    EXPECT_EQ(result.value.toString(), "[10485760, aaa]");
}

TEST(LongLineTest, TenMegabyteCommentAndIdentifier)
{
    LuaVM vm;
    const LuaResult comment = run(vm, "-- " + std::string(kTenMegabytes, '#') + "\nreturn 1");
    ASSERT_TRUE(comment.success) << comment.error;
    const std::string name(kTenMegabytes, 'n');
    const LuaResult identifier = run(vm, "local " + name + " = 5 return " + name + " + 1");
    ASSERT_TRUE(identifier.success) << identifier.error;
    EXPECT_EQ(identifier.value.asInteger(), 6);
}

TEST(LongLineTest, ErrorAtTheEndOfATenMegabyteLineHasItsColumn)
{
    LuaVM vm;
    const std::string pad(kTenMegabytes, ' ');
    EXPECT_TRUE(failsWith(run(vm, "x = 1" + pad + "$"), R"(main\.lua:1:10485766: unexpected character '\$')"));
    EXPECT_TRUE(failsWith(run(vm, "local s = '" + std::string(kTenMegabytes, 'z')),
                          R"(main\.lua:1:11: unterminated string literal)"));
}

TEST(LongLineTest, PrintingATenMegabyteStringReachesTheConsoleInPieces)
{
    CapturedConsole console;
    LuaVM vm;
    const LuaResult result = run(vm, "print(string.rep('x', 10485760))");
    ASSERT_TRUE(result.success) << result.error;
    const std::string lines = console.lines();
    EXPECT_EQ(lines.size(), kTenMegabytes + kTenMegabytes / 511 + 1);
    EXPECT_EQ(lines.find_first_not_of("x\n"), std::string::npos);
}

// ---- Stray bytes ----

TEST(StrayBytesTest, NulAndHighBytesOutsideStringsAreUnexpectedCharacters)
{
    LuaVM vm;
    EXPECT_EQ(run(vm, "x = 1\n y = \0 2"s).error, "main.lua:2:6: unexpected character '\0'"s);
    EXPECT_EQ(run(vm, "x = \xff").error, "main.lua:1:5: unexpected character '\xff'");
    EXPECT_EQ(run(vm, "\x80").error, "main.lua:1:1: unexpected character '\x80'");
    EXPECT_EQ(run(vm, "local caf\xc3\xa9 = 1").error, "main.lua:1:10: unexpected character '\xc3'");
    EXPECT_EQ(run(vm, "return 1").value.asInteger(), 1);
}

TEST(StrayBytesTest, NulAndInvalidBytesInsideStringsAndCommentsAreKept)
{
    LuaVM vm;
    const LuaResult result = run(vm, "-- \0\xff comment\nlocal s = '\0\xfe\x80' local l = [[\0\xc3]]\nreturn #s, #l, s"s);
    ASSERT_TRUE(result.success) << result.error;
    ASSERT_EQ(result.value.type(), LuaValue::Type::Array);
    const auto& values = result.value.asArray();
    EXPECT_EQ(values.at(0).asInteger(), 3);
    EXPECT_EQ(values.at(1).asInteger(), 2);
    EXPECT_EQ(values.at(2).asString(), "\0\xfe\x80"s);
}

TEST(StrayBytesTest, ASourceOfOnlyNulBytesFailsOnTheFirst)
{
    LuaVM vm;
    EXPECT_EQ(run(vm, std::string(1000, '\0')).error, "main.lua:1:1: unexpected character '\0'"s);
    EXPECT_TRUE(run(vm, "").success);
}

TEST(StrayBytesTest, NulBytesInChunkNamesAndMessagesReachTheHostIntact)
{
    LuaVM vm;
    const LuaResult result = vm.runScriptString("error('a\\0b')", "ch\0unk"s);
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.error, "ch\0unk:1: a\0b"s);
}

} // namespace
