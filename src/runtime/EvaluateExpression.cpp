// Expression evaluation: operators, constructors, indexing, calls and assignment targets.
#include "runtime/Interpreter.hpp"
#include "runtime/WorkMeter.hpp"

#include <cmath>
#include <cstring>

namespace velmar::lua
{
namespace
{

TableKey stringKey(const Value& text)
{
    return TableKey::makeString(Ref<LuaString>(text.string()));
}

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

// Spends the bytes it produces against the step budget (before copying, when the size is known).
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

// The length operator; a border that continues through many keys of the hash part spends steps.
[[gnu::always_inline]] inline std::int64_t lengthOf(LuaVM::Impl& vm, Table* table, std::uint32_t line)
{
    if (table->lengthVersion == table->version || table->hash.empty()) [[likely]]
    {
        return tableSequenceLength(table);
    }
    WorkMeter meter(vm, line);
    return tableSequenceLength(table, &meter);
}

// Two distinct strings of the same length compare byte by byte: long ones spend steps for it.
[[gnu::always_inline]] inline void chargeLongEquality(LuaVM::Impl& vm, const Value& left, const Value& right,
                                                     std::uint32_t line)
{
    if (left.isString() && right.isString() && left.string() != right.string() &&
        left.string()->size() == right.string()->size())
    {
        vm.spendStepsForBytes(left.string()->size(), line);
    }
}

} // namespace

namespace
{

using Impl = LuaVM::Impl;

// ---- Specialised evaluators, one per node shape; selectEvaluator below picks them. ----

Value evaluateLiteral(Impl&, const Expr& expr, Environment*)
{
    return static_cast<const LiteralExpr&>(expr).value;
}

Value evaluateLocalHere(Impl&, const Expr& expr, Environment* environment)
{
    const auto& variable = static_cast<const VariableExpr&>(expr);
    return environment && variable.slot < environment->slotCount() ? environment->slots[variable.slot] : Value();
}

Value evaluateLocalOuter(Impl&, const Expr& expr, Environment* environment)
{
    const auto& variable = static_cast<const VariableExpr&>(expr);
    Environment* scope = Impl::resolveLocalEnvironment(environment, variable.runtimeDepth);
    return scope && variable.slot < scope->slotCount() ? scope->slots[variable.slot] : Value();
}

Value evaluateLocalParent(Impl&, const Expr& expr, Environment* environment)
{
    const auto& variable = static_cast<const VariableExpr&>(expr);
    Environment* scope = environment ? environment->parent() : nullptr;
    return scope && variable.slot < scope->slotCount() ? scope->slots[variable.slot] : Value();
}

Value evaluateGlobal(Impl& vm, const Expr& expr, Environment*)
{
    return vm.globalTable.globals[static_cast<const VariableExpr&>(expr).globalSlot];
}

Value evaluateGlobalByName(Impl& vm, const Expr& expr, Environment*)
{
    return vm.getGlobalValue(static_cast<const VariableExpr&>(expr).name);
}

Value evaluateUnaryNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateUnary(static_cast<const UnaryExpr&>(expr), environment);
}

Value evaluateTableNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateTable(static_cast<const TableExpr&>(expr), environment);
}

Value evaluateFieldNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateField(static_cast<const FieldExpr&>(expr), environment);
}

Value evaluateIndexNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateIndex(static_cast<const IndexExpr&>(expr), environment);
}

// The slot of a local variable node, or null when its environment does not have it.
const Value* localSlot(const Expr& expr, Environment* environment)
{
    const auto& variable = static_cast<const VariableExpr&>(expr);
    Environment* scope = Impl::resolveLocalEnvironment(environment, variable.runtimeDepth);
    return scope && variable.slot < scope->slotCount() ? &scope->slots[variable.slot] : nullptr;
}

bool isLocalVariable(const Expr& expr)
{
    return expr.kind == ExprKind::Variable && static_cast<const VariableExpr&>(expr).runtimeDepth >= 0;
}

// How an operator or an index reaches an operand: a literal or a local is read where it lives, with
// no evaluator call and no copy; anything else is evaluated. A local is read in place only when the
// other operand runs no code, so nothing can assign it between the two reads.
enum class Operand : std::uint8_t
{
    Constant,
    Local,
    Any,
};

Operand operandShape(const Expr& operand)
{
    if (operand.kind == ExprKind::Literal)
    {
        return Operand::Constant;
    }
    return isLocalVariable(operand) ? Operand::Local : Operand::Any;
}

template <Operand Mode>
[[gnu::always_inline]] inline const Value& operandIn(const Expr& operand, Environment* environment, const Value& evaluated)
{
    if constexpr (Mode == Operand::Constant)
    {
        return static_cast<const LiteralExpr&>(operand).value;
    }
    else if constexpr (Mode == Operand::Local)
    {
        const Value* slot = localSlot(operand, environment);
        return slot ? *slot : evaluated; // `evaluated` is nil here
    }
    else
    {
        return evaluated;
    }
}

// True when evaluating the expression runs no script code: no call anywhere in it (looked at to a small
// depth only; deeper trees count as running code).
bool runsNoCode(const Expr& expr, int depth = 0)
{
    if (depth > 4)
    {
        return false;
    }
    switch (expr.kind)
    {
    case ExprKind::Literal:
    case ExprKind::Variable: return true;
    case ExprKind::Unary: return runsNoCode(*static_cast<const UnaryExpr&>(expr).operand, depth + 1);
    case ExprKind::Binary:
    {
        const auto& binary = static_cast<const BinaryExpr&>(expr);
        return runsNoCode(*binary.left, depth + 1) && runsNoCode(*binary.right, depth + 1);
    }
    case ExprKind::Index:
    {
        const auto& index = static_cast<const IndexExpr&>(expr);
        return runsNoCode(*index.object, depth + 1) && runsNoCode(*index.index, depth + 1);
    }
    case ExprKind::Field: return runsNoCode(*static_cast<const FieldExpr&>(expr).object, depth + 1);
    default: return false;
    }
}

// t.name on a local t: the table is read in place instead of being copied out of its slot.
Value evaluateFieldOfLocal(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& field = static_cast<const FieldExpr&>(expr);
    const Value* object = localSlot(*field.object, environment);
    if (object && object->isTable())
    {
        return tableGetString(object->table(), *vm.nameKeyOf(field.cacheKey, field.name).string());
    }
    return vm.evaluateField(field, environment);
}

// t[k] on a local t with a key that runs no code, so nothing can change t while k is evaluated: the key
// first (read where it lives when it is a literal or a local), then the table read in place.
template <Operand Key> Value evaluateIndexOfLocal(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& index = static_cast<const IndexExpr&>(expr);
    if constexpr (Key == Operand::Any)
    {
        vm.guardStack(index.line);
    }
    const Value evaluated = Key == Operand::Any ? vm.evaluateExpression(*index.index, environment) : Value();
    const Value& key = operandIn<Key>(*index.index, environment, evaluated);
    const Value* object = localSlot(*index.object, environment);
    if (object && object->isTable())
    {
        if (key.isInteger())
        {
            return tableGetInteger(object->table(), key.integer());
        }
        if (key.isString())
        {
            return tableGetString(object->table(), *key.string());
        }
    }
    return vm.indexValue(object ? *object : Value(), key, index.line);
}

Value evaluateCallNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.callExpressionOne(static_cast<const CallExpr&>(expr), environment);
}

Value evaluateFunctionNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.makeScriptFunction("<anonymous>", static_cast<const FunctionExpr&>(expr), environment);
}

Value evaluateBinaryNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateBinary(static_cast<const BinaryExpr&>(expr), environment);
}

constexpr bool isOrdering(TokenKind op)
{
    return op == TokenKind::Less || op == TokenKind::LessEqual || op == TokenKind::Greater ||
           op == TokenKind::GreaterEqual;
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

// Integer arithmetic of the common operators; false where binaryOperation must decide (overflow, a
// divisor that is not positive).
template <TokenKind Op> [[gnu::always_inline]] inline bool integerArithmetic(std::int64_t a, std::int64_t b, long long& out)
{
    switch (Op)
    {
    case TokenKind::Plus: return !__builtin_add_overflow(a, b, &out);
    case TokenKind::Minus: return !__builtin_sub_overflow(a, b, &out);
    case TokenKind::Star: return !__builtin_mul_overflow(a, b, &out);
    case TokenKind::Percent:
        if (b <= 0)
        {
            return false;
        }
        out = a % b; // truncating, like the kernel
        return true;
    default: return false;
    }
}

// numericResult of a float, with the common case inline: a value whose fractional part is further than
// one epsilon from both neighbouring integers stays a float without the rounding and range checks.
[[gnu::always_inline]] inline Value floatResult(double number)
{
    if (std::fabs(number) < 4503599627370496.0) // 2^52: below it, truncation to an integer is exact
    {
        const double fraction = std::fabs(number - static_cast<double>(static_cast<std::int64_t>(number)));
        if (fraction > kEpsilon && 1.0 - fraction > kEpsilon) // both differences are exact
        {
            return Value(number);
        }
    }
    return numericResult(number);
}

template <TokenKind Op, Operand Left, Operand Right>
Value evaluateOperator(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    if constexpr (Left == Operand::Any || Right == Operand::Any)
    {
        vm.guardStack(binary.line);
    }
    const Value leftValue = Left == Operand::Any ? vm.evaluateExpression(*binary.left, environment) : Value();
    const Value rightValue = Right == Operand::Any ? vm.evaluateExpression(*binary.right, environment) : Value();
    const Value& left = operandIn<Left>(*binary.left, environment, leftValue);
    const Value& right = operandIn<Right>(*binary.right, environment, rightValue);
    // The fast paths compute exactly what binaryOperation does; the rest (mixed or non-numeric operands,
    // overflow, division by zero, float equality) is left to it.
    if (left.isInteger() && right.isInteger())
    {
        if constexpr (isOrdering(Op) || Op == TokenKind::Equal || Op == TokenKind::NotEqual)
        {
            return Value(compareAs<Op>(left.integer(), right.integer()));
        }
        else
        {
            long long result;
            if (integerArithmetic<Op>(left.integer(), right.integer(), result))
            {
                return Value(result);
            }
        }
    }
    else if (left.isNumber() && right.isNumber())
    {
        const double a = left.isFloat() ? left.number() : static_cast<double>(left.integer());
        const double b = right.isFloat() ? right.number() : static_cast<double>(right.integer());
        if constexpr (isOrdering(Op))
        {
            return Value(compareAs<Op>(a, b));
        }
        else if constexpr (Op == TokenKind::Plus)
        {
            return floatResult(a + b);
        }
        else if constexpr (Op == TokenKind::Minus)
        {
            return floatResult(a - b);
        }
        else if constexpr (Op == TokenKind::Star)
        {
            return floatResult(a * b);
        }
        else if constexpr (Op == TokenKind::Slash)
        {
            if (std::fabs(b) > kEpsilon)
            {
                return Value(a / b); // always a float, never normalised
            }
        }
    }
    return vm.binaryOperation(binary, left, right);
}

template <TokenKind Op, Operand Left> ExprEvaluator operatorEvaluatorRight(const BinaryExpr& binary)
{
    switch (operandShape(*binary.right))
    {
    case Operand::Constant: return &evaluateOperator<Op, Left, Operand::Constant>;
    case Operand::Local: return &evaluateOperator<Op, Left, Operand::Local>;
    default: // the right operand may run code: a local on the left is copied before it runs
        return &evaluateOperator<Op, Left == Operand::Local ? Operand::Any : Left, Operand::Any>;
    }
}

template <TokenKind Op> ExprEvaluator operatorEvaluator(const BinaryExpr& binary)
{
    switch (operandShape(*binary.left))
    {
    case Operand::Constant: return operatorEvaluatorRight<Op, Operand::Constant>(binary);
    case Operand::Local: return operatorEvaluatorRight<Op, Operand::Local>(binary);
    default: return operatorEvaluatorRight<Op, Operand::Any>(binary);
    }
}

} // namespace

ExprEvaluator LuaVM::Impl::selectEvaluator(const Expr& expr) noexcept
{
    switch (expr.kind)
    {
    case ExprKind::Literal: return &evaluateLiteral;
    case ExprKind::Variable:
    {
        const auto& variable = static_cast<const VariableExpr&>(expr);
        if (variable.runtimeDepth == 0)
        {
            return &evaluateLocalHere;
        }
        if (variable.runtimeDepth == 1)
        {
            return &evaluateLocalParent;
        }
        if (variable.runtimeDepth > 0)
        {
            return &evaluateLocalOuter;
        }
        return variable.hasGlobalSlot ? &evaluateGlobal : &evaluateGlobalByName;
    }
    case ExprKind::Unary: return &evaluateUnaryNode;
    case ExprKind::Binary:
    {
        const auto& binary = static_cast<const BinaryExpr&>(expr);
        switch (binary.op)
        {
        case TokenKind::Plus: return operatorEvaluator<TokenKind::Plus>(binary);
        case TokenKind::Minus: return operatorEvaluator<TokenKind::Minus>(binary);
        case TokenKind::Star: return operatorEvaluator<TokenKind::Star>(binary);
        case TokenKind::Slash: return operatorEvaluator<TokenKind::Slash>(binary);
        case TokenKind::Percent: return operatorEvaluator<TokenKind::Percent>(binary);
        case TokenKind::Less: return operatorEvaluator<TokenKind::Less>(binary);
        case TokenKind::LessEqual: return operatorEvaluator<TokenKind::LessEqual>(binary);
        case TokenKind::Greater: return operatorEvaluator<TokenKind::Greater>(binary);
        case TokenKind::GreaterEqual: return operatorEvaluator<TokenKind::GreaterEqual>(binary);
        case TokenKind::Equal: return operatorEvaluator<TokenKind::Equal>(binary);
        case TokenKind::NotEqual: return operatorEvaluator<TokenKind::NotEqual>(binary);
        default: return &evaluateBinaryNode;
        }
    }
    case ExprKind::Table: return &evaluateTableNode;
    case ExprKind::Field:
        return isLocalVariable(*static_cast<const FieldExpr&>(expr).object) ? &evaluateFieldOfLocal
                                                                              : &evaluateFieldNode;
    case ExprKind::Index:
    {
        const auto& index = static_cast<const IndexExpr&>(expr);
        if (!isLocalVariable(*index.object) || !runsNoCode(*index.index))
        {
            return &evaluateIndexNode;
        }
        switch (operandShape(*index.index))
        {
        case Operand::Constant: return &evaluateIndexOfLocal<Operand::Constant>;
        case Operand::Local: return &evaluateIndexOfLocal<Operand::Local>;
        default: return &evaluateIndexOfLocal<Operand::Any>;
        }
    }
    case ExprKind::Call: return &evaluateCallNode;
    case ExprKind::Function: return &evaluateFunctionNode;
    }
    return &evaluateBinaryNode; // a tag outside the enum fails there with "unsupported expression"
}

Value evaluateFirstTime(LuaVM::Impl& vm, const Expr& expr, Environment* environment)
{
    expr.evaluate = LuaVM::Impl::selectEvaluator(expr);
    return expr.evaluate(vm, expr, environment);
}

MultiValue LuaVM::Impl::evaluateExpressionList(const std::vector<ExprPtr>& exprs, Environment* environment)
{
    MultiValue values;
    const std::size_t count = exprs.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        const Expr& expr = *exprs[i];
        if (i + 1 == count && expr.kind == ExprKind::Call)
        {
            MultiValue results = callExpression(static_cast<const CallExpr&>(expr), environment);
            if (values.empty())
            {
                return results;
            }
            for (Value& result : results)
            {
                values.push(std::move(result));
            }
            return values;
        }
        values.push(evaluateExpression(expr, environment));
    }
    return values;
}

Value LuaVM::Impl::evaluateUnary(const UnaryExpr& expr, Environment* environment)
{
    guardStack(expr.line);
    const Value operand = evaluateExpression(*expr.operand, environment);
    switch (expr.op)
    {
    case TokenKind::Minus:
        if (!operand.isNumber())
        {
            failRuntime(expr.line, "unary '-' expects a number");
        }
        return negateNumber(operand);
    case TokenKind::Not: return Value(!operand.isTruthy());
    case TokenKind::Hash:
        if (operand.isString())
        {
            return Value(static_cast<long long>(operand.string()->size()));
        }
        if (operand.isTable())
        {
            return Value(static_cast<long long>(lengthOf(*this, operand.table(), expr.line)));
        }
        failRuntime(expr.line, "length operator expects a string or table");
    default: failRuntime(expr.line, "unsupported expression");
    }
}

Value LuaVM::Impl::evaluateBinary(const BinaryExpr& expr, Environment* environment)
{
    guardStack(expr.line);
    const TokenKind op = expr.op;
    if (op == TokenKind::And || op == TokenKind::Or)
    {
        Value left = evaluateExpression(*expr.left, environment);
        if (left.isTruthy() == (op == TokenKind::Or))
        {
            return left; // the right operand is evaluated only when needed
        }
        return evaluateExpression(*expr.right, environment);
    }
    const Value left = evaluateExpression(*expr.left, environment);
    const Value right = evaluateExpression(*expr.right, environment);
    return binaryOperation(expr, left, right);
}

Value LuaVM::Impl::binaryOperation(const BinaryExpr& expr, const Value& left, const Value& right)
{
    const TokenKind op = expr.op;
    long long integer;
    switch (op)
    {
    case TokenKind::Plus:
        if (left.isInteger() && right.isInteger() && !__builtin_add_overflow(left.integer(), right.integer(), &integer))
        {
            return Value(integer);
        }
        if (!left.isNumber() || !right.isNumber())
        {
            failOperands(expr.line, op);
        }
        return addNumbers(left, right);
    case TokenKind::Minus:
        if (left.isInteger() && right.isInteger() && !__builtin_sub_overflow(left.integer(), right.integer(), &integer))
        {
            return Value(integer);
        }
        if (!left.isNumber() || !right.isNumber())
        {
            failOperands(expr.line, op);
        }
        return subtractNumbers(left, right);
    case TokenKind::Star:
        if (left.isInteger() && right.isInteger() && !__builtin_mul_overflow(left.integer(), right.integer(), &integer))
        {
            return Value(integer);
        }
        if (!left.isNumber() || !right.isNumber())
        {
            failOperands(expr.line, op);
        }
        return multiplyNumbers(left, right);
    case TokenKind::Slash:
    {
        if (!left.isNumber() || !right.isNumber())
        {
            failOperands(expr.line, op);
        }
        const double divisor = right.asFloat();
        if (std::fabs(divisor) <= kEpsilon)
        {
            failRuntime(expr.line, "division by zero");
        }
        return Value(left.asFloat() / divisor); // always a float, never normalised
    }
    case TokenKind::Percent:
        if (left.isInteger() && right.isInteger() && right.integer() > 0)
        {
            return Value(static_cast<long long>(left.integer() % right.integer())); // truncating, like the kernel
        }
        if (!left.isNumber() || !right.isNumber())
        {
            failOperands(expr.line, op);
        }
        if (std::fabs(right.asFloat()) <= kEpsilon)
        {
            failRuntime(expr.line, "modulo by zero");
        }
        return moduloNumbers(left, right);
    case TokenKind::DotDot: return concatenate(*this, left, right, expr.line);
    case TokenKind::Equal:
        if (left.isInteger() && right.isInteger())
        {
            return Value(left.integer() == right.integer());
        }
        chargeLongEquality(*this, left, right, expr.line);
        return Value(valuesEqual(left, right));
    case TokenKind::NotEqual:
        chargeLongEquality(*this, left, right, expr.line);
        return Value(!valuesEqual(left, right));
    case TokenKind::Less:
        if (left.isInteger() && right.isInteger())
        {
            return Value(left.integer() < right.integer());
        }
        return compareValues(left, right, op, expr.line);
    case TokenKind::LessEqual:
        if (left.isInteger() && right.isInteger())
        {
            return Value(left.integer() <= right.integer());
        }
        return compareValues(left, right, op, expr.line);
    case TokenKind::Greater:
        if (left.isInteger() && right.isInteger())
        {
            return Value(left.integer() > right.integer());
        }
        return compareValues(left, right, op, expr.line);
    case TokenKind::GreaterEqual:
        if (left.isInteger() && right.isInteger())
        {
            return Value(left.integer() >= right.integer());
        }
        return compareValues(left, right, op, expr.line);
    default: failRuntime(expr.line, "unsupported expression");
    }
}

Value LuaVM::Impl::compareValues(const Value& left, const Value& right, TokenKind op, std::uint32_t line)
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
        spendStepsForBytes(std::min(left.string()->size(), right.string()->size()), line);
        const int compared = left.stringView().compare(right.stringView());
        order = compared < 0 ? -1 : (compared > 0 ? 1 : 0);
    }
    else
    {
        failRuntime(line, "ordered comparisons require matching numbers or strings");
    }
    switch (op)
    {
    case TokenKind::Less: return Value(order == -1);
    case TokenKind::LessEqual: return Value(order == -1 || order == 0);
    case TokenKind::Greater: return Value(order == 1);
    case TokenKind::GreaterEqual: return Value(order == 1 || order == 0);
    default: failRuntime(line, "unsupported expression");
    }
}

Value LuaVM::Impl::evaluateTable(const TableExpr& expr, Environment* environment)
{
    guardStack(expr.line);
    Ref<Table> table = makeTable();
    std::size_t positional = 0;
    for (const TableExpr::Field& field : expr.fields)
    {
        positional += field.kind == TableExpr::FieldKind::Positional ? 1 : 0;
    }
    table->array.reserve(positional);
    table->hash.reserve(expr.fields.size() - positional);
    std::int64_t position = 0;
    for (const TableExpr::Field& field : expr.fields)
    {
        switch (field.kind)
        {
        case TableExpr::FieldKind::Positional:
        {
            Value value = evaluateExpression(*field.value, environment); // even a final call gives one value
            tableSetByKey(table.get(), TableKey::makeInteger(++position), std::move(value));
            break;
        }
        case TableExpr::FieldKind::Named:
        {
            Value value = evaluateExpression(*field.value, environment);
            tableSetByKey(table.get(), stringKey(nameKeyOf(field.nameKey, field.name)), std::move(value));
            break;
        }
        case TableExpr::FieldKind::Keyed:
        {
            const Value key = evaluateExpression(*field.key, environment);
            TableKey tableKey;
            if (!tryMakeKeyFromValue(key, tableKey))
            {
                failRuntime(field.line, "table keys must be numbers, strings, or booleans");
            }
            tableSetByKey(table.get(), tableKey, evaluateExpression(*field.value, environment));
            break;
        }
        }
    }
    return Value(std::move(table));
}

Value LuaVM::Impl::evaluateField(const FieldExpr& expr, Environment* environment)
{
    guardStack(expr.line);
    const Value object = evaluateExpression(*expr.object, environment);
    const Value& key = nameKeyOf(expr.cacheKey, expr.name);
    if (object.isTable())
    {
        return tableGetString(object.table(), *key.string());
    }
    return indexValue(object, key, expr.line);
}

Value LuaVM::Impl::evaluateIndex(const IndexExpr& expr, Environment* environment)
{
    guardStack(expr.line);
    const Value object = evaluateExpression(*expr.object, environment);
    const Value key = evaluateExpression(*expr.index, environment);
    if (object.isTable() && key.isInteger())
    {
        return tableGetInteger(object.table(), key.integer());
    }
    return indexValue(object, key, expr.line);
}

Value LuaVM::Impl::indexValue(const Value& object, const Value& key, std::uint32_t line)
{
    switch (object.kind())
    {
    case ValueKind::String:
    {
        const Value& library = globalTable.globals[stringLibrarySlot];
        if (key.isString() && library.isTable())
        {
            Value member = tableGetByKey(library.table(), stringKey(key));
            if (!member.isNil())
            {
                return member;
            }
        }
        failRuntime(line, "string indexing only supports library methods");
    }
    case ValueKind::UserData:
        if (!key.isString())
        {
            failRuntime(line, "userdata fields must be strings");
        }
        return nativeObjectField(*this, object.userData(), key, line);
    case ValueKind::Table:
    {
        TableKey tableKey;
        if (!tryMakeKeyFromValue(key, tableKey))
        {
            failRuntime(line, "table index must be a number, string, or boolean");
        }
        return tableGetByKey(object.table(), tableKey);
    }
    default: failRuntime(line, std::string("attempt to index a ") + describeValueType(object) + " value");
    }
}

void LuaVM::Impl::collectArguments(const std::vector<ExprPtr>& arguments, Environment* environment,
                                   SmallValueStore<6>& out)
{
    const std::size_t count = arguments.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        const Expr& argument = *arguments[i];
        if (i + 1 == count && argument.kind == ExprKind::Call)
        {
            MultiValue results = callExpression(static_cast<const CallExpr&>(argument), environment);
            for (Value& result : results)
            {
                out.push(std::move(result)); // only a final call expands to all its results
            }
            return;
        }
        out.push(evaluateExpression(argument, environment));
    }
}

void LuaVM::Impl::assignTarget(const AssignTarget& target, Value value, Environment* environment)
{
    switch (target.kind)
    {
    case AssignTarget::Kind::Name:
        if (target.depth >= 0)
        {
            Environment* scope = resolveLocalEnvironment(environment, target.runtimeDepth);
            if (scope && target.slot < scope->slotCount())
            {
                scope->slots[target.slot] = std::move(value);
            }
        }
        else if (target.hasGlobalSlot)
        {
            globalTable.globals[target.globalSlot] = std::move(value);
        }
        else
        {
            setGlobalValue(target.name, std::move(value));
        }
        return;
    case AssignTarget::Kind::Field:
    case AssignTarget::Kind::Index:
    {
        if (target.objectInPlace < 0) [[unlikely]]
        {
            target.objectInPlace = isLocalVariable(*target.object) &&
                                   (target.kind == AssignTarget::Kind::Field || runsNoCode(*target.index));
        }
        Value evaluated;
        const Value* object = target.objectInPlace ? localSlot(*target.object, environment) : nullptr;
        if (!object)
        {
            evaluated = evaluateExpression(*target.object, environment);
            object = &evaluated;
        }
        if (!object->isTable())
        {
            failRuntime(target.line, std::string("attempt to assign into a ") + describeValueType(*object) + " value");
        }
        if (target.kind == AssignTarget::Kind::Field)
        {
            tableSetString(object->table(), nameKeyOf(target.nameKey, target.name), std::move(value));
            return;
        }
        const Value key = evaluateExpression(*target.index, environment);
        if (key.isInteger())
        {
            tableSetInteger(object->table(), key.integer(), std::move(value));
            return;
        }
        if (key.isString())
        {
            tableSetString(object->table(), key, std::move(value));
            return;
        }
        TableKey tableKey;
        if (!tryMakeKeyFromValue(key, tableKey))
        {
            failRuntime(target.line, "table index must be a number, string, or boolean");
        }
        tableSetByKey(object->table(), tableKey, std::move(value));
        return;
    }
    }
}

} // namespace velmar::lua
