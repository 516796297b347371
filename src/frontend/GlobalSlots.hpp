// The global slot table and the pass that binds every global name of a tree to its slot.
#pragma once

#include "frontend/Ast.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmar::lua
{

// Transparent, so that a lookup by string_view needs no temporary string.
struct StringHash
{
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};

// Global names and their slot numbers; the interpreter holds the values, by slot. Slots are handed out in
// order of first mention and never reused, for the life of an interpreter.
struct GlobalSlotTable
{
    std::unordered_map<std::string, std::size_t, StringHash, std::equal_to<>> globalSlots; // name -> slot

    // The slot of a global; a new name gets the next slot.
    std::size_t resolveGlobalSlot(std::string_view name);
    std::size_t size() const noexcept { return globalSlots.size(); }
};

// Gives every global reference (depth -1) of the tree its slot, creating slots on first mention. Function
// bodies are bound too, so a global mentioned only inside a function has its slot before the call.
void bindGlobalSlots(GlobalSlotTable& table, const StmtList& statements);
void bindGlobalSlots(GlobalSlotTable& table, const ExprPtr& expr);
void bindGlobalSlots(GlobalSlotTable& table, FunctionExpr& function);

} // namespace velmar::lua
