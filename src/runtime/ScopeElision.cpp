// Scopes without locals get no environment at run time; references count only the environments
// that exist. The resolver's depths stay as they are; the evaluator walks `runtimeDepth`.
#include "runtime/Interpreter.hpp"
#include "support/StackGuard.hpp"

#include <vector>

namespace velmar::lua
{
namespace
{

class ScopeElider
{
public:
    explicit ScopeElider(const std::string& chunkName) : chunkName_(chunkName) {}

    void chunk(const StmtList& statements)
    {
        materialized_.push_back(true); // a run always makes the chunk's environment
        block(statements);
        materialized_.pop_back();
    }

private:
    std::int32_t runtimeDepth(std::int32_t depth) const
    {
        if (depth < 0)
        {
            return -1;
        }
        std::int32_t walked = 0;
        const std::size_t innermost = materialized_.size() - 1;
        for (std::int32_t i = 0; i < depth; ++i)
        {
            walked += materialized_[innermost - static_cast<std::size_t>(i)] ? 1 : 0;
        }
        return walked;
    }

    void guard(std::uint32_t line) const
    {
        if (zq::stackExhausted())
        {
            throw zq::runtime_error(chunkName_ + ":" + std::to_string(line) + ":1: nesting too deep");
        }
    }

    void scope(const StmtList& body, std::size_t slotCount)
    {
        materialized_.push_back(slotCount > 0);
        block(body);
        materialized_.pop_back();
    }

    void block(const StmtList& statements)
    {
        for (const StmtPtr& statement : statements)
        {
            this->statement(*statement);
        }
    }

    void target(const AssignTarget& target)
    {
        target.runtimeDepth = runtimeDepth(target.depth);
        expression(target.object);
        expression(target.index);
    }

    void list(const std::vector<ExprPtr>& exprs)
    {
        for (const ExprPtr& expr : exprs)
        {
            expression(expr);
        }
    }

    void statement(const Stmt& statement)
    {
        guard(statement.line);
        switch (statement.kind)
        {
        case StmtKind::Expression: expression(static_cast<const ExpressionStmt&>(statement).expression); return;
        case StmtKind::Assignment:
        {
            const auto& assignment = static_cast<const AssignmentStmt&>(statement);
            list(assignment.values);
            for (const AssignTarget& each : assignment.targets)
            {
                target(each);
            }
            return;
        }
        case StmtKind::FunctionDeclaration:
        {
            const auto& declaration = static_cast<const FunctionDeclarationStmt&>(statement);
            target(declaration.target);
            function(*declaration.function);
            return;
        }
        case StmtKind::If:
        {
            const auto& conditional = static_cast<const IfStmt&>(statement);
            for (const IfStmt::Branch& branch : conditional.branches)
            {
                expression(branch.condition);
                scope(branch.body, branch.slotCount);
            }
            if (!conditional.elseBody.empty())
            {
                scope(conditional.elseBody, conditional.elseSlotCount);
            }
            return;
        }
        case StmtKind::While:
        {
            const auto& loop = static_cast<const WhileStmt&>(statement);
            expression(loop.condition);
            scope(loop.body, loop.slotCount);
            return;
        }
        case StmtKind::NumericFor:
        {
            const auto& loop = static_cast<const NumericForStmt&>(statement);
            expression(loop.start);
            expression(loop.limit);
            expression(loop.step);
            scope(loop.body, loop.slotCount);
            return;
        }
        case StmtKind::GenericFor:
        {
            const auto& loop = static_cast<const GenericForStmt&>(statement);
            list(loop.iterators);
            scope(loop.body, loop.slotCount);
            return;
        }
        case StmtKind::Return: list(static_cast<const ReturnStmt&>(statement).values); return;
        case StmtKind::Break: return;
        }
    }

    void function(const FunctionExpr& function) { scope(function.body, function.slotCount); }

    void expression(const ExprPtr& expr)
    {
        if (!expr)
        {
            return;
        }
        guard(expr->line);
        switch (expr->kind)
        {
        case ExprKind::Literal: return;
        case ExprKind::Variable:
        {
            const auto& variable = static_cast<const VariableExpr&>(*expr);
            variable.runtimeDepth = runtimeDepth(variable.depth);
            return;
        }
        case ExprKind::Unary: expression(static_cast<const UnaryExpr&>(*expr).operand); return;
        case ExprKind::Binary:
        {
            const auto& binary = static_cast<const BinaryExpr&>(*expr);
            expression(binary.left);
            expression(binary.right);
            return;
        }
        case ExprKind::Table:
            for (const TableExpr::Field& field : static_cast<const TableExpr&>(*expr).fields)
            {
                expression(field.key);
                expression(field.value);
            }
            return;
        case ExprKind::Field: expression(static_cast<const FieldExpr&>(*expr).object); return;
        case ExprKind::Index:
        {
            const auto& index = static_cast<const IndexExpr&>(*expr);
            expression(index.object);
            expression(index.index);
            return;
        }
        case ExprKind::Call:
        {
            const auto& call = static_cast<const CallExpr&>(*expr);
            expression(call.object);
            expression(call.callee);
            list(call.arguments);
            return;
        }
        case ExprKind::Function: function(static_cast<const FunctionExpr&>(*expr)); return;
        }
    }

    const std::string& chunkName_;
    std::vector<bool> materialized_;
};

} // namespace

void elideEmptyScopes(const StmtList& statements, const std::string& chunkName)
{
    ScopeElider(chunkName).chunk(statements);
}

} // namespace velmar::lua
