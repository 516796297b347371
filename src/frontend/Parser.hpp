// Recursive-descent parser: the token vector of one chunk to its statement list.
#pragma once

#include "frontend/Ast.hpp"
#include "frontend/Token.hpp"

#include <initializer_list>
#include <string>
#include <vector>

namespace velmar::lua
{

class Parser
{
public:
    Parser(std::vector<Token> tokens, std::string chunkName);

    // The whole chunk: statements up to the end of input, semicolons skipped.
    StmtList parseChunk();
    StmtPtr parseStatement();
    ExprPtr parseExpression();

private:
    const Token& peek() const noexcept { return tokens_[current_]; }
    const Token& peekAt(std::size_t offset) const noexcept;
    bool check(TokenKind kind) const noexcept { return peek().kind == kind; }
    const Token& advance();
    const Token& previous() const noexcept { return tokens_[current_ == 0 ? 0 : current_ - 1]; }
    bool match(TokenKind kind);
    const Token& consume(TokenKind kind, const char* message);
    [[noreturn]] void errorAt(const Token& token, const char* message) const;
    // Counts one level of grammar recursion for as long as it lives.
    class NestingScope
    {
    public:
        explicit NestingScope(Parser& parser);
        ~NestingScope() { --parser_.depth_; }
        NestingScope(const NestingScope&) = delete;
        NestingScope& operator=(const NestingScope&) = delete;

    private:
        Parser& parser_;
    };
    static constexpr std::size_t kMaxNesting = 10000;
    void skipSemicolons();

    StmtList parseBlock(std::initializer_list<TokenKind> terminators);
    std::vector<ExprPtr> parseExpressionList();
    std::vector<ExprPtr> parseArguments();
    std::shared_ptr<FunctionExpr> parseFunctionBody(std::uint32_t line);
    AssignTarget asAssignTarget(const ExprPtr& expr) const;

    StmtPtr parseIf();
    StmtPtr parseWhile();
    StmtPtr parseFor();
    StmtPtr parseReturn();
    StmtPtr parseFunctionDeclaration(const Token& functionToken, bool isLocal, std::uint32_t line);
    StmtPtr parseLocal();
    StmtPtr parseExpressionStatement();

    ExprPtr parseAnd();
    ExprPtr parseComparison();
    ExprPtr parseConcat();
    ExprPtr parseFactor();
    ExprPtr parseUnary();
    ExprPtr parsePrefixExpression();
    ExprPtr parsePrimary();
    ExprPtr parseTableConstructor(const Token& brace);

    std::vector<Token> tokens_;
    std::string chunkName_;
    std::shared_ptr<const std::string> sharedChunkName_; // one copy for every function of the chunk
    std::size_t current_ = 0;
    std::size_t depth_ = 0;
};

// Number literal conversion: hexadecimal wraps to 64 bits; a decimal beyond the 64-bit range
// becomes the float of its value instead of failing.
Value convertIntegerLiteral(const std::string& text);
double convertNumberLiteral(const std::string& text);

} // namespace velmar::lua
