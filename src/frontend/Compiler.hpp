// The compile driver: source text to a resolved, slot-bound statement list.
#pragma once

#include "frontend/Ast.hpp"
#include "frontend/GlobalSlots.hpp"
#include "runtime/Heap.hpp"

#include <string>
#include <string_view>

namespace velmar::lua
{

// A compiled chunk, ready to run. The statements own the whole tree; the tree's memory stays charged for
// as long as the chunk is kept.
struct ParsedChunk
{
    StmtList statements;
    std::size_t localCount = 0; // slots of the chunk's top-level scope
    HeapCharge treeCharge;      // the tree's memory, counted against the run's limit while it runs
};

// Lexes, parses, resolves and binds globals; a syntax error leaves as the exception of failParse, and a
// tree past the memory limit as std::bad_alloc, both before anything runs.
ParsedChunk compileChunk(std::string_view source, const std::string& chunkName, GlobalSlotTable& globals);

} // namespace velmar::lua
