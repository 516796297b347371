// Iterator values stepped by the generic for: gmatch results, pairs and ipairs.
#pragma once

#include "runtime/MultiValue.hpp"
#include "runtime/Table.hpp"
#include "velmar/lua/LuaVM.hpp"

#include <vector>

namespace velmar::lua
{

class IteratorState : public Collectable
{
public:
    IteratorState() noexcept : Collectable(RefKind::Iterator) { joinCurrentHeap(); }
    enum class Kind : std::uint8_t
    {
        List,  // precomputed items (string.gmatch)
        Pairs, // array part, then the hash entries present when pairs was called
        IPairs // indices 1..length fixed at the call
    };

    static void destroy(IteratorState* state) noexcept { destroyRefObject(RefKind::Iterator, state); }

    // A piece of the list's subject: one value of an item.
    struct Span
    {
        std::size_t offset;
        std::size_t length;
    };
    // Ends a list item: the spans pushed onto listSpans since the previous one.
    void endListItem() { listEnds.push_back(listSpans.size()); }

    Kind kind = Kind::List;
    // The items of a list, flat: item i is listSpans[listEnds[i - 1] .. listEnds[i]), pieces of
    // listSubject made into strings as the loop takes them. A list of a million matches is then two
    // blocks, not a million strings: cheap to hold, and cheap to drop when a run stops while making it.
    Value listSubject;
    std::vector<Span, HeapAllocator<Span>> listSpans;
    std::vector<std::size_t, HeapAllocator<std::size_t>> listEnds;
    std::size_t cursor = 0; // list position, or the array position for pairs
    Ref<Table> table;
    std::size_t hashCursor = 0;
    std::size_t hashEnd = 0;
    std::int64_t index = 0;
    std::int64_t length = 0;
};

// Fills `out` with the next item; false when the iteration is over. With a VM, passing over a long
// run of nil array slots spends its steps (a slot passed is an element of work).
bool nextIteratorItem(IteratorState& state, MultiValue& out, LuaVM::Impl* vm = nullptr, std::uint32_t line = 0);

} // namespace velmar::lua
