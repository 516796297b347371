// LuaVM::Impl: the interpreter state and the tree-walking evaluator that runs as its members.
#pragma once

#include "frontend/Ast.hpp"
#include "frontend/Compiler.hpp"
#include "frontend/GlobalSlots.hpp"
#include "runtime/Environment.hpp"
#include "runtime/Function.hpp"
#include "runtime/MultiValue.hpp"
#include "runtime/Signals.hpp"
#include "runtime/Table.hpp"
#include "velmar/lua/LuaVM.hpp"

#include <atomic>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>

namespace velmar::lua
{

class NativeObject;
class LuaObjectHandle;
class BridgeMeter;

constexpr std::size_t kUnbounded = std::numeric_limits<std::size_t>::max();

// Internal: hidden even though LuaVM is exported, so calls between its members bind directly
// instead of through the procedure linkage table.
class __attribute__((visibility("hidden"))) LuaVM::Impl
{
public:
    explicit Impl(LuaVM* owner);
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    static Impl& of(LuaVM& vm) noexcept { return *vm.impl_; }

    // ---- Globals ----
    std::size_t resolveGlobalSlot(std::string_view name)
    {
        const std::size_t slot = globalTable.resolveGlobalSlot(name);
        growGlobals();
        return slot;
    }
    // The values follow the names: a slot the front end handed out holds nil until it is set.
    void growGlobals()
    {
        if (globals.size() < globalTable.size())
        {
            globals.resize(globalTable.size());
        }
    }
    void setGlobalValue(std::size_t slot, Value value) { globals[slot] = std::move(value); }
    void setGlobalValue(std::string_view name, Value value) { setGlobalValue(resolveGlobalSlot(name), std::move(value)); }
    Value getGlobalValue(std::size_t slot) const { return globals[slot]; }
    Value getGlobalValue(std::string_view name) { return getGlobalValue(resolveGlobalSlot(name)); }

    // ---- Evaluator ----
    ExecStatus executeStatements(const StmtList& statements, Environment* environment);
    ExecStatus executeStatement(const Stmt& statement, Environment* environment);
    ExecStatus dispatchStatement(const Stmt& statement, Environment* environment);
    Value evaluateExpression(const Expr& expr, Environment* environment)
    {
        return expr.evaluate(*this, expr, environment);
    }
    // The evaluation function for a node's shape: specialised for locals, constants and operators.
    static ExprEvaluator selectEvaluator(const Expr& expr) noexcept;
    MultiValue evaluateExpressionList(const std::vector<ExprPtr>& exprs, Environment* environment);
    void assignTarget(const AssignTarget& target, Value value, Environment* environment);
    Value indexValue(const Value& object, const Value& key, std::uint32_t line);

    MultiValue callValue(const Value& callee, ValueSpan arguments, std::uint32_t line);
    MultiValue callExpression(const CallExpr& call, Environment* environment);
    // A call whose first result alone is wanted (or none, as in a call statement).
    Value callExpressionOne(const CallExpr& call, Environment* environment);
    // The evaluator of call nodes: straight into the call path.
    static Value evaluateCall(Impl& vm, const Expr& expr, Environment* environment);
    MultiValue callHandle(LuaFunctionHandle* handle, ValueSpan arguments, std::uint32_t line);
    Value makeScriptFunction(std::string name, const FunctionExpr& function, Environment* current);

    // The key Value of a name in the tree, made once and kept in the node. Names are interned, so every
    // node and library table naming a field shares one string, and key comparison is by address.
    const Value& nameKeyOf(const Value& cache, const std::string& name)
    {
        if (!cache.isString()) [[unlikely]]
        {
            const_cast<Value&>(cache) = internName(name);
        }
        return cache;
    }
    Value internName(std::string_view name);

    // ---- Library binding and argument checks ----
    void bindDefaults();
    void bindFunction(const std::string& name, NativeFunction fn);
    void bindFunction(const std::string& name, LuaMultiFunction fn);
    void bindNativeGlobal(const std::string& name, NativeCallable function);
    void bindTableFunction(Table& table, const std::string& name, NativeCallable function);

    // Library functions check their argument count inline; the message is built out of line.
    static void requireArgumentCount(const char* name, std::size_t count, std::size_t min, std::size_t max)
    {
        if (count < min || count > max) [[unlikely]]
        {
            failArgumentCount(name, min, max);
        }
    }
    [[noreturn]] static void failArgumentCount(const char* name, std::size_t min, std::size_t max);
    static std::int64_t requireInteger(const char* name, ValueSpan args, std::size_t index, std::uint32_t line);
    static double requireNumber(const char* name, ValueSpan args, std::size_t index, std::uint32_t line);
    static const Value& requireString(const char* name, ValueSpan args, std::size_t index, std::uint32_t line);
    static Table* requireTable(const char* name, ValueSpan args, std::size_t index, std::uint32_t line);
    static NativeObject* requireUserData(const char* name, ValueSpan args, std::uint32_t line, std::uint8_t kind);

    // ---- Facade ----
    ParsedChunk parseScript(std::string_view source, const std::string& chunkName);
    LuaResult runScriptString(const std::string& source, const std::string& chunkName);
    // LuaVM::call: the function `function`, or else the global `globalName`.
    LuaResult call(const LuaValue* function, const std::string* globalName, const std::vector<LuaValue>& args);
    template <typename Body> LuaResult runGuarded(const std::string* const& chunkName, bool hostCall, Body&& body);
    LuaResult makeSuccess(const MultiValue& values);
    LuaResult makeFailure(const LuaError& error, const std::string& chunkName) const;
    Value publicToValue(const LuaValue& value) const;
    LuaValue valueToPublic(const Value& value) const;
    LuaValue valueToPublic(const Value& value, BridgeMeter* meter) const; // charging the run as it goes

    // The step budget and the reasons to look up from work (kInterrupt, the heap's kCollectionDue).
    // Declared first with the heap: everything below holds values, and is gone before the heap goes.
    static constexpr std::uint8_t kInterrupt = Attention::kInterrupt;
    Attention attention;
    ValueHeap heap{attention};
    ValueStack frameSlots{heap}; // slots of the environments on the evaluator's stack

    LuaVM* owner;
    const std::uint64_t serial; // unique in the process: script functions remember their maker by it
    GlobalSlotTable globalTable; // global names and slots, shared with the front end
    std::vector<Value> globals;  // their values, by slot
    std::unordered_map<std::string_view, Value> internedNames; // views into the strings they map to
    std::int32_t exitCode = -1;
    // What an empty function handle from the host becomes: every value needs an object to count on.
    Ref<LuaFunctionHandle> emptyFunction;

    // One shared string per byte value, made on first use: one-character results (string.sub over a
    // text, character by character) need no allocation of their own.
    const Value& singleByteString(unsigned char byte)
    {
        Value& cached = singleBytes[byte];
        if (!cached.isString()) [[unlikely]]
        {
            const char text = static_cast<char>(byte);
            cached = Value(std::string_view(&text, 1));
        }
        return cached;
    }

    MultiValue pendingReturn;         // values of the return statement being unwound, unless...
    Value pendingValue;               // ...it returned one plain expression: its value waits here
    bool pendingIsValue = false;
    std::uint32_t pendingBreakLine = 0; // line of the break statement being unwound
    const char* stackLimit = nullptr; // frames below this address stop with "stack overflow"
    std::size_t stringLibrarySlot = 0;
    std::uint64_t stepLimit = 0; // 0: unbounded
    bool running = false; // a run is in progress (nested runs from host functions share its limits)
    Value singleBytes[256]; // see singleByteString; last, away from the members every call uses

    ExecStatus executeExpressionStatement(const ExpressionStmt& statement, Environment* environment);
    ExecStatus executeAssignment(const AssignmentStmt& statement, Environment* environment);
    ExecStatus executeMultipleAssignment(const AssignmentStmt& statement, Environment* environment);
    ExecStatus executeFunctionDeclaration(const FunctionDeclarationStmt& statement, Environment* environment);
    ExecStatus executeReturn(const ReturnStmt& statement, Environment* environment);
    ExecStatus executeIf(const IfStmt& statement, Environment* environment);
    ExecStatus executeWhile(const WhileStmt& statement, Environment* environment);
    ExecStatus executeNumericFor(const NumericForStmt& statement, Environment* environment);
    ExecStatus executeGenericFor(const GenericForStmt& statement, Environment* environment);
    ExecStatus executeBlock(const StmtList& body, std::size_t slotCount, bool noFunctions, const BlockFrame& frame,
                            Environment* environment);
    // A block with locals, in its own environment (kept out of line: the environment is large).
    [[gnu::noinline]] ExecStatus executeScopedBlock(const StmtList& body, std::size_t slotCount, bool noFunctions,
                                                    Environment* environment);
    ExecStatus executeLoopBody(const StmtList& body, Environment* environment, std::uint32_t line);
    // The call path, for a result list (MultiValue) or for the first result alone (Value).
    template <typename Result> Result invokeCall(const CallExpr& call, Environment* environment);
    template <typename Result> Result invokeMethod(const CallExpr& call, Environment* environment);
    template <typename Result>
    Result invokeValue(const CallExpr& call, const Value& callee, Value* receiver, Environment* environment);
    template <typename Result>
    Result invokeOtherFrame(const CallExpr& call, LuaFunctionHandle& handle, Value* receiver, Environment* environment);
    template <typename Result>
    Result invokeCollected(const CallExpr& call, const Value& callee, Value* receiver, Environment* environment);
    template <typename Result> Result runScriptCall(const FunctionExpr& function, Environment* frame, std::uint32_t line);
    template <typename Result> Result runFunctionBody(const FunctionExpr& function, Environment* environment);
    template <typename Result> Result takePendingReturn();
    MultiValue takeReturnValues(); // what the return statement that ended a chunk left
    template <typename Result> Result evaluateReturnList(const std::vector<ExprPtr>& values, Environment* environment);

    Value evaluateBinary(const BinaryExpr& expr, Environment* environment);
    Value evaluateTable(const TableExpr& expr, Environment* environment);
    Value evaluateField(const FieldExpr& expr, Environment* environment);
    Value evaluateIndex(const IndexExpr& expr, Environment* environment);
    void collectArguments(const std::vector<ExprPtr>& arguments, Environment* environment, SmallValueStore<6>& out);

    // One unit of work (statement, call or loop iteration) against the step limit and interrupts.
    void countStep(std::uint32_t line)
    {
        if (--attention.countdown == 0) [[unlikely]]
        {
            serviceStep(line);
        }
    }
    // Ends the run for an interrupt or an exhausted budget, refills the countdown, or collects cycles
    // between two steps.
    void serviceStep(std::uint32_t line);
    // Several steps at once, for work that one step does not cover; the reasons are checked too.
    void spendSteps(std::uint64_t steps, std::uint32_t line)
    {
        if (!attention.take(steps)) [[unlikely]]
        {
            serviceStep(line); // fails the run: interrupted, or out of steps
        }
        if (attention.reasons.load(std::memory_order_relaxed) != 0) [[unlikely]]
        {
            serviceStep(line);
        }
    }
    // Lists whose length is in the source (arguments, constructor items, value and target lists, the
    // slots of a called function's frame): a step per kItemsPerStep items, 64 units an item as for any
    // element, charged as the list's work begins, so a list of thousands of items cannot hide behind the
    // one step of its statement or call. Kept out of the loops that evaluate the items.
    static constexpr std::size_t kItemsPerStep = kListItemsPerStep;
    void countItems(std::size_t count, std::uint32_t line)
    {
        if (count >= kItemsPerStep) [[unlikely]]
        {
            spendSteps(count / kItemsPerStep, line);
        }
    }
    // The arguments of a call with many of them.
    void countManyArguments(std::size_t count, std::uint32_t line);
    // Bulk string work: an operation producing `bytes` bytes spends one further step per full
    // kBytesPerStep, so a step's work stays bounded however long the strings grow.
    static constexpr std::uint64_t kBytesPerStep = 1024;
    void spendStepsForBytes(std::size_t bytes, std::uint32_t line)
    {
        if (bytes >= kBytesPerStep) [[unlikely]]
        {
            spendSteps(bytes / kBytesPerStep, line);
        }
    }

    void guardStack(std::uint32_t line) const
    {
        if (static_cast<const char*>(__builtin_frame_address(0)) < stackLimit)
        {
            failRuntime(line, "stack overflow");
        }
    }
};


// Whether the interpreter with this serial still exists.
bool interpreterExists(std::uint64_t serial);

// The native function that runs a host function: converts the arguments, calls it, converts its
// result(s), and turns a LuaError it throws into a script error "name: message" at the call's line.
NativeCallable wrapHostFunction(std::string name, NativeFunction function);
NativeCallable wrapHostFunction(std::string name, LuaMultiFunction function);

// What every run of a moved-from LuaVM returns: a failure, "this interpreter was moved from".
LuaResult movedFromResult();
constexpr const char* kMovedFromMessage = "this interpreter was moved from";

// Field lookup on a host object: a field a script stored on it (under any key a table takes), else one of
// its methods, else nil.
Value hostObjectField(const LuaObjectHandle* object, const Value& key, std::uint32_t line);

} // namespace velmar::lua
