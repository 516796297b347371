#include "support/NumberText.hpp"

#include <cstdint>

namespace zq
{
namespace
{

// Significant digits kept of an integer: 70 digits overflow 64 bits in every base, so a longer run keeps
// its range error, and a shorter one is kept whole.
constexpr std::size_t kIntegerDigits = 70;
// Significant digits kept of a float's mantissa. The exact decimal expansion of any midpoint between two
// doubles has at most 767 significant digits (hexadecimal: 15), so the first 800 (40), followed by a
// nonzero digit when anything nonzero was cut, round exactly as the whole mantissa does, and stay inexact
// when it was.
constexpr std::size_t kDecimalDigits = 800;
constexpr std::size_t kHexDigits = 40;
// Exponents saturate here: far beyond any double, yet far from int64 overflow when shifted by a mantissa
// that fits in memory.
constexpr std::int64_t kExponentCap = 1'000'000'000'000'000;

class Scanner
{
public:
    Scanner(std::string_view text, const ScanCheckpoint& checkpoint) : text_(text), checkpoint_(checkpoint) {}

    bool atEnd() const { return position_ >= text_.size(); }
    bool atStart() const { return position_ == 0; }
    char peek(std::size_t ahead = 0) const
    {
        return position_ + ahead < text_.size() ? text_[position_ + ahead] : '\0';
    }
    std::size_t remaining() const { return text_.size() - position_; }
    std::string_view rest() const { return text_.substr(position_); }
    void advance(std::size_t count = 1)
    {
        position_ += count;
        if (position_ >= nextCheckpoint_)
        {
            nextCheckpoint_ = position_ + kCheckpointBytes;
            checkpoint_();
        }
    }
    bool take(char wanted)
    {
        if (peek() != wanted)
        {
            return false;
        }
        advance();
        return true;
    }

private:
    std::string_view text_;
    const ScanCheckpoint& checkpoint_;
    std::size_t position_ = 0;
    std::size_t nextCheckpoint_ = kCheckpointBytes;
};

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

int digitValue(char c)
{
    if (c >= '0' && c <= '9')
    {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z')
    {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'Z')
    {
        return c - 'A' + 10;
    }
    return 99;
}

bool isDigitIn(char c, int base)
{
    return digitValue(c) < base;
}

bool isNameChar(char c)
{
    return digitValue(c) < 36 || c == '_';
}

void skipSpace(Scanner& scanner)
{
    while (isSpace(scanner.peek()))
    {
        scanner.advance();
    }
}

void takeSign(Scanner& scanner, std::string& out)
{
    if (scanner.peek() == '+' || scanner.peek() == '-')
    {
        out += scanner.peek();
        scanner.advance();
    }
}

bool startsWithCaseless(const Scanner& scanner, std::string_view word)
{
    for (std::size_t i = 0; i < word.size(); ++i)
    {
        const char c = scanner.peek(i);
        if (c != word[i] && c != word[i] - 'a' + 'A')
        {
            return false;
        }
    }
    return true;
}

// The digits strtoll/strtoull would read from here, shortened: the base's "0x" prefix, one zero for any
// run of leading zeros (base 0 still sees an octal text), at most kIntegerDigits significant digits. Returns
// whether any digit was read.
bool appendIntegerDigits(Scanner& scanner, int base, std::string& out)
{
    int digitBase = base;
    if ((base == 0 || base == 16) && scanner.peek() == '0' && (scanner.peek(1) == 'x' || scanner.peek(1) == 'X') &&
        isDigitIn(scanner.peek(2), 16))
    {
        out += "0x";
        scanner.advance(2);
        digitBase = 16;
    }
    else if (base == 0)
    {
        digitBase = scanner.peek() == '0' ? 8 : 10;
    }
    bool anyDigit = false;
    if (scanner.peek() == '0')
    {
        out += '0';
        anyDigit = true;
        while (scanner.take('0'))
        {
        }
    }
    std::size_t kept = 0;
    while (isDigitIn(scanner.peek(), digitBase))
    {
        if (kept < kIntegerDigits)
        {
            out += scanner.peek();
            ++kept;
        }
        anyDigit = true;
        scanner.advance();
    }
    return anyDigit;
}

// A NaN's parenthesised payload, which strtod reads with strtoull in base 0: what that reads, plus the
// first character it stops at, since only whether it stops matters.
std::optional<std::string> shortNanPayload(Scanner& scanner)
{
    std::string out = "(";
    appendIntegerDigits(scanner, 0, out);
    if (scanner.peek() != ')' && isNameChar(scanner.peek()))
    {
        out += scanner.peek();
        while (isNameChar(scanner.peek()))
        {
            scanner.advance();
        }
    }
    if (!scanner.take(')') || !scanner.atEnd())
    {
        return std::nullopt;
    }
    return out + ")";
}

} // namespace

std::optional<std::string> shortIntegerText(std::string_view text, int base, const ScanCheckpoint& checkpoint)
{
    Scanner scanner(text, checkpoint);
    skipSpace(scanner);
    std::string out;
    takeSign(scanner, out);
    // With no digit, strtoll consumes nothing: only the empty text is then read whole (as 0).
    if (!appendIntegerDigits(scanner, base, out))
    {
        return text.empty() ? std::optional<std::string>("") : std::nullopt;
    }
    if (!scanner.atEnd())
    {
        return std::nullopt;
    }
    return out;
}

std::optional<std::string> shortFloatText(std::string_view text, const ScanCheckpoint& checkpoint)
{
    Scanner scanner(text, checkpoint);
    skipSpace(scanner);
    std::string out;
    takeSign(scanner, out);
    if (startsWithCaseless(scanner, "nan"))
    {
        out += scanner.rest().substr(0, 3);
        scanner.advance(3);
        if (scanner.atEnd())
        {
            return out;
        }
        if (!scanner.take('('))
        {
            return std::nullopt;
        }
        const std::optional<std::string> payload = shortNanPayload(scanner);
        return payload ? std::optional<std::string>(out + *payload) : std::nullopt;
    }
    if (startsWithCaseless(scanner, "inf"))
    {
        const std::string_view rest = scanner.rest();
        if (rest.size() == 3 || (rest.size() == 8 && startsWithCaseless(scanner, "infinity")))
        {
            return out + std::string(rest);
        }
        return std::nullopt;
    }

    const bool hex = scanner.peek() == '0' && (scanner.peek(1) == 'x' || scanner.peek(1) == 'X') &&
                     (isDigitIn(scanner.peek(2), 16) || (scanner.peek(2) == '.' && isDigitIn(scanner.peek(3), 16)));
    if (hex)
    {
        scanner.advance(2);
    }
    const int digitBase = hex ? 16 : 10;
    const std::size_t keepLimit = hex ? kHexDigits : kDecimalDigits;

    // The mantissa as 0.<significant digits> times base^shift.
    std::string kept;
    bool cutNonzero = false;
    std::int64_t shift = 0;
    bool anyDigit = false;
    bool significant = false;
    bool inFraction = false;
    for (;;)
    {
        const char c = scanner.peek();
        if (c == '.' && !inFraction)
        {
            inFraction = true;
            scanner.advance();
            continue;
        }
        if (!isDigitIn(c, digitBase))
        {
            break;
        }
        anyDigit = true;
        significant = significant || c != '0';
        if (significant)
        {
            if (kept.size() < keepLimit)
            {
                kept += c;
            }
            else if (c != '0')
            {
                cutNonzero = true;
            }
        }
        // An integer digit moves the point right; a leading zero of the fraction moves it left.
        if (!inFraction && significant)
        {
            ++shift;
        }
        else if (inFraction && !significant)
        {
            --shift;
        }
        scanner.advance();
    }
    if (!anyDigit)
    {
        // strtod consumes nothing: only the empty text is read whole, by strtoll before this.
        return text.empty() ? std::optional<std::string>("") : std::nullopt;
    }

    std::int64_t exponent = 0;
    const char marker = hex ? 'p' : 'e';
    if (scanner.peek() == marker || scanner.peek() == marker - 'a' + 'A')
    {
        const std::size_t signLength = scanner.peek(1) == '+' || scanner.peek(1) == '-' ? 1 : 0;
        if (!isDigitIn(scanner.peek(1 + signLength), 10))
        {
            return std::nullopt; // strtod stops before the marker
        }
        const bool negative = scanner.peek(1) == '-';
        scanner.advance(1 + signLength);
        while (isDigitIn(scanner.peek(), 10))
        {
            if (exponent < kExponentCap)
            {
                exponent = exponent * 10 + (scanner.peek() - '0');
            }
            scanner.advance();
        }
        exponent = negative ? -exponent : exponent;
    }
    if (!scanner.atEnd())
    {
        return std::nullopt;
    }
    if (!significant)
    {
        return out + "0";
    }
    out += hex ? "0x0." : "0.";
    out += kept;
    if (cutNonzero)
    {
        out += '1';
    }
    out += hex ? 'p' : 'e';
    out += std::to_string(exponent + (hex ? 4 : 1) * shift);
    return out;
}

} // namespace zq
