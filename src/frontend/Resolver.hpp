// The resolver: (depth, slot) for every local reference, slot counts and function flags per block.
#pragma once

#include "frontend/Ast.hpp"

#include <string>
#include <unordered_map>
#include <vector>

namespace velmar::lua
{

class Resolver
{
public:
    explicit Resolver(std::string chunkName) : chunkName_(std::move(chunkName)) {}

    void beginScope();
    // Pops the innermost scope and returns the number of slots it needs.
    std::size_t endScope();
    std::size_t declareLocal(const std::string& name);
    bool findLocal(const std::string& name, std::int32_t& depth, std::size_t& slot) const;

    void resolveStatements(const StmtList& statements);
    void resolveExpression(const ExprPtr& expr);
    void resolveExpressionList(const std::vector<ExprPtr>& exprs);
    void resolveAssignTarget(AssignTarget& target);
    void resolveFunction(FunctionExpr& function);

private:
    struct Scope
    {
        std::unordered_map<std::string, std::size_t> names;
        std::size_t nextSlot = 0;
    };

    void resolveStatement(const StmtPtr& statement);
    // Resolves a block body in a scope of its own, after declaring the given names first.
    std::size_t resolveBlock(const StmtList& body, const std::vector<std::string>& names,
                             std::vector<std::size_t>* slots);
    void guardNesting(std::uint32_t line) const;

    std::string chunkName_;
    std::vector<Scope> scopes_;
};

bool blockContainsFunction(const StmtList& statements);
bool expressionContainsFunction(const ExprPtr& expr);

} // namespace velmar::lua
