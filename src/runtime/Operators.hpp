// The meaning of every binary operator, in one place. The general evaluator, the fused statement forms
// and the conditions all call these: the inline fast paths cover numbers, and each hands every other
// case (overflow, mixed kinds, strings, every error) to one out-of-line definition.
#pragma once

#include "runtime/Interpreter.hpp"
#include "runtime/WorkMeter.hpp"

#include <cmath>
#include <cstdint>
#include <limits>

namespace velmar::lua
{

// Equality of == and ~=: an integer and a float within one epsilon are equal, other kinds exactly.
bool valuesEqual(const Value& left, const Value& right) noexcept;
// The errors of + - * / %: "operator '+' expects numbers", "division by zero", "modulo by zero".
[[noreturn]] [[gnu::noinline]] void failArithmetic(TokenKind op, const Value& left, const Value& right,
                                                   std::uint32_t line);
// Ordered comparison of anything but two numbers: strings, or the "matching numbers or strings" error.
[[gnu::noinline]] bool orderSlow(LuaVM::Impl& vm, TokenKind op, const Value& left, const Value& right, std::uint32_t line);
// Two distinct strings of the same length, compared byte by byte; long ones spend steps for it.
[[gnu::noinline]] bool stringsEqualSlow(LuaVM::Impl& vm, const LuaString& left, const LuaString& right,
                                        std::uint32_t line);
// a .. b, spending the bytes it produces against the step budget.
Value concatenate(LuaVM::Impl& vm, const Value& left, const Value& right, std::uint32_t line);

constexpr bool isArithmetic(TokenKind op)
{
    return op == TokenKind::Plus || op == TokenKind::Minus || op == TokenKind::Star || op == TokenKind::Slash ||
           op == TokenKind::Percent;
}

constexpr bool isOrdering(TokenKind op)
{
    return op == TokenKind::Less || op == TokenKind::LessEqual || op == TokenKind::Greater ||
           op == TokenKind::GreaterEqual;
}

constexpr bool isComparison(TokenKind op)
{
    return isOrdering(op) || op == TokenKind::Equal || op == TokenKind::NotEqual;
}

template <TokenKind Op, typename T> [[gnu::always_inline]] inline bool compareAs(T a, T b)
{
    switch (Op)
    {
    case TokenKind::Less: return a < b;
    case TokenKind::LessEqual: return a <= b;
    case TokenKind::Greater: return a > b;
    case TokenKind::GreaterEqual: return a >= b;
    case TokenKind::Equal: return a == b;
    default: return a != b;
    }
}

constexpr bool divides(TokenKind op)
{
    return op == TokenKind::Slash || op == TokenKind::Percent;
}

// ---- Numbers ----

// The near-integer rule: a float result within one epsilon of an integer in the 64-bit range becomes
// that integer. Every float an operator or a math function makes goes through it.
Value numericResult(double number);

// Where a numeric result goes: returned as a new value, or stored into an existing one (a local's
// slot) with no temporary. `exact` takes a float that needs no normalising.
struct NewNumber
{
    [[gnu::always_inline]] Value integer(long long value) const noexcept { return Value(value); }
    [[gnu::always_inline]] Value exact(double value) const noexcept { return Value(value); }
    Value normalised(double value) const { return numericResult(value); }
};

struct HandedNumber
{
    [[gnu::always_inline]] NumberValue integer(long long value) const noexcept
    {
        NumberValue number;
        number.bits.integer = value;
        number.kind = static_cast<std::uint64_t>(ValueKind::Integer);
        return number;
    }
    [[gnu::always_inline]] NumberValue exact(double value) const noexcept
    {
        NumberValue number;
        number.bits.number = value;
        number.kind = static_cast<std::uint64_t>(ValueKind::Float);
        return number;
    }
    NumberValue normalised(double value) const;
};

struct StoredNumber
{
    Value& target;
    [[gnu::always_inline]] void integer(long long value) const noexcept { target.setInteger(value); }
    [[gnu::always_inline]] void exact(double value) const noexcept { target.setFloat(value); }
    void normalised(double value) const { target = numericResult(value); }
};

// numericResult, with the common cases decided by an exact test: adding and taking away 2^52 rounds a
// magnitude below 2^52 to the nearest integer; a result farther than one epsilon from it stays a float,
// a nearer one is that integer (no tie is that near, so how the test rounds cannot matter). Everything
// else (huge, NaN, infinite) takes the full rule.
template <typename Out> [[gnu::always_inline]] inline auto floatResultTo(Out out, double number)
{
    const double magnitude = std::fabs(number);
    if (magnitude < 4503599627370496.0)
    {
        const double nearest = (magnitude + 4503599627370496.0) - 4503599627370496.0;
        if (std::fabs(magnitude - nearest) > kEpsilon)
        {
            return out.exact(number);
        }
        const auto integer = static_cast<long long>(nearest);
        return out.integer(number < 0 ? -integer : integer);
    }
    return out.normalised(number);
}

[[gnu::always_inline]] inline Value floatResult(double number)
{
    return floatResultTo(NewNumber{}, number);
}

[[gnu::always_inline]] inline double toDouble(const Value& number)
{
    return number.isFloat() ? number.number() : static_cast<double>(number.integer());
}

// a op b on integers, when the result is an integer: false when it overflows (the operation is then
// done in floats), always for / (a quotient is a float), and for % by zero (an error).
template <TokenKind Op>
[[gnu::always_inline]] inline bool integerArithmetic(std::int64_t a, std::int64_t b, long long& result)
{
    if constexpr (Op == TokenKind::Plus)
    {
        return !__builtin_add_overflow(a, b, &result);
    }
    else if constexpr (Op == TokenKind::Minus)
    {
        return !__builtin_sub_overflow(a, b, &result);
    }
    else if constexpr (Op == TokenKind::Star)
    {
        return !__builtin_mul_overflow(a, b, &result);
    }
    else if constexpr (Op == TokenKind::Percent)
    {
        if (b == 0)
        {
            return false;
        }
        result = b == -1 ? 0 : a % b; // truncating, like the kernel; the minimum integer % -1 would trap
        return true;
    }
    else
    {
        return false;
    }
}

// a op b in floats; / and % are never given a divisor within one epsilon of zero.
template <TokenKind Op, typename Out> [[gnu::always_inline]] inline auto floatArithmeticTo(Out out, double a, double b)
{
    if constexpr (Op == TokenKind::Plus)
    {
        return floatResultTo(out, a + b);
    }
    else if constexpr (Op == TokenKind::Minus)
    {
        return floatResultTo(out, a - b);
    }
    else if constexpr (Op == TokenKind::Star)
    {
        return floatResultTo(out, a * b);
    }
    else if constexpr (Op == TokenKind::Slash)
    {
        return out.exact(a / b); // always a float, never normalised
    }
    else
    {
        static_assert(Op == TokenKind::Percent);
        return floatResultTo(out, std::fmod(a, b));
    }
}

// left op right for + - * / %: integers while the result is one, then floats, else an error. Both
// operands are read before the result goes out, so a stored result may replace one of them (x = x * y).
template <TokenKind Op, typename Out>
[[gnu::always_inline]] inline auto arithmeticTo(Out out, const Value& left, const Value& right, std::uint32_t line)
{
    static_assert(isArithmetic(Op));
    if (left.isInteger() && right.isInteger())
    {
        long long result;
        if (integerArithmetic<Op>(left.integer(), right.integer(), result))
        {
            return out.integer(result);
        }
    }
    else if (left.isFloat() && right.isFloat()) // float code's common case, with no conversion to test
    {
        if (!divides(Op) || !(std::fabs(right.number()) <= kEpsilon))
        {
            return floatArithmeticTo<Op>(out, left.number(), right.number());
        }
    }
    if (left.isNumber() && right.isNumber())
    {
        const double b = toDouble(right);
        if (!divides(Op) || !(std::fabs(b) <= kEpsilon)) // a NaN divisor divides, into NaN
        {
            return floatArithmeticTo<Op>(out, toDouble(left), b);
        }
    }
    failArithmetic(Op, left, right, line);
}

template <TokenKind Op>
[[gnu::always_inline]] inline Value arithmetic(const Value& left, const Value& right, std::uint32_t line)
{
    return arithmeticTo<Op>(NewNumber{}, left, right, line);
}

// target = left op right, stored in place.
template <TokenKind Op>
[[gnu::always_inline]] inline void arithmeticInto(Value& target, const Value& left, const Value& right,
                                                  std::uint32_t line)
{
    arithmeticTo<Op>(StoredNumber{target}, left, right, line);
}

// -a: an integer stays one, except the minimum integer, whose negation only a float holds.
inline Value negate(const Value& operand, std::uint32_t line)
{
    if (operand.isInteger() && operand.integer() != std::numeric_limits<std::int64_t>::min())
    {
        return Value(static_cast<long long>(-operand.integer()));
    }
    if (!operand.isNumber())
    {
        failRuntime(line, "unary '-' expects a number");
    }
    return floatResult(-toDouble(operand));
}

// == ~= < <= > >= of two values, as a bool.
template <TokenKind Op>
[[gnu::always_inline]] inline bool comparison(LuaVM::Impl& vm, const Value& left, const Value& right,
                                              std::uint32_t line)
{
    static_assert(isComparison(Op));
    if (left.isInteger() && right.isInteger())
    {
        return compareAs<Op>(left.integer(), right.integer());
    }
    if constexpr (Op == TokenKind::Equal || Op == TokenKind::NotEqual)
    {
        // Two floats compare exactly; an integer and a float within one epsilon (valuesEqual).
        bool equal;
        if (left.isFloat() && right.isFloat())
        {
            equal = left.number() == right.number();
        }
        else if (left.isString() && right.isString())
        {
            const LuaString* a = left.string();
            const LuaString* b = right.string();
            equal = a == b || (a->size() == b->size() && stringsEqualSlow(vm, *a, *b, line));
        }
        else
        {
            equal = valuesEqual(left, right);
        }
        return Op == TokenKind::Equal ? equal : !equal;
    }
    else
    {
        if (left.isFloat() && right.isFloat())
        {
            return compareAs<Op>(left.number(), right.number());
        }
        if (left.isNumber() && right.isNumber())
        {
            return compareAs<Op>(toDouble(left), toDouble(right));
        }
        return orderSlow(vm, Op, left, right, line);
    }
}

// Any binary operator but and/or, chosen at run time: the general path.
inline Value applyOperator(LuaVM::Impl& vm, TokenKind op, const Value& left, const Value& right, std::uint32_t line)
{
    switch (op)
    {
    case TokenKind::Plus: return arithmetic<TokenKind::Plus>(left, right, line);
    case TokenKind::Minus: return arithmetic<TokenKind::Minus>(left, right, line);
    case TokenKind::Star: return arithmetic<TokenKind::Star>(left, right, line);
    case TokenKind::Slash: return arithmetic<TokenKind::Slash>(left, right, line);
    case TokenKind::Percent: return arithmetic<TokenKind::Percent>(left, right, line);
    case TokenKind::DotDot: return concatenate(vm, left, right, line);
    case TokenKind::Equal: return Value(comparison<TokenKind::Equal>(vm, left, right, line));
    case TokenKind::NotEqual: return Value(comparison<TokenKind::NotEqual>(vm, left, right, line));
    case TokenKind::Less: return Value(comparison<TokenKind::Less>(vm, left, right, line));
    case TokenKind::LessEqual: return Value(comparison<TokenKind::LessEqual>(vm, left, right, line));
    case TokenKind::Greater: return Value(comparison<TokenKind::Greater>(vm, left, right, line));
    case TokenKind::GreaterEqual: return Value(comparison<TokenKind::GreaterEqual>(vm, left, right, line));
    default: failRuntime(line, "unsupported expression");
    }
}

// #a: a string's byte count or a table's border, else an error. A border that runs on through many keys
// of the hash part spends steps as it looks.
inline Value length(LuaVM::Impl& vm, const Value& operand, std::uint32_t line)
{
    if (operand.isString())
    {
        return Value(static_cast<long long>(operand.string()->size()));
    }
    if (!operand.isTable())
    {
        failRuntime(line, "length operator expects a string or table");
    }
    Table* table = operand.table();
    if (table->lengthVersion == table->version || table->hash.empty()) [[likely]]
    {
        return Value(static_cast<long long>(tableSequenceLength(table)));
    }
    WorkMeter meter(vm, line);
    return Value(static_cast<long long>(tableSequenceLength(table, &meter)));
}

// ---- Stores into tables ----

// The object of a field or index store must be a table, or a host object (its fields table): otherwise
// "attempt to assign into a ... value".
[[gnu::noinline]] Table* assignableSlow(const Value& object, std::uint32_t line);
// t[key] = value for a key that is neither an integer nor a string (or that cannot be a key at all).
[[gnu::noinline]] void storeKeyed(Table* table, const Value& key, Value value, std::uint32_t line);

[[gnu::always_inline]] inline Table* assignableTable(const Value& object, std::uint32_t line)
{
    if (!object.isTable()) [[unlikely]]
    {
        return assignableSlow(object, line);
    }
    return object.table();
}

// t[key] = value once the table is known and the key evaluated: every indexed store ends here.
[[gnu::always_inline]] inline void storeIndexed(Table* table, const Value& key, Value value, std::uint32_t line)
{
    if (key.isInteger())
    {
        tableSetInteger(table, key.integer(), std::move(value));
        return;
    }
    if (key.isString())
    {
        tableSetString(table, key, std::move(value));
        return;
    }
    storeKeyed(table, key, std::move(value), line);
}

// ---- Operands read where they live ----

// How an operator, an index or a fused statement reaches an operand: a literal or a local is read where
// it lives, with no evaluator call and no copy; anything else is evaluated. A local is read in place
// only when nothing evaluated after it runs code, so nothing can assign it before it is used.
enum class Operand : std::uint8_t
{
    Constant,
    LocalHere, // a local of the innermost environment
    Local,     // a local some environments out
    Arith,     // pure arithmetic (isPureArithmetic): its number comes back in registers
    Any,
};

inline bool isLocalVariable(const Expr& expr)
{
    return expr.kind == ExprKind::Variable && static_cast<const VariableExpr&>(expr).runtimeDepth >= 0;
}

inline Operand operandShape(const Expr& operand)
{
    if (operand.kind == ExprKind::Literal)
    {
        return Operand::Constant;
    }
    if (!isLocalVariable(operand))
    {
        return Operand::Any;
    }
    return static_cast<const VariableExpr&>(operand).runtimeDepth == 0 ? Operand::LocalHere : Operand::Local;
}

// + - * / % over literals, locals of the innermost environment and pure arithmetic, a few levels deep:
// it runs no code, and its operators hand their numbers on in registers (BinaryExpr::number). The
// depth bound keeps that chain of calls short, so it needs no stack check of its own.
bool isPureArithmetic(const Expr& expr, int depth = 0);

constexpr bool pairsWithArith(Operand shape)
{
    return shape == Operand::Constant || shape == Operand::LocalHere || shape == Operand::Arith;
}

// The shapes of a binary operator's operands. With `arith`, pure arithmetic is told apart where the
// other operand is a literal, a local here or pure arithmetic too; beside anything else it is evaluated
// as any operand.
struct OperandShapes
{
    Operand left;
    Operand right;
};

inline OperandShapes operandShapes(const BinaryExpr& binary, bool arith)
{
    OperandShapes shapes{operandShape(*binary.left), operandShape(*binary.right)};
    if (arith)
    {
        const bool leftPure = isPureArithmetic(*binary.left);
        const bool rightPure = isPureArithmetic(*binary.right);
        if (leftPure && (rightPure || pairsWithArith(shapes.right)))
        {
            shapes.left = Operand::Arith;
        }
        if (rightPure && pairsWithArith(shapes.left))
        {
            shapes.right = Operand::Arith;
        }
    }
    return shapes;
}

// The slot of a local variable node.
[[gnu::always_inline]] inline Value& localSlot(const Expr& expr, Environment* environment)
{
    const auto& variable = static_cast<const VariableExpr&>(expr);
    return slotOut(environment, variable.runtimeDepth, variable.runtimeSlot);
}

[[gnu::always_inline]] inline Value& localSlotHere(const Expr& expr, Environment* environment)
{
    return slotIn(environment, static_cast<const VariableExpr&>(expr).runtimeSlot);
}

// The operand's value, read where it lives: a literal or a local.
template <Operand Mode> [[gnu::always_inline]] inline const Value& operandIn(const Expr& operand, Environment* environment)
{
    if constexpr (Mode == Operand::Constant)
    {
        return static_cast<const LiteralExpr&>(operand).value;
    }
    else if constexpr (Mode == Operand::LocalHere)
    {
        return localSlotHere(operand, environment);
    }
    else
    {
        static_assert(Mode == Operand::Local);
        return localSlot(operand, environment);
    }
}

// An operand to be handed on: a reference to where a literal or local lives, or the evaluated value.
template <Operand Mode>
[[gnu::always_inline]] inline decltype(auto) valueOf(LuaVM::Impl& vm, const Expr& operand, Environment* environment)
{
    if constexpr (Mode == Operand::Any)
    {
        return vm.evaluateExpression(operand, environment);
    }
    else
    {
        return operandIn<Mode>(operand, environment);
    }
}

// One operand: read where it lives, or evaluated and held for as long as the operator needs it. Read
// through value(), not a reference member: a member would be stored beside a held value whose address
// has escaped into the evaluator, four dead stores in every operator.
template <Operand Mode> struct OperandRead
{
    [[gnu::always_inline]] OperandRead(LuaVM::Impl&, const Expr& operand, Environment* environment)
        : read(operandIn<Mode>(operand, environment))
    {
    }
    [[gnu::always_inline]] const Value& value() const noexcept { return read; }
    const Value& read;
};

template <> struct OperandRead<Operand::Any>
{
    [[gnu::always_inline]] OperandRead(LuaVM::Impl& vm, const Expr& operand, Environment* environment)
        : held(vm.evaluateExpression(operand, environment))
    {
    }
    [[gnu::always_inline]] const Value& value() const noexcept { return held; }
    const Value held;
};

template <> struct OperandRead<Operand::Arith>
{
    [[gnu::always_inline]] OperandRead(LuaVM::Impl& vm, const Expr& operand, Environment* environment)
        : held(static_cast<const BinaryExpr&>(operand).number(vm, operand, environment))
    {
    }
    [[gnu::always_inline]] const Value& value() const noexcept { return held; }
    [[gnu::always_inline]] ~OperandRead()
    {
        if (held.isObject())
        {
            __builtin_unreachable(); // a number: nothing to release
        }
    }
    const Value held;
};

// The operands of a binary operator, left first.
template <Operand Left, Operand Right> struct Operands
{
    [[gnu::always_inline]] Operands(LuaVM::Impl& vm, const BinaryExpr& binary, Environment* environment)
        : leftRead(vm, *binary.left, environment), rightRead(vm, *binary.right, environment)
    {
    }
    [[gnu::always_inline]] const Value& left() const noexcept { return leftRead.value(); }
    [[gnu::always_inline]] const Value& right() const noexcept { return rightRead.value(); }
    const OperandRead<Left> leftRead;
    const OperandRead<Right> rightRead;
};

// The truth of a condition: comparisons and and/or chains through their testers, `not` by the truth of
// its operand, everything else by the value's truthiness.
bool testNegation(LuaVM::Impl& vm, const UnaryExpr& negation, Environment* environment);

[[gnu::always_inline]] inline bool testCondition(LuaVM::Impl& vm, const Expr& expr, Environment* environment)
{
    if (expr.kind == ExprKind::Binary)
    {
        return static_cast<const BinaryExpr&>(expr).test(vm, expr, environment);
    }
    if (expr.kind == ExprKind::Unary && static_cast<const UnaryExpr&>(expr).op == TokenKind::Not)
    {
        return testNegation(vm, static_cast<const UnaryExpr&>(expr), environment);
    }
    return vm.evaluateExpression(expr, environment).isTruthy();
}

// The guard clause `if c then return ... end` (executeIfReturn): its return statement when the
// condition holds, with the return's stack check and step already spent; null when it does not hold.
ExecStatus executeIfReturn(LuaVM::Impl& vm, const Stmt& statement, Environment* environment);

[[gnu::always_inline]] inline const ReturnStmt* takenGuard(LuaVM::Impl& vm, const Stmt& statement,
                                                           Environment* environment)
{
    const IfStmt::Branch& branch = static_cast<const IfStmt&>(statement).branches[0];
    if (!testCondition(vm, *branch.condition, environment))
    {
        return nullptr;
    }
    const auto& taken = static_cast<const ReturnStmt&>(*branch.body[0]);
    vm.guardStack(taken.line);
    vm.countStep(taken.line);
    return &taken;
}

// True when evaluating the expression runs no script code: no call anywhere in it (looked at to a small
// depth only; deeper trees count as running code).
bool runsNoCode(const Expr& expr, int depth = 0);

} // namespace velmar::lua
