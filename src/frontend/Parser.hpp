// Recursive-descent parser: the tokens of one chunk to its statement list.
#pragma once

#include "frontend/Ast.hpp"
#include "frontend/Lexer.hpp"
#include "frontend/Token.hpp"
#include "runtime/Heap.hpp"

#include <deque>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace velmar::lua
{

// Builds the tree of one chunk and stops at the first error, which leaves through failParse as
// "chunk:line:column: message" at the token where parsing stopped. Every node and list is charged to
// the current heap as it is made, so a source too large for the memory limit fails while it compiles.
class Parser
{
public:
    // The parser pulls tokens from the lexer as it goes and keeps only a short window of them, so a
    // chunk's tokens never cost memory in proportion to its size. The source must outlive the parser.
    Parser(std::string_view source, std::string chunkName);

    // The whole chunk: statements up to the end of input, semicolons skipped.
    StmtList parseChunk();
    StmtPtr parseStatement();
    ExprPtr parseExpression();

    // The memory of the tree built so far, charged to the current heap as the tree grew (a run past
    // its memory limit fails while compiling). Whoever keeps the tree keeps the charge with it.
    HeapCharge takeCharge() noexcept { return std::move(charge_); }

private:
    // Token window: window_ holds the tokens base_ .. base_ + size - 1 of the chunk, current_ counts from
    // the chunk's start. fillWindow keeps the current token and the next one read; advance drops old ones.
    const Token& peek() const noexcept { return window_[current_ - base_]; }
    // The current token (0) or the one after it (1).
    const Token& peekAt(std::size_t offset) const noexcept;
    bool check(TokenKind kind) const noexcept { return peek().kind == kind; }
    // Moves to the next token and returns the one passed. A token reference stays valid for at least
    // kTokensKept further advances; the parser never holds one longer.
    const Token& advance();
    const Token& previous() const noexcept { return window_[(current_ == 0 ? 0 : current_ - 1) - base_]; }
    // Steps past the current token when it has that kind.
    bool match(TokenKind kind);
    // Steps past a token that must be there; otherwise fails with `message` at the current token.
    const Token& consume(TokenKind kind, const char* message);
    // Every syntax error of the parser leaves here. A lexical error later in the chunk wins over it.
    [[noreturn]] void errorAt(const Token& token, const char* message);
    void fillWindow();
    static constexpr std::size_t kTokensKept = 16;

    // Nodes and lists are charged before they are allocated, at the sizes they take.
    template <typename T, typename... Args> std::shared_ptr<T> make(Args&&... args)
    {
        charge_.add(sizeof(T) + kNodeOverhead);
        return std::make_shared<T>(std::forward<Args>(args)...);
    }
    template <typename List, typename Element> void append(List& list, Element&& element)
    {
        if (list.size() == list.capacity())
        {
            // Most lists hold one item (a target, an argument, a statement): room for one first.
            const std::size_t capacity = list.capacity() == 0 ? 1 : 2 * list.capacity();
            charge_.add((capacity - list.capacity()) * sizeof(typename List::value_type));
            list.reserve(capacity);
        }
        list.push_back(std::forward<Element>(element));
    }
    // The shared count and the allocator's own bookkeeping beside each node.
    static constexpr std::size_t kNodeOverhead = 4 * sizeof(void*);
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
    // Levels of counted recursion before "nesting too deep". It bounds the parser only: chains read by a
    // loop (a + b + c, a.b.c) make trees deeper than this count, which the resolver guards by stack use.
    static constexpr std::size_t kMaxNesting = 10000;
    // Empty statements: any number of ';' may stand between statements.
    void skipSemicolons();

    // Grammar productions, one function each; the grammar rule stands above each definition.
    StmtList parseBlock(std::initializer_list<TokenKind> terminators);
    std::vector<ExprPtr> parseExpressionList();
    std::vector<ExprPtr> parseArguments();
    // Parameters and body, shared by function declarations and function expressions.
    std::shared_ptr<FunctionExpr> parseFunctionBody(std::uint32_t line);
    // The prefix expression already read, as the target of an assignment.
    AssignTarget asAssignTarget(const ExprPtr& expr);

    StmtPtr parseIf();
    StmtPtr parseWhile();
    StmtPtr parseFor();
    StmtPtr parseReturn();
    StmtPtr parseFunctionDeclaration(const Token& functionToken, bool isLocal, std::uint32_t line);
    StmtPtr parseLocal();
    StmtPtr parseExpressionStatement();

    // Expression levels, loosest first.
    ExprPtr parseAnd();
    ExprPtr parseComparison();
    ExprPtr parseConcat();
    ExprPtr parseAdditive();
    ExprPtr parseFactor();
    ExprPtr parseUnary();
    ExprPtr parsePrefixExpression();
    ExprPtr parsePrimary();
    ExprPtr parseTableConstructor(const Token& brace);

    Lexer lexer_;
    std::deque<Token> window_; // tokens base_ .. base_ + size - 1 of the chunk
    std::string chunkName_;
    std::shared_ptr<const std::string> sharedChunkName_; // one copy for every function of the chunk

    std::size_t base_ = 0;    // chunk index of window_.front()
    std::size_t current_ = 0; // chunk index of the current token
    std::size_t depth_ = 0;   // live NestingScopes
    HeapCharge charge_;       // the tree's memory so far; handed over by takeCharge
};

// Number literal conversion: hexadecimal wraps to 64 bits; a decimal beyond the 64-bit range
// becomes the float of its value instead of failing.
Value convertIntegerLiteral(const std::string& text);
double convertNumberLiteral(const std::string& text);

} // namespace velmar::lua
