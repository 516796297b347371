// The out-of-line half of the operators' meanings (Operators.hpp has the rest): the near-integer rule,
// equality across kinds, concatenation, ordering of strings, and every operator error.
#include "runtime/Operators.hpp"

#include "support/ExactMath.hpp"

#include <cmath>
#include <cstring>

namespace velmar::lua
{
namespace
{

[[noreturn]] void failOperands(std::uint32_t line, TokenKind op)
{
    const char* symbol = "+";
    switch (op)
    {
    case TokenKind::Minus: symbol = "-"; break;
    case TokenKind::Star: symbol = "*"; break;
    case TokenKind::Slash: symbol = "/"; break;
    case TokenKind::Percent: symbol = "%"; break;
    default: break;
    }
    failRuntime(line, std::string("operator '") + symbol + "' expects numbers");
}

// Results at least this long are copied in charged pieces.
constexpr std::size_t kCopyInPieces = 1u << 20;

} // namespace

Value numericResult(double number)
{
    if (std::isfinite(number))
    {
        const double rounded = zq::roundExact(number);
        if (rounded >= -9223372036854775808.0 && rounded <= 9223372036854775808.0 &&
            std::fabs(number - rounded) <= kEpsilon)
        {
            return Value(static_cast<long long>(saturatingFloatToInteger(rounded)));
        }
    }
    return Value(number);
}

NumberValue HandedNumber::normalised(double value) const
{
    const Value result = numericResult(value);
    return result.isInteger() ? integer(result.integer()) : exact(result.number());
}

bool isPureArithmetic(const Expr& expr, int depth)
{
    if (expr.kind != ExprKind::Binary || depth > 6)
    {
        return false;
    }
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    if (!isArithmetic(binary.op))
    {
        return false;
    }
    const auto pure = [depth](const Expr& operand) {
        const Operand shape = operandShape(operand);
        return shape == Operand::Constant || shape == Operand::LocalHere || isPureArithmetic(operand, depth + 1);
    };
    return pure(*binary.left) && pure(*binary.right);
}

bool valuesEqual(const Value& left, const Value& right) noexcept
{
    if (left.kind() != right.kind())
    {
        if (left.isNumber() && right.isNumber())
        {
            const double a = left.isInteger() ? static_cast<double>(left.integer()) : left.number();
            const double b = right.isInteger() ? static_cast<double>(right.integer()) : right.number();
            return std::fabs(a - b) <= kEpsilon;
        }
        return false;
    }
    switch (left.kind())
    {
    case ValueKind::Nil: return true;
    case ValueKind::Integer: return left.integer() == right.integer();
    case ValueKind::Float: return left.number() == right.number();
    case ValueKind::Boolean: return left.boolean() == right.boolean();
    case ValueKind::String: return left.string()->equals(*right.string());
    case ValueKind::Table:
    case ValueKind::Function:
    case ValueKind::UserData:
    case ValueKind::Iterator: return left.objectAddress() == right.objectAddress();
    }
    return false;
}

Value concatenate(LuaVM::Impl& vm, const Value& left, const Value& right, std::uint32_t line)
{
    if (left.isString() && right.isString())
    {
        const LuaString& a = *left.string();
        const LuaString& b = *right.string();
        Ref<LuaString> joined = LuaString::makeUninitialized(a.size() + b.size());
        if (a.size() + b.size() < kCopyInPieces) [[likely]]
        {
            vm.spendStepsForBytes(a.size() + b.size(), line);
            std::memcpy(joined->mutableData(), a.data(), a.size());
            std::memcpy(joined->mutableData() + a.size(), b.data(), b.size());
        }
        else
        {
            WorkMeter meter(vm, line); // a huge copy stops promptly at an interrupt
            copyMetered(meter, joined->mutableData(), a.data(), a.size());
            copyMetered(meter, joined->mutableData() + a.size(), b.data(), b.size());
        }
        return Value(std::move(joined));
    }
    std::string text;
    left.appendTo(text);
    right.appendTo(text);
    vm.spendStepsForBytes(text.size(), line);
    return Value(text);
}

void failArithmetic(TokenKind op, const Value& left, const Value& right, std::uint32_t line)
{
    if (!left.isNumber() || !right.isNumber())
    {
        failOperands(line, op);
    }
    // Numbers reach here only for / and % by a divisor within one epsilon of zero.
    failRuntime(line, op == TokenKind::Percent ? "modulo by zero" : "division by zero");
}

bool stringsEqualSlow(LuaVM::Impl& vm, const LuaString& left, const LuaString& right, std::uint32_t line)
{
    vm.spendStepsForBytes(left.size(), line); // distinct strings of one length compare byte by byte
    return left.equals(right);
}

bool orderSlow(LuaVM::Impl& vm, TokenKind op, const Value& left, const Value& right, std::uint32_t line)
{
    int order; // -1, 0, 1; 2 when unordered (NaN)
    if (left.isInteger() && right.isInteger())
    {
        order = left.integer() < right.integer() ? -1 : (left.integer() > right.integer() ? 1 : 0);
    }
    else if (left.isNumber() && right.isNumber())
    {
        const double a = left.asFloat();
        const double b = right.asFloat();
        order = a < b ? -1 : (a > b ? 1 : (a == b ? 0 : 2));
    }
    else if (left.isString() && right.isString())
    {
        // Comparing reads at most the shorter string's bytes.
        vm.spendStepsForBytes(std::min(left.string()->size(), right.string()->size()), line);
        const int compared = left.stringView().compare(right.stringView());
        order = compared < 0 ? -1 : (compared > 0 ? 1 : 0);
    }
    else
    {
        failRuntime(line, "ordered comparisons require matching numbers or strings");
    }
    switch (op)
    {
    case TokenKind::Less: return order == -1;
    case TokenKind::LessEqual: return order == -1 || order == 0;
    case TokenKind::Greater: return order == 1;
    case TokenKind::GreaterEqual: return order == 1 || order == 0;
    default: failRuntime(line, "unsupported expression");
    }
}

} // namespace velmar::lua
