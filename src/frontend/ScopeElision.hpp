// The scope pass over a resolved tree: where locals live at run time (see ScopeElision.cpp).
#pragma once

#include "frontend/Ast.hpp"

#include <string>

namespace velmar::lua
{

// Fills the evaluator-owned frame fields of every block, function and reference of the tree; a tree
// nested too deep for the machine stack fails as a syntax error "nesting too deep".
void elideEmptyScopes(const StmtList& statements, const std::string& chunkName);

// Decides how a function body ends (FunctionExpr::bodyEnd and the fields beside it), so that a call
// need not look at its last statement; the scope pass does it for every function.
void classifyBodyEnd(const FunctionExpr& function) noexcept;

} // namespace velmar::lua
