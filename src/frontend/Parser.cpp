// Recursive-descent parser: the tokens of one chunk to its statement list.
#include "frontend/Parser.hpp"

#include "frontend/Lexer.hpp"
#include "support/StackGuard.hpp"

#include <charconv>
#include <cstdlib>

namespace velmar::lua
{

// The lexer hands over the exact digits, so conversion happens here, once per literal node.
Value convertIntegerLiteral(const std::string& text)
{
    if (text.size() >= 3 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
    {
        // The lexer let only hex digits through, so each maps straight to its value.
        std::uint64_t bits = 0; // only the last 16 digits survive: wraps without a check
        for (std::size_t i = 2; i < text.size(); ++i)
        {
            const char c = text[i];
            const unsigned digit = c <= '9' ? unsigned(c - '0') : unsigned((c | 0x20) - 'a' + 10);
            bits = bits * 16 + digit;
        }
        return Value(static_cast<long long>(bits));
    }
    long long integer = 0;
    const char* begin = text.data();
    const char* end = begin + text.size();
    const auto [stop, error] = std::from_chars(begin, end, integer, 10);
    if (error == std::errc::result_out_of_range)
    {
        // Too large for an integer: read as the double of its value instead of failing, so that
        // -9223372036854775808 still gives the smallest integer.
        return Value(convertNumberLiteral(text));
    }
    (void)stop; // "0x" alone reads as the leading 0
    return Value(integer);
}

// The lexer only makes digits '.' digits, which the fixed format reads whole; the result is the
// correctly rounded double.
double convertNumberLiteral(const std::string& text)
{
    double number = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return number;
}

Parser::Parser(std::string_view source, std::string chunkName)
    : lexer_(source, chunkName), chunkName_(std::move(chunkName)),
      sharedChunkName_(std::make_shared<const std::string>(chunkName_))
{
    // The first two tokens are read here, so a lexical error among them surfaces from the constructor.
    window_.push_back(lexer_.next());
    fillWindow();
}

void Parser::fillWindow()
{
    // The current token and the one after it are always at hand.
    while (base_ + window_.size() <= current_ + 1 && window_.back().kind != TokenKind::EndOfFile)
    {
        window_.push_back(lexer_.next());
    }
}

// Past the end of input every lookahead reads as the EndOfFile token at the back of the window.
const Token& Parser::peekAt(std::size_t offset) const noexcept
{
    const std::size_t index = current_ + offset - base_;
    return index < window_.size() ? window_[index] : window_.back();
}

const Token& Parser::advance()
{
    if (!check(TokenKind::EndOfFile))
    {
        ++current_;
        fillWindow();
        // Trimming waits until twice the kept tokens lie behind, so the deque drops them in batches
        // rather than on every advance; at least kTokensKept stay behind the current one.
        if (current_ - base_ > 2 * kTokensKept)
        {
            while (current_ - base_ > kTokensKept)
            {
                window_.pop_front();
                ++base_;
            }
        }
    }
    return previous(); // at EndOfFile the position stays, and this is the last token before it
}

bool Parser::match(TokenKind kind)
{
    if (check(kind))
    {
        advance();
        return true;
    }
    return false;
}

// The error points at the token that is there instead, which is EndOfFile when the input ran out.
const Token& Parser::consume(TokenKind kind, const char* message)
{
    if (check(kind))
    {
        return advance();
    }
    errorAt(peek(), message);
}

// The one way out of the parser on a syntax error; failParse adds the chunk name and position.
void Parser::errorAt(const Token& token, const char* message)
{
    const std::uint32_t line = token.line;
    const std::uint32_t column = token.column;
    // A lexical error anywhere in the chunk is reported before any syntax error, as when the whole
    // text is tokenized before parsing starts.
    if (window_.back().kind != TokenKind::EndOfFile)
    {
        while (lexer_.next().kind != TokenKind::EndOfFile)
        {
        }
    }
    failParse(chunkName_, line, column, message);
}

Parser::NestingScope::NestingScope(Parser& parser) : parser_(parser)
{
    // Real programs nest a few dozen levels; the budget bounds the parser's recursion on any stack, and the
    // stack check covers hosts whose threads have small stacks.
    if (++parser_.depth_ > kMaxNesting || zq::stackExhausted())
    {
        parser_.errorAt(parser_.peek(), "nesting too deep");
    }
}

void Parser::skipSemicolons()
{
    while (match(TokenKind::Semicolon))
    {
    }
}

// chunk ::= {stat [';']}
StmtList Parser::parseChunk()
{
    StmtList statements;
    skipSemicolons();
    while (!check(TokenKind::EndOfFile))
    {
        append(statements, parseStatement());
        skipSemicolons();
    }
    return statements;
}

// block ::= {stat [';']}, up to (not including) one of `terminators`. Running into the end of input is
// not reported here: the caller's consume of its closing keyword names what is missing.
StmtList Parser::parseBlock(std::initializer_list<TokenKind> terminators)
{
    StmtList statements;
    skipSemicolons();
    while (!check(TokenKind::EndOfFile))
    {
        for (TokenKind terminator : terminators)
        {
            if (check(terminator))
            {
                return statements;
            }
        }
        append(statements, parseStatement());
        skipSemicolons();
    }
    return statements;
}

// explist ::= exp {',' exp}
std::vector<ExprPtr> Parser::parseExpressionList()
{
    std::vector<ExprPtr> expressions;
    append(expressions, parseExpression());
    while (match(TokenKind::Comma))
    {
        append(expressions, parseExpression());
    }
    return expressions;
}

// args ::= '(' [explist] ')'
// A method call comes here without having seen its '(': "o:m" alone fails as "expected '(' before arguments".
std::vector<ExprPtr> Parser::parseArguments()
{
    consume(TokenKind::LeftParen, "expected '(' before arguments");
    std::vector<ExprPtr> arguments;
    if (!check(TokenKind::RightParen))
    {
        arguments = parseExpressionList();
    }
    consume(TokenKind::RightParen, "expected ')' after arguments");
    return arguments;
}

// funcbody ::= '(' [Name {',' Name}] ')' block end
std::shared_ptr<FunctionExpr> Parser::parseFunctionBody(std::uint32_t line)
{
    NestingScope nesting(*this);
    // `line` is the `function` keyword's; every function of the chunk shares one copy of its name.
    auto function = make<FunctionExpr>(line);
    function->chunkName = sharedChunkName_;
    consume(TokenKind::LeftParen, "expected '(' after function name");
    if (!check(TokenKind::RightParen))
    {
        do
        {
            append(function->parameters, consume(TokenKind::Identifier, "expected parameter name").text);
        } while (match(TokenKind::Comma));
    }
    consume(TokenKind::RightParen, "expected ')' after parameter list");
    function->body = parseBlock({TokenKind::End});
    consume(TokenKind::End, "expected 'end' after function body");
    return function;
}

// Only a name, a field or an index can be assigned. The statement is only known to be an assignment
// once '=' or ',' follows the expression, so a bad target is reported at that token.
AssignTarget Parser::asAssignTarget(const ExprPtr& expr)
{
    AssignTarget target;
    target.line = expr->line;
    if (auto variable = asExpr<VariableExpr>(expr))
    {
        target.kind = AssignTarget::Kind::Name;
        target.name = variable->name;
    }
    else if (auto field = asExpr<FieldExpr>(expr))
    {
        target.kind = AssignTarget::Kind::Field;
        target.object = field->object;
        target.name = field->name;
    }
    else if (auto index = asExpr<IndexExpr>(expr))
    {
        target.kind = AssignTarget::Kind::Index;
        target.object = index->object;
        target.index = index->index;
    }
    else
    {
        errorAt(peek(), "invalid assignment target");
    }
    return target;
}

// stat ::= if | while | for | return | break | function | local | varlist '=' explist | functioncall
// `break` is accepted anywhere: what a break outside a loop does is decided when it runs, not here.
StmtPtr Parser::parseStatement()
{
    NestingScope nesting(*this); // blocks nest through statements, so they count against the budget too
    const Token& token = peek();
    switch (token.kind)
    {
    case TokenKind::If: return parseIf();
    case TokenKind::While: return parseWhile();
    case TokenKind::For: return parseFor();
    case TokenKind::Return: return parseReturn();
    case TokenKind::Break: advance(); return make<BreakStmt>(token.line);
    case TokenKind::Function:
    {
        const Token& functionToken = advance();
        return parseFunctionDeclaration(functionToken, false, functionToken.line);
    }
    case TokenKind::Local: return parseLocal();
    default: return parseExpressionStatement();
    }
}

// if exp then block {elseif exp then block} [else block] end
StmtPtr Parser::parseIf()
{
    // Each branch's block stops at the next elseif, else or end; only the last end is consumed here.
    auto statement = make<IfStmt>(advance().line);
    IfStmt::Branch first;
    first.condition = parseExpression();
    consume(TokenKind::Then, "expected 'then' after if condition");
    first.body = parseBlock({TokenKind::ElseIf, TokenKind::Else, TokenKind::End});
    append(statement->branches, std::move(first));
    while (match(TokenKind::ElseIf))
    {
        IfStmt::Branch branch;
        branch.condition = parseExpression();
        consume(TokenKind::Then, "expected 'then' after elseif condition");
        branch.body = parseBlock({TokenKind::ElseIf, TokenKind::Else, TokenKind::End});
        append(statement->branches, std::move(branch));
    }
    if (match(TokenKind::Else))
    {
        statement->elseBody = parseBlock({TokenKind::End});
    }
    consume(TokenKind::End, "expected 'end' after if statement");
    return statement;
}

// while exp do block end
StmtPtr Parser::parseWhile()
{
    // The statement takes the `while` keyword's line, as every statement takes its first keyword's.
    const std::uint32_t line = advance().line;
    ExprPtr condition = parseExpression();
    consume(TokenKind::Do, "expected 'do' after while condition");
    StmtList body = parseBlock({TokenKind::End});
    consume(TokenKind::End, "expected 'end' after while loop");
    return make<WhileStmt>(std::move(condition), std::move(body), line);
}

// for Name = exp, exp [, exp] do block end  |  for Name {, Name} in explist do block end
StmtPtr Parser::parseFor()
{
    const std::uint32_t line = advance().line;
    std::string first = consume(TokenKind::Identifier, "expected loop variable name").text;
    // The token after the first name decides: '=' makes a numeric loop, anything else a generic one.
    if (match(TokenKind::Assign))
    {
        auto loop = make<NumericForStmt>(line);
        loop->name = std::move(first);
        loop->start = parseExpression();
        consume(TokenKind::Comma, "expected ',' after numeric for start value");
        loop->limit = parseExpression();
        if (match(TokenKind::Comma))
        {
            loop->step = parseExpression();
        }
        consume(TokenKind::Do, "expected 'do' after numeric for range");
        loop->body = parseBlock({TokenKind::End});
        consume(TokenKind::End, "expected 'end' after numeric for loop");
        return loop;
    }
    auto loop = make<GenericForStmt>(line);
    append(loop->names, std::move(first));
    while (match(TokenKind::Comma))
    {
        append(loop->names, consume(TokenKind::Identifier, "expected loop variable name").text);
    }
    consume(TokenKind::In, "expected 'in' in generic for loop");
    loop->iterators = parseExpressionList();
    consume(TokenKind::Do, "expected 'do' after generic for iterator");
    loop->body = parseBlock({TokenKind::End});
    consume(TokenKind::End, "expected 'end' after generic for loop");
    return loop;
}

// return [explist]
// Values are read unless the block visibly ends. A return need not be the last statement: what follows
// it is parsed as usual.
StmtPtr Parser::parseReturn()
{
    auto statement = make<ReturnStmt>(advance().line);
    switch (peek().kind)
    {
    case TokenKind::Semicolon:
    case TokenKind::Else:
    case TokenKind::ElseIf:
    case TokenKind::End:
    case TokenKind::EndOfFile: break;
    default: statement->values = parseExpressionList(); break;
    }
    return statement;
}

// function Name {'.' Name} [':' Name] funcbody  |  local function Name funcbody
// `line` is the statement's (the `local` keyword for a local function), while the function itself
// takes the line of its `function` keyword and the target that of its last name.
StmtPtr Parser::parseFunctionDeclaration(const Token& functionToken, bool isLocal, std::uint32_t line)
{
    const std::uint32_t functionLine = functionToken.line;
    AssignTarget target;
    bool isMethod = false;
    if (isLocal)
    {
        const Token& name = consume(TokenKind::Identifier, "expected local function name");
        target.name = name.text;
        target.line = name.line;
    }
    else
    {
        const Token& name = consume(TokenKind::Identifier, "expected function name");
        target.name = name.text;
        target.line = name.line;
        if (check(TokenKind::Dot) || check(TokenKind::Colon))
        {
            ExprPtr object = make<VariableExpr>(name.text, name.line);
            while (true)
            {
                if (match(TokenKind::Dot))
                {
                    const Token& field = consume(TokenKind::Identifier, "expected field name after '.'");
                    // Only the last name is assigned; the ones before it are read to find the table.
                    if (check(TokenKind::Dot) || check(TokenKind::Colon))
                    {
                        object = make<FieldExpr>(std::move(object), field.text, field.line);
                        continue;
                    }
                    target.kind = AssignTarget::Kind::Field;
                    target.object = std::move(object);
                    target.name = field.text;
                    target.line = field.line;
                    break;
                }
                if (match(TokenKind::Colon))
                {
                    const Token& method = consume(TokenKind::Identifier, "expected method name after ':'");
                    target.kind = AssignTarget::Kind::Field;
                    target.object = std::move(object);
                    target.name = method.text;
                    target.line = method.line;
                    isMethod = true;
                    break;
                }
                errorAt(peek(), "invalid function target"); // unreachable: the loop starts on '.' or ':'
            }
        }
    }
    std::shared_ptr<FunctionExpr> function = parseFunctionBody(functionLine);
    if (isMethod)
    {
        // function t:m(a) declares m with the parameters self, a.
        function->parameters.insert(function->parameters.begin(), "self");
    }
    return make<FunctionDeclarationStmt>(isLocal, std::move(target), std::move(function), line);
}

// local function Name funcbody  |  local Name {',' Name} ['=' explist]
StmtPtr Parser::parseLocal()
{
    // Both forms carry the `local` keyword's line as the statement's.
    const Token& localToken = advance();
    const std::uint32_t line = localToken.line;
    if (check(TokenKind::Function))
    {
        const Token& functionToken = advance();
        return parseFunctionDeclaration(functionToken, true, line);
    }
    auto statement = make<AssignmentStmt>(true, line);
    do
    {
        AssignTarget target;
        target.name = consume(TokenKind::Identifier, "expected local variable name").text;
        target.line = line; // every name carries the `local` keyword's line
        append(statement->targets, std::move(target));
    } while (match(TokenKind::Comma));
    if (match(TokenKind::Assign))
    {
        statement->values = parseExpressionList(); // without '=', the names start as nil
    }
    return statement;
}

// varlist '=' explist  |  functioncall
StmtPtr Parser::parseExpressionStatement()
{
    ExprPtr expr = parsePrefixExpression();
    if (check(TokenKind::Assign) || check(TokenKind::Comma))
    {
        // A multiple assignment: every further target is a prefix expression of its own.
        auto statement = make<AssignmentStmt>(false, expr->line);
        append(statement->targets, asAssignTarget(expr));
        while (match(TokenKind::Comma))
        {
            append(statement->targets, asAssignTarget(parsePrefixExpression()));
        }
        consume(TokenKind::Assign, "expected '=' in assignment");
        statement->values = parseExpressionList();
        return statement;
    }
    // Only a call stands alone as a statement; the error points past the expression, where '=' or '('
    // was expected.
    if (expr->kind != ExprKind::Call)
    {
        errorAt(peek(), "expected function call");
    }
    return make<ExpressionStmt>(expr, expr->line);
}

// exp ::= andexp {or andexp}
// One function per precedence level, loosest first: or, and, comparison, '..', '+' '-', '*' '/' '%',
// unary, then prefix expressions. Every cycle of recursion passes through parseExpression, parseConcat,
// parseUnary or parsePrefixExpression, so of the expression levels only these hold a NestingScope.
// The line of an `or` or `and` node is that of the right operand's last token, not of the operator.
ExprPtr Parser::parseExpression()
{
    NestingScope nesting(*this);
    ExprPtr left = parseAnd();
    while (match(TokenKind::Or))
    {
        ExprPtr right = parseAnd();
        left = make<BinaryExpr>(std::move(left), TokenKind::Or, std::move(right), previous().line);
    }
    return left;
}

// andexp ::= comparison {and comparison}
ExprPtr Parser::parseAnd()
{
    ExprPtr left = parseComparison();
    while (match(TokenKind::And))
    {
        ExprPtr right = parseComparison();
        left = make<BinaryExpr>(std::move(left), TokenKind::And, std::move(right), previous().line);
    }
    return left;
}

// comparison ::= concat {('==' | '~=' | '<' | '<=' | '>' | '>=') concat}
// Comparisons chain from the left: a < b < c compares the boolean a < b with c (and fails at run time).
ExprPtr Parser::parseComparison()
{
    ExprPtr left = parseConcat();
    while (true)
    {
        const TokenKind kind = peek().kind;
        if (kind != TokenKind::Equal && kind != TokenKind::NotEqual && kind != TokenKind::Less &&
            kind != TokenKind::LessEqual && kind != TokenKind::Greater && kind != TokenKind::GreaterEqual)
        {
            return left;
        }
        const std::uint32_t line = advance().line;
        ExprPtr right = parseConcat();
        left = make<BinaryExpr>(std::move(left), kind, std::move(right), line);
    }
}

// additive ::= factor {('+' | '-') factor}
// Folded into parseConcat, its one caller, so that a nesting level costs no extra frame on a small stack.
[[gnu::always_inline]] inline ExprPtr Parser::parseAdditive()
{
    ExprPtr left = parseFactor();
    while (check(TokenKind::Plus) || check(TokenKind::Minus))
    {
        const Token& op = advance();
        const TokenKind kind = op.kind;
        const std::uint32_t line = op.line;
        ExprPtr right = parseFactor();
        left = make<BinaryExpr>(std::move(left), kind, std::move(right), line);
    }
    return left;
}

// concat ::= additive ['..' concat]
// Right-associative and looser than '+' and '-': "a" .. 1 + 2 joins "a" and 3.
ExprPtr Parser::parseConcat()
{
    NestingScope nesting(*this); // each '..' recurses here, so the chain counts against the nesting budget
    ExprPtr left = parseAdditive();
    if (check(TokenKind::DotDot))
    {
        const std::uint32_t line = advance().line;
        ExprPtr right = parseConcat();
        return make<BinaryExpr>(std::move(left), TokenKind::DotDot, std::move(right), line);
    }
    return left;
}

// factor ::= unary {('*' | '/' | '%') unary}
ExprPtr Parser::parseFactor()
{
    ExprPtr left = parseUnary();
    while (check(TokenKind::Star) || check(TokenKind::Slash) || check(TokenKind::Percent))
    {
        const Token& op = advance();
        const TokenKind kind = op.kind;
        const std::uint32_t line = op.line;
        ExprPtr right = parseUnary();
        left = make<BinaryExpr>(std::move(left), kind, std::move(right), line);
    }
    return left;
}

// unary ::= ('-' | 'not' | '#') unary | prefixexp
// Tighter than every binary operator: not a == b compares (not a) with b, and -x * y is (-x) * y.
ExprPtr Parser::parseUnary()
{
    NestingScope nesting(*this);
    if (check(TokenKind::Minus) || check(TokenKind::Not) || check(TokenKind::Hash))
    {
        const Token& op = advance();
        const TokenKind kind = op.kind;
        const std::uint32_t line = op.line;
        ExprPtr operand = parseUnary();
        return make<UnaryExpr>(kind, std::move(operand), line);
    }
    return parsePrefixExpression();
}

// prefixexp ::= primary {'.' Name | '[' exp ']' | ':' Name args | args}
// Calls take only a parenthesised list: f "x" and f {...} are not calls. A plain call takes the line of
// its '(', a method call that of its name.
ExprPtr Parser::parsePrefixExpression()
{
    NestingScope nesting(*this);
    ExprPtr expr = parsePrimary();
    while (true)
    {
        if (match(TokenKind::Dot))
        {
            const Token& name = consume(TokenKind::Identifier, "expected field name after '.'");
            expr = make<FieldExpr>(std::move(expr), name.text, name.line);
        }
        else if (check(TokenKind::LeftBracket))
        {
            const std::uint32_t line = advance().line;
            ExprPtr index = parseExpression();
            consume(TokenKind::RightBracket, "expected ']' after index expression");
            expr = make<IndexExpr>(std::move(expr), std::move(index), line);
        }
        else if (match(TokenKind::Colon))
        {
            const Token& name = consume(TokenKind::Identifier, "expected method name after ':'");
            auto call = make<CallExpr>(name.line);
            call->methodName = name.text;
            call->object = std::move(expr);
            call->arguments = parseArguments();
            expr = std::move(call);
        }
        else if (check(TokenKind::LeftParen))
        {
            auto call = make<CallExpr>(peek().line);
            call->callee = std::move(expr);
            call->arguments = parseArguments();
            expr = std::move(call);
        }
        else
        {
            return expr;
        }
    }
}

// primary ::= literal | Name | '(' exp ')' | tableconstructor | function funcbody
ExprPtr Parser::parsePrimary()
{
    const Token& token = peek();
    switch (token.kind)
    {
    case TokenKind::Integer: advance(); return make<LiteralExpr>(convertIntegerLiteral(token.text), token.line);
    case TokenKind::Number: advance(); return make<LiteralExpr>(Value(convertNumberLiteral(token.text)), token.line);
    case TokenKind::String: advance(); return make<LiteralExpr>(Value(token.text), token.line);
    case TokenKind::True: advance(); return make<LiteralExpr>(Value(true), token.line);
    case TokenKind::False: advance(); return make<LiteralExpr>(Value(false), token.line);
    case TokenKind::Nil: advance(); return make<LiteralExpr>(Value(), token.line);
    case TokenKind::Identifier: advance(); return make<VariableExpr>(token.text, token.line);
    case TokenKind::LeftParen:
    {
        advance();
        ExprPtr inner = parseExpression();
        consume(TokenKind::RightParen, "expected ')' after expression");
        return inner; // parentheses make no node: (f()) is the call itself
    }
    case TokenKind::LeftBrace: return parseTableConstructor(advance());
    case TokenKind::Function: return parseFunctionBody(advance().line);
    default: errorAt(token, "expected expression");
    }
}

// tableconstructor ::= '{' [field {sep field} [sep]] '}'
ExprPtr Parser::parseTableConstructor(const Token& brace)
{
    auto table = make<TableExpr>(brace.line);
    // Fields keep their source order, which is the order the constructor assigns them in.
    if (!check(TokenKind::RightBrace))
    {
        while (true)
        {
            // A field's line is that of its first token, whatever its form.
            TableExpr::Field field;
            field.line = peek().line;
            if (match(TokenKind::LeftBracket))
            {
                field.kind = TableExpr::FieldKind::Keyed;
                field.key = parseExpression();
                consume(TokenKind::RightBracket, "expected ']' after table key");
                consume(TokenKind::Assign, "expected '=' after table key");
                field.value = parseExpression();
            }
            else if (check(TokenKind::Identifier) && peekAt(1).kind == TokenKind::Assign)
            {
                // The one place that looks two tokens ahead: { x = 1 } names a field, { x } is a value.
                field.kind = TableExpr::FieldKind::Named;
                field.name = advance().text;
                consume(TokenKind::Assign, "expected '=' after table field name");
                field.value = parseExpression();
            }
            else
            {
                field.value = parseExpression();
            }
            append(table->fields, std::move(field));
            if (!match(TokenKind::Comma) && !match(TokenKind::Semicolon))
            {
                break;
            }
            if (check(TokenKind::RightBrace))
            {
                break; // a trailing separator
            }
        }
    }
    consume(TokenKind::RightBrace, "expected '}' after table constructor");
    return table;
}

} // namespace velmar::lua
