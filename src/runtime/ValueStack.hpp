// The evaluator's slot stack: where the environments of calls, blocks and loops that make no closures
// keep their slots.
#pragma once

#include "runtime/Value.hpp"

#include <functional>
#include <vector>

namespace velmar::lua
{

// Slot storage for the environments that live on the evaluator's stack: one per VM, taken and given
// back in strict nesting order, in chunks that never move (a slot's address stays valid for the life
// of its frame). Keeping the slots off the machine stack keeps every call's machine frame small, which
// is what bounds recursion depth per stack byte.
class ValueStack
{
public:
    explicit ValueStack(ValueHeap& heap) noexcept : heap_(heap) {}
    ~ValueStack();
    ValueStack(const ValueStack&) = delete;
    ValueStack& operator=(const ValueStack&) = delete;

    // Room for `count` values (uninitialised; `count` is not 0); may fail with std::bad_alloc under a
    // memory limit.
    Value* take(std::size_t count)
    {
        if (count <= static_cast<std::size_t>(limit_ - top_))
        {
            Value* taken = top_;
            top_ += count;
            return taken;
        }
        return takeFromNextChunk(count);
    }
    // Gives back the room that `taken` started, and everything taken after it.
    void give(Value* taken) noexcept
    {
        if (inCurrentChunk(taken))
        {
            top_ = taken;
            return;
        }
        giveBackChunk(taken);
    }

    static constexpr std::size_t kChunkValues = 4096;

private:
    struct Chunk
    {
        Value* base;
        std::size_t size;
    };
    // Chunks come from separate allocations, so only a range test says where a pointer lies.
    bool inCurrentChunk(Value* taken) const noexcept
    {
        return std::greater_equal<Value*>()(taken, base_) && std::less_equal<Value*>()(taken, limit_);
    }
    Value* takeFromNextChunk(std::size_t count);
    void giveBackChunk(Value* taken) noexcept;
    void enter(std::size_t chunk, Value* top) noexcept;

    ValueHeap& heap_;
    Value* base_ = nullptr; // the current chunk
    Value* top_ = nullptr;
    Value* limit_ = nullptr;
    std::size_t current_ = 0; // index of the current chunk, when there is one
    std::vector<Chunk> chunks_; // in use up to current_; later ones are kept for reuse
};

} // namespace velmar::lua
