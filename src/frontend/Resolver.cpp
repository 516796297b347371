// The resolver: (depth, slot) for every local reference, slot counts and function flags per block.
#include "frontend/Resolver.hpp"

#include "frontend/Lexer.hpp"
#include "support/StackGuard.hpp"

namespace velmar::lua
{

void Resolver::beginScope()
{
    scopes_.emplace_back();
}

std::size_t Resolver::endScope()
{
    const std::size_t slots = scopes_.back().nextSlot;
    scopes_.pop_back();
    return slots;
}

std::size_t Resolver::declareLocal(const std::string& name)
{
    Scope& scope = scopes_.back();
    const std::size_t slot = scope.nextSlot++;
    scope.names[name] = slot; // a redeclaration remaps the name; the old slot stays allocated
    return slot;
}

bool Resolver::findLocal(const std::string& name, std::int32_t& depth, std::size_t& slot) const
{
    for (std::size_t i = scopes_.size(); i-- > 0;)
    {
        const auto found = scopes_[i].names.find(name);
        if (found != scopes_[i].names.end())
        {
            depth = static_cast<std::int32_t>(scopes_.size() - 1 - i);
            slot = found->second;
            return true;
        }
    }
    return false;
}

void Resolver::guardNesting(std::uint32_t line) const
{
    if (zq::stackExhausted())
    {
        failParse(chunkName_, line, 1, "nesting too deep");
    }
}

std::size_t Resolver::resolveBlock(const StmtList& body, const std::vector<std::string>& names,
                                   std::vector<std::size_t>* slots)
{
    beginScope();
    for (const std::string& name : names)
    {
        const std::size_t slot = declareLocal(name);
        if (slots)
        {
            slots->push_back(slot);
        }
    }
    resolveStatements(body);
    return endScope();
}

void Resolver::resolveStatements(const StmtList& statements)
{
    for (const StmtPtr& statement : statements)
    {
        resolveStatement(statement);
    }
}

void Resolver::resolveStatement(const StmtPtr& statement)
{
    guardNesting(statement->line);
    switch (statement->kind)
    {
    case StmtKind::Expression: resolveExpression(static_cast<ExpressionStmt&>(*statement).expression); return;
    case StmtKind::Assignment:
    {
        auto& assignment = static_cast<AssignmentStmt&>(*statement);
        if (assignment.isLocal)
        {
            resolveExpressionList(assignment.values); // "local x = x" reads the outer x
            for (AssignTarget& target : assignment.targets)
            {
                target.depth = 0;
                target.slot = declareLocal(target.name);
            }
            return;
        }
        for (AssignTarget& target : assignment.targets)
        {
            resolveAssignTarget(target);
        }
        resolveExpressionList(assignment.values);
        return;
    }
    case StmtKind::FunctionDeclaration:
    {
        auto& declaration = static_cast<FunctionDeclarationStmt&>(*statement);
        if (declaration.isLocal)
        {
            declaration.target.depth = 0; // declared before the body, so the body can recurse
            declaration.target.slot = declareLocal(declaration.target.name);
        }
        else
        {
            resolveAssignTarget(declaration.target);
        }
        resolveFunction(*declaration.function);
        return;
    }
    case StmtKind::If:
    {
        auto& conditional = static_cast<IfStmt&>(*statement);
        for (IfStmt::Branch& branch : conditional.branches)
        {
            resolveExpression(branch.condition);
            branch.slotCount = resolveBlock(branch.body, {}, nullptr);
            branch.noFunctions = !blockContainsFunction(branch.body);
        }
        if (!conditional.elseBody.empty())
        {
            conditional.elseSlotCount = resolveBlock(conditional.elseBody, {}, nullptr);
            conditional.elseNoFunctions = !blockContainsFunction(conditional.elseBody);
        }
        return;
    }
    case StmtKind::While:
    {
        auto& loop = static_cast<WhileStmt&>(*statement);
        resolveExpression(loop.condition);
        loop.slotCount = resolveBlock(loop.body, {}, nullptr);
        loop.noFunctions = !blockContainsFunction(loop.body);
        return;
    }
    case StmtKind::NumericFor:
    {
        auto& loop = static_cast<NumericForStmt&>(*statement);
        resolveExpression(loop.start);
        resolveExpression(loop.limit);
        resolveExpression(loop.step);
        std::vector<std::size_t> slots;
        loop.slotCount = resolveBlock(loop.body, {loop.name}, &slots);
        loop.variableSlot = slots.front();
        loop.noFunctions = !blockContainsFunction(loop.body);
        return;
    }
    case StmtKind::GenericFor:
    {
        auto& loop = static_cast<GenericForStmt&>(*statement);
        resolveExpressionList(loop.iterators);
        loop.variableSlots.clear();
        loop.slotCount = resolveBlock(loop.body, loop.names, &loop.variableSlots);
        loop.noFunctions = !blockContainsFunction(loop.body);
        return;
    }
    case StmtKind::Return: resolveExpressionList(static_cast<ReturnStmt&>(*statement).values); return;
    case StmtKind::Break: return;
    }
    failParse(chunkName_, statement->line, 1, "unable to resolve statement");
}

void Resolver::resolveExpressionList(const std::vector<ExprPtr>& exprs)
{
    for (const ExprPtr& expr : exprs)
    {
        resolveExpression(expr);
    }
}

void Resolver::resolveExpression(const ExprPtr& expr)
{
    if (!expr)
    {
        return;
    }
    guardNesting(expr->line);
    switch (expr->kind)
    {
    case ExprKind::Literal: return;
    case ExprKind::Variable:
    {
        auto& variable = static_cast<VariableExpr&>(*expr);
        std::int32_t depth = -1;
        std::size_t slot = 0;
        if (findLocal(variable.name, depth, slot))
        {
            variable.depth = depth;
            variable.slot = slot;
        }
        return;
    }
    case ExprKind::Unary: resolveExpression(static_cast<UnaryExpr&>(*expr).operand); return;
    case ExprKind::Binary:
    {
        auto& binary = static_cast<BinaryExpr&>(*expr);
        resolveExpression(binary.left);
        resolveExpression(binary.right);
        return;
    }
    case ExprKind::Table:
        for (TableExpr::Field& field : static_cast<TableExpr&>(*expr).fields)
        {
            resolveExpression(field.key);
            resolveExpression(field.value);
        }
        return;
    case ExprKind::Field: resolveExpression(static_cast<FieldExpr&>(*expr).object); return;
    case ExprKind::Index:
    {
        auto& index = static_cast<IndexExpr&>(*expr);
        resolveExpression(index.object);
        resolveExpression(index.index);
        return;
    }
    case ExprKind::Call:
    {
        auto& call = static_cast<CallExpr&>(*expr);
        resolveExpression(call.object ? call.object : call.callee);
        resolveExpressionList(call.arguments);
        return;
    }
    case ExprKind::Function: resolveFunction(static_cast<FunctionExpr&>(*expr)); return;
    }
}

void Resolver::resolveAssignTarget(AssignTarget& target)
{
    if (target.kind == AssignTarget::Kind::Name)
    {
        std::int32_t depth = -1;
        std::size_t slot = 0;
        if (findLocal(target.name, depth, slot))
        {
            target.depth = depth;
            target.slot = slot;
        }
        return;
    }
    resolveExpression(target.object);
    resolveExpression(target.index);
}

void Resolver::resolveFunction(FunctionExpr& function)
{
    guardNesting(function.line);
    function.slotCount = resolveBlock(function.body, function.parameters, nullptr);
    function.noFunctions = !blockContainsFunction(function.body);
}

namespace
{

bool targetContainsFunction(const AssignTarget& target)
{
    return expressionContainsFunction(target.object) || expressionContainsFunction(target.index);
}

bool anyContainsFunction(const std::vector<ExprPtr>& exprs)
{
    for (const ExprPtr& expr : exprs)
    {
        if (expressionContainsFunction(expr))
        {
            return true;
        }
    }
    return false;
}

} // namespace

bool expressionContainsFunction(const ExprPtr& expr)
{
    if (!expr)
    {
        return false;
    }
    if (zq::stackExhausted())
    {
        return true; // the resolver itself reports the nesting; assuming closures is the safe answer
    }
    switch (expr->kind)
    {
    case ExprKind::Literal:
    case ExprKind::Variable: return false;
    case ExprKind::Unary: return expressionContainsFunction(static_cast<const UnaryExpr&>(*expr).operand);
    case ExprKind::Binary:
    {
        const auto& binary = static_cast<const BinaryExpr&>(*expr);
        return expressionContainsFunction(binary.left) || expressionContainsFunction(binary.right);
    }
    case ExprKind::Table:
        for (const TableExpr::Field& field : static_cast<const TableExpr&>(*expr).fields)
        {
            if (expressionContainsFunction(field.key) || expressionContainsFunction(field.value))
            {
                return true;
            }
        }
        return false;
    case ExprKind::Field: return expressionContainsFunction(static_cast<const FieldExpr&>(*expr).object);
    case ExprKind::Index:
    {
        const auto& index = static_cast<const IndexExpr&>(*expr);
        return expressionContainsFunction(index.object) || expressionContainsFunction(index.index);
    }
    case ExprKind::Call:
    {
        const auto& call = static_cast<const CallExpr&>(*expr);
        return expressionContainsFunction(call.object) || expressionContainsFunction(call.callee) ||
               anyContainsFunction(call.arguments);
    }
    case ExprKind::Function: return true;
    }
    return false;
}

bool blockContainsFunction(const StmtList& statements)
{
    if (zq::stackExhausted())
    {
        return true;
    }
    for (const StmtPtr& statement : statements)
    {
        switch (statement->kind)
        {
        case StmtKind::Expression:
            if (expressionContainsFunction(static_cast<const ExpressionStmt&>(*statement).expression))
            {
                return true;
            }
            break;
        case StmtKind::Assignment:
        {
            const auto& assignment = static_cast<const AssignmentStmt&>(*statement);
            for (const AssignTarget& target : assignment.targets)
            {
                if (targetContainsFunction(target))
                {
                    return true;
                }
            }
            if (anyContainsFunction(assignment.values))
            {
                return true;
            }
            break;
        }
        case StmtKind::FunctionDeclaration: return true;
        case StmtKind::If:
        {
            const auto& conditional = static_cast<const IfStmt&>(*statement);
            for (const IfStmt::Branch& branch : conditional.branches)
            {
                if (expressionContainsFunction(branch.condition) || blockContainsFunction(branch.body))
                {
                    return true;
                }
            }
            if (blockContainsFunction(conditional.elseBody))
            {
                return true;
            }
            break;
        }
        case StmtKind::While:
        {
            const auto& loop = static_cast<const WhileStmt&>(*statement);
            if (expressionContainsFunction(loop.condition) || blockContainsFunction(loop.body))
            {
                return true;
            }
            break;
        }
        case StmtKind::NumericFor:
        {
            const auto& loop = static_cast<const NumericForStmt&>(*statement);
            if (expressionContainsFunction(loop.start) || expressionContainsFunction(loop.limit) ||
                expressionContainsFunction(loop.step) || blockContainsFunction(loop.body))
            {
                return true;
            }
            break;
        }
        case StmtKind::GenericFor:
        {
            const auto& loop = static_cast<const GenericForStmt&>(*statement);
            if (anyContainsFunction(loop.iterators) || blockContainsFunction(loop.body))
            {
                return true;
            }
            break;
        }
        case StmtKind::Return:
            if (anyContainsFunction(static_cast<const ReturnStmt&>(*statement).values))
            {
                return true;
            }
            break;
        case StmtKind::Break: break;
        }
    }
    return false;
}

} // namespace velmar::lua
