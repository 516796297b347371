// Activation records: the slots of one call, chunk, block or loop iteration, linked to their parent.
#pragma once

#include "runtime/MultiValue.hpp"
#include "runtime/ValueStack.hpp"

#include <new>

namespace velmar::lua
{

// The fixed slots of one environment, in storage that its owner provides: trailing the environment
// object for a shared one, or taken from the VM's ValueStack (and given back here) for a local one.
// The count never changes and the store never moves, so a slot read is one load away.
class FrameSlots
{
public:
    // Slots in storage that outlives them (a shared environment's own allocation).
    FrameSlots(Value* storage, std::size_t count) noexcept : data_(storage), count_(count), stack_(nullptr)
    {
        fillWithNils();
    }
    // Slots taken from `stack`, given back when they go. No slots take nothing: before the stack's
    // first chunk exists there is no place to mark.
    FrameSlots(ValueStack& stack, std::size_t count)
        : data_(count ? stack.take(count) : nullptr), count_(count), stack_(count ? &stack : nullptr)
    {
        fillWithNils();
    }
    // Slots taken from `stack` and not yet made: a call constructs its arguments in them in order
    // (constructed), then fills the rest (fillRest). Until then only the constructed ones count, so an
    // argument that fails leaves nothing unmade to destroy.
    struct Unmade
    {
    };
    FrameSlots(ValueStack& stack, std::size_t count, Unmade)
        : data_(count ? stack.take(count) : nullptr), count_(0), stack_(count ? &stack : nullptr)
    {
    }
    FrameSlots(const FrameSlots&) = delete;
    FrameSlots& operator=(const FrameSlots&) = delete;
    ~FrameSlots()
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            data_[i].~Value();
        }
        if (stack_)
        {
            stack_->give(data_);
        }
    }

    std::size_t size() const noexcept { return count_; }
    Value* data() noexcept { return data_; }
    const Value* data() const noexcept { return data_; }
    Value& operator[](std::size_t index) noexcept { return data_[index]; }
    const Value& operator[](std::size_t index) const noexcept { return data_[index]; }
    Value* begin() noexcept { return data_; }
    Value* end() noexcept { return data_ + count_; }
    const Value* begin() const noexcept { return data_; }
    const Value* end() const noexcept { return data_ + count_; }

    // Where the next unmade slot is; constructed() counts it once a value is made there.
    Value* nextUnmade() noexcept { return data_ + count_; }
    void constructed() noexcept { ++count_; }
    // Makes the slots from the constructed ones up to `total` nil: the frame is then whole.
    void fillRest(std::size_t total) noexcept
    {
        for (std::size_t i = count_; i < total; ++i)
        {
            new (data_ + i) Value();
        }
        count_ = total;
    }

    // Sets every value to nil.
    void fillNil() noexcept
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            data_[i] = Value();
        }
    }

private:
    void fillWithNils() noexcept
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            new (data_ + i) Value();
        }
    }

    Value* data_;
    std::size_t count_;
    ValueStack* stack_; // where a local environment's slots go back to; null for a shared one
};

// An environment is either shared-owned (heap, counted, capturable by closures, holding a counted
// reference to its parent) or plain local (on the evaluator's stack for blocks that make no closures).
// Aligned as a Value so that a shared environment's slots can follow it directly (a 32-bit processor
// aligns 64-bit values to 8 bytes but pointers only to 4).
class alignas(Value) Environment : public Collectable
{
public:
    // A plain local environment, its slots taken from `stack`.
    Environment(ValueStack& stack, std::size_t slotCount) : Collectable(RefKind::Environment), slots(stack, slotCount)
    {
    }
    // The same with its slots unmade (FrameSlots::Unmade): a call's frame, its arguments made in place.
    Environment(ValueStack& stack, std::size_t slotCount, FrameSlots::Unmade unmade)
        : Collectable(RefKind::Environment), slots(stack, slotCount, unmade)
    {
    }
    ~Environment()
    {
        if (sharedOwned_ && parentIsCounted_ && parent_)
        {
            releaseParent();
        }
    }

    // A shared environment: one counted allocation holds the object and its slots.
    static Ref<Environment> makeShared(std::size_t slotCount)
    {
        if (slotCount > (static_cast<std::size_t>(-1) - sizeof(Environment)) / sizeof(Value))
        {
            throw std::bad_alloc();
        }
        void* memory = allocateCounted(sharedBytes(slotCount));
        auto* slots = reinterpret_cast<Value*>(static_cast<unsigned char*>(memory) + sizeof(Environment));
        return Ref<Environment>(::new (memory) Environment(slots, slotCount));
    }
    // Deleting a shared environment frees the object and its trailing slots together.
    static void operator delete(Environment* environment, std::destroying_delete_t) noexcept
    {
        const std::size_t bytes = sharedBytes(environment->slotCount());
        environment->~Environment();
        releaseCounted(environment, bytes);
    }
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
    Environment(Value* slotStorage, std::size_t slotCount) noexcept
        : Collectable(RefKind::Environment), slots(slotStorage, slotCount), sharedOwned_(true)
    {
        joinCurrentHeap(); // last: a collection only ever meets complete objects
    }
    static std::size_t sharedBytes(std::size_t slotCount) noexcept
    {
        return sizeof(Environment) + slotCount * sizeof(Value);
    }
    void releaseParent() noexcept;

    Environment* parent_ = nullptr;
    bool sharedOwned_ = false;
    bool parentIsCounted_ = false;
};

static_assert(sizeof(Environment) % alignof(Value) == 0, "a shared environment's slots follow it");

// Stops the process: the tree breaks what the front end decided (a local's slot missing from the
// environment the scope pass placed it in, a function body's end not classified) or what an operator's
// shape assumes (the number of arithmetic that is not pure).
[[noreturn]] void frontEndBreach() noexcept;

// Where a local lives: slot `slot` of `environment`, or of the environment `depth` links out from it.
// The scope pass places every local so that this environment exists and has the slot, and every local
// read and store comes through here: builds with VELMAR_LUA_CHECKED_SLOTS (the sanitizer, thread
// sanitizer and fuzz builds) verify that on each access and stop at the first breach; the others trust
// it (the coverage build too, so that its branch figures count the code that ships).
[[gnu::always_inline]] inline Value& slotIn(Environment* environment, std::uint32_t slot) noexcept
{
#if defined(VELMAR_LUA_CHECKED_SLOTS)
    if (!environment || slot >= environment->slotCount())
    {
        frontEndBreach();
    }
#endif
    return environment->slots[slot];
}

[[gnu::always_inline]] inline Value& slotOut(Environment* environment, std::int32_t depth, std::uint32_t slot) noexcept
{
    for (; depth > 0; --depth)
    {
#if defined(VELMAR_LUA_CHECKED_SLOTS)
        if (!environment)
        {
            frontEndBreach();
        }
#endif
        environment = environment->parent();
    }
    return slotIn(environment, slot);
}

inline void Environment::releaseParent() noexcept
{
    if (--parent_->refCount == 0)
    {
        destroy(parent_); // deferred: a long chain of environments is freed by a loop
    }
}

} // namespace velmar::lua
