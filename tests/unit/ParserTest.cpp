// The parser: node lines (which an uncaught error names) and every message the lexer and parser can give
// (tree shapes show in tests/scripts/parser, number literals in tests/scripts/lexer, deep nesting in
// tests/adversarial).
#include "frontend/Compiler.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace
{

using namespace velmar::lua;

StmtList parse(std::string_view source)
{
    GlobalSlotTable globals;
    return compileChunk(source, "t", globals).statements;
}

std::string compileOutcome(std::string_view source)
{
    try
    {
        GlobalSlotTable globals;
        compileChunk(source, "t", globals);
    }
    catch (const zq::runtime_error& error)
    {
        return error.message();
    }
    return "ok";
}

// The first value of the assignment "x = <source>".
ExprPtr expr(const std::string& source)
{
    StmtList chunk = parse("x = " + source);
    auto assignment = asStmt<AssignmentStmt>(chunk.at(0));
    return assignment ? assignment->values.at(0) : nullptr;
}

TEST(ParserTest, NodeLines)
{
    // and/or take the line of the last token of their right operand.
    EXPECT_EQ(expr("a\nor\nb")->line, 3u);
    EXPECT_EQ(expr("a or (b\n)")->line, 2u);
    EXPECT_EQ(expr("a and f(\n1\n)")->line, 3u);
    EXPECT_EQ(expr("a\n<\nb")->line, 2u);
    EXPECT_EQ(expr("a\n..\nb")->line, 2u);
    EXPECT_EQ(expr("a\n*\nb")->line, 2u);
    EXPECT_EQ(expr("a\n-\nb")->line, 2u);
    EXPECT_EQ(expr("\n-\na")->line, 2u);
    EXPECT_EQ(expr("\nnot\na")->line, 2u);
    EXPECT_EQ(expr("t\n.\nk")->line, 3u);
    EXPECT_EQ(expr("t\n[\n1]")->line, 2u);
    EXPECT_EQ(expr("f\n(\n)")->line, 2u);
    EXPECT_EQ(expr("o\n:\nm()")->line, 3u);
    EXPECT_EQ(expr("\n\nfunction() end")->line, 3u);
    EXPECT_EQ(expr("\n1")->line, 2u);
    EXPECT_EQ(expr("\n\ny")->line, 3u);
    StmtList chunk = parse("\nif a then end\nwhile a do\nbreak end\nfor i = 1, 2 do end\nfor k in p do end\n"
                           "return;\nfunction\nf() end\nlocal\nz\n= 1\nx = 1\nt\n.\nk = 2");
    const std::vector<std::uint32_t> lines = {2, 3, 5, 6, 7, 8, 10, 13, 16};
    ASSERT_EQ(chunk.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        EXPECT_EQ(chunk[i]->line, lines[i]) << i;
    }
    EXPECT_EQ(asStmt<WhileStmt>(chunk[1])->body.at(0)->line, 4u);
    EXPECT_EQ(asStmt<FunctionDeclarationStmt>(chunk[5])->function->line, 8u);
    EXPECT_EQ(asStmt<AssignmentStmt>(chunk[6])->targets[0].line, 10u);
    EXPECT_EQ(asStmt<AssignmentStmt>(chunk[8])->targets[0].line, 16u);
}

TEST(ParserTest, EveryMessageAtItsToken)
{
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"if a end", "t:1:6: expected 'then' after if condition"},
        {"if a then elseif b end", "t:1:20: expected 'then' after elseif condition"},
        {"if a\nthen x = 1\nelse\n", "t:4:1: expected 'end' after if statement"},
        {"x = a.1", "t:1:7: expected field name after '.'"},
        {"x = a[1", "t:1:8: expected ']' after index expression"},
        {"a:1()", "t:1:3: expected method name after ':'"},
        {"x = (1", "t:1:7: expected ')' after expression"},
        {"x = ", "t:1:5: expected expression"},
        {"x = {,}", "t:1:6: expected expression"},
        {"do end", "t:1:1: expected expression"},
        {"return return", "t:1:8: expected expression"},
        {"if a then else elseif b then end", "t:1:16: expected expression"},
        {"x = f{1}", "t:1:9: expected function call"},
        {"x = {[1] 2}", "t:1:10: expected '=' after table key"},
        {"x = {[1 = 2}", "t:1:9: expected ']' after table key"},
        {"x = {a = 1 b = 2}", "t:1:12: expected '}' after table constructor"},
        {"function f x", "t:1:12: expected '(' after function name"},
        {"x = function end", "t:1:14: expected '(' after function name"},
        {"function a:b.c() end", "t:1:13: expected '(' after function name"},
        {"function f(1)", "t:1:12: expected parameter name"},
        {"function f(a,)", "t:1:14: expected parameter name"},
        {"local function f(...) end", "t:1:18: expected parameter name"},
        {"print(1e5)", "t:1:8: expected ')' after arguments"},
        {"function f(a b)", "t:1:14: expected ')' after parameter list"},
        {"function f()", "t:1:13: expected 'end' after function body"},
        {"a:m", "t:1:4: expected '(' before arguments"},
        {"x = a.b:c", "t:1:10: expected '(' before arguments"},
        {"f(1", "t:1:4: expected ')' after arguments"},
        {"f(1 2)", "t:1:5: expected ')' after arguments"},
        {"while a end", "t:1:9: expected 'do' after while condition"},
        {"while a do", "t:1:11: expected 'end' after while loop"},
        {"for 1", "t:1:5: expected loop variable name"},
        {"for k, 1 in t do end", "t:1:8: expected loop variable name"},
        {"for i = 1 do end", "t:1:11: expected ',' after numeric for start value"},
        {"for i = 1, 2 end", "t:1:14: expected 'do' after numeric for range"},
        {"for i = 1, 2 do", "t:1:16: expected 'end' after numeric for loop"},
        {"for k v in t do end", "t:1:7: expected 'in' in generic for loop"},
        {"for k in t end", "t:1:12: expected 'do' after generic for iterator"},
        {"for k in t do", "t:1:14: expected 'end' after generic for loop"},
        {"local function 1", "t:1:16: expected local function name"},
        {"function 1", "t:1:10: expected function name"},
        {"function a.1() end", "t:1:12: expected field name after '.'"},
        {"function a:1() end", "t:1:12: expected method name after ':'"},
        {"local 1", "t:1:7: expected local variable name"},
        {"local a, = 1", "t:1:10: expected local variable name"},
        {"a, b", "t:1:5: expected '=' in assignment"},
        {"a, b + 1", "t:1:6: expected '=' in assignment"},
        {"x", "t:1:2: expected function call"},
        {"x.y\n", "t:2:1: expected function call"},
        {"f 'x'", "t:1:3: expected function call"},
        {"repeat x = 1 until x", "t:1:8: expected function call"},
        {"(f)() = 1", "t:1:7: invalid assignment target"},
        {"a, f() = 1", "t:1:8: invalid assignment target"},
        {"1 = 2", "t:1:3: invalid assignment target"},
        {"-x ^ 2", "t:1:4: unexpected character '^'"},
        // Lexical errors, at the literal's start where one is left open.
        {"\n\nx = ~1", "t:3:5: unexpected '~'"}, {"x~y", "t:1:2: unexpected '~'"}, {"x ~", "t:1:3: unexpected '~'"},
        {"a = $", "t:1:5: unexpected character '$'"}, {"  \\", "t:1:3: unexpected character '\\'"},
        {"\n !", "t:2:2: unexpected character '!'"}, {"caf\xC3\xA9", "t:1:4: unexpected character '\xC3'"},
        {"x = 'abc", "t:1:5: unterminated string literal"}, {"x = \"ab\ncd\ne", "t:1:5: unterminated string literal"},
        {"y\n  'abc\\", "t:2:3: unterminated string escape"}, {"x = [[abc]", "t:1:5: unterminated long string literal"},
        {"x\n--[[abc\n", "t:2:5: unterminated long string literal"}, {"  --[[", "t:1:7: unterminated long string literal"},
        // A lexical error anywhere wins over an earlier syntax error, as if all were tokenized first.
        {"x = = 1 y = 'open", "t:1:13: unterminated string literal"},
        {"x = = 1\n;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;\ny = ~", "t:3:5: unexpected '~'"},
    };
    for (const auto& [source, message] : cases)
    {
        EXPECT_EQ(compileOutcome(source), message) << source;
    }
}

} // namespace
