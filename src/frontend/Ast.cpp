// Syntax tree teardown: nodes are destroyed by a loop, never by recursion through their children.
#include "frontend/Ast.hpp"
#include "support/Platform.hpp"

namespace velmar::lua
{
namespace
{

ZQ_THREAD_LOCAL std::vector<std::shared_ptr<void>> gDoomedNodes;
ZQ_THREAD_LOCAL bool gReleasingNodes = false;

} // namespace

void releaseNode(std::shared_ptr<void> node) noexcept
{
    if (!node)
    {
        return;
    }
    if (gReleasingNodes)
    {
        try
        {
            gDoomedNodes.push_back(std::move(node)); // destroyed by the loop below, one level deep
            return;
        }
        catch (...)
        {
            node.reset(); // no room for the worklist: fall back to destroying it here
            return;
        }
    }
    gReleasingNodes = true;
    node.reset();
    while (!gDoomedNodes.empty())
    {
        std::shared_ptr<void> next = std::move(gDoomedNodes.back());
        gDoomedNodes.pop_back();
        next.reset();
    }
    gReleasingNodes = false;
}

void releaseTarget(AssignTarget& target) noexcept
{
    releaseNode(std::move(target.object));
    releaseNode(std::move(target.index));
}

} // namespace velmar::lua
