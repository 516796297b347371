// Expression evaluation. Every node carries the function that evaluates it (`Expr::evaluate`); it starts
// as evaluateFirstTime, which asks selectEvaluator for the function fitting the node's shape and
// installs it, so the choice is made once per node. The shapes: literals and locals are read where they
// live; each operator is specialised for its operands being a literal, a local, pure arithmetic or
// anything (templates over Operand, reading through Operators.hpp); pure arithmetic (+ - * / % over
// literals, locals and such arithmetic) hands its number to the operator above it in registers
// (BinaryExpr::number); a comparison used as a condition gets a tester that yields a C++ bool
// (BinaryExpr::test); field and index reads on locals and library tables skip the copy of the table.
// Whatever has no specialisation takes the general path: evaluateBinary, evaluateTable, evaluateField,
// evaluateIndex and indexValue below, and the call path in Calls.cpp. Every path computes an operator's
// meaning through Operators.hpp, so the fast and general paths cannot disagree.
#include "runtime/NativeObject.hpp"
#include "runtime/Operators.hpp"
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

// No bracketed key, and no name twice, among at most kNames names (compared pairwise: deciding it
// allocates nothing, and larger constructors take the general path).
bool hasDistinctNames(const TableExpr& expr)
{
    constexpr std::size_t kNames = 16;
    const std::string* names[kNames];
    std::size_t count = 0;
    for (const TableExpr::Field& field : expr.fields)
    {
        if (field.kind == TableExpr::FieldKind::Keyed)
        {
            return false;
        }
        if (field.kind != TableExpr::FieldKind::Named)
        {
            continue;
        }
        if (count == kNames)
        {
            return false;
        }
        for (std::size_t i = 0; i < count; ++i)
        {
            if (*names[i] == field.name)
            {
                return false;
            }
        }
        names[count++] = &field.name;
    }
    return true;
}

} // namespace

bool runsNoCode(const Expr& expr, int depth)
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
    return slotIn(environment, static_cast<const VariableExpr&>(expr).runtimeSlot);
}

Value evaluateLocalOuter(Impl&, const Expr& expr, Environment* environment)
{
    const auto& variable = static_cast<const VariableExpr&>(expr);
    return slotOut(environment, variable.runtimeDepth, variable.runtimeSlot);
}

Value evaluateLocalParent(Impl&, const Expr& expr, Environment* environment)
{
    return slotOut(environment, 1, static_cast<const VariableExpr&>(expr).runtimeSlot);
}

Value evaluateGlobal(Impl& vm, const Expr& expr, Environment*)
{
    return vm.globals[static_cast<const VariableExpr&>(expr).globalSlot];
}

Value evaluateGlobalByName(Impl& vm, const Expr& expr, Environment*)
{
    return vm.getGlobalValue(static_cast<const VariableExpr&>(expr).name);
}

Value evaluateUnsupported(Impl&, const Expr& expr, Environment*)
{
    failRuntime(expr.line, "unsupported expression");
}

// -a, not a and #a on an operand of a known shape (a local is read where it lives).
template <TokenKind Op, Operand Shape> Value evaluateUnaryShaped(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& unary = static_cast<const UnaryExpr&>(expr);
    if constexpr (Shape == Operand::Any)
    {
        vm.guardStack(unary.line);
    }
    const OperandRead<Shape> operand(vm, *unary.operand, environment);
    if constexpr (Op == TokenKind::Minus)
    {
        return negate(operand.value(), unary.line);
    }
    else if constexpr (Op == TokenKind::Not)
    {
        return Value(!operand.value().isTruthy());
    }
    else
    {
        static_assert(Op == TokenKind::Hash);
        return length(vm, operand.value(), unary.line);
    }
}

template <TokenKind Op> ExprEvaluator unaryEvaluator(const UnaryExpr& unary)
{
    switch (operandShape(*unary.operand))
    {
    case Operand::LocalHere: return &evaluateUnaryShaped<Op, Operand::LocalHere>;
    case Operand::Local: return &evaluateUnaryShaped<Op, Operand::Local>;
    default: return &evaluateUnaryShaped<Op, Operand::Any>;
    }
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

// t.name on a local t: the table is read in place instead of being copied out of its slot.
template <Operand Object> Value evaluateFieldOfLocal(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& field = static_cast<const FieldExpr&>(expr);
    const Value& object = operandIn<Object>(*field.object, environment);
    if (object.isTable())
    {
        return tableGetName(object.table(), *vm.nameKeyOf(field.nameKey, field.name).string(), field.lastEntry);
    }
    return vm.evaluateField(field, environment);
}

// t.name on a global t with a slot (a library table: math.floor, string.sub): read in place too.
Value evaluateFieldOfGlobal(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& field = static_cast<const FieldExpr&>(expr);
    const Value& object = vm.globals[static_cast<const VariableExpr&>(*field.object).globalSlot];
    if (object.isTable())
    {
        return tableGetName(object.table(), *vm.nameKeyOf(field.nameKey, field.name).string(), field.lastEntry);
    }
    return vm.evaluateField(field, environment);
}

// t[k] on a local t with a key that runs no code, so nothing can change t while k is evaluated: the key
// first (read where it lives when it is a literal or a local), then the table read in place.
template <Operand Object, Operand Key> Value evaluateIndexOfLocal(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& index = static_cast<const IndexExpr&>(expr);
    if constexpr (Key == Operand::Any)
    {
        vm.guardStack(index.line);
    }
    const OperandRead<Key> keyRead(vm, *index.index, environment);
    const Value& key = keyRead.value();
    const Value& object = operandIn<Object>(*index.object, environment);
    if (object.isTable())
    {
        if (key.isInteger())
        {
            return tableGetInteger(object.table(), key.integer());
        }
        if (key.isString())
        {
            return tableGetString(object.table(), *key.string());
        }
    }
    return vm.indexValue(object, key, index.line);
}

template <Operand Object> ExprEvaluator indexOfLocal(const IndexExpr& index)
{
    switch (operandShape(*index.index))
    {
    case Operand::Constant: return &evaluateIndexOfLocal<Object, Operand::Constant>;
    case Operand::LocalHere: return &evaluateIndexOfLocal<Object, Operand::LocalHere>;
    case Operand::Local: return &evaluateIndexOfLocal<Object, Operand::Local>;
    default: return &evaluateIndexOfLocal<Object, Operand::Any>;
    }
}

Value evaluateFunctionNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.makeScriptFunction("<anonymous>", static_cast<const FunctionExpr&>(expr), environment);
}

Value evaluateBinaryNode(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateBinary(static_cast<const BinaryExpr&>(expr), environment);
}

// An operator on operands of known shapes: a value for arithmetic, a bool for comparisons.
template <TokenKind Op, Operand Left, Operand Right>
[[gnu::always_inline]] inline auto operateShaped(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    if constexpr (Left == Operand::Any || Right == Operand::Any)
    {
        vm.guardStack(binary.line);
    }
    const Operands<Left, Right> operands(vm, binary, environment);
    if constexpr (isArithmetic(Op))
    {
        return arithmetic<Op>(operands.left(), operands.right(), binary.line);
    }
    else
    {
        return comparison<Op>(vm, operands.left(), operands.right(), binary.line);
    }
}

template <TokenKind Op, Operand Left, Operand Right>
Value evaluateOperator(Impl& vm, const Expr& expr, Environment* environment)
{
    return Value(operateShaped<Op, Left, Right>(vm, expr, environment));
}

// The same comparison as a condition: a bool, no value built.
template <TokenKind Op, Operand Left, Operand Right>
bool testOperator(Impl& vm, const Expr& expr, Environment* environment)
{
    return operateShaped<Op, Left, Right>(vm, expr, environment);
}

// One function per operator and operand shapes, for evaluation (Test false) or as a condition.
template <bool Test, TokenKind Op, Operand Left, Operand Right> auto shapedFunction()
{
    if constexpr (Test)
    {
        return &testOperator<Op, Left, Right>;
    }
    else
    {
        return &evaluateOperator<Op, Left, Right>;
    }
}

// Pure arithmetic is an operand shape of the arithmetic operators and of comparisons as conditions
// (the shapes of float kernels); elsewhere it is evaluated as any operand.
template <bool Test, TokenKind Op> constexpr bool takesArith = isArithmetic(Op) || Test;

template <bool Test, TokenKind Op, Operand Left> auto operatorFunctionRight(Operand right)
{
    // Pure arithmetic pairs only with what pairsWithArith allows (operandShapes sees to it).
    constexpr Operand Alone = Left == Operand::Arith ? Operand::Any : Left;
    switch (right)
    {
    case Operand::Constant: return shapedFunction<Test, Op, Left, Operand::Constant>();
    case Operand::LocalHere: return shapedFunction<Test, Op, Left, Operand::LocalHere>();
    case Operand::Local: return shapedFunction<Test, Op, Alone, Operand::Local>();
    case Operand::Arith:
        if constexpr (takesArith<Test, Op> && pairsWithArith(Left))
        {
            return shapedFunction<Test, Op, Left, Operand::Arith>();
        }
        [[fallthrough]];
    default: // the right operand may run code: a local on the left is copied before it runs
        return shapedFunction<Test, Op, Alone == Operand::Local || Alone == Operand::LocalHere ? Operand::Any : Alone,
                              Operand::Any>();
    }
}

template <bool Test, TokenKind Op> auto operatorFunction(const BinaryExpr& binary)
{
    const OperandShapes shapes = operandShapes(binary, takesArith<Test, Op>);
    switch (shapes.left)
    {
    case Operand::Constant: return operatorFunctionRight<Test, Op, Operand::Constant>(shapes.right);
    case Operand::LocalHere: return operatorFunctionRight<Test, Op, Operand::LocalHere>(shapes.right);
    case Operand::Local: return operatorFunctionRight<Test, Op, Operand::Local>(shapes.right);
    case Operand::Arith:
        if constexpr (takesArith<Test, Op>)
        {
            return operatorFunctionRight<Test, Op, Operand::Arith>(shapes.right);
        }
        [[fallthrough]];
    default: return operatorFunctionRight<Test, Op, Operand::Any>(shapes.right);
    }
}

template <TokenKind Op> ExprEvaluator operatorEvaluator(const BinaryExpr& binary)
{
    return operatorFunction<false, Op>(binary);
}

// ---- Pure arithmetic's numbers ----

template <TokenKind Op, Operand Left, Operand Right>
NumberValue numberOperator(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    const Operands<Left, Right> operands(vm, binary, environment);
    return arithmeticTo<Op>(HandedNumber{}, operands.left(), operands.right(), binary.line);
}

template <TokenKind Op, Operand Left> NumberEvaluator numberFunctionRight(Operand right)
{
    switch (right)
    {
    case Operand::Constant: return &numberOperator<Op, Left, Operand::Constant>;
    case Operand::LocalHere: return &numberOperator<Op, Left, Operand::LocalHere>;
    default: return &numberOperator<Op, Left, Operand::Arith>;
    }
}

template <TokenKind Op> NumberEvaluator numberFunction(const BinaryExpr& binary)
{
    // Every operand of pure arithmetic is a literal, a local here or pure arithmetic.
    const OperandShapes shapes = operandShapes(binary, true);
    switch (shapes.left)
    {
    case Operand::Constant: return numberFunctionRight<Op, Operand::Constant>(shapes.right);
    case Operand::LocalHere: return numberFunctionRight<Op, Operand::LocalHere>(shapes.right);
    default: return numberFunctionRight<Op, Operand::Arith>(shapes.right);
    }
}

NumberEvaluator selectNumber(const BinaryExpr& binary)
{
    switch (binary.op)
    {
    case TokenKind::Plus: return numberFunction<TokenKind::Plus>(binary);
    case TokenKind::Minus: return numberFunction<TokenKind::Minus>(binary);
    case TokenKind::Star: return numberFunction<TokenKind::Star>(binary);
    case TokenKind::Slash: return numberFunction<TokenKind::Slash>(binary);
    default: return numberFunction<TokenKind::Percent>(binary);
    }
}

// ---- Conditions ----

bool testTruthy(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.evaluateExpression(expr, environment).isTruthy();
}

bool testAnd(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    vm.guardStack(binary.line);
    return testCondition(vm, *binary.left, environment) && testCondition(vm, *binary.right, environment);
}

bool testOr(Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    vm.guardStack(binary.line);
    return testCondition(vm, *binary.left, environment) || testCondition(vm, *binary.right, environment);
}

ExprTester selectTester(const BinaryExpr& binary)
{
    switch (binary.op)
    {
    case TokenKind::And: return &testAnd;
    case TokenKind::Or: return &testOr;
    case TokenKind::Less: return operatorFunction<true, TokenKind::Less>(binary);
    case TokenKind::LessEqual: return operatorFunction<true, TokenKind::LessEqual>(binary);
    case TokenKind::Greater: return operatorFunction<true, TokenKind::Greater>(binary);
    case TokenKind::GreaterEqual: return operatorFunction<true, TokenKind::GreaterEqual>(binary);
    case TokenKind::Equal: return operatorFunction<true, TokenKind::Equal>(binary);
    case TokenKind::NotEqual: return operatorFunction<true, TokenKind::NotEqual>(binary);
    default: return &testTruthy;
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
    case ExprKind::Unary:
    {
        const auto& unary = static_cast<const UnaryExpr&>(expr);
        switch (unary.op)
        {
        case TokenKind::Minus: return unaryEvaluator<TokenKind::Minus>(unary);
        case TokenKind::Not: return unaryEvaluator<TokenKind::Not>(unary);
        case TokenKind::Hash: return unaryEvaluator<TokenKind::Hash>(unary);
        default: return &evaluateUnsupported;
        }
    }
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
        switch (operandShape(*static_cast<const FieldExpr&>(expr).object))
        {
        case Operand::LocalHere: return &evaluateFieldOfLocal<Operand::LocalHere>;
        case Operand::Local: return &evaluateFieldOfLocal<Operand::Local>;
        default:
        {
            const Expr& object = *static_cast<const FieldExpr&>(expr).object;
            const bool global = object.kind == ExprKind::Variable &&
                                static_cast<const VariableExpr&>(object).runtimeDepth < 0 &&
                                static_cast<const VariableExpr&>(object).hasGlobalSlot;
            return global ? &evaluateFieldOfGlobal : &evaluateFieldNode;
        }
        }
    case ExprKind::Index:
    {
        const auto& index = static_cast<const IndexExpr&>(expr);
        if (!isLocalVariable(*index.object) || !runsNoCode(*index.index))
        {
            return &evaluateIndexNode;
        }
        return operandShape(*index.object) == Operand::LocalHere ? indexOfLocal<Operand::LocalHere>(index)
                                                                 : indexOfLocal<Operand::Local>(index);
    }
    case ExprKind::Call: return &Impl::evaluateCall;
    case ExprKind::Function: return &evaluateFunctionNode;
    }
    return &evaluateUnsupported; // a tag outside the enum
}

bool testNegation(LuaVM::Impl& vm, const UnaryExpr& negation, Environment* environment)
{
    vm.guardStack(negation.line);
    return !testCondition(vm, *negation.operand, environment);
}

bool testFirstTime(LuaVM::Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
    binary.test = selectTester(binary);
    return binary.test(vm, expr, environment);
}

NumberValue numberFirstTime(LuaVM::Impl& vm, const Expr& expr, Environment* environment)
{
    const auto& binary = static_cast<const BinaryExpr&>(expr);
#if defined(VELMAR_LUA_CHECKED_SLOTS)
    if (!isPureArithmetic(binary)) // only the operators that found the node pure ask for its number
    {
        frontEndBreach();
    }
#endif
    binary.number = selectNumber(binary);
    return binary.number(vm, expr, environment);
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
    countItems(count, count ? exprs[0]->line : 0);
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
    return applyOperator(*this, op, left, right, expr.line);
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
    if (expr.distinctNames < 0) [[unlikely]]
    {
        expr.distinctNames = hasDistinctNames(expr) ? 1 : 0;
    }
    const bool distinct = expr.distinctNames != 0;
    countItems(expr.fields.size(), expr.line);
    std::int64_t position = 0;
    for (const TableExpr::Field& field : expr.fields)
    {
        switch (field.kind)
        {
        case TableExpr::FieldKind::Positional:
        {
            Value value = evaluateExpression(*field.value, environment); // even a final call gives one value
            tableSetInteger(table.get(), ++position, std::move(value));
            break;
        }
        case TableExpr::FieldKind::Named:
        {
            Value value = evaluateExpression(*field.value, environment);
            TableKey key = stringKey(nameKeyOf(field.nameKey, field.name));
            if (distinct)
            {
                tableInsertNew(table.get(), key, std::move(value));
                break;
            }
            tableSetByKey(table.get(), key, std::move(value));
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
    const Value& key = nameKeyOf(expr.nameKey, expr.name);
    if (object.isTable())
    {
        return tableGetName(object.table(), *key.string(), expr.lastEntry);
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
        const Value& library = globals[stringLibrarySlot];
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
        if (object.userData()->kind == NativeObject::Kind::Host)
        {
            return hostObjectField(static_cast<LuaObjectHandle*>(object.userData()), key, line);
        }
        if (!key.isString())
        {
            failRuntime(line, "userdata fields must be strings");
        }
        {
            const NativeObject& native = *object.userData();
            return native.methodNamed ? native.methodNamed(native, key.stringView()) : Value();
        }
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
    countItems(count, count ? arguments[0]->line : 0);
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
            slotOut(environment, target.runtimeDepth, target.runtimeSlot) = std::move(value);
        }
        else if (target.hasGlobalSlot)
        {
            globals[target.globalSlot] = std::move(value);
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
        const Value* object = target.objectInPlace ? &localSlot(*target.object, environment) : nullptr;
        if (!object)
        {
            evaluated = evaluateExpression(*target.object, environment);
            object = &evaluated;
        }
        Table* table = assignableTable(*object, target.line);
        if (target.kind == AssignTarget::Kind::Field)
        {
            tableSetString(table, nameKeyOf(target.nameKey, target.name), std::move(value));
            return;
        }
        const Value key = evaluateExpression(*target.index, environment);
        storeIndexed(table, key, std::move(value), target.line);
        return;
    }
    }
}

Table* assignableSlow(const Value& object, std::uint32_t line)
{
    if (object.kind() == ValueKind::UserData && object.userData()->kind == NativeObject::Kind::Host)
    {
        auto* host = static_cast<LuaObjectHandle*>(object.userData());
        if (!host->fields)
        {
            host->fields = makeTable(); // the object's own fields, made by the first store
        }
        return host->fields.get();
    }
    failRuntime(line, std::string("attempt to assign into a ") + describeValueType(object) + " value");
}

void storeKeyed(Table* table, const Value& key, Value value, std::uint32_t line)
{
    TableKey tableKey;
    if (!tryMakeKeyFromValue(key, tableKey))
    {
        failRuntime(line, "table index must be a number, string, or boolean");
    }
    tableSetByKey(table, tableKey, std::move(value));
}

} // namespace velmar::lua
