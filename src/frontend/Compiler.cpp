// The compile driver: source text to a resolved, slot-bound statement list.
#include "frontend/Compiler.hpp"

#include "frontend/Parser.hpp"
#include "frontend/Resolver.hpp"
#include "support/StackGuard.hpp"

namespace velmar::lua
{

ParsedChunk compileChunk(std::string_view source, const std::string& chunkName, GlobalSlotTable& globals)
{
    zq::initStackLimit();
    Parser parser(source, chunkName);
    ParsedChunk chunk;
    chunk.statements = parser.parseChunk();
    chunk.treeCharge = parser.takeCharge();
    Resolver resolver(chunkName);
    resolver.beginScope();
    resolver.resolveStatements(chunk.statements);
    chunk.localCount = resolver.endScope();
    bindGlobalSlots(globals, chunk.statements);
    return chunk;
}

} // namespace velmar::lua
