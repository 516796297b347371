// Activation records: the slots of one call, chunk, block or loop iteration, linked to their parent.
#pragma once

#include "runtime/MultiValue.hpp"

#include <new>

namespace velmar::lua
{

// The fixed slots of one environment: inline up to kInline, one heap array beyond. The count never
// changes and the store never moves, so the data pointer is kept and a slot read is one load away.
class FrameSlots
{
public:
    static constexpr std::size_t kInline = 8;

    explicit FrameSlots(std::size_t count) : count_(count)
    {
        data_ = count <= kInline ? reinterpret_cast<Value*>(inline_) : HeapAllocator<Value>().allocate(count);
        for (std::size_t i = 0; i < count; ++i)
        {
            new (data_ + i) Value();
        }
    }
    FrameSlots(const FrameSlots&) = delete;
    FrameSlots& operator=(const FrameSlots&) = delete;
    ~FrameSlots()
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            data_[i].~Value();
        }
        if (count_ > kInline)
        {
            HeapAllocator<Value>().deallocate(data_, count_);
        }
    }

    std::size_t size() const noexcept { return count_; }
    Value* data() noexcept { return data_; }
    const Value* data() const noexcept { return data_; }
    Value& operator[](std::size_t index) noexcept { return data_[index]; }
    const Value& operator[](std::size_t index) const noexcept { return data_[index]; }
    Value* begin() noexcept { return data_; }
    Value* end() noexcept { return data_ + count_; }

    // Sets every value to nil.
    void fillNil() noexcept
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            data_[i] = Value();
        }
    }

private:
    Value* data_;
    std::size_t count_;
    alignas(Value) unsigned char inline_[kInline * sizeof(Value)];
};

// An environment is either shared-owned (heap, counted, capturable by closures, holding a counted
// reference to its parent) or plain local (on the evaluator's stack for blocks that make no closures).
class Environment : public Collectable
{
public:
    explicit Environment(std::size_t slotCount, bool sharedOwned = false)
        : Collectable(RefKind::Environment), slots(slotCount), sharedOwned_(sharedOwned)
    {
        if (sharedOwned)
        {
            joinCurrentHeap(); // plain local ones live on the evaluator's stack
        }
    }
    ~Environment()
    {
        if (sharedOwned_ && parentIsCounted_ && parent_)
        {
            releaseParent();
        }
    }

    static Ref<Environment> makeShared(std::size_t slotCount) { return Ref<Environment>(new Environment(slotCount, true)); }
    static void destroy(Environment* environment) noexcept { destroyRefObject(RefKind::Environment, environment); }

    // A shared environment holds a counted reference to its parent, so it can only link to a shared
    // parent (a closure may outlive the call); a plain local one just points at whatever encloses it.
    void setParent(Environment* parent) noexcept
    {
        if (sharedOwned_ && parent && !parent->sharedOwned_)
        {
            parent = nullptr;
        }
        parent_ = parent;
        parentIsCounted_ = sharedOwned_ && parent;
        if (parentIsCounted_)
        {
            ++parent->refCount;
        }
    }
    Environment* parent() const noexcept { return parent_; }
    // The parent when this environment holds a count on it.
    Environment* countedParent() const noexcept { return parentIsCounted_ ? parent_ : nullptr; }
    bool sharedOwned() const noexcept { return sharedOwned_; }
    std::size_t slotCount() const noexcept { return slots.size(); }

    FrameSlots slots;

    // Lets go of every slot and of the parent (a cycle collection takes the environment apart).
    void dropContents() noexcept
    {
        slots.fillNil();
        if (parentIsCounted_)
        {
            parentIsCounted_ = false;
            releaseParent();
        }
        parent_ = nullptr;
    }

private:
    void releaseParent() noexcept;

    Environment* parent_ = nullptr;
    bool sharedOwned_ = false;
    bool parentIsCounted_ = false;
};

inline void Environment::releaseParent() noexcept
{
    if (--parent_->refCount == 0)
    {
        destroy(parent_); // deferred: a long chain of environments is freed by a loop
    }
}

} // namespace velmar::lua
