// Iterator values stepped by the generic for: gmatch results, pairs and ipairs.
#pragma once

#include "runtime/MultiValue.hpp"
#include "runtime/Table.hpp"

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

    Kind kind = Kind::List;
    std::vector<MultiValue, HeapAllocator<MultiValue>> items;
    std::size_t cursor = 0; // list position, or the array position for pairs
    Ref<Table> table;
    std::size_t hashCursor = 0;
    std::size_t hashEnd = 0;
    std::int64_t index = 0;
    std::int64_t length = 0;
};

// Fills `out` with the next item; false when the iteration is over.
bool nextIteratorItem(IteratorState& state, MultiValue& out);

} // namespace velmar::lua
