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

class Lexer
{
public:
    Lexer(std::string_view source, std::string chunkName) : source_(source), chunkName_(std::move(chunkName)) {}

    // The next token; at the end of the text, EndOfFile (again on every later call).
    Token next();

private:
    bool atEnd() const noexcept { return position_ >= source_.size(); }
    int advance();
    char peek() const noexcept { return atEnd() ? '\0' : source_[position_]; }
    char peekNext() const noexcept { return position_ + 1 < source_.size() ? source_[position_ + 1] : '\0'; }
    bool match(char expected);
    void skipBlanksAndComments();
    std::string readLongString(std::uint32_t line, std::uint32_t column);
    void readQuotedString(char quote, Token& token);
    void readNumber(char first, Token& token);
    void readName(char first, Token& token);

    std::string_view source_;
    std::string chunkName_;
    std::size_t position_ = 0;
    std::uint32_t line_ = 1;
    std::uint32_t column_ = 1;
    bool lastMatched_ = false;
};

} // namespace velmar::lua
