// The lexer: chunk text to tokens, one at a time or all at once, and failParse for every compile error.
#include "frontend/Lexer.hpp"

#include "support/Errors.hpp"

#include <array>

namespace velmar::lua
{

// A plain library error, not a RuntimeError with a line: the message already holds its position, and the
// facade reports it as it stands.
void failParse(const std::string& chunkName, std::uint32_t line, std::uint32_t column, std::string_view message)
{
    std::string text = chunkName;
    text += ':';
    text += std::to_string(line);
    text += ':';
    text += std::to_string(column);
    text += ": ";
    text += message;
    throw zq::runtime_error(std::move(text));
}

namespace
{

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Names are ASCII only: a byte of 0x80 and above is an unexpected character.
bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameByte(char c)
{
    return isNameStart(c) || isDigit(c);
}

struct Keyword
{
    std::string_view spelling;
    TokenKind kind;
};

// Read after the whole name, so "ends" and "andy" stay identifiers.
constexpr std::array<Keyword, 19> kKeywords = {{
    {"and", TokenKind::And},       {"break", TokenKind::Break},   {"do", TokenKind::Do},
    {"else", TokenKind::Else},     {"elseif", TokenKind::ElseIf}, {"end", TokenKind::End},
    {"false", TokenKind::False},   {"for", TokenKind::For},       {"function", TokenKind::Function},
    {"if", TokenKind::If},         {"in", TokenKind::In},         {"local", TokenKind::Local},
    {"nil", TokenKind::Nil},       {"not", TokenKind::Not},       {"or", TokenKind::Or},
    {"return", TokenKind::Return}, {"then", TokenKind::Then},     {"true", TokenKind::True},
    {"while", TokenKind::While},
}};

} // namespace

int Lexer::advance()
{
    const char c = source_[position_++];
    if (c == '\n')
    {
        ++line_;
        column_ = 1;
    }
    else
    {
        ++column_;
    }
    return static_cast<signed char>(c); // callers cast it back to char
}

bool Lexer::match(char expected)
{
    if (!atEnd() && source_[position_] == expected)
    {
        advance();
        return true;
    }
    return false;
}

void Lexer::skipBlanksAndComments()
{
    while (!atEnd())
    {
        const char c = peek();
        if (c == ' ' || (c >= 9 && c <= 13)) // space, tab, line feed, vertical tab, form feed, return
        {
            advance();
        }
        else if (c == '-' && peekNext() == '-')
        {
            advance();
            advance();
            // "--[[" opens a long comment; "--[" or "--[=[" are line comments.
            if (peek() == '[' && peekNext() == '[')
            {
                advance();
                advance();
                readLongString(line_, column_); // long comment: the body is dropped
            }
            else
            {
                while (!atEnd() && peek() != '\n')
                {
                    advance();
                }
            }
        }
        else
        {
            return;
        }
    }
}

// [[ ... ]] with no level signs and no escapes: the body is taken byte for byte, line feeds included,
// up to the first "]]". An unclosed one fails at (`line`, `column`): a string's opening "[[", or the
// position just after a comment's "--[[".
std::string Lexer::readLongString(std::uint32_t line, std::uint32_t column)
{
    std::string body;
    while (true)
    {
        if (atEnd())
        {
            failParse(chunkName_, line, column, "unterminated long string literal");
        }
        const char c = static_cast<char>(advance());
        if (c == ']' && !atEnd() && peek() == ']')
        {
            advance();
            return body;
        }
        body.push_back(c);
    }
}

// The escapes are \n, \t, \r and \0; any other escaped byte stands for itself (\\, \", \' and also \a).
// Ends at the same quote that opened it; an unclosed string is reported at that opening quote.
void Lexer::readQuotedString(char quote, Token& token)
{
    while (true)
    {
        if (atEnd())
        {
            failParse(chunkName_, token.line, token.column, "unterminated string literal");
        }
        const char c = static_cast<char>(advance());
        if (c == quote)
        {
            return;
        }
        if (c != '\\')
        {
            token.text.push_back(c); // a raw line feed is ordinary content
            continue;
        }
        if (atEnd())
        {
            failParse(chunkName_, token.line, token.column, "unterminated string escape");
        }
        const char escaped = static_cast<char>(advance());
        switch (escaped)
        {
        case 'n': token.text.push_back('\n'); break;
        case 't': token.text.push_back('\t'); break;
        case 'r': token.text.push_back('\r'); break;
        case '0': token.text.push_back('\0'); break; // only the one digit: "\065" is NUL then "65"
        default: token.text.push_back(escaped); break;
        }
    }
}

// Decimal integers, hexadecimal integers and decimal floats digits '.' digits, kept as their exact text
// for the parser to convert. There are no exponents: "1e5" is 1 then the name e5, and "1." is 1 then '.'.
void Lexer::readNumber(char first, Token& token)
{
    token.kind = TokenKind::Integer;
    token.text.push_back(first);
    if (first == '0' && (peek() == 'x' || peek() == 'X'))
    {
        token.text.push_back(static_cast<char>(advance())); // "0x" with no digits is left for the parser
        while (!atEnd() && isHexDigit(peek()))
        {
            token.text.push_back(static_cast<char>(advance()));
        }
        return;
    }
    while (!atEnd() && isDigit(peek()))
    {
        token.text.push_back(static_cast<char>(advance()));
    }
    // A '.' makes a float only with a digit after it, so 1..2 reads as 1 .. 2.
    if (peek() == '.' && isDigit(peekNext()))
    {
        token.kind = TokenKind::Number;
        token.text.push_back(static_cast<char>(advance()));
        while (!atEnd() && isDigit(peek()))
        {
            token.text.push_back(static_cast<char>(advance()));
        }
    }
}

// A name, or the keyword it spells (keywords are case-sensitive: "End" is a name).
void Lexer::readName(char first, Token& token)
{
    token.text.push_back(first);
    while (!atEnd() && isNameByte(peek()))
    {
        token.text.push_back(static_cast<char>(advance()));
    }
    token.kind = TokenKind::Identifier;
    for (const Keyword& keyword : kKeywords)
    {
        if (keyword.spelling == token.text)
        {
            token.kind = keyword.kind;
            return;
        }
    }
}


// One token after skipping blanks and comments. Single-byte tokens, then the two-byte ones that share a
// first byte ('..', '<=', '==', '>=', '~=', '[['), then numbers and names.
Token Lexer::next()
{
    skipBlanksAndComments();
    Token token;
    token.line = line_;
    token.column = column_;
    if (atEnd())
    {
        token.kind = TokenKind::EndOfFile;
        return token;
    }
    const char c = static_cast<char>(advance());
    auto single = [&](TokenKind kind)
    {
        token.kind = kind;
        token.text.assign(1, c);
    };
    // '<', '=' and '>' each take one optional '=' after them.
    auto withEqual = [&](TokenKind plain, TokenKind equal)
    {
        token.text.assign(1, c);
        if (match('='))
        {
            token.text.push_back('=');
            token.kind = equal;
        }
        else
        {
            token.kind = plain;
        }
    };
    switch (c)
    {
    // Either quote opens a string, inside which the other needs no escape.
    case '"':
    case '\'':
        token.kind = TokenKind::String;
        readQuotedString(c, token);
        break;
    case '#': single(TokenKind::Hash); break;
    case '%': single(TokenKind::Percent); break;
    case '(': single(TokenKind::LeftParen); break;
    case ')': single(TokenKind::RightParen); break;
    case '*': single(TokenKind::Star); break;
    case '+': single(TokenKind::Plus); break;
    case ',': single(TokenKind::Comma); break;
    case '-': single(TokenKind::Minus); break;
    case '/': single(TokenKind::Slash); break;
    case ':': single(TokenKind::Colon); break;
    case ';': single(TokenKind::Semicolon); break;
    case ']': single(TokenKind::RightBracket); break;
    case '{': single(TokenKind::LeftBrace); break;
    case '}': single(TokenKind::RightBrace); break;
    case '.':
        if (match('.'))
        {
            token.kind = TokenKind::DotDot;
            token.text = "..";
        }
        else
        {
            single(TokenKind::Dot);
        }
        break;
    case '<': withEqual(TokenKind::Less, TokenKind::LessEqual); break;
    case '=': withEqual(TokenKind::Assign, TokenKind::Equal); break;
    case '>': withEqual(TokenKind::Greater, TokenKind::GreaterEqual); break;
    case '~': // only in "~="
        if (!match('='))
        {
            failParse(chunkName_, token.line, token.column, "unexpected '~'");
        }
        token.kind = TokenKind::NotEqual;
        token.text = "~=";
        break;
    case '[':
        if (match('['))
        {
            token.kind = TokenKind::String;
            token.text = readLongString(token.line, token.column);
        }
        else
        {
            single(TokenKind::LeftBracket);
        }
        break;
    default:
        if (isDigit(c))
        {
            readNumber(c, token);
        }
        else if (isNameStart(c))
        {
            readName(c, token);
        }
        else
        {
            std::string message = "unexpected character '";
            message.push_back(c);
            message.push_back('\'');
            failParse(chunkName_, token.line, token.column, message);
        }
        break;
    }
    return token;
}

} // namespace velmar::lua
