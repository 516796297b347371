// Tokens of the accepted language; TokenKind also serves as the operator code of expression nodes.
#pragma once

#include <cstdint>
#include <string>

namespace velmar::lua
{

enum class TokenKind : std::uint8_t
{
    Identifier,
    Integer,
    Number,
    String,
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
    EndOfFile,
};

struct Token
{
    TokenKind kind = TokenKind::EndOfFile;
    std::string text; // spelling; decoded contents for strings; exact digits for numbers
    std::uint32_t line = 1;
    std::uint32_t column = 1;
};

} // namespace velmar::lua
