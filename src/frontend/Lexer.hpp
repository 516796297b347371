// The lexer: chunk text to tokens, one at a time or all at once, and failParse for every compile error.
#pragma once

#include "frontend/Token.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace velmar::lua
{

// Raises a syntax error "chunk:line:column: message" as the library's plain runtime error.
[[noreturn]] void failParse(const std::string& chunkName, std::uint32_t line, std::uint32_t column,
                            std::string_view message);

// Reads one chunk's text on demand, keeping only its position. Lines and columns count from 1, a column
// per byte; a token's position is that of its first byte, and a lexical error points at the token.
class Lexer
{
public:
    Lexer(std::string_view source, std::string chunkName) : source_(source), chunkName_(std::move(chunkName)) {}

    // The next token; at the end of the text, EndOfFile (again on every later call).
    Token next();

private:
    bool atEnd() const noexcept { return position_ >= source_.size(); }
    // Consumes one byte and keeps line and column in step; the caller has checked atEnd.
    int advance();
    char peek() const noexcept { return atEnd() ? '\0' : source_[position_]; }
    char peekNext() const noexcept { return position_ + 1 < source_.size() ? source_[position_ + 1] : '\0'; }
    bool match(char expected);
    void skipBlanksAndComments();
    // The readers start after the opening bytes and fail at the token's own position.
    std::string readLongString(std::uint32_t line, std::uint32_t column);
    void readQuotedString(char quote, Token& token);
    void readNumber(char first, Token& token);
    void readName(char first, Token& token);

    std::string_view source_; // owned by the caller, who keeps it alive while tokens are read
    std::string chunkName_;
    std::size_t position_ = 0;
    std::uint32_t line_ = 1;
    std::uint32_t column_ = 1;
};

} // namespace velmar::lua
