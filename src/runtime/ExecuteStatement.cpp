// Statement execution: assignments, declarations, branches, loops, return and break.
#include "runtime/Interpreter.hpp"
#include "runtime/Iterator.hpp"

#include <cmath>

namespace velmar::lua
{

// One dispatch and a tail call per statement: the cases live in their own functions so that this one
// stays small enough to inline into the statement loop.
[[gnu::always_inline]] inline ExecStatus LuaVM::Impl::dispatchStatement(const Stmt& statement,
                                                                        Environment* environment)
{
    countStep(statement.line);
    switch (statement.kind)
    {
    case StmtKind::Expression: return executeExpressionStatement(static_cast<const ExpressionStmt&>(statement), environment);
    case StmtKind::Assignment: return executeAssignment(static_cast<const AssignmentStmt&>(statement), environment);
    case StmtKind::FunctionDeclaration:
        return executeFunctionDeclaration(static_cast<const FunctionDeclarationStmt&>(statement), environment);
    case StmtKind::If: return executeIf(static_cast<const IfStmt&>(statement), environment);
    case StmtKind::While: return executeWhile(static_cast<const WhileStmt&>(statement), environment);
    case StmtKind::NumericFor: return executeNumericFor(static_cast<const NumericForStmt&>(statement), environment);
    case StmtKind::GenericFor: return executeGenericFor(static_cast<const GenericForStmt&>(statement), environment);
    case StmtKind::Return: return executeReturn(static_cast<const ReturnStmt&>(statement), environment);
    case StmtKind::Break: pendingBreakLine = statement.line; return ExecStatus::Break;
    }
    failRuntime(statement.line, "unsupported statement");
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
            Environment* scope = resolveLocalEnvironment(environment, target.runtimeDepth);
            if (scope && target.slot < scope->slotCount())
            {
                scope->slots[target.slot] = std::move(value);
            }
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
    MultiValue results = evaluateExpressionList(values, environment);
    for (std::size_t i = 0; i < targets.size(); ++i)
    {
        assignTarget(targets[i], i < results.size() ? std::move(results[i]) : Value(), environment);
    }
    return ExecStatus::Normal;
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
ExecStatus LuaVM::Impl::executeLoopBody(const StmtList& body, Environment* environment, std::uint32_t line)
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
        if (evaluateExpression(*branch.condition, environment).isTruthy())
        {
            return executeBlock(branch.body, branch.slotCount, branch.noFunctions, environment);
        }
    }
    if (statement.elseBody.empty())
    {
        return ExecStatus::Normal;
    }
    return executeBlock(statement.elseBody, statement.elseSlotCount, statement.elseNoFunctions, environment);
}

namespace
{

// Loop iterations run in one reused local environment, or in a fresh shared one per iteration when
// the body makes closures (so each closure sees its own iteration's variables).
class LoopEnvironment
{
public:
    // `storedSlots`: how many leading slots the loop itself stores before every iteration; when that is
    // all of them, the reused environment needs no clearing in between.
    LoopEnvironment(ValueStack& stack, std::size_t slotCount, bool noFunctions, Environment* parent,
                    std::size_t storedSlots = 0)
        : local_(stack, noFunctions ? slotCount : 0), slotCount_(slotCount), noFunctions_(noFunctions),
          clearEachTime_(storedSlots < slotCount), parent_(parent)
    {
        local_.setParent(parent);
    }

    [[gnu::always_inline]] Environment* next()
    {
        if (slotCount_ == 0)
        {
            return parent_; // a body without locals runs in the enclosing environment
        }
        if (noFunctions_)
        {
            if (clearEachTime_)
            {
                LuaVM::Impl::clearEnvironmentSlots(&local_);
            }
            return &local_;
        }
        shared_ = Environment::makeShared(slotCount_);
        shared_->setParent(parent_);
        return shared_.get();
    }

private:
    Environment local_;
    Ref<Environment> shared_;
    std::size_t slotCount_;
    bool noFunctions_;
    bool clearEachTime_;
    Environment* parent_;
};

void storeSlot(Environment* environment, std::size_t slot, Value value)
{
    if (slot < environment->slotCount())
    {
        environment->slots[slot] = std::move(value);
    }
}

} // namespace

[[gnu::noinline]] ExecStatus LuaVM::Impl::executeWhile(const WhileStmt& statement, Environment* environment)
{
    LoopEnvironment loop(frameSlots, statement.slotCount, statement.noFunctions, environment);
    while (evaluateExpression(*statement.condition, environment).isTruthy())
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
    LoopEnvironment loop(frameSlots, statement.slotCount, statement.noFunctions, environment, statement.variableSlot == 0 ? 1 : 0);
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
            storeSlot(body, statement.variableSlot, Value(static_cast<long long>(current)));
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
        storeSlot(body, statement.variableSlot, numericResult(current));
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
    LoopEnvironment loop(frameSlots, statement.slotCount, statement.noFunctions, environment, storedSlots);
    MultiValue item;
    while (nextIteratorItem(state, item, this, statement.line))
    {
        Environment* body = loop.next();
        for (std::size_t i = 0; i < statement.variableSlots.size(); ++i)
        {
            storeSlot(body, statement.variableSlots[i], i < item.size() ? std::move(item[i]) : Value());
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
