// The compile driver: source text to a resolved, slot-bound statement list.
#include "frontend/Compiler.hpp"

#include "frontend/Parser.hpp"
#include "frontend/Resolver.hpp"
#include "support/StackGuard.hpp"

namespace velmar::lua
{

ParsedChunk compileChunk(std::string_view source, const std::string& chunkName, GlobalSlotTable& globals)
{
    // A host may compile on a thread that has never run a script, and the parser's guard needs the limit.
    zq::initStackLimit();
    Parser parser(source, chunkName);
    ParsedChunk chunk;
    chunk.statements = parser.parseChunk();
    chunk.treeCharge = parser.takeCharge();
    // The chunk is a function body of its own: its top-level locals live in one scope, whose slot count
    // sizes the environment a run makes for it.
    Resolver resolver(chunkName);
    resolver.beginScope();
    resolver.resolveStatements(chunk.statements);
    chunk.localCount = resolver.endScope();
    // Last, so that a chunk that fails to compile leaves the global table as it was; the resolver has
    // marked the globals (depth -1) that need slots.
    bindGlobalSlots(globals, chunk.statements);
    return chunk;
}

} // namespace velmar::lua
