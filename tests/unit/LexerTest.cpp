// The lexer: token kinds, decoded texts and positions of awkward inputs, and every lexer message.
#include "frontend/Lexer.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using velmar::lua::Lexer;
using velmar::lua::Token;
using K = velmar::lua::TokenKind;

std::vector<Token> lex(std::string_view source)
{
    return Lexer(source, "t").tokenize();
}

std::vector<K> kinds(std::string_view source)
{
    std::vector<K> out;
    for (const Token& token : lex(source))
    {
        out.push_back(token.kind);
    }
    return out;
}

// "kind:text@line:column" for each token, so one comparison shows the whole stream.
std::string describe(std::string_view source)
{
    std::string out;
    for (const Token& token : lex(source))
    {
        out += std::to_string(static_cast<int>(token.kind)) + ":" + token.text + "@" + std::to_string(token.line) +
               ":" + std::to_string(token.column) + " ";
    }
    return out;
}

std::string lexError(std::string_view source, const std::string& chunk = "t")
{
    try
    {
        Lexer(source, chunk).tokenize();
    }
    catch (const zq::runtime_error& error)
    {
        return error.message(); // what() would stop at a zero byte in the message
    }
    return "no error";
}

TEST(LexerTest, EmptyInputIsOneEndOfFileAtTheStart)
{
    const auto tokens = lex("");
    ASSERT_EQ(tokens.size(), 1u);
    EXPECT_EQ(tokens[0].kind, K::EndOfFile);
    EXPECT_EQ(tokens[0].text, "");
    EXPECT_EQ(tokens[0].line, 1u);
    EXPECT_EQ(tokens[0].column, 1u);
    EXPECT_EQ(describe("ab\n"), "0:ab@1:1 47:@2:1 ");
    EXPECT_EQ(describe("  \t\n\n"), "47:@3:1 ");
}

TEST(LexerTest, KeywordsAreCaseSensitiveAndHaveTheirOwnKinds)
{
    EXPECT_EQ(kinds("and break do else elseif end false for function if in local nil not or return then true while"),
              (std::vector<K>{K::And, K::Break,    K::Do,   K::Else, K::ElseIf, K::End,      K::False,
                              K::For, K::Function, K::If,   K::In,   K::Local,  K::Nil,      K::Not,
                              K::Or,  K::Return,   K::Then, K::True, K::While,  K::EndOfFile}));
    EXPECT_EQ(describe("And _x1 nil_ elseif2 repeat goto"),
              "0:And@1:1 0:_x1@1:5 0:nil_@1:9 0:elseif2@1:14 0:repeat@1:22 0:goto@1:29 47:@1:33 ");
}

TEST(LexerTest, OperatorsAndPunctuation)
{
    EXPECT_EQ(kinds("# % ( ) * + , - / : ; [ ] { } . .. < <= = == > >= ~="),
              (std::vector<K>{K::Hash,      K::Percent,     K::LeftParen,    K::RightParen, K::Star,
                              K::Plus,      K::Comma,       K::Minus,        K::Slash,      K::Colon,
                              K::Semicolon, K::LeftBracket, K::RightBracket, K::LeftBrace,  K::RightBrace,
                              K::Dot,       K::DotDot,      K::Less,         K::LessEqual,  K::Assign,
                              K::Equal,     K::Greater,     K::GreaterEqual, K::NotEqual,   K::EndOfFile}));
    EXPECT_EQ(describe("...="), "13:..@1:1 12:.@1:3 21:=@1:4 47:@1:5 ");
    EXPECT_EQ(describe("<==>=="), "25:<=@1:1 21:=@1:3 27:>=@1:4 21:=@1:6 47:@1:7 ");
    EXPECT_EQ(describe("a - -b"), "0:a@1:1 16:-@1:3 16:-@1:5 0:b@1:6 47:@1:7 ");
}

TEST(LexerTest, NumbersKeepTheirDigitsAndStopEarly)
{
    EXPECT_EQ(describe("0x1F 0XaB 0x 007"), "1:0x1F@1:1 1:0XaB@1:6 1:0x@1:11 1:007@1:14 47:@1:17 ");
    EXPECT_EQ(describe("3.14 3. .5"), "2:3.14@1:1 1:3@1:6 12:.@1:7 12:.@1:9 1:5@1:10 47:@1:11 ");
    EXPECT_EQ(describe("1..2"), "1:1@1:1 13:..@1:2 1:2@1:4 47:@1:5 ");
    EXPECT_EQ(describe("1e5 12abc"), "1:1@1:1 0:e5@1:2 1:12@1:5 0:abc@1:7 47:@1:10 ");
    EXPECT_EQ(describe("1.2.3"), "2:1.2@1:1 12:.@1:4 1:3@1:5 47:@1:6 ");
    EXPECT_EQ(describe("0x1g 0x.5"), "1:0x1@1:1 0:g@1:4 1:0x@1:6 12:.@1:8 1:5@1:9 47:@1:10 ");
}

TEST(LexerTest, QuotedStringEscapes)
{
    const auto tokens = lex(R"('\065' "\x41" '\z\a\q' "\n\t\r\\\"\'" 'a"b' "a'b" '\0')");
    ASSERT_EQ(tokens.size(), 8u);
    EXPECT_EQ(tokens[0].text, std::string("\0"
                                          "65",
                                          3));
    EXPECT_EQ(tokens[1].text, "x41");
    EXPECT_EQ(tokens[2].text, "zaq");
    EXPECT_EQ(tokens[3].text, "\n\t\r\\\"'");
    EXPECT_EQ(tokens[4].text, "a\"b");
    EXPECT_EQ(tokens[5].text, "a'b");
    EXPECT_EQ(tokens[6].text, std::string(1, '\0'));
    for (std::size_t i = 0; i < 7; ++i)
    {
        EXPECT_EQ(tokens[i].kind, K::String) << i;
    }
}

TEST(LexerTest, ZeroAndHighBytesInsideLiteralsAreContent)
{
    const auto tokens = lex(std::string_view("'a\0b' [[\0\xFF]] --[[\0]] x", 22));
    ASSERT_EQ(tokens.size(), 4u);
    EXPECT_EQ(tokens[0].text, std::string("a\0b", 3));
    EXPECT_EQ(tokens[1].text, std::string("\0\xFF", 2));
    EXPECT_EQ(tokens[2].text, "x");
    EXPECT_EQ(tokens[2].column, 22u);
}

TEST(LexerTest, StringsMaySpanLinesAndDoNotMerge)
{
    EXPECT_EQ(describe("\"a\nb\" c"), "3:a\nb@1:1 0:c@2:4 47:@2:5 ");
    EXPECT_EQ(describe("'a\\\nb' c"), "3:a\nb@1:1 0:c@2:4 47:@2:5 ");
    EXPECT_EQ(describe("'it''s'"), "3:it@1:1 3:s@1:5 47:@1:8 ");
    EXPECT_EQ(describe("''x"), "3:@1:1 0:x@1:3 47:@1:4 ");
}

TEST(LexerTest, LongStringsAreVerbatimAndHaveNoLevels)
{
    EXPECT_EQ(describe("x=[[\nab\\n]]y"), "0:x@1:1 21:=@1:2 3:\nab\\n@1:3 0:y@2:7 47:@2:8 ");
    EXPECT_EQ(describe("[[a]b]]]"), "3:a]b@1:1 9:]@1:8 47:@1:9 ");
    EXPECT_EQ(describe("[[]]"), "3:@1:1 47:@1:5 ");
    EXPECT_EQ(kinds("[==[x]==]"), (std::vector<K>{K::LeftBracket, K::Equal, K::LeftBracket, K::Identifier,
                                                  K::RightBracket, K::Equal, K::RightBracket, K::EndOfFile}));
    EXPECT_EQ(describe("[ [x]]"), "8:[@1:1 8:[@1:3 0:x@1:4 9:]@1:5 9:]@1:6 47:@1:7 ");
}

TEST(LexerTest, CommentsShortLongAndFakeLong)
{
    EXPECT_EQ(describe("a--[[x\ny]]b"), "0:a@1:1 0:b@2:4 47:@2:5 ");
    EXPECT_EQ(describe("a --[==[ x\ny"), "0:a@1:1 0:y@2:1 47:@2:2 ");
    EXPECT_EQ(describe("a -- trailing"), "0:a@1:1 47:@1:14 ");
    EXPECT_EQ(describe("--"), "47:@1:3 ");
    EXPECT_EQ(describe("--[\nx"), "0:x@2:1 47:@2:2 ");
    EXPECT_EQ(describe("--[[]]x"), "0:x@1:7 47:@1:8 ");
    EXPECT_EQ(describe("x--y\n--z\nw"), "0:x@1:1 0:w@3:1 47:@3:2 ");
}

TEST(LexerTest, ColumnsCountBytesAndOnlyLineFeedBreaksLines)
{
    EXPECT_EQ(describe("\tx\t\ty"), "0:x@1:2 0:y@1:5 47:@1:6 ");
    EXPECT_EQ(describe("a\rb"), "0:a@1:1 0:b@1:3 47:@1:4 ");
    EXPECT_EQ(describe("a\r\nb"), "0:a@1:1 0:b@2:1 47:@2:2 ");
    EXPECT_EQ(describe("\v\fa"), "0:a@1:3 47:@1:4 ");
}

TEST(LexerTest, TildeMustStartNotEqual)
{
    EXPECT_EQ(lexError("\n\nx = ~1", "main.lua"), "main.lua:3:5: unexpected '~'");
    EXPECT_EQ(lexError("x~y"), "t:1:2: unexpected '~'");
    EXPECT_EQ(lexError("x ~"), "t:1:3: unexpected '~'");
}

TEST(LexerTest, UnexpectedCharactersAreQuotedRaw)
{
    EXPECT_EQ(lexError("a = $"), "t:1:5: unexpected character '$'");
    EXPECT_EQ(lexError("x = 2 ^ 3"), "t:1:7: unexpected character '^'");
    EXPECT_EQ(lexError("  \\"), "t:1:3: unexpected character '\\'");
    EXPECT_EQ(lexError("\n !"), "t:2:2: unexpected character '!'");
    EXPECT_EQ(lexError("caf\xC3\xA9"), "t:1:4: unexpected character '\xC3'");
    EXPECT_EQ(lexError(std::string_view("a\0b", 3)), std::string("t:1:2: unexpected character '") + '\0' + "'");
    for (const char* bad : {"&", "@", "?", "`", "|"})
    {
        EXPECT_EQ(lexError(bad), std::string("t:1:1: unexpected character '") + bad + "'");
    }
}

TEST(LexerTest, UnterminatedLiteralsReportTheirStart)
{
    EXPECT_EQ(lexError("x = 'abc"), "t:1:5: unterminated string literal");
    EXPECT_EQ(lexError("x = \"ab\ncd\ne"), "t:1:5: unterminated string literal");
    EXPECT_EQ(lexError("\""), "t:1:1: unterminated string literal");
    EXPECT_EQ(lexError("y\n  'abc\\"), "t:2:3: unterminated string escape");
    EXPECT_EQ(lexError("'\\"), "t:1:1: unterminated string escape");
    EXPECT_EQ(lexError("x = [[abc]"), "t:1:5: unterminated long string literal");
    EXPECT_EQ(lexError("\n  [[\n\n"), "t:2:3: unterminated long string literal");
    // A long comment reports the position just after its opening "--[[".
    EXPECT_EQ(lexError("x\n--[[abc\n"), "t:2:5: unterminated long string literal");
    EXPECT_EQ(lexError("  --[["), "t:1:7: unterminated long string literal");
}

} // namespace
