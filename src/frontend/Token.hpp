// Tokens of the accepted language; TokenKind also serves as the operator code of expression nodes.
#pragma once

#include <cstdint>
#include <string>

namespace velmar::lua
{

enum class TokenKind : std::uint8_t
{
    // Names and literals: the only kinds whose text matters to the parser.
    Identifier,
    Integer,
    Number,
    String,
    // Punctuation and operators.
    LeftParen,
    RightParen,
    LeftBrace,
    RightBrace,
    LeftBracket,
    RightBracket,
    Comma,
    Semicolon,
    Dot,
    DotDot,
    Colon,
    Plus,
    Minus,
    Star,
    Slash,
    Percent,
    Hash,
    Assign,
    Equal,
    NotEqual,
    Less,
    LessEqual,
    Greater,
    GreaterEqual,
    // Keywords, alphabetical as in the lexer's table.
    And,
    Break,
    Do,
    Else,
    ElseIf,
    End,
    False,
    For,
    Function,
    If,
    In,
    Local,
    Nil,
    Not,
    Or,
    Return,
    Then,
    True,
    While,
    EndOfFile, // also what every read past the end returns
};

// One token with its position (1-based line and byte column of its first byte).
struct Token
{
    TokenKind kind = TokenKind::EndOfFile;
    std::string text; // spelling; decoded contents for strings; exact digits for numbers
    std::uint32_t line = 1;
    std::uint32_t column = 1;
};

} // namespace velmar::lua
