// The evaluator's slot stack.
#include "runtime/ValueStack.hpp"

#include <algorithm>

namespace velmar::lua
{

ValueStack::~ValueStack()
{
    for (const Chunk& chunk : chunks_)
    {
        heap_.credit(chunk.size * sizeof(Value));
        ::operator delete(chunk.base);
    }
}

void ValueStack::enter(std::size_t chunk, Value* top) noexcept
{
    current_ = chunk;
    base_ = chunks_[chunk].base;
    limit_ = base_ + chunks_[chunk].size;
    top_ = top;
}

Value* ValueStack::takeFromNextChunk(std::size_t count)
{
    // The current chunk's free end stays unused until the frames in the next one are gone.
    const std::size_t next = base_ ? current_ + 1 : 0;
    if (next < chunks_.size() && chunks_[next].size < count)
    {
        // Too small for this frame: every chunk after it is unused too, so all of them go.
        for (std::size_t i = next; i < chunks_.size(); ++i)
        {
            heap_.credit(chunks_[i].size * sizeof(Value));
            ::operator delete(chunks_[i].base);
        }
        chunks_.resize(next);
    }
    if (next == chunks_.size())
    {
        const std::size_t size = std::max(count, kChunkValues);
        if (size > static_cast<std::size_t>(-1) / sizeof(Value))
        {
            throw std::bad_alloc();
        }
        chunks_.reserve(chunks_.size() + 1); // before the charge, so a failure here leaves nothing to undo
        heap_.charge(size * sizeof(Value));
        Value* base;
        try
        {
            base = static_cast<Value*>(::operator new(size * sizeof(Value)));
        }
        catch (...)
        {
            heap_.credit(size * sizeof(Value));
            throw;
        }
        chunks_.push_back(Chunk{base, size});
    }
    enter(next, chunks_[next].base + count);
    return chunks_[next].base;
}

void ValueStack::giveBackChunk(Value* taken) noexcept
{
    // The current chunk is empty now; `taken` lies in an earlier one (the chunks in between are empty
    // too when a frame too large for the rest of a chunk moved on).
    std::size_t chunk = current_;
    do
    {
        enter(--chunk, taken);
    } while (chunk > 0 && !inCurrentChunk(taken));
}

} // namespace velmar::lua
