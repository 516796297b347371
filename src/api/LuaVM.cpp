// The facade: LuaVM's members, runs and their results, host-function binding.
#include "velmar/lua/LuaVM.hpp"

#include "api/PublicText.hpp"
#include "runtime/Interpreter.hpp"
#include "support/Platform.hpp"
#include "support/StackGuard.hpp"

#include <new>
#include <unordered_set>

namespace velmar::lua
{

namespace
{

// Serials start at 1 and are never reused, so a function that outlives its interpreter can never be
// taken for one of a newer interpreter that happens to sit at the same address.
std::atomic<std::uint64_t> gInterpreterSerials{0};

// The serials of the interpreters that exist, so that a function outliving its own can say so. Made on
// first use: a host may create an interpreter during its static initialisation.
struct LiveInterpreters
{
    zq::Mutex mutex;
    std::unordered_set<std::uint64_t> serials;
};
LiveInterpreters& liveInterpreters()
{
    static LiveInterpreters* live = new LiveInterpreters; // never destroyed: VMs may die at exit
    return *live;
}

std::uint64_t registerInterpreter()
{
    const std::uint64_t serial = gInterpreterSerials.fetch_add(1) + 1;
    LiveInterpreters& live = liveInterpreters();
    const zq::ScopedLock lock(live.mutex);
    live.serials.insert(serial);
    return serial;
}

} // namespace

// Asked only when a script function is called from the wrong interpreter, to choose the message.
bool interpreterExists(std::uint64_t serial)
{
    LiveInterpreters& live = liveInterpreters();
    const zq::ScopedLock lock(live.mutex);
    return live.serials.count(serial) != 0;
}

LuaVM::Impl::Impl(LuaVM* owner) : owner(owner), serial(registerInterpreter())
{
    // The standard library and every value made here are this interpreter's memory from the start.
    HeapScope scope(heap);
    // What a host's empty function handle becomes inside scripts: a value that fails only when called.
    emptyFunction = makeNativeFunction("", [](LuaVM&, ValueSpan, unsigned line) -> MultiValue {
        failRuntime(line, "attempt to call an empty function");
    });
    bindDefaults();
    stringLibrarySlot = resolveGlobalSlot("string"); // where s:method() looks its methods up
}

// Values are dropped inside the interpreter's own heap scope, so their memory is credited back to it;
// public values that still refer to it keep its heap anchor alive after this.
LuaVM::Impl::~Impl()
{
    HeapScope scope(heap);
    for (Value& global : globals)
    {
        global = Value();
    }
    pendingReturn.clear();
    emptyFunction = Ref<LuaFunctionHandle>();
    heap.collect(); // what only cycles still hold goes with the VM
    LiveInterpreters& live = liveInterpreters();
    const zq::ScopedLock lock(live.mutex);
    live.serials.erase(serial);
}

// The whole compile, including the evaluator's own pass over the tree. Used by runs and by
// compileScript, so that a container is only written for a chunk that would compile.
ParsedChunk LuaVM::Impl::parseScript(std::string_view source, const std::string& chunkName)
{
    ParsedChunk chunk = compileChunk(source, chunkName, globalTable);
    growGlobals(); // the slots the chunk added hold nil until set
    return chunk;
}

// Everything a run and a host's call share: the limits, the nesting of runs started by host functions,
// and the sorting of every way a run can end into a LuaResult. `chunkName` names script errors; with
// `hostCall`, an error at line 0 (the host's own call) and one without a chunk carry no position.
template <typename Body>
LuaResult LuaVM::Impl::runGuarded(const std::string* const& chunkName, bool hostCall, Body&& body)
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
    // Measured per run: the host may call from a different thread each time.
    zq::initStackLimit();
    stackLimit = zq::gStackLimit;
    const bool nested = running; // a run started by a host function shares the outer run's budget
    if (!nested)
    {
        attention.setBudget(stepLimit == 0 ? ~0ULL : stepLimit + 1);
        // An interrupt made while nothing ran is forgotten: it stops the run in progress, not the next one.
        attention.reasons.fetch_and(static_cast<std::uint8_t>(~kInterrupt), std::memory_order_relaxed);
    }
    attention.noticeRaised(); // a collection already due, or a host function's interrupt before a nested run
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
    // A host call's own failure (line 0: no script ran yet) and a library error raised outside any
    // script carry no position.
    const auto failure = [&](std::uint32_t line, bool hasLine, const std::string& message) {
        LuaResult result;
        const bool positioned = chunkName != nullptr && hasLine && !(hostCall && line == 0);
        result.error = positioned ? positionedMessage(*chunkName, line, message) : message;
        return result;
    };
    // Every way a run ends becomes a LuaResult here and nowhere else. A host's exception from outside
    // the library's family is not caught: it passes to the host that started the run.
    try
    {
        return makeSuccess(body());
    }
    catch (const ExitSignal& exit)
    {
        exitCode = exit.code;
        return makeSuccess(MultiValue(Value(static_cast<long long>(exit.code))));
    }
    catch (const ProtectedRuntimeError& error)
    {
        return failure(error.line, true, error.message);
    }
    catch (const RunAborted& aborted)
    {
        // A nested run reports its own failure; the budget stays spent (and the interrupt set), so the
        // outer run stops at its own next step, under its own chunk name and line.
        return failure(aborted.line, true, aborted.message);
    }
    catch (const LuaError& error)
    {
        // A script error has a line; a syntax error already holds its position, and a library error
        // raised outside any call (a bad value handed in) has none.
        const auto* runtime = dynamic_cast<const RuntimeError*>(&error);
        return runtime ? failure(runtime->line, true, error.message()) : failure(0, false, error.message());
    }
    catch (const BreakSignal&)
    {
        // A break that left a function a host called directly: no loop of the run can take it.
        return failure(pendingBreakLine, true, "break outside a loop");
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

LuaResult LuaVM::Impl::runScriptString(const std::string& source, const std::string& chunkName)
{
    const std::string* const chunk = &chunkName;
    return runGuarded(chunk, false, [&] {
        MultiValue result;
        ParsedChunk parsed = parseScript(source, chunkName);
        Ref<Environment> environment = Environment::makeShared(parsed.localCount); // the chunk's locals
        ExecStatus status;
        try
        {
            status = executeStatements(parsed.statements, environment.get());
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
            throw RuntimeError("break outside a loop", pendingBreakLine);
        }
        return result;
    });
}

// A host's call into a script function, by value or by global name. Line 0 stands for the host's own
// call, so an error of the call itself (calling a non-function) has no position.
LuaResult LuaVM::Impl::call(const LuaValue* function, const std::string* globalName, const std::vector<LuaValue>& args)
{
    // The callee's chunk names the errors of a script function; held here, because the call may drop
    // the last other reference to the function.
    std::shared_ptr<const std::string> chunkHolder;
    const std::string* chunk = nullptr;
    return runGuarded(chunk, true, [&] {
        const Value callee = function != nullptr ? publicToValue(*function) : getGlobalValue(*globalName);
        if (callee.isFunction() && callee.function()->kind == LuaFunctionHandle::Kind::Script)
        {
            chunkHolder = callee.function()->function->chunkName;
            chunk = chunkHolder.get();
        }
        ValueVector arguments;
        arguments.reserve(args.size());
        for (const LuaValue& argument : args)
        {
            arguments.push_back(publicToValue(argument));
        }
        return callValue(callee, ValueSpan{arguments.data(), arguments.size()}, 0);
    });
}

LuaResult LuaVM::Impl::makeSuccess(const MultiValue& values)
{
    LuaResult result;
    result.success = true;
    result.values.reserve(values.size());
    std::size_t firstNil = values.size();
    for (std::size_t i = 0; i < values.size(); ++i)
    {
        result.values.push_back(valueToPublic(values[i]));
        if (firstNil == values.size() && values[i].isNil())
        {
            firstNil = i;
        }
    }
    // The packed value is what a table of the values 1..n would bridge to: the sequence up to the first
    // nil when only nils follow it, a map of the non-nil ones by position otherwise.
    if (values.size() == 1)
    {
        result.value = result.values[0];
    }
    else if (values.size() > 1)
    {
        bool nilsOnlyAfter = true;
        for (std::size_t i = firstNil; i < values.size() && nilsOnlyAfter; ++i)
        {
            nilsOnlyAfter = values[i].isNil();
        }
        if (nilsOnlyAfter)
        {
            result.value = LuaValue(std::vector<LuaValue>(result.values.begin(),
                                                          result.values.begin() + static_cast<std::ptrdiff_t>(firstNil)));
        }
        else
        {
            LuaMap map;
            for (std::size_t i = 0; i < values.size(); ++i)
            {
                if (!values[i].isNil())
                {
                    map.insert_or_assign(std::to_string(i + 1), result.values[i]);
                }
            }
            result.value = LuaValue(std::move(map));
        }
    }
    if (exitCode >= 0)
    {
        result.hasExitCode = true;
        result.exitCode = exitCode;
    }
    return result;
}

// For failures outside a run (reading a container or its file), named after what was being read.
LuaResult LuaVM::Impl::makeFailure(const LuaError& error, const std::string& chunkName) const
{
    LuaResult result;
    const auto* runtime = dynamic_cast<const RuntimeError*>(&error);
    result.error = runtime ? positionedMessage(chunkName, runtime->line, error.message()) : error.message();
    return result;
}

// Host functions go through the wrappers of HostObjects.cpp, which convert values and errors; the
// library's own natives are bound as they are.
void LuaVM::Impl::bindFunction(const std::string& name, NativeFunction fn)
{
    setGlobalValue(name, Value(makeNativeFunction(name, wrapHostFunction(name, std::move(fn)))));
}

void LuaVM::Impl::bindFunction(const std::string& name, LuaMultiFunction fn)
{
    setGlobalValue(name, Value(makeNativeFunction(name, wrapHostFunction(name, std::move(fn)))));
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

// The Impl keeps a pointer back to its LuaVM (host functions receive it), so a move re-points it.
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

void LuaVM::bindFunction(const std::string& name, LuaMultiFunction fn)
{
    if (!impl_)
    {
        return;
    }
    HeapScope scope(impl_->heap);
    impl_->bindFunction(name, std::move(fn));
}

LuaResult LuaVM::call(const std::string& globalName, const std::vector<LuaValue>& args)
{
    return impl_ ? impl_->call(nullptr, &globalName, args) : movedFromResult();
}

LuaResult LuaVM::call(const LuaValue& function, const std::vector<LuaValue>& args)
{
    return impl_ ? impl_->call(&function, nullptr, args) : movedFromResult();
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

// A global that cannot be converted (a value nested too deeply, an iterator) reads as absent rather than
// throwing: the call promises only true or false.
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

// Read when an outermost run starts; a run already going keeps the budget it started with.
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

// Safe from any thread or a signal handler: one relaxed atomic OR, which the run notices at its next
// service of the step budget (at most Attention::kServiceInterval steps on; a host function that
// interrupts its own interpreter stops it at the next step). Long library operations count their
// steps as they go.
void LuaVM::interrupt() noexcept
{
    if (impl_)
    {
        impl_->attention.reasons.fetch_or(Impl::kInterrupt, std::memory_order_relaxed);
    }
}

std::string LuaVM::valueToString(const LuaValue& value)
{
    return value.toString();
}

// The free-function forms of the interface, each the member of the same name.
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
