// Calls: script errors, environments, closures, and calling script and native functions.
#include "runtime/Interpreter.hpp"
#include "runtime/Operators.hpp"
#include "support/Platform.hpp"

#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace velmar::lua
{

constinit ZQ_THREAD_LOCAL std::int32_t gLuaProtectedDepth = 0;

void frontEndBreach() noexcept
{
    std::fputs("VelmarLua: the tree breaks what the front end decided (a local's slot or a body's end) or an "
               "operator's shape (pure arithmetic)\n",
               stderr);
    std::abort();
}

void raiseAtCall(std::uint32_t line, std::string_view prefix, const LuaError& error)
{
    failRuntime(line, std::string(prefix) + error.message());
}

void failRuntime(std::uint32_t line, const char* message)
{
    failRuntime(line, std::string(message));
}

void failRuntime(std::uint32_t line, std::string message)
{
    if (gLuaProtectedDepth < 1)
    {
        throw RuntimeError(std::move(message), line);
    }
    throw ProtectedRuntimeError{std::move(message), line};
}

Value LuaVM::Impl::makeScriptFunction(std::string name, const FunctionExpr& function, Environment* current)
{
    if (!current || !current->sharedOwned())
    {
        throw zq::runtime_error("attempted to capture a non-owning VelmarLua environment");
    }
    Ref<LuaFunctionHandle> handle = makeRef<LuaFunctionHandle>();
    handle->kind = LuaFunctionHandle::Kind::Script;
    handle->interpreter = serial;
    handle->name = std::move(name);
    handle->function = std::const_pointer_cast<FunctionExpr>(function.shared_from_this());
    handle->closure = Ref<Environment>(current);
    return Value(std::move(handle));
}

Value LuaVM::Impl::internName(std::string_view name)
{
    if (auto found = internedNames.find(name); found != internedNames.end())
    {
        return found->second;
    }
    Value key(name);
    internedNames.emplace(key.stringView(), key);
    return key;
}

void LuaVM::Impl::serviceStep(std::uint32_t line)
{
    const std::uint8_t reasons = attention.reasons.load(std::memory_order_relaxed);
    if (reasons & kInterrupt)
    {
        throw RunAborted{"interrupted", line};
    }
    if (attention.countdown == 0 && !attention.refill())
    {
        throw RunAborted{"step limit exceeded", line};
    }
    if (reasons & ValueHeap::kCollectionDue)
    {
        attention.reasons.fetch_and(static_cast<std::uint8_t>(~ValueHeap::kCollectionDue), std::memory_order_relaxed);
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

// The values a return statement left in pendingReturn, as the caller wants them.
template <> MultiValue LuaVM::Impl::takePendingReturn<MultiValue>()
{
    if (pendingIsValue)
    {
        return MultiValue(std::move(pendingValue));
    }
    return std::move(pendingReturn);
}

// A return statement's list of values, when the caller wants the first alone.
[[gnu::noinline]] static Value takeFirstPending(MultiValue& pending)
{
    Value first = pending.empty() ? Value() : std::move(pending[0]);
    pending.clear();
    return first;
}

template <> [[gnu::always_inline]] inline Value LuaVM::Impl::takePendingReturn<Value>()
{
    if (pendingIsValue) [[likely]]
    {
        return std::move(pendingValue);
    }
    return takeFirstPending(pendingReturn);
}

MultiValue LuaVM::Impl::takeReturnValues()
{
    return takePendingReturn<MultiValue>();
}

// Several returned values; kept out of line so that the list does not widen every call's frame.
template <typename Result>
[[gnu::noinline]] Result LuaVM::Impl::evaluateReturnList(const std::vector<ExprPtr>& values, Environment* environment)
{
    MultiValue results = evaluateExpressionList(values, environment);
    if constexpr (std::is_same_v<Result, Value>)
    {
        return std::move(results[0]);
    }
    else
    {
        return results;
    }
}

template <typename Result>
[[gnu::always_inline]] inline Result LuaVM::Impl::runFunctionBody(const FunctionExpr& function, Environment* environment)
{
    using End = FunctionExpr::BodyEnd;
#if defined(VELMAR_LUA_CHECKED_SLOTS)
    if (function.bodyEnd == End::Unknown) // the front end decides it for every function it finishes
    {
        frontEndBreach();
    }
#endif
    // The statements before a final return; that return is evaluated in place, without a step of its
    // own, instead of unwinding as an outcome.
    const StmtPtr* statements = function.body.data();
    const std::size_t leading = function.leadingCount;
    for (std::size_t i = 0; i < leading; ++i)
    {
        const Stmt& statement = *statements[i];
        countStep(statement.line);
        if (statement.execute == &executeIfReturn) // a guard clause returns its values straight from here
        {
            const ReturnStmt* taken = takenGuard(*this, statement, environment);
            if (!taken)
            {
                continue;
            }
            const std::vector<ExprPtr>& values = taken->values;
            if (values.size() == 1)
            {
                if (values[0]->kind == ExprKind::Call)
                {
                    return invokeCall<Result>(static_cast<const CallExpr&>(*values[0]), environment);
                }
                return Result(evaluateExpression(*values[0], environment));
            }
            return values.empty() ? Result() : evaluateReturnList<Result>(values, environment);
        }
        const ExecStatus status = statement.execute(*this, statement, environment);
        if (status != ExecStatus::Normal) [[unlikely]]
        {
            if (status == ExecStatus::Return)
            {
                return takePendingReturn<Result>();
            }
            throw BreakSignal{}; // ends the caller's innermost loop
        }
    }
    switch (function.bodyEnd)
    {
    case End::ReturnOne: return Result(evaluateExpression(*function.tailValue, environment));
    case End::ReturnCall: return invokeCall<Result>(static_cast<const CallExpr&>(*function.tailValue), environment);
    case End::ReturnList: return evaluateReturnList<Result>(*function.tailValues, environment);
    default: return Result(); // no return, or one without values
    }
}

template <typename Result>
[[gnu::always_inline]] inline Result LuaVM::Impl::runScriptCall(const FunctionExpr& function, Environment* frame, std::uint32_t line)
{
    countStep(line); // the caller has checked the stack
    return asScriptErrors(line, {}, [&]() __attribute__((always_inline)) { return runFunctionBody<Result>(function, frame); });
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
    if (handle->kind == LuaFunctionHandle::Kind::Native)
    {
        guardStack(line);
        countStep(line);
        return asScriptErrors(line, {}, [&] { return handle->native(*owner, arguments, line); });
    }
    if (handle->interpreter != serial)
    {
        failRuntime(line, interpreterExists(handle->interpreter) ? "attempt to call a function of another interpreter"
                                                                 : "the interpreter of this function no longer exists");
    }
    guardStack(line);
    const FunctionExpr& function = *handle->function;
    countItems(function.frame.size, line);
    if (function.frame.size == 0)
    {
        return runScriptCall<MultiValue>(function, handle->closure.get(), line); // no parameters or locals: no frame
    }
    if (function.noFunctions)
    {
        Environment environment(frameSlots, function.frame.size);
        environment.setParent(handle->closure.get());
        bindParameters(function, environment, arguments);
        return runScriptCall<MultiValue>(function, &environment, line);
    }
    Ref<Environment> environment = Environment::makeShared(function.frame.size);
    environment->setParent(handle->closure.get());
    bindParameters(function, *environment, arguments);
    return runScriptCall<MultiValue>(function, environment.get(), line);
}

// Out of the call path, whose every instruction counts.
[[gnu::cold]] [[gnu::noinline]] void LuaVM::Impl::countManyArguments(std::size_t count, std::uint32_t line)
{
    countItems(count, line);
}

// Evaluates a call's arguments left to right straight into the first `bound` slots of the callee's
// frame; the others are evaluated for their effects and dropped. Only a final call expands, and only
// into the slots that are left.

// Where a call's arguments go, one after another. A frame on the evaluator's stack starts unmade and
// each argument is made in its slot (no nil to overwrite, no value to move; a failing argument leaves
// only the made ones to free). A shared frame's slots are already nil (its allocation is sized by them)
// and are assigned.
struct UnmadeSlots
{
    FrameSlots& slots;
    template <typename Make> [[gnu::always_inline]] void make(Make&& value)
    {
        ::new (static_cast<void*>(slots.nextUnmade())) Value(value());
        slots.constructed();
    }
};

struct NilSlots
{
    Value* next;
    template <typename Make> [[gnu::always_inline]] void make(Make&& value) { *next++ = value(); }
};

// A final argument call whose results fill several slots; out of line, so that its list stays out of
// the call path's machine frame.
template <typename Slots>
[[gnu::noinline]] static void spreadResults(LuaVM::Impl& vm, const CallExpr& call, Slots slots, std::size_t room,
                                            Environment* environment)
{
    MultiValue results = vm.invokeCall<MultiValue>(call, environment);
    for (std::size_t i = 0; i < results.size() && i < room; ++i)
    {
        slots.make([&] { return std::move(results[i]); });
    }
}

// The receiver, then each argument in order into the first `bound` slots (the parameters the frame
// has); extra arguments are evaluated and dropped, and only a final call expands into several.
template <typename Slots>
[[gnu::always_inline]] inline void bindArguments(LuaVM::Impl& vm, const CallExpr& call, Value* receiver,
                                                 Slots slots, std::size_t bound, Environment* environment)
{
    const std::vector<ExprPtr>& arguments = call.arguments;
    const std::size_t count = arguments.size();
    if (!call.plainArguments && count >= LuaVM::Impl::kItemsPerStep) [[unlikely]]
    {
        vm.countManyArguments(count, call.line);
    }
    std::size_t next = 0;
    if (receiver)
    {
        if (bound != 0)
        {
            slots.make([&] { return std::move(*receiver); });
        }
        next = 1;
    }
    for (std::size_t i = 0; i < count; ++i, ++next)
    {
        const Expr& argument = *arguments[i];
        if (next + 1 < bound && i + 1 == count && argument.kind == ExprKind::Call) [[unlikely]]
        {
            spreadResults(vm, static_cast<const CallExpr&>(argument), slots, bound - next, environment);
            return;
        }
        if (next < bound)
        {
            slots.make([&] { return vm.evaluateExpression(argument, environment); });
        }
        else
        {
            vm.evaluateExpression(argument, environment);
        }
    }
}

// Any callee but a script function: the arguments are collected into a list for callValue.
template <typename Result>
[[gnu::noinline]] Result LuaVM::Impl::invokeCollected(const CallExpr& call, const Value& callee, Value* receiver,
                                                      Environment* environment)
{
    SmallValueStore<6> arguments;
    if (receiver)
    {
        arguments.push(std::move(*receiver));
    }
    collectArguments(call.arguments, environment, arguments);
    MultiValue results = callValue(callee, arguments.span(), call.line);
    if constexpr (std::is_same_v<Result, Value>)
    {
        return results.empty() ? Value() : std::move(results[0]);
    }
    else
    {
        return results;
    }
}

// The arguments of a call to a function without parameters or locals, evaluated for their effects;
// out of line, so that the call path keeps one inlined binding.
[[gnu::noinline]] static void dropArguments(LuaVM::Impl& vm, const CallExpr& call, Environment* environment)
{
    bindArguments(vm, call, nullptr, NilSlots{nullptr}, 0, environment);
}

// A call in the tree. A script callee gets its frame first and the arguments evaluated into it, so no
// argument list is built and copied; everything else goes through callValue. The common plain call to a
// function without closures runs in this one machine frame; method calls and shared frames branch off,
// so their extra state does not widen it (deep recursion pays for every byte here).
template <typename Result> Result LuaVM::Impl::invokeCall(const CallExpr& call, Environment* environment)
{
    guardStack(call.line);
    if (call.object)
    {
        return invokeMethod<Result>(call, environment);
    }
    const Value callee = evaluateExpression(*call.callee, environment);
    return invokeValue<Result>(call, callee, nullptr, environment);
}

template <typename Result>
[[gnu::noinline]] Result LuaVM::Impl::invokeMethod(const CallExpr& call, Environment* environment)
{
    Value receiver = evaluateExpression(*call.object, environment);
    const Value& name = nameKeyOf(call.nameKey, call.methodName);
    const Value callee =
        receiver.isTable() ? tableGetName(receiver.table(), *name.string(), call.lastEntry)
                            : indexValue(receiver, name, call.line);
    return invokeValue<Result>(call, callee, &receiver, environment);
}

template <typename Result>
[[gnu::always_inline]] inline Result LuaVM::Impl::invokeValue(const CallExpr& call, const Value& callee,
                                                              Value* receiver, Environment* environment)
{
    LuaFunctionHandle* handle = callee.isFunction() ? callee.function() : nullptr;
    if (!handle || handle->interpreter != serial) // natives, and functions of other interpreters
    {
        return invokeCollected<Result>(call, callee, receiver, environment);
    }
    const FunctionExpr& function = *handle->function;
    if (function.frame.size == 0)
    {
        if (!call.arguments.empty()) // a method's receiver is dropped with nothing to evaluate
        {
            dropArguments(*this, call, environment);
        }
        return runScriptCall<Result>(function, handle->closure.get(), call.line); // no parameters or locals: no frame
    }
    if (!function.leanFrame) [[unlikely]]
    {
        return invokeOtherFrame<Result>(call, *handle, receiver, environment);
    }
    Environment frame(frameSlots, function.frame.size, FrameSlots::Unmade{});
    frame.setParent(handle->closure.get());
    bindArguments(*this, call, receiver, UnmadeSlots{frame.slots},
                  std::min<std::size_t>(function.parameters.size(), function.frame.size), environment);
    frame.slots.fillRest(function.frame.size);
    return runScriptCall<Result>(function, &frame, call.line);
}

// A body that makes closures, whose frame lives on the heap where a closure can keep it, or a frame of
// many slots, which spends a step per kItemsPerStep of them (filling and clearing them is the call's work).
template <typename Result>
[[gnu::noinline]] Result LuaVM::Impl::invokeOtherFrame(const CallExpr& call, LuaFunctionHandle& handle,
                                                       Value* receiver, Environment* environment)
{
    const FunctionExpr& function = *handle.function;
    countItems(function.frame.size, call.line);
    if (function.noFunctions)
    {
        Environment frame(frameSlots, function.frame.size);
        frame.setParent(handle.closure.get());
        bindArguments(*this, call, receiver, NilSlots{frame.slots.data()},
                      std::min(function.parameters.size(), frame.slotCount()), environment);
        return runScriptCall<Result>(function, &frame, call.line);
    }
    Ref<Environment> frame = Environment::makeShared(function.frame.size);
    frame->setParent(handle.closure.get());
    bindArguments(*this, call, receiver, NilSlots{frame->slots.data()},
                  std::min(function.parameters.size(), frame->slotCount()), environment);
    return runScriptCall<Result>(function, frame.get(), call.line);
}

MultiValue LuaVM::Impl::callExpression(const CallExpr& call, Environment* environment)
{
    return invokeCall<MultiValue>(call, environment);
}

Value LuaVM::Impl::callExpressionOne(const CallExpr& call, Environment* environment)
{
    return invokeCall<Value>(call, environment);
}

Value LuaVM::Impl::evaluateCall(Impl& vm, const Expr& expr, Environment* environment)
{
    return vm.invokeCall<Value>(static_cast<const CallExpr&>(expr), environment);
}

} // namespace velmar::lua
