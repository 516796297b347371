// The compile driver: source text to a resolved, slot-bound statement list.
#pragma once

#include "frontend/Ast.hpp"
#include "frontend/GlobalSlots.hpp"
#include "runtime/Heap.hpp"

#include <string>
#include <string_view>

namespace velmar::lua
{

struct ParsedChunk
{
    StmtList statements;
    std::size_t localCount = 0; // slots of the chunk's top-level scope
    HeapCharge treeCharge;      // the tree's memory, counted against the run's limit while it runs
};

// Lexes, parses, resolves and binds globals; a syntax error leaves as the exception of failParse.
ParsedChunk compileChunk(std::string_view source, const std::string& chunkName, GlobalSlotTable& globals);

} // namespace velmar::lua
