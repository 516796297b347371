// Syntax tree nodes: statements and expressions, each with a kind tag and its source line.
#pragma once

#include "frontend/Token.hpp"
#include "runtime/Value.hpp"
#include "velmar/lua/LuaVM.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmar::lua
{

enum class StmtKind : std::uint32_t
{
    Expression,
    Assignment,
    FunctionDeclaration,
    If,
    While,
    NumericFor,
    GenericFor,
    Return,
    Break,
};

enum class ExprKind : std::uint32_t
{
    Literal,
    Variable,
    Unary,
    Binary,
    Table,
    Field,
    Index,
    Call,
    Function,
};

struct Expr;
struct Stmt;

// A list whose length is in the source (arguments, constructor items, value and target lists, a called
// function's frame) spends a step per this many items when it runs; the scope pass decides by it which
// calls and functions are too short to count.
inline constexpr std::size_t kListItemsPerStep = 16;

// Evaluator-owned: where a block's locals live at run time, decided once by the scope pass. A block
// that makes no closures shares the frame of the outermost such scope around it (its region): its
// locals are slots at an offset of that frame, and entering it makes no environment.
struct BlockFrame
{
    enum class Mode : std::uint8_t
    {
        None,   // no locals: runs in the enclosing environment
        Own,    // an environment of its own, of `size` slots (its locals and those of its region)
        Member, // its locals are slots offset.. of the enclosing environment, cleared when it ends
    };
    Mode mode = Mode::None;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
};
struct FunctionExpr;
using ExprPtr = std::shared_ptr<Expr>;
using StmtPtr = std::shared_ptr<Stmt>;
using StmtList = std::vector<StmtPtr>;

// Drops a reference to a child node. When it was the last one, the node is destroyed by a loop at the
// outermost release instead of by recursion, so a million-long chain such as 1 + 1 + ... + 1 is freed
// without exhausting the stack. Every node releases its children through these.
void releaseNode(std::shared_ptr<void> node) noexcept;
template <typename T> void releaseNodes(std::vector<std::shared_ptr<T>>& nodes) noexcept
{
    for (std::shared_ptr<T>& node : nodes)
    {
        releaseNode(std::move(node));
    }
}
void releaseTarget(struct AssignTarget& target) noexcept;

class Environment;

// How a statement ended: normally, or by a return or break that the enclosing code must honour.
enum class ExecStatus : std::uint8_t
{
    Normal,
    Return, // the values wait in Impl::pendingReturn or Impl::pendingValue
    Break,
};

// Like expressions, every statement runs through an executor picked once by its shape.
using StmtExecutor = ExecStatus (*)(LuaVM::Impl& vm, const Stmt& statement, Environment* environment);
ExecStatus executeFirstTime(LuaVM::Impl& vm, const Stmt& statement, Environment* environment);

struct Stmt
{
    Stmt(StmtKind kind, std::uint32_t line) : kind(kind), line(line) {}
    virtual ~Stmt() = default;
    StmtKind kind;
    std::uint32_t line;
    mutable StmtExecutor execute = &executeFirstTime; // evaluator-owned
};

// The evaluator picks one of these per node, by the node's shape, the first time the node runs.
using ExprEvaluator = Value (*)(LuaVM::Impl& vm, const Expr& expr, Environment* environment);
// Every node starts with this one: it picks the node's evaluator, installs it and runs it.
Value evaluateFirstTime(LuaVM::Impl& vm, const Expr& expr, Environment* environment);
// The truth of a condition, as a C++ bool: comparisons and and/or chains never build a value.
using ExprTester = bool (*)(LuaVM::Impl& vm, const Expr& expr, Environment* environment);
bool testFirstTime(LuaVM::Impl& vm, const Expr& expr, Environment* environment);
// Pure arithmetic (runtime/Operators.hpp) hands its number to the operator above it in registers.
struct NumberValue;
using NumberEvaluator = NumberValue (*)(LuaVM::Impl& vm, const Expr& expr, Environment* environment);
NumberValue numberFirstTime(LuaVM::Impl& vm, const Expr& expr, Environment* environment);

struct Expr
{
    Expr(ExprKind kind, std::uint32_t line) : kind(kind), line(line) {}
    virtual ~Expr() = default;
    ExprKind kind;
    std::uint32_t line;
    mutable ExprEvaluator evaluate = &evaluateFirstTime; // evaluator-owned
};

// Checked down-cast by kind tag: the node as T, or empty when it is of another class.
template <typename T> std::shared_ptr<T> asExpr(const ExprPtr& expr)
{
    return expr && expr->kind == T::kKind ? std::static_pointer_cast<T>(expr) : nullptr;
}
template <typename T> std::shared_ptr<T> asStmt(const StmtPtr& stmt)
{
    return stmt && stmt->kind == T::kKind ? std::static_pointer_cast<T>(stmt) : nullptr;
}

// ---- Expressions ----

struct LiteralExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Literal;
    LiteralExpr(Value value, std::uint32_t line) : Expr(kKind, line), value(std::move(value)) {}
    Value value;
};

struct VariableExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Variable;
    VariableExpr(std::string name, std::uint32_t line) : Expr(kKind, line), name(std::move(name)) {}
    // Slot numbers are 32-bit and packed together: a large script holds hundreds of thousands of these.
    std::string name;
    std::int32_t depth = -1; // -1: not a local
    std::uint32_t slot = 0;
    std::uint32_t globalSlot = 0;
    bool hasGlobalSlot = false;
    mutable std::int32_t runtimeDepth = -1; // evaluator-owned: environments actually walked
    mutable std::uint32_t runtimeSlot = 0;  // evaluator-owned: the slot in the environment reached
};

struct UnaryExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Unary;
    ~UnaryExpr() override
    {
        releaseNode(std::move(operand));
    }
    UnaryExpr(TokenKind op, ExprPtr operand, std::uint32_t line) : Expr(kKind, line), op(op), operand(std::move(operand))
    {
    }
    TokenKind op;
    ExprPtr operand;
};

struct BinaryExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Binary;
    ~BinaryExpr() override
    {
        releaseNode(std::move(left));
        releaseNode(std::move(right));
    }
    BinaryExpr(ExprPtr left, TokenKind op, ExprPtr right, std::uint32_t line)
        : Expr(kKind, line), left(std::move(left)), op(op), right(std::move(right))
    {
    }
    ExprPtr left;
    TokenKind op;
    ExprPtr right;
    mutable ExprTester test = &testFirstTime; // evaluator-owned: the node as a condition
    mutable NumberEvaluator number = &numberFirstTime; // evaluator-owned: pure arithmetic's number
};

struct TableExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Table;
    ~TableExpr() override
    {
        for (Field& field : fields)
        {
            releaseNode(std::move(field.key));
            releaseNode(std::move(field.value));
        }
    }
    enum class FieldKind : std::uint8_t
    {
        Positional,
        Named,
        Keyed,
    };
    struct Field
    {
        std::string name;
        ExprPtr key;
        ExprPtr value;
        mutable Value nameKey; // evaluator-owned: the named field's key, made once
        std::uint32_t line = 1;
        FieldKind kind = FieldKind::Positional;
    };
    explicit TableExpr(std::uint32_t line) : Expr(kKind, line) {}
    std::vector<Field> fields;
    // Evaluator-owned, decided at the first run: 1 when no field has a bracketed key and no name comes
    // twice, so every named field is a new key of the new table.
    mutable std::int8_t distinctNames = -1;
};

struct FieldExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Field;
    ~FieldExpr() override
    {
        releaseNode(std::move(object));
    }
    FieldExpr(ExprPtr object, std::string name, std::uint32_t line)
        : Expr(kKind, line), object(std::move(object)), name(std::move(name))
    {
    }
    ExprPtr object;
    std::string name;
    mutable Value nameKey;               // evaluator-owned: the name's key, made once
    mutable std::uint32_t lastEntry = 0; // evaluator-owned: where the last table read found the name
};

struct IndexExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Index;
    ~IndexExpr() override
    {
        releaseNode(std::move(object));
        releaseNode(std::move(index));
    }
    IndexExpr(ExprPtr object, ExprPtr index, std::uint32_t line)
        : Expr(kKind, line), object(std::move(object)), index(std::move(index))
    {
    }
    ExprPtr object;
    ExprPtr index;
};

struct CallExpr : Expr
{
    static constexpr ExprKind kKind = ExprKind::Call;
    ~CallExpr() override
    {
        releaseNode(std::move(callee));
        releaseNodes(arguments);
        releaseNode(std::move(object));
    }
    explicit CallExpr(std::uint32_t line) : Expr(kKind, line) {}
    ExprPtr callee; // empty for a method call
    std::vector<ExprPtr> arguments;
    ExprPtr object; // receiver of a method call
    std::string methodName;
    mutable Value nameKey; // evaluator-owned: the method name's key, made once
    mutable std::uint32_t lastEntry = 0; // evaluator-owned: where the last method lookup found the name
    // Evaluator-owned: fewer arguments than a step's worth and no final call to expand, so binding them
    // needs no per-call count test and no per-argument look for a final call.
    mutable bool plainArguments = false;
};

struct FunctionExpr : Expr, std::enable_shared_from_this<FunctionExpr>
{
    static constexpr ExprKind kKind = ExprKind::Function;
    ~FunctionExpr() override
    {
        releaseNodes(body);
    }
    explicit FunctionExpr(std::uint32_t line) : Expr(kKind, line) {}
    std::vector<std::string> parameters;
    StmtList body;
    std::size_t slotCount = 0;
    bool noFunctions = false;
    mutable BlockFrame frame; // evaluator-owned
    std::shared_ptr<const std::string> chunkName; // names the function's errors when a host calls it
    // Evaluator-owned: no closures and fewer slots than a step's worth, so a call takes the lean path.
    mutable bool leanFrame = false;
    // Evaluator-owned: how the body ends, decided once, so a call does not look at its last statement.
    enum class BodyEnd : std::uint8_t
    {
        Unknown,       // not decided yet
        Statements,    // no final return: every statement runs as one
        ReturnNothing, // a final `return` without values
        ReturnOne,     // a final `return e`, e not a call
        ReturnCall,    // a final `return f(...)`
        ReturnList,    // a final return of several values
    };
    mutable BodyEnd bodyEnd = BodyEnd::Unknown;
    mutable std::size_t leadingCount = 0;      // the statements before the final return (all without one)
    mutable const Expr* tailValue = nullptr;   // the one expression of a final ReturnOne or ReturnCall
    mutable const std::vector<ExprPtr>* tailValues = nullptr; // a final ReturnList's expressions
};

// ---- Statements ----

struct AssignTarget
{
    enum class Kind : std::uint8_t
    {
        Name,
        Field,
        Index,
    };
    std::string name;
    ExprPtr object;
    ExprPtr index;
    mutable Value nameKey; // evaluator-owned: the field name's key, made once
    std::uint32_t line = 1;
    std::int32_t depth = -1;
    std::uint32_t slot = 0;
    std::uint32_t globalSlot = 0;
    mutable std::int32_t runtimeDepth = -1; // evaluator-owned: environments actually walked
    mutable std::uint32_t runtimeSlot = 0;  // evaluator-owned: the slot in the environment reached
    Kind kind = Kind::Name;
    bool hasGlobalSlot = false;
    // Evaluator-owned: whether the object is a local that can be used where it lives (nothing between
    // reading it and the store runs code); -1 until the first store decides.
    mutable std::int8_t objectInPlace = -1;
};

struct ExpressionStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::Expression;
    ~ExpressionStmt() override
    {
        releaseNode(std::move(expression));
    }
    ExpressionStmt(ExprPtr expression, std::uint32_t line) : Stmt(kKind, line), expression(std::move(expression)) {}
    ExprPtr expression;
};

struct AssignmentStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::Assignment;
    ~AssignmentStmt() override
    {
        for (AssignTarget& target : targets)
        {
            releaseTarget(target);
        }
        releaseNodes(values);
    }
    AssignmentStmt(bool isLocal, std::uint32_t line) : Stmt(kKind, line), isLocal(isLocal) {}
    bool isLocal;
    std::vector<AssignTarget> targets;
    std::vector<ExprPtr> values;
};

struct FunctionDeclarationStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::FunctionDeclaration;
    ~FunctionDeclarationStmt() override
    {
        releaseTarget(target);
        releaseNode(std::move(function));
    }
    FunctionDeclarationStmt(bool isLocal, AssignTarget target, std::shared_ptr<FunctionExpr> function,
                            std::uint32_t line)
        : Stmt(kKind, line), isLocal(isLocal), target(std::move(target)), function(std::move(function))
    {
    }
    bool isLocal;
    AssignTarget target;
    std::shared_ptr<FunctionExpr> function;
};

struct IfStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::If;
    ~IfStmt() override
    {
        for (Branch& branch : branches)
        {
            releaseNode(std::move(branch.condition));
            releaseNodes(branch.body);
        }
        releaseNodes(elseBody);
    }
    struct Branch
    {
        ExprPtr condition;
        StmtList body;
        std::size_t slotCount = 0;
        bool noFunctions = false;
        mutable BlockFrame frame; // evaluator-owned
    };
    explicit IfStmt(std::uint32_t line) : Stmt(kKind, line) {}
    std::vector<Branch> branches;
    StmtList elseBody;
    std::size_t elseSlotCount = 0;
    bool elseNoFunctions = false;
    mutable BlockFrame elseFrame; // evaluator-owned
};

struct WhileStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::While;
    ~WhileStmt() override
    {
        releaseNode(std::move(condition));
        releaseNodes(body);
    }
    WhileStmt(ExprPtr condition, StmtList body, std::uint32_t line)
        : Stmt(kKind, line), condition(std::move(condition)), body(std::move(body))
    {
    }
    ExprPtr condition;
    StmtList body;
    std::size_t slotCount = 0;
    bool noFunctions = false;
    mutable BlockFrame frame; // evaluator-owned
};

struct NumericForStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::NumericFor;
    ~NumericForStmt() override
    {
        releaseNode(std::move(start));
        releaseNode(std::move(limit));
        releaseNode(std::move(step));
        releaseNodes(body);
    }
    explicit NumericForStmt(std::uint32_t line) : Stmt(kKind, line) {}
    std::string name;
    ExprPtr start;
    ExprPtr limit;
    ExprPtr step; // empty when absent
    StmtList body;
    std::size_t slotCount = 0;
    std::size_t variableSlot = 0;
    bool noFunctions = false;
    mutable BlockFrame frame; // evaluator-owned
};

struct GenericForStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::GenericFor;
    ~GenericForStmt() override
    {
        releaseNodes(iterators);
        releaseNodes(body);
    }
    explicit GenericForStmt(std::uint32_t line) : Stmt(kKind, line) {}
    std::vector<std::string> names;
    std::vector<ExprPtr> iterators;
    StmtList body;
    std::size_t slotCount = 0;
    std::vector<std::size_t> variableSlots;
    bool noFunctions = false;
    mutable BlockFrame frame; // evaluator-owned
};

struct ReturnStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::Return;
    ~ReturnStmt() override
    {
        releaseNodes(values);
    }
    explicit ReturnStmt(std::uint32_t line) : Stmt(kKind, line) {}
    std::vector<ExprPtr> values;
};

struct BreakStmt : Stmt
{
    static constexpr StmtKind kKind = StmtKind::Break;
    explicit BreakStmt(std::uint32_t line) : Stmt(kKind, line) {}
};

} // namespace velmar::lua
