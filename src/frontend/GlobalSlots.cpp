// The global slot table and the pass that binds every global name of a tree to its slot.
#include "frontend/GlobalSlots.hpp"

namespace velmar::lua
{

// Slots are dense (the next one is the table's size), so the interpreter's values can be a plain vector
// that grows with the table.
std::size_t GlobalSlotTable::resolveGlobalSlot(std::string_view name)
{
    const auto found = globalSlots.find(name);
    if (found != globalSlots.end())
    {
        return found->second;
    }
    const std::size_t slot = globalSlots.size();
    globalSlots.emplace(std::string(name), slot);
    return slot;
}

namespace
{

// A name target may be a global; a field or index target only reads its object and key expressions.
void bindTarget(GlobalSlotTable& table, AssignTarget& target)
{
    if (target.kind == AssignTarget::Kind::Name)
    {
        if (target.depth < 0)
        {
            target.hasGlobalSlot = true;
            target.globalSlot = table.resolveGlobalSlot(target.name);
        }
        return;
    }
    bindGlobalSlots(table, target.object);
    bindGlobalSlots(table, target.index);
}

void bindList(GlobalSlotTable& table, const std::vector<ExprPtr>& exprs)
{
    for (const ExprPtr& expr : exprs)
    {
        bindGlobalSlots(table, expr);
    }
}

} // namespace

// Walks statements in source order, so slots are numbered in order of first mention. It has no stack
// guard of its own: it recurses as the resolver does, which ran first and refused any tree too deep.
void bindGlobalSlots(GlobalSlotTable& table, const StmtList& statements)
{
    for (const StmtPtr& statement : statements)
    {
        switch (statement->kind)
        {
        case StmtKind::Expression: bindGlobalSlots(table, static_cast<ExpressionStmt&>(*statement).expression); break;
        case StmtKind::Assignment:
        {
            auto& assignment = static_cast<AssignmentStmt&>(*statement);
            for (AssignTarget& target : assignment.targets)
            {
                bindTarget(table, target);
            }
            bindList(table, assignment.values);
            break;
        }
        case StmtKind::FunctionDeclaration:
        {
            auto& declaration = static_cast<FunctionDeclarationStmt&>(*statement);
            bindTarget(table, declaration.target);
            bindGlobalSlots(table, *declaration.function);
            break;
        }
        case StmtKind::If:
        {
            auto& conditional = static_cast<IfStmt&>(*statement);
            for (IfStmt::Branch& branch : conditional.branches)
            {
                bindGlobalSlots(table, branch.condition);
                bindGlobalSlots(table, branch.body);
            }
            bindGlobalSlots(table, conditional.elseBody);
            break;
        }
        case StmtKind::While:
        {
            auto& loop = static_cast<WhileStmt&>(*statement);
            bindGlobalSlots(table, loop.condition);
            bindGlobalSlots(table, loop.body);
            break;
        }
        case StmtKind::NumericFor:
        {
            auto& loop = static_cast<NumericForStmt&>(*statement);
            bindGlobalSlots(table, loop.start);
            bindGlobalSlots(table, loop.limit);
            bindGlobalSlots(table, loop.step);
            bindGlobalSlots(table, loop.body);
            break;
        }
        case StmtKind::GenericFor:
        {
            auto& loop = static_cast<GenericForStmt&>(*statement);
            bindList(table, loop.iterators);
            bindGlobalSlots(table, loop.body);
            break;
        }
        case StmtKind::Return: bindList(table, static_cast<ReturnStmt&>(*statement).values); break;
        case StmtKind::Break: break;
        }
    }
}

void bindGlobalSlots(GlobalSlotTable& table, const ExprPtr& expr)
{
    if (!expr)
    {
        return; // absent: a for loop's step, a positional field's key, a call's callee or object
    }
    switch (expr->kind)
    {
    case ExprKind::Literal: return;
    case ExprKind::Variable:
    {
        auto& variable = static_cast<VariableExpr&>(*expr);
        if (variable.depth < 0)
        {
            variable.hasGlobalSlot = true;
            variable.globalSlot = table.resolveGlobalSlot(variable.name);
        }
        return;
    }
    case ExprKind::Unary: bindGlobalSlots(table, static_cast<UnaryExpr&>(*expr).operand); return;
    case ExprKind::Binary:
    {
        auto& binary = static_cast<BinaryExpr&>(*expr);
        bindGlobalSlots(table, binary.left);
        bindGlobalSlots(table, binary.right);
        return;
    }
    case ExprKind::Table:
        for (TableExpr::Field& field : static_cast<TableExpr&>(*expr).fields)
        {
            bindGlobalSlots(table, field.key);
            bindGlobalSlots(table, field.value);
        }
        return;
    case ExprKind::Field: bindGlobalSlots(table, static_cast<FieldExpr&>(*expr).object); return;
    case ExprKind::Index:
    {
        auto& index = static_cast<IndexExpr&>(*expr);
        bindGlobalSlots(table, index.object);
        bindGlobalSlots(table, index.index);
        return;
    }
    case ExprKind::Call:
    {
        auto& call = static_cast<CallExpr&>(*expr);
        bindGlobalSlots(table, call.object);
        bindGlobalSlots(table, call.callee);
        bindList(table, call.arguments);
        return;
    }
    case ExprKind::Function: bindGlobalSlots(table, static_cast<FunctionExpr&>(*expr)); return;
    }
}

// Parameters are locals: only the body can mention globals.
void bindGlobalSlots(GlobalSlotTable& table, FunctionExpr& function)
{
    bindGlobalSlots(table, function.body);
}

} // namespace velmar::lua
