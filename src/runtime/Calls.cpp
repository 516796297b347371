// Calls: script errors, environments, closures, and calling script and native functions.
#include "runtime/Interpreter.hpp"

namespace velmar::lua
{

std::int32_t gLuaProtectedDepth = 0;

void failRuntime(std::uint32_t line, std::string message)
{
    if (gLuaProtectedDepth < 1)
    {
        throw RuntimeError(std::move(message), line, true);
    }
    throw ProtectedRuntimeError{std::move(message), line, true};
}

Value LuaVM::Impl::makeScriptFunction(std::string name, const FunctionExpr& function, Environment* current)
{
    if (!current || !current->sharedOwned())
    {
        throw zq::runtime_error("attempted to capture a non-owning VelmarLua environment");
    }
    Ref<LuaFunctionHandle> handle = makeRef<LuaFunctionHandle>();
    handle->kind = LuaFunctionHandle::Kind::Script;
    handle->name = std::move(name);
    handle->function = std::const_pointer_cast<FunctionExpr>(function.shared_from_this());
    handle->closure = Ref<Environment>(current);
    return Value(std::move(handle));
}

void LuaVM::Impl::serviceStep(std::uint32_t line)
{
    const std::uint8_t reasons = attention.load(std::memory_order_relaxed);
    if (reasons & kInterrupt)
    {
        throw RunAborted{"interrupted", line};
    }
    if (stepsLeft == 0)
    {
        stepsLeft = 1; // stays exhausted until the run ends
        throw RunAborted{"step limit exceeded", line};
    }
    if (reasons & ValueHeap::kCollectionDue)
    {
        attention.fetch_and(static_cast<std::uint8_t>(~ValueHeap::kCollectionDue), std::memory_order_relaxed);
        heap.collect();
    }
}

MultiValue LuaVM::Impl::callValue(const Value& callee, ValueSpan arguments, std::uint32_t line)
{
    if (!callee.isFunction())
    {
        failRuntime(line, std::string("attempt to call a ") + describeValueType(callee) + " value");
    }
    return callHandle(callee.function(), arguments, line);
}

MultiValue LuaVM::Impl::runFunctionBody(const FunctionExpr& function, Environment* environment)
{
    const StmtList& body = function.body;
    const std::size_t count = body.size();
    // The common tail return is evaluated in place instead of unwinding as an outcome.
    if (count != 0 && body.back()->kind == StmtKind::Return)
    {
        for (std::size_t i = 0; i + 1 < count; ++i)
        {
            const ExecStatus status = executeStatement(*body[i], environment);
            if (status == ExecStatus::Return)
            {
                return std::move(pendingReturn);
            }
            if (status == ExecStatus::Break)
            {
                throw BreakSignal{};
            }
        }
        const auto& tail = static_cast<const ReturnStmt&>(*body.back());
        if (tail.values.empty())
        {
            return MultiValue();
        }
        if (tail.values.size() == 1)
        {
            return evaluateExpressionMulti(*tail.values[0], environment, true);
        }
        return evaluateExpressionList(tail.values, environment);
    }
    switch (executeStatements(body, environment))
    {
    case ExecStatus::Normal: return MultiValue();
    case ExecStatus::Return: return std::move(pendingReturn);
    case ExecStatus::Break: throw BreakSignal{}; // ends the caller's innermost loop
    }
    return MultiValue();
}

namespace
{

void bindParameters(const FunctionExpr& function, Environment& environment, ValueSpan arguments)
{
    const std::size_t parameters = function.parameters.size();
    const std::size_t slots = environment.slotCount();
    const std::size_t bound = std::min({parameters, slots, arguments.size()});
    for (std::size_t i = 0; i < bound; ++i)
    {
        environment.slots[i] = arguments[i]; // missing arguments stay nil, extra ones are dropped
    }
}

} // namespace

MultiValue LuaVM::Impl::callHandle(LuaFunctionHandle* handle, ValueSpan arguments, std::uint32_t line)
{
    if (!handle)
    {
        failRuntime(line, "attempt to call an empty function");
    }
    guardStack(line);
    countStep(line);
    try
    {
        if (handle->kind == LuaFunctionHandle::Kind::Native)
        {
            return handle->native(*owner, arguments, line);
        }
        const FunctionExpr& function = *handle->function;
        if (function.slotCount == 0)
        {
            return runFunctionBody(function, handle->closure.get()); // no parameters or locals: no frame
        }
        if (function.noFunctions)
        {
            Environment environment(function.slotCount);
            environment.setParent(handle->closure.get());
            bindParameters(function, environment, arguments);
            return runFunctionBody(function, &environment);
        }
        Ref<Environment> environment = Environment::makeShared(function.slotCount);
        environment->setParent(handle->closure.get());
        bindParameters(function, *environment, arguments);
        return runFunctionBody(function, environment.get());
    }
    catch (const RuntimeError&)
    {
        throw;
    }
    catch (const zq::exception& error)
    {
        failRuntime(line, error.message()); // library errors become script errors at the call's line
    }
}

} // namespace velmar::lua
