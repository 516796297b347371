// Statement execution: assignments, declarations, branches, loops, return and break.
#include "runtime/Iterator.hpp"
#include "runtime/Operators.hpp"

#include <cmath>

namespace velmar::lua
{

// A step, then the statement's own executor.
[[gnu::always_inline]] inline ExecStatus LuaVM::Impl::dispatchStatement(const Stmt& statement,
                                                                        Environment* environment)
{
    countStep(statement.line);
    return statement.execute(*this, statement, environment);
}

namespace
{

using Impl = LuaVM::Impl;

// A statement kind's general executor: the member that runs that kind of node.
template <typename Node, ExecStatus (Impl::*Run)(const Node&, Environment*)>
ExecStatus executeAs(Impl& vm, const Stmt& statement, Environment* environment)
{
    return (vm.*Run)(static_cast<const Node&>(statement), environment);
}

// if c then ... end: one branch, no else.
ExecStatus executeIfThen(Impl& vm, const Stmt& statement, Environment* environment)
{
    const IfStmt::Branch& branch = static_cast<const IfStmt&>(statement).branches[0];
    if (testCondition(vm, *branch.condition, environment))
    {
        return vm.executeBlock(branch.body, branch.slotCount, branch.noFunctions, branch.frame, environment);
    }
    return ExecStatus::Normal;
}

ExecStatus executeBreakNode(Impl& vm, const Stmt& statement, Environment*)
{
    vm.pendingBreakLine = statement.line;
    return ExecStatus::Break;
}

ExecStatus executeUnsupported(Impl&, const Stmt& statement, Environment*)
{
    failRuntime(statement.line, "unsupported statement");
}

// x = value, x a local of the innermost environment.
ExecStatus executeStoreLocalHere(Impl& vm, const Stmt& statement, Environment* environment)
{
    const auto& assignment = static_cast<const AssignmentStmt&>(statement);
    Value value = vm.evaluateExpression(*assignment.values[0], environment);
    slotIn(environment, assignment.targets[0].runtimeSlot) = std::move(value);
    return ExecStatus::Normal;
}

// x = y or x = literal, x a local of the innermost environment: a copy, no evaluation.
template <Operand Source> ExecStatus executeCopyToLocalHere(Impl&, const Stmt& statement, Environment* environment)
{
    const auto& assignment = static_cast<const AssignmentStmt&>(statement);
    const Value& value = operandIn<Source>(*assignment.values[0], environment);
    slotIn(environment, assignment.targets[0].runtimeSlot) = value;
    return ExecStatus::Normal;
}

// x = a op b with an arithmetic operator, x a local of the innermost environment: the operands are read
// where they live and the result goes straight into the slot.
template <TokenKind Op, Operand Left, Operand Right>
ExecStatus executeStoreLocalArithmetic(Impl& vm, const Stmt& statement, Environment* environment)
{
    const auto& assignment = static_cast<const AssignmentStmt&>(statement);
    const auto& binary = static_cast<const BinaryExpr&>(*assignment.values[0]);
    if constexpr (Left == Operand::Any || Right == Operand::Any)
    {
        vm.guardStack(binary.line);
    }
    const Operands<Left, Right> operands(vm, binary, environment);
    arithmeticInto<Op>(slotIn(environment, assignment.targets[0].runtimeSlot), operands.left(), operands.right(),
                       binary.line);
    return ExecStatus::Normal;
}

// t[k] = value and t.name = value, t a local of the innermost environment and k a literal or such a
// local: the value first, then the table and the key read where they live. A literal or local value is
// read where it lives too.
template <Operand Key, Operand Source>
ExecStatus executeStoreIndexOfLocal(Impl& vm, const Stmt& statement, Environment* environment)
{
    const auto& assignment = static_cast<const AssignmentStmt&>(statement);
    const AssignTarget& target = assignment.targets[0];
    // Evaluated (and then moved into the table), or a reference to where the literal or local lives.
    decltype(auto) value = valueOf<Source>(vm, *assignment.values[0], environment);
    Table* table = assignableTable(operandIn<Operand::LocalHere>(*target.object, environment), target.line);
    storeIndexed(table, operandIn<Key>(*target.index, environment), static_cast<decltype(value)&&>(value), target.line);
    return ExecStatus::Normal;
}

template <Operand Key> StmtExecutor storeIndexOfLocal(const Expr& value)
{
    switch (operandShape(value))
    {
    case Operand::Constant: return &executeStoreIndexOfLocal<Key, Operand::Constant>;
    case Operand::LocalHere: return &executeStoreIndexOfLocal<Key, Operand::LocalHere>;
    default: return &executeStoreIndexOfLocal<Key, Operand::Any>;
    }
}

ExecStatus executeStoreFieldOfLocal(Impl& vm, const Stmt& statement, Environment* environment)
{
    const auto& assignment = static_cast<const AssignmentStmt&>(statement);
    const AssignTarget& target = assignment.targets[0];
    Value value = vm.evaluateExpression(*assignment.values[0], environment);
    Table* table = assignableTable(operandIn<Operand::LocalHere>(*target.object, environment), target.line);
    tableSetString(table, vm.nameKeyOf(target.nameKey, target.name), std::move(value));
    return ExecStatus::Normal;
}

template <TokenKind Op, Operand Left> StmtExecutor storeArithmeticRight(Operand right)
{
    // Pure arithmetic pairs only with what pairsWithArith allows (operandShapes sees to it).
    constexpr Operand Alone = Left == Operand::Arith ? Operand::Any : Left;
    switch (right)
    {
    case Operand::Constant: return &executeStoreLocalArithmetic<Op, Left, Operand::Constant>;
    case Operand::LocalHere: return &executeStoreLocalArithmetic<Op, Left, Operand::LocalHere>;
    case Operand::Local: return &executeStoreLocalArithmetic<Op, Alone, Operand::Local>;
    case Operand::Arith:
        if constexpr (pairsWithArith(Left))
        {
            return &executeStoreLocalArithmetic<Op, Left, Operand::Arith>;
        }
        [[fallthrough]];
    default: // the right operand may run code: a local on the left is copied before it runs
        return &executeStoreLocalArithmetic<Op, Alone == Operand::Local || Alone == Operand::LocalHere ? Operand::Any : Alone,
                                            Operand::Any>;
    }
}

template <TokenKind Op> StmtExecutor storeArithmetic(const BinaryExpr& binary)
{
    const OperandShapes shapes = operandShapes(binary, true);
    switch (shapes.left)
    {
    case Operand::Constant: return storeArithmeticRight<Op, Operand::Constant>(shapes.right);
    case Operand::LocalHere: return storeArithmeticRight<Op, Operand::LocalHere>(shapes.right);
    case Operand::Local: return storeArithmeticRight<Op, Operand::Local>(shapes.right);
    case Operand::Arith: return storeArithmeticRight<Op, Operand::Arith>(shapes.right);
    default: return storeArithmeticRight<Op, Operand::Any>(shapes.right);
    }
}

StmtExecutor selectAssignment(const AssignmentStmt& assignment)
{
    if (assignment.targets.size() != 1 || assignment.values.size() != 1)
    {
        return &executeAs<AssignmentStmt, &Impl::executeAssignment>;
    }
    const AssignTarget& target = assignment.targets[0];
    if (target.kind != AssignTarget::Kind::Name)
    {
        if (operandShape(*target.object) != Operand::LocalHere)
        {
            return &executeAs<AssignmentStmt, &Impl::executeAssignment>;
        }
        if (target.kind == AssignTarget::Kind::Field)
        {
            return &executeStoreFieldOfLocal;
        }
        switch (operandShape(*target.index))
        {
        case Operand::Constant: return storeIndexOfLocal<Operand::Constant>(*assignment.values[0]);
        case Operand::LocalHere: return storeIndexOfLocal<Operand::LocalHere>(*assignment.values[0]);
        default: return &executeAs<AssignmentStmt, &Impl::executeAssignment>;
        }
    }
    if (target.depth < 0 || target.runtimeDepth != 0)
    {
        return &executeAs<AssignmentStmt, &Impl::executeAssignment>;
    }
    const Expr& value = *assignment.values[0];
    if (value.kind == ExprKind::Binary)
    {
        const auto& binary = static_cast<const BinaryExpr&>(value);
        switch (binary.op)
        {
        case TokenKind::Plus: return storeArithmetic<TokenKind::Plus>(binary);
        case TokenKind::Minus: return storeArithmetic<TokenKind::Minus>(binary);
        case TokenKind::Star: return storeArithmetic<TokenKind::Star>(binary);
        case TokenKind::Slash: return storeArithmetic<TokenKind::Slash>(binary);
        case TokenKind::Percent: return storeArithmetic<TokenKind::Percent>(binary);
        default: break;
        }
    }
    switch (operandShape(value))
    {
    case Operand::Constant: return &executeCopyToLocalHere<Operand::Constant>;
    case Operand::LocalHere: return &executeCopyToLocalHere<Operand::LocalHere>;
    case Operand::Local: return &executeCopyToLocalHere<Operand::Local>;
    default: return &executeStoreLocalHere;
    }
}

// A block that is exactly one return statement.
bool onlyReturns(const StmtList& body)
{
    return body.size() == 1 && body[0]->kind == StmtKind::Return;
}

StmtExecutor selectExecutor(const Stmt& statement)
{
    switch (statement.kind)
    {
    case StmtKind::Expression: return &executeAs<ExpressionStmt, &Impl::executeExpressionStatement>;
    case StmtKind::Assignment: return selectAssignment(static_cast<const AssignmentStmt&>(statement));
    case StmtKind::FunctionDeclaration: return &executeAs<FunctionDeclarationStmt, &Impl::executeFunctionDeclaration>;
    case StmtKind::If:
    {
        const auto& conditional = static_cast<const IfStmt&>(statement);
        if (conditional.branches.size() != 1 || !conditional.elseBody.empty())
        {
            return &executeAs<IfStmt, &Impl::executeIf>;
        }
        return onlyReturns(conditional.branches[0].body) ? &executeIfReturn : &executeIfThen;
    }
    case StmtKind::While: return &executeAs<WhileStmt, &Impl::executeWhile>;
    case StmtKind::NumericFor: return &executeAs<NumericForStmt, &Impl::executeNumericFor>;
    case StmtKind::GenericFor: return &executeAs<GenericForStmt, &Impl::executeGenericFor>;
    case StmtKind::Return: return &executeAs<ReturnStmt, &Impl::executeReturn>;
    case StmtKind::Break: return &executeBreakNode;
    }
    return &executeUnsupported;
}

} // namespace

// if c then return ... end: the guard clause of most recursive functions, without a block around the
// return. The return statement still counts its step; its values wait where every return's do (a
// function body's own statements take a taken guard's values directly: runFunctionBody).
ExecStatus executeIfReturn(Impl& vm, const Stmt& statement, Environment* environment)
{
    const ReturnStmt* taken = takenGuard(vm, statement, environment);
    if (!taken)
    {
        return ExecStatus::Normal;
    }
    if (taken->values.size() == 1 && taken->values[0]->kind != ExprKind::Call)
    {
        vm.pendingValue = vm.evaluateExpression(*taken->values[0], environment);
        vm.pendingIsValue = true;
        return ExecStatus::Return;
    }
    return vm.executeReturn(*taken, environment);
}

ExecStatus executeFirstTime(LuaVM::Impl& vm, const Stmt& statement, Environment* environment)
{
    statement.execute = selectExecutor(statement);
    return statement.execute(vm, statement, environment);
}

ExecStatus LuaVM::Impl::executeStatement(const Stmt& statement, Environment* environment)
{
    return dispatchStatement(statement, environment);
}

ExecStatus LuaVM::Impl::executeStatements(const StmtList& statements, Environment* environment)
{
    for (const StmtPtr& statement : statements)
    {
        const ExecStatus status = dispatchStatement(*statement, environment);
        if (status != ExecStatus::Normal)
        {
            return status;
        }
    }
    return ExecStatus::Normal;
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeExpressionStatement(const ExpressionStmt& statement,
                                                                     Environment* environment)
{
    const Expr& expression = *statement.expression;
    if (expression.kind == ExprKind::Call)
    {
        callExpressionOne(static_cast<const CallExpr&>(expression), environment); // the results are dropped
    }
    else
    {
        evaluateExpression(expression, environment);
    }
    return ExecStatus::Normal;
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeFunctionDeclaration(const FunctionDeclarationStmt& declaration,
                                                                     Environment* environment)
{
    std::string name = declaration.target.name.empty() ? "<function>" : declaration.target.name;
    assignTarget(declaration.target, makeScriptFunction(std::move(name), *declaration.function, environment),
                 environment);
    return ExecStatus::Normal;
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeReturn(const ReturnStmt& statement, Environment* environment)
{
    const auto& values = statement.values;
    if (values.size() == 1)
    {
        const Expr& value = *values[0];
        if (value.kind == ExprKind::Call)
        {
            pendingReturn = callExpression(static_cast<const CallExpr&>(value), environment);
            pendingIsValue = false;
            return ExecStatus::Return;
        }
        pendingValue = evaluateExpression(value, environment); // no list for the common single value
        pendingIsValue = true;
        return ExecStatus::Return;
    }
    pendingReturn = evaluateExpressionList(values, environment);
    pendingIsValue = false;
    return ExecStatus::Return;
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeAssignment(const AssignmentStmt& statement, Environment* environment)
{
    const auto& targets = statement.targets;
    const auto& values = statement.values;
    if (targets.size() == 1 && values.size() == 1)
    {
        const AssignTarget& target = targets[0];
        Value value = evaluateExpression(*values[0], environment);
        if (target.kind == AssignTarget::Kind::Name && target.depth >= 0) // a local: no table, no global
        {
            slotOut(environment, target.runtimeDepth, target.runtimeSlot) = std::move(value);
            return ExecStatus::Normal;
        }
        assignTarget(target, std::move(value), environment);
        return ExecStatus::Normal;
    }
    return executeMultipleAssignment(statement, environment);
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeMultipleAssignment(const AssignmentStmt& statement,
                                                                    Environment* environment)
{
    const auto& targets = statement.targets;
    const auto& values = statement.values;
    // Every expression is evaluated before the first store.
    constexpr std::size_t kPaired = 4;
    if (targets.size() == values.size() && values.size() <= kPaired && values.back()->kind != ExprKind::Call)
    {
        Value results[kPaired]; // one value per target: no list to build
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            results[i] = evaluateExpression(*values[i], environment);
        }
        for (std::size_t i = 0; i < targets.size(); ++i)
        {
            assignTarget(targets[i], std::move(results[i]), environment);
        }
        return ExecStatus::Normal;
    }
    countItems(targets.size(), statement.line);
    MultiValue results = evaluateExpressionList(values, environment);
    for (std::size_t i = 0; i < targets.size(); ++i)
    {
        assignTarget(targets[i], i < results.size() ? std::move(results[i]) : Value(), environment);
    }
    return ExecStatus::Normal;
}

namespace
{

// Lets go of the values of a block's slots in its region's frame: the block has ended (or a loop body
// starts again). The scope pass placed them there, as it places every local (see slotIn).
[[gnu::always_inline]] inline void clearSlots(Environment* environment, std::size_t offset, std::size_t count) noexcept
{
    if (count == 0)
    {
        return;
    }
#if defined(VELMAR_LUA_CHECKED_SLOTS)
    if (!environment || offset + count > environment->slotCount())
    {
        frontEndBreach();
    }
#endif
    Value* slots = environment->slots.data() + offset;
    for (std::size_t i = 0; i < count; ++i)
    {
        slots[i] = Value();
    }
}

} // namespace

[[gnu::always_inline]] inline ExecStatus LuaVM::Impl::executeBlock(const StmtList& body, std::size_t slotCount,
                                                                   bool noFunctions, const BlockFrame& frame,
                                                                   Environment* environment)
{
    guardStack(body.empty() ? 0 : body.front()->line);
    switch (frame.mode)
    {
    case BlockFrame::Mode::None: return executeStatements(body, environment); // no locals: no environment
    case BlockFrame::Mode::Member:
    {
        const ExecStatus status = executeStatements(body, environment);
        clearSlots(environment, frame.offset, slotCount);
        return status;
    }
    case BlockFrame::Mode::Own: break;
    }
    return executeScopedBlock(body, frame.size, noFunctions, environment);
}

ExecStatus LuaVM::Impl::executeScopedBlock(const StmtList& body, std::size_t slotCount, bool noFunctions,
                                           Environment* environment)
{
    if (noFunctions)
    {
        Environment local(frameSlots, slotCount);
        local.setParent(environment);
        return executeStatements(body, &local);
    }
    Ref<Environment> shared = Environment::makeShared(slotCount);
    shared->setParent(environment);
    return executeStatements(body, shared.get());
}

// Runs one loop iteration's body; a break that escaped a called function's body ends this loop too.
[[gnu::always_inline]] inline ExecStatus LuaVM::Impl::executeLoopBody(const StmtList& body, Environment* environment, std::uint32_t line)
{
    countStep(line); // an empty body still spends a step per iteration
    try
    {
        return executeStatements(body, environment);
    }
    catch (const BreakSignal&)
    {
        return ExecStatus::Break;
    }
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeIf(const IfStmt& statement, Environment* environment)
{
    for (const IfStmt::Branch& branch : statement.branches)
    {
        if (testCondition(*this, *branch.condition, environment))
        {
            return executeBlock(branch.body, branch.slotCount, branch.noFunctions, branch.frame, environment);
        }
    }
    if (statement.elseBody.empty())
    {
        return ExecStatus::Normal;
    }
    return executeBlock(statement.elseBody, statement.elseSlotCount, statement.elseNoFunctions, statement.elseFrame,
                        environment);
}

namespace
{

// Loop iterations run in one reused local environment, in a fresh shared one per iteration when the
// body makes closures (so each closure sees its own iteration's variables), or in the enclosing
// region's frame.
class LoopEnvironment
{
public:
    // `storedSlots`: how many leading slots the loop itself stores before every iteration; when that is
    // all of them, the reused slots need no clearing in between.
    LoopEnvironment(ValueStack& stack, std::size_t slotCount, bool noFunctions, const BlockFrame& frame,
                    Environment* parent, std::size_t storedSlots = 0)
        : local_(stack, frame.mode == BlockFrame::Mode::Own && noFunctions ? frame.size : 0), frame_(frame),
          slotCount_(slotCount), noFunctions_(noFunctions), clearEachTime_(storedSlots < slotCount), parent_(parent)
    {
        local_.setParent(parent);
    }
    ~LoopEnvironment()
    {
        if (frame_.mode == BlockFrame::Mode::Member)
        {
            clearSlots(parent_, frame_.offset, slotCount_);
        }
    }
    LoopEnvironment(const LoopEnvironment&) = delete;
    LoopEnvironment& operator=(const LoopEnvironment&) = delete;

    // Where the loop's variables start in the environment that next() gives.
    std::size_t offset() const noexcept { return frame_.mode == BlockFrame::Mode::Member ? frame_.offset : 0; }

    [[gnu::always_inline]] Environment* next()
    {
        switch (frame_.mode)
        {
        case BlockFrame::Mode::None: return parent_; // a body without locals runs in the enclosing environment
        case BlockFrame::Mode::Member:
            if (clearEachTime_)
            {
                clearSlots(parent_, frame_.offset, slotCount_);
            }
            return parent_;
        case BlockFrame::Mode::Own: break;
        }
        if (noFunctions_)
        {
            if (clearEachTime_)
            {
                local_.slots.fillNil();
            }
            return &local_;
        }
        shared_ = Environment::makeShared(frame_.size);
        shared_->setParent(parent_);
        return shared_.get();
    }

private:
    Environment local_;
    Ref<Environment> shared_;
    const BlockFrame& frame_;
    std::size_t slotCount_;
    bool noFunctions_;
    bool clearEachTime_;
    Environment* parent_;
};

} // namespace

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeWhile(const WhileStmt& statement, Environment* environment)
{
    LoopEnvironment loop(frameSlots, statement.slotCount, statement.noFunctions, statement.frame, environment);
    while (testCondition(*this, *statement.condition, environment))
    {
        const ExecStatus status = executeLoopBody(statement.body, loop.next(), statement.line);
        if (status == ExecStatus::Break)
        {
            break;
        }
        if (status == ExecStatus::Return)
        {
            return status;
        }
    }
    return ExecStatus::Normal;
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeNumericFor(const NumericForStmt& statement, Environment* environment)
{
    const Value start = evaluateExpression(*statement.start, environment);
    const Value limit = evaluateExpression(*statement.limit, environment);
    const Value step = statement.step ? evaluateExpression(*statement.step, environment) : Value(1LL);
    if (!start.isNumber() || !limit.isNumber() || !step.isNumber())
    {
        failRuntime(statement.line, "numeric for loop expects numeric bounds");
    }
    LoopEnvironment loop(frameSlots, statement.slotCount, statement.noFunctions, statement.frame, environment,
                         statement.variableSlot == 0 ? 1 : 0);
    const std::size_t variableSlot = loop.offset() + statement.variableSlot;
    if (start.isInteger() && limit.isInteger() && step.isInteger())
    {
        const std::int64_t last = limit.integer();
        const std::int64_t increment = step.integer();
        if (increment == 0)
        {
            failRuntime(statement.line, "numeric for step cannot be zero");
        }
        for (std::int64_t current = start.integer(); increment > 0 ? current <= last : current >= last;)
        {
            Environment* body = loop.next();
            slotIn(body, static_cast<std::uint32_t>(variableSlot)) = Value(static_cast<long long>(current));
            const ExecStatus status = executeLoopBody(statement.body, body, statement.line);
            if (status == ExecStatus::Break)
            {
                break;
            }
            if (status == ExecStatus::Return)
            {
                return status;
            }
            if (__builtin_add_overflow(current, increment, &current))
            {
                break; // the next value does not exist: the loop ends instead of wrapping
            }
        }
        return ExecStatus::Normal;
    }
    const double last = limit.asFloat();
    const double increment = step.asFloat();
    if (std::fabs(increment) <= kEpsilon)
    {
        failRuntime(statement.line, "numeric for step cannot be zero");
    }
    for (double current = start.asFloat(); increment > 0 ? current <= last : current >= last; current += increment)
    {
        Environment* body = loop.next();
        slotIn(body, static_cast<std::uint32_t>(variableSlot)) = numericResult(current);
        const ExecStatus status = executeLoopBody(statement.body, body, statement.line);
        if (status == ExecStatus::Break)
        {
            break;
        }
        if (status == ExecStatus::Return)
        {
            return status;
        }
    }
    return ExecStatus::Normal;
}

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeGenericFor(const GenericForStmt& statement, Environment* environment)
{
    const MultiValue iterators = evaluateExpressionList(statement.iterators, environment);
    if (iterators.empty() || iterators[0].kind() != ValueKind::Iterator)
    {
        failRuntime(statement.line, "generic for loop expects an iterator");
    }
    const Value iterator = iterators[0]; // keeps the state alive for the whole loop
    IteratorState& state = *iterator.iterator();
    std::size_t storedSlots = 0; // the variables take the first slots, in order, in every loop the resolver makes
    while (storedSlots < statement.variableSlots.size() && statement.variableSlots[storedSlots] == storedSlots)
    {
        ++storedSlots;
    }
    LoopEnvironment loop(frameSlots, statement.slotCount, statement.noFunctions, statement.frame, environment,
                         storedSlots);
    MultiValue item;
    while (nextIteratorItem(state, item, this, statement.line))
    {
        Environment* body = loop.next();
        for (std::size_t i = 0; i < statement.variableSlots.size(); ++i)
        {
            slotIn(body, static_cast<std::uint32_t>(loop.offset() + statement.variableSlots[i])) =
                i < item.size() ? std::move(item[i]) : Value();
        }
        const ExecStatus status = executeLoopBody(statement.body, body, statement.line);
        if (status == ExecStatus::Break)
        {
            break;
        }
        if (status == ExecStatus::Return)
        {
            return status;
        }
    }
    return ExecStatus::Normal;
}

} // namespace velmar::lua
