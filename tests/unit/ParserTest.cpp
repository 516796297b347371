// The parser: tree shapes, node lines, number literals, and every message the lexer and parser can give
// (deep nesting: tests/adversarial; tokens: tests/scripts/lexer).
#include "frontend/Compiler.hpp"

#include "support/Errors.hpp"

#include <gtest/gtest.h>


#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace
{

using namespace velmar::lua;
using K = TokenKind;

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

const char* opText(K op)
{
    static const std::map<K, const char*> spellings = {
        {K::Or, "or"},     {K::And, "and"},         {K::Not, "not"},   {K::Hash, "#"},
        {K::Equal, "=="},  {K::NotEqual, "~="},     {K::Less, "<"},    {K::LessEqual, "<="},
        {K::Greater, ">"}, {K::GreaterEqual, ">="}, {K::DotDot, ".."}, {K::Plus, "+"},
        {K::Minus, "-"},   {K::Star, "*"},          {K::Slash, "/"},   {K::Percent, "%"}};
    const auto found = spellings.find(op);
    return found == spellings.end() ? "?" : found->second;
}

template <typename... Pieces>
std::string cat(const Pieces&... pieces)
{
    std::string out;
    ((out += pieces), ...);
    return out;
}

// A compact prefix form of a tree: "(op left right)", "o.f", "o[i]", "(call f args)", "(method o m args)".
std::string show(const ExprPtr& e)
{
    if (auto lit = asExpr<LiteralExpr>(e))
    {
        return lit->value.isString() ? cat("'", lit->value.toString(), "'") : lit->value.toString();
    }
    if (auto var = asExpr<VariableExpr>(e))
    {
        return var->name;
    }
    if (auto un = asExpr<UnaryExpr>(e))
    {
        return cat("(", opText(un->op), " ", show(un->operand), ")");
    }
    if (auto bin = asExpr<BinaryExpr>(e))
    {
        return cat("(", opText(bin->op), " ", show(bin->left), " ", show(bin->right), ")");
    }
    if (auto field = asExpr<FieldExpr>(e))
    {
        return cat(show(field->object), ".", field->name);
    }
    if (auto index = asExpr<IndexExpr>(e))
    {
        return cat(show(index->object), "[", show(index->index), "]");
    }
    if (auto call = asExpr<CallExpr>(e))
    {
        std::string out = call->callee ? cat("(call ", show(call->callee))
                                       : cat("(method ", show(call->object), " ", call->methodName);
        for (const ExprPtr& argument : call->arguments)
        {
            out += cat(" ", show(argument));
        }
        return cat(out, ")");
    }
    if (auto table = asExpr<TableExpr>(e))
    {
        std::string out = "{";
        for (const TableExpr::Field& f : table->fields)
        {
            out += f.kind == TableExpr::FieldKind::Named   ? cat(f.name, "=", show(f.value), " ")
                   : f.kind == TableExpr::FieldKind::Keyed ? cat("[", show(f.key), "]=", show(f.value), " ")
                                                           : cat(show(f.value), " ");
        }
        return cat(out, "}");
    }
    if (auto fn = asExpr<FunctionExpr>(e))
    {
        std::string out = "fn(";
        for (const std::string& p : fn->parameters)
        {
            out += cat(p, ",");
        }
        return cat(out, ")");
    }
    return "<null>";
}

TEST(ParserTest, OperatorPrecedenceAndAssociativity)
{
    EXPECT_EQ(show(expr("a+b..c-d")), "(.. (+ a b) (- c d))");
    EXPECT_EQ(show(expr("a..b..c")), "(.. a (.. b c))");
    EXPECT_EQ(show(expr("a..b+c..d")), "(.. a (.. (+ b c) d))");
    EXPECT_EQ(show(expr("a<b==c~=d")), "(~= (== (< a b) c) d)");
    EXPECT_EQ(show(expr("a..b >= c")), "(>= (.. a b) c)");
    EXPECT_EQ(show(expr("a or b and c or d")), "(or (or a (and b c)) d)");
    EXPECT_EQ(show(expr("a and b and c")), "(and (and a b) c)");
    EXPECT_EQ(show(expr("a-b-c*d%e/f")), "(- (- a b) (/ (% (* c d) e) f))");
    EXPECT_EQ(show(expr("-a*b")), "(* (- a) b)");
    EXPECT_EQ(show(expr("not not x == #t")), "(== (not (not x)) (# t))");
    EXPECT_EQ(show(expr("- -#t")), "(- (- (# t)))");
    EXPECT_EQ(show(expr("(a+b)*((c))")), "(* (+ a b) c)");
    EXPECT_EQ(show(expr("1 .. 2")), "(.. 1 2)");
    EXPECT_EQ(show(expr("1..2")), "(.. 1 2)");
}

TEST(ParserTest, SuffixChainsAndCalls)
{
    EXPECT_EQ(show(expr("a.b[c](d):e(f, g).h")), "(method (call a.b[c] d) e f g).h");
    EXPECT_EQ(show(expr("f()()")), "(call (call f))");
    EXPECT_EQ(show(expr("('s'):len()")), "(method 's' len)");
    EXPECT_EQ(show(expr("function(a, b) end")), "fn(a,b,)");
    StmtList chunk = parse("o:m(1)");
    auto call = asExpr<CallExpr>(asStmt<ExpressionStmt>(chunk.at(0))->expression);
    ASSERT_TRUE(call);
    EXPECT_FALSE(call->callee);
    EXPECT_EQ(show(call->object), "o");
    EXPECT_EQ(call->methodName, "m");
    ASSERT_EQ(call->arguments.size(), 1u);
    // Parentheses make no node: the statement's expression is the call itself.
    chunk = parse("(f())");
    EXPECT_TRUE(asExpr<CallExpr>(asStmt<ExpressionStmt>(chunk.at(0))->expression));
}

TEST(ParserTest, TableConstructorFields)
{
    auto table = asExpr<TableExpr>(expr("{1, 2; x = 3, [4] = 5,}"));
    ASSERT_TRUE(table);
    ASSERT_EQ(table->fields.size(), 4u);
    EXPECT_EQ(table->fields[0].kind, TableExpr::FieldKind::Positional);
    EXPECT_EQ(table->fields[1].kind, TableExpr::FieldKind::Positional);
    EXPECT_EQ(table->fields[2].kind, TableExpr::FieldKind::Named);
    EXPECT_EQ(table->fields[2].name, "x");
    EXPECT_EQ(table->fields[3].kind, TableExpr::FieldKind::Keyed);
    EXPECT_EQ(show(table), "{1 2 x=3 [4]=5 }");
    EXPECT_EQ(show(expr("{}")), "{}");
    EXPECT_EQ(show(expr("{x; y == 1; [x] = {z = 1};}")), "{x (== y 1) [x]={z=1 } }");
    table = asExpr<TableExpr>(expr("\n{\n1,\n\nk = 2}"));
    ASSERT_TRUE(table);
    EXPECT_EQ(table->line, 2u);
    EXPECT_EQ(table->fields[0].line, 3u);
    EXPECT_EQ(table->fields[1].line, 5u);
}

TEST(ParserTest, FunctionDeclarationTargets)
{
    StmtList chunk = parse("function a.b:c(x) end function a.b.c() end function f() end local\nfunction\ng(p, q) end");
    ASSERT_EQ(chunk.size(), 4u);
    auto method = asStmt<FunctionDeclarationStmt>(chunk[0]);
    ASSERT_TRUE(method);
    EXPECT_FALSE(method->isLocal);
    EXPECT_EQ(method->target.kind, AssignTarget::Kind::Field);
    EXPECT_EQ(method->target.name, "c");
    EXPECT_EQ(show(method->target.object), "a.b");
    EXPECT_EQ(method->function->parameters, (std::vector<std::string>{"self", "x"}));
    auto dotted = asStmt<FunctionDeclarationStmt>(chunk[1]);
    EXPECT_EQ(dotted->target.kind, AssignTarget::Kind::Field);
    EXPECT_EQ(dotted->target.name, "c");
    EXPECT_EQ(show(dotted->target.object), "a.b");
    EXPECT_TRUE(dotted->function->parameters.empty());
    auto plain = asStmt<FunctionDeclarationStmt>(chunk[2]);
    EXPECT_EQ(plain->target.kind, AssignTarget::Kind::Name);
    EXPECT_EQ(plain->target.name, "f");
    auto local = asStmt<FunctionDeclarationStmt>(chunk[3]);
    EXPECT_TRUE(local->isLocal);
    EXPECT_EQ(local->target.name, "g");
    EXPECT_EQ(local->line, 1u);
    EXPECT_EQ(local->function->line, 2u);
    EXPECT_EQ(local->function->parameters, (std::vector<std::string>{"p", "q"}));
    auto deep = asStmt<FunctionDeclarationStmt>(parse("function a.b.c:d(self) end").at(0));
    EXPECT_EQ(show(deep->target.object), "a.b.c");
    EXPECT_EQ(deep->target.name, "d");
    EXPECT_EQ(deep->function->parameters, (std::vector<std::string>{"self", "self"}));
}

TEST(ParserTest, AssignmentsAndLocals)
{
    StmtList chunk = parse("a, b.c, d[1] = 1, 2, 3 local e, f local g = 1, 2; (a).b = 4");
    ASSERT_EQ(chunk.size(), 4u);
    auto multi = asStmt<AssignmentStmt>(chunk[0]);
    EXPECT_FALSE(multi->isLocal);
    ASSERT_EQ(multi->targets.size(), 3u);
    EXPECT_EQ(multi->targets[0].kind, AssignTarget::Kind::Name);
    EXPECT_EQ(multi->targets[1].kind, AssignTarget::Kind::Field);
    EXPECT_EQ(multi->targets[1].name, "c");
    EXPECT_EQ(multi->targets[2].kind, AssignTarget::Kind::Index);
    EXPECT_EQ(show(multi->targets[2].index), "1");
    EXPECT_EQ(multi->values.size(), 3u);
    auto bare = asStmt<AssignmentStmt>(chunk[1]);
    EXPECT_TRUE(bare->isLocal);
    EXPECT_EQ(bare->targets.size(), 2u);
    EXPECT_TRUE(bare->values.empty());
    EXPECT_EQ(asStmt<AssignmentStmt>(chunk[2])->values.size(), 2u);
    EXPECT_EQ(show(asStmt<AssignmentStmt>(chunk[3])->targets[0].object), "a");
}

TEST(ParserTest, ControlStatementShapes)
{
    StmtList chunk = parse(";;if a then elseif b then else end; for i = 1, 2 do end for i = 1, 2, 3 do end "
                           "for k, v in p, q do end while x do break end return 1, 2 y = 3;");
    ASSERT_EQ(chunk.size(), 7u);
    auto branchy = asStmt<IfStmt>(chunk[0]);
    ASSERT_TRUE(branchy);
    EXPECT_EQ(branchy->branches.size(), 2u);
    EXPECT_TRUE(branchy->elseBody.empty());
    EXPECT_FALSE(asStmt<NumericForStmt>(chunk[1])->step);
    EXPECT_EQ(show(asStmt<NumericForStmt>(chunk[2])->step), "3");
    auto generic = asStmt<GenericForStmt>(chunk[3]);
    EXPECT_EQ(generic->names, (std::vector<std::string>{"k", "v"}));
    EXPECT_EQ(generic->iterators.size(), 2u);
    EXPECT_TRUE(asStmt<BreakStmt>(asStmt<WhileStmt>(chunk[4])->body.at(0)));
    EXPECT_EQ(asStmt<ReturnStmt>(chunk[5])->values.size(), 2u); // a return need not end its block
    EXPECT_TRUE(asStmt<AssignmentStmt>(chunk[6]));
    for (const char* bare : {"return", "return;", "if a then return end", "if a then return else end"})
    {
        StmtPtr first = parse(bare).at(0);
        auto ret = asStmt<IfStmt>(first) ? asStmt<ReturnStmt>(asStmt<IfStmt>(first)->branches.at(0).body.at(0))
                                         : asStmt<ReturnStmt>(first);
        ASSERT_TRUE(ret) << bare;
        EXPECT_TRUE(ret->values.empty()) << bare;
    }
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

TEST(ParserTest, IntegerLiteralsWrapOrBecomeFloats)
{
    const auto integer = [](const std::string& text)
    {
        auto lit = asExpr<LiteralExpr>(expr(text));
        EXPECT_TRUE(lit && lit->value.isInteger()) << text;
        return lit && lit->value.isInteger() ? lit->value.integer() : 0;
    };
    const auto number = [](const std::string& text)
    {
        auto lit = asExpr<LiteralExpr>(expr(text));
        EXPECT_TRUE(lit && lit->value.isFloat()) << text;
        return lit && lit->value.isFloat() ? lit->value.number() : -1.0;
    };
    EXPECT_EQ(integer("0xFFFFFFFFFFFFFFFF"), -1);
    EXPECT_EQ(integer("0x10000000000000001"), 1); // only the last 16 digits count
    EXPECT_EQ(integer("0x7fffffffffffffff"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer("0x8000000000000000"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integer("0x1F"), 31);
    EXPECT_EQ(integer("0x"), 0);
    EXPECT_EQ(integer("0X"), 0);
    EXPECT_EQ(integer("007"), 7);
    EXPECT_EQ(integer("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(number("9223372036854775808"), 9223372036854775808.0);
    EXPECT_EQ(number("100000000000000000000"), 1e20);
    EXPECT_EQ(number("3.25"), 3.25);
    EXPECT_EQ(number("0.1"), 0.1);
    auto negated = asExpr<UnaryExpr>(expr("-9223372036854775808"));
    ASSERT_TRUE(negated);
    auto operand = asExpr<LiteralExpr>(negated->operand);
    ASSERT_TRUE(operand && operand->value.isFloat());
    EXPECT_EQ(operand->value.number(), 9223372036854775808.0);
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
