// The facade: LuaVM's members, runs and their results, host-function binding.
#include "velmar/lua/LuaVM.hpp"

#include "api/PublicText.hpp"
#include "runtime/Interpreter.hpp"
#include "support/StackGuard.hpp"

#include <new>

namespace velmar::lua
{

namespace
{
std::atomic<std::uint64_t> gInterpreterSerials{0};
}

LuaVM::Impl::Impl(LuaVM* owner) : owner(owner), serial(gInterpreterSerials.fetch_add(1) + 1)
{
    HeapScope scope(heap);
    emptyFunction = makeNativeFunction("", [](LuaVM&, ValueSpan, unsigned line) -> MultiValue {
        failRuntime(line, "attempt to call an empty function");
    });
    bindDefaults();
    stringLibrarySlot = resolveGlobalSlot("string");
}

LuaVM::Impl::~Impl()
{
    HeapScope scope(heap);
    for (Value& global : globalTable.globals)
    {
        global = Value();
    }
    pendingReturn.clear();
    emptyFunction = Ref<LuaFunctionHandle>();
    heap.collect(); // what only cycles still hold goes with the VM
}

ParsedChunk LuaVM::Impl::parseScript(std::string_view source, const std::string& chunkName)
{
    ParsedChunk chunk = compileChunk(source, chunkName, globalTable);
    elideEmptyScopes(chunk.statements, chunkName);
    return chunk;
}

LuaResult LuaVM::Impl::runScriptString(const std::string& source, const std::string& chunkName)
{
    HeapScope heapScope(heap);
    struct Enforcing
    {
        ValueHeap& heap;
        bool previous;
        ~Enforcing() { heap.setEnforcing(previous); }
    } enforcing{heap, heap.enforcing()};
    heap.setEnforcing(true);
    exitCode = -1;
    zq::initStackLimit();
    stackLimit = zq::gStackLimit;
    const bool nested = running; // a run started by a host function shares the outer run's budget
    if (!nested)
    {
        stepsLeft = stepLimit == 0 ? ~0ULL : stepLimit + 1;
        attention.fetch_and(static_cast<std::uint8_t>(~kInterrupt), std::memory_order_relaxed);
    }
    struct RunFlag
    {
        Impl& vm;
        bool nested;
        ~RunFlag()
        {
            if (!nested)
            {
                vm.running = false;
            }
        }
    } runFlag{*this, nested};
    running = true;
    try
    {
        MultiValue result;
        {
            ParsedChunk chunk = parseScript(source, chunkName);
            Ref<Environment> environment = Environment::makeShared(chunk.localCount);
            ExecStatus status;
            try
            {
                status = executeStatements(chunk.statements, environment.get());
            }
            catch (const BreakSignal&)
            {
                status = ExecStatus::Break; // a break escaped every function up to the chunk
            }
            if (status == ExecStatus::Return)
            {
                result = takeReturnValues();
            }
            else if (status == ExecStatus::Break)
            {
                throw RuntimeError("break outside a loop", pendingBreakLine, true);
            }
        }
        return makeSuccess(result);
    }
    catch (const ExitSignal& exit)
    {
        exitCode = exit.code;
        return makeSuccess(MultiValue(Value(static_cast<long long>(exit.code))));
    }
    catch (const ProtectedRuntimeError& error)
    {
        return makeFailure(error, chunkName);
    }
    catch (const RunAborted& aborted)
    {
        // A nested run reports its own failure; the budget stays spent (and the interrupt set), so the
        // outer run stops at its own next step, under its own chunk name and line.
        LuaResult result;
        result.error = chunkName + ":" + std::to_string(aborted.line) + ": " + aborted.message;
        return result;
    }
    catch (const zq::exception& error)
    {
        return makeFailure(error, chunkName);
    }
    catch (const BreakSignal&)
    {
        return makeFailure(RuntimeError("break outside a loop", pendingBreakLine, true), chunkName);
    }
    catch (const std::bad_alloc&)
    {
        if (!nested)
        {
            heap.collect(); // the failed run's cycles would crowd the next one
        }
        LuaResult result;
        result.error = "not enough memory";
        return result;
    }
}

LuaResult LuaVM::Impl::makeSuccess(const MultiValue& values)
{
    LuaResult result;
    result.success = true;
    if (values.size() == 1)
    {
        result.value = valueToPublic(values[0]);
    }
    else if (values.size() > 1)
    {
        Ref<Table> table = makeTable();
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            tableSetByKey(table.get(), TableKey::makeInteger(static_cast<std::int64_t>(i + 1)), values[i]);
        }
        result.value = valueToPublic(Value(std::move(table)));
    }
    if (exitCode >= 0)
    {
        result.hasExitCode = true;
        result.exitCode = exitCode;
    }
    return result;
}

LuaResult LuaVM::Impl::makeFailure(const zq::exception& error, const std::string& chunkName) const
{
    LuaResult result;
    const auto* runtime = dynamic_cast<const RuntimeError*>(&error);
    if (runtime && runtime->hasLine)
    {
        result.error = chunkName + ":" + std::to_string(runtime->line) + ": " + error.message();
    }
    else
    {
        result.error = error.message();
    }
    return result;
}

LuaResult LuaVM::Impl::makeFailure(const ProtectedRuntimeError& error, const std::string& chunkName) const
{
    LuaResult result;
    result.error = error.hasLine ? chunkName + ":" + std::to_string(error.line) + ": " + error.message : error.message;
    return result;
}

void LuaVM::Impl::bindFunction(const std::string& name, NativeFunction fn)
{
    // The calling interpreter, not this one, converts: a host may hand the function to another VM,
    // which can call it after this one is gone.
    auto wrapper = [fn = std::move(fn), name](LuaVM& vm, ValueSpan args, unsigned line) -> MultiValue {
        Impl& caller = Impl::of(vm);
        // The arguments' conversion is the caller's work, and their public copies its memory while
        // the host function holds them.
        WorkMeter work(caller, line);
        BridgeMeter meter(work);
        const std::vector<LuaValue> arguments = publicArguments(caller, args, meter);
        try
        {
            return MultiValue(caller.publicToValue(fn(vm, arguments)));
        }
        catch (const RuntimeError&)
        {
            throw;
        }
        catch (const zq::exception& error)
        {
            failRuntime(line, name + ": " + error.message());
        }
    };
    setGlobalValue(name, Value(makeNativeFunction(name, std::move(wrapper))));
}

void LuaVM::Impl::bindNativeGlobal(const std::string& name, NativeCallable function)
{
    setGlobalValue(name, Value(makeNativeFunction(name, std::move(function))));
}

void LuaVM::Impl::bindTableFunction(Table& table, const std::string& name, NativeCallable function)
{
    tableSetByKey(&table, TableKey::makeString(Ref<LuaString>(internName(name).string())),
                  Value(makeNativeFunction(name, std::move(function))));
}

// ---- LuaVM ----

LuaVM::LuaVM() : impl_(std::make_unique<Impl>(this)) {}

LuaVM::~LuaVM() = default;

LuaVM::LuaVM(LuaVM&& other) noexcept : impl_(std::move(other.impl_))
{
    if (impl_)
    {
        impl_->owner = this;
    }
}

LuaVM& LuaVM::operator=(LuaVM&& other) noexcept
{
    if (this != &other)
    {
        impl_ = std::move(other.impl_);
        if (impl_)
        {
            impl_->owner = this;
        }
    }
    return *this;
}

LuaResult movedFromResult()
{
    LuaResult result;
    result.error = kMovedFromMessage;
    return result;
}

// A moved-from LuaVM has no Impl: its runs fail, its setters do nothing and it holds no memory.
void LuaVM::bindFunction(const std::string& name, NativeFunction fn)
{
    if (!impl_)
    {
        return;
    }
    HeapScope scope(impl_->heap);
    impl_->bindFunction(name, std::move(fn));
}

// The bridge recurses once per nesting level, so the thread's stack limit must be known before the
// first value crosses, even on a thread that has not run a script yet.
void LuaVM::setGlobal(const std::string& name, const LuaValue& value)
{
    if (!impl_)
    {
        return;
    }
    zq::initStackLimit();
    HeapScope scope(impl_->heap);
    impl_->setGlobalValue(name, impl_->publicToValue(value));
}

bool LuaVM::getGlobal(const std::string& name, LuaValue& out) const
{
    if (!impl_)
    {
        return false;
    }
    zq::initStackLimit();
    HeapScope scope(impl_->heap);
    try
    {
        const Value value = impl_->getGlobalValue(name);
        if (value.isNil())
        {
            return false;
        }
        out = impl_->valueToPublic(value);
        return true;
    }
    catch (const zq::exception&)
    {
        return false;
    }
}

LuaResult LuaVM::runScriptString(const std::string& source, const std::string& chunkName)
{
    return impl_ ? impl_->runScriptString(source, chunkName) : movedFromResult();
}

void LuaVM::setStepLimit(std::uint64_t steps)
{
    if (impl_)
    {
        impl_->stepLimit = steps;
    }
}

void LuaVM::setMemoryLimit(std::size_t bytes)
{
    if (impl_)
    {
        impl_->heap.setLimit(bytes);
    }
}

std::size_t LuaVM::memoryInUse() const noexcept
{
    return impl_ ? impl_->heap.bytesInUse() : 0;
}

void LuaVM::interrupt() noexcept
{
    if (impl_)
    {
        impl_->attention.fetch_or(Impl::kInterrupt, std::memory_order_relaxed);
    }
}

std::string LuaVM::valueToString(const LuaValue& value)
{
    return value.toString();
}

LuaResult runLuaScriptString(LuaVM& vm, const std::string& source, const std::string& chunkName)
{
    return vm.runScriptString(source, chunkName);
}

LuaResult runLuaScriptFile(LuaVM& vm, const std::string& path)
{
    return vm.runScriptFile(path);
}

LuaResult runLuaBytecode(LuaVM& vm, const LuaBytecode& bytecode)
{
    return vm.runBytecode(bytecode);
}

LuaResult runLuaBytecodeFile(LuaVM& vm, const std::string& path)
{
    return vm.runBytecodeFile(path);
}

LuaResult runLuaScriptFromBytecodeFile(LuaVM& vm, const std::string& path)
{
    return vm.runScriptFromBytecodeFile(path);
}

void bindCppFunctionToLuaVM(LuaVM& vm, const std::string& name, NativeFunction fn)
{
    vm.bindFunction(name, std::move(fn));
}

} // namespace velmar::lua
