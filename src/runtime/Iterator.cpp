// Stepping iterator values: gmatch lists, pairs cursors and ipairs indices.
#include "runtime/Iterator.hpp"

#include "runtime/WorkMeter.hpp"

#include <algorithm>

namespace velmar::lua
{

bool nextIteratorItem(IteratorState& state, MultiValue& out, LuaVM::Impl* vm, std::uint32_t line)
{
    out.clear();
    switch (state.kind)
    {
    case IteratorState::Kind::List:
    {
        if (state.cursor >= state.listEnds.size())
        {
            return false;
        }
        const std::size_t begin = state.cursor == 0 ? 0 : state.listEnds[state.cursor - 1];
        const std::size_t end = state.listEnds[state.cursor++];
        const std::string_view subject = state.listSubject.stringView();
        for (std::size_t i = begin; i < end; ++i)
        {
            const IteratorState::Span span = state.listSpans[i];
            out.push(vm != nullptr && span.length == 1 ? vm->singleByteString(static_cast<unsigned char>(subject[span.offset]))
                                                       : Value(subject.substr(span.offset, span.length)));
        }
        return true;
    }
    case IteratorState::Kind::Pairs:
    {
        Table* table = state.table.get();
        if (!table)
        {
            return false;
        }
        // The array part is read at its current size on every step. Nil slots are passed in pieces,
        // each charged before the next, so a long run of them stops at the budget.
        constexpr std::size_t kPiece = 4096;
        while (state.cursor < table->array.size())
        {
            const std::size_t stop = std::min(table->array.size(), state.cursor + kPiece);
            const std::size_t from = state.cursor;
            while (state.cursor < stop)
            {
                const std::size_t position = state.cursor++;
                if (!table->array[position].isNil())
                {
                    out.push(Value(static_cast<long long>(position + 1)));
                    out.push(table->array[position]);
                    return true;
                }
            }
            if (vm)
            {
                WorkMeter(*vm, line).scanned(state.cursor - from);
            }
        }
        // The hash cursor is a rank among the live entries, so removing the entry just yielded moves
        // the next one into the cursor's place, as if the later entries had shifted down.
        if (state.hashCursor >= state.hashEnd)
        {
            return false;
        }
        const HashPart::Entry* found = table->hash.entryAtRank(state.hashCursor++);
        if (!found)
        {
            return false;
        }
        const HashPart::Entry& entry = *found;
        out.push(entry.key.asValue());
        out.push(entry.value);
        return true;
    }
    case IteratorState::Kind::IPairs:
        if (state.index >= state.length)
        {
            return false;
        }
        ++state.index;
        out.push(Value(static_cast<long long>(state.index)));
        out.push(tableGetInteger(state.table.get(), state.index));
        return true;
    }
    return false;
}

} // namespace velmar::lua
