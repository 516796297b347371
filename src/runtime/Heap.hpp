// The memory a VM's values own: byte accounting for the memory limit, and the collector of
// reference cycles that counting alone can never free.
#pragma once

#include "runtime/Attention.hpp"
#include "runtime/RefCounted.hpp"
#include "support/Platform.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace velmar::lua
{

class ValueHeap;

// The heap of the VM whose work is in progress on this thread (set by every entry point of the
// facade), or null: objects made outside any VM are neither counted nor collected. Initial-exec:
// every allocation reads it, and the general model would cost a call per read.
extern constinit ZQ_THREAD_LOCAL ValueHeap* gCurrentHeap ZQ_INITIAL_EXEC;

// Counts `bytes` against the current heap; a run past its memory limit fails with std::bad_alloc,
// exactly like a real allocation failure, so both report "not enough memory".
void chargeBytes(std::size_t bytes);
// Returns bytes counted by chargeBytes; never fails.
void creditBytes(std::size_t bytes) noexcept;

// Memory that is counted as it is taken and returned: the storage of every value.
void* allocateCounted(std::size_t bytes);
void releaseCounted(void* memory, std::size_t bytes) noexcept;

// Objects that can hold other objects: tables, functions, environments, iterators. Heap-made ones are
// linked into their VM's heap, so that a collection can find the cycles among them; the link fields
// double as the destruction worklist, so that releasing never allocates.
class Collectable : public RefObject
{
public:
    Collectable(const Collectable&) = delete;
    Collectable& operator=(const Collectable&) = delete;

    RefKind kind() const noexcept { return kind_; }

    // Every heap-made collectable is counted with its own size; freeing returns it.
    static void* operator new(std::size_t size) { return allocateCounted(size); }
    static void operator delete(void* memory, std::size_t size) noexcept { releaseCounted(memory, size); }

    // Whether the object belongs to a heap (one made outside any VM does not until adopted).
    bool inHeap() const noexcept { return next_ != nullptr; }

protected:
    explicit Collectable(RefKind kind) noexcept : kind_(kind) {}
    ~Collectable() { unlink(); }
    // Joins the current heap, if there is one. Called last in the constructor of a heap-made object:
    // a collection can start at any allocation, and must only ever meet complete objects.
    void joinCurrentHeap() noexcept;

private:
    friend class ValueHeap;
    friend void destroyRefObject(RefKind kind, RefObject* object) noexcept;

    void unlink() noexcept
    {
        if (next_ != nullptr)
        {
            prev_->next_ = next_;
            next_->prev_ = prev_;
            prev_ = next_ = nullptr;
        }
    }
    void linkBefore(Collectable* position) noexcept
    {
        prev_ = position->prev_;
        next_ = position;
        prev_->next_ = this;
        position->prev_ = this;
    }

    RefKind kind_;
    std::uint8_t marks_ = 0; // scratch of a collection in progress
    Collectable* prev_ = nullptr;
    Collectable* next_ = nullptr;
};

// How a value that outlives the moment it was handed out finds its heap again: the heap, or null once
// the heap is gone. Public function and object values keep one, so that releasing them later returns
// their memory to the right VM, or to none.
struct HeapAnchor
{
    ValueHeap* heap = nullptr;
};

// Byte accounting and cycle collection for one VM.
class ValueHeap
{
public:
    // `attention` is what the VM's evaluator services between steps; the heap raises kCollectionDue
    // there when enough has been allocated since the last collection.
    explicit ValueHeap(Attention& attention);
    ~ValueHeap();
    ValueHeap(const ValueHeap&) = delete;
    ValueHeap& operator=(const ValueHeap&) = delete;

    static constexpr std::uint8_t kCollectionDue = Attention::kCollectionDue;

    // Frees every cycle that nothing outside the heap's objects refers to. The evaluator and the
    // library hold a counted reference to every object they work on, so a collection may run between
    // two steps, at an allocation that would breach the memory limit, and when the VM goes.
    void collect() noexcept;

    std::size_t bytesInUse() const noexcept { return bytes_; }
    // 0: no limit.
    void setLimit(std::size_t bytes) noexcept
    {
        limit_ = bytes;
        scheduleAfter(bytes_);
    }
    std::size_t limit() const noexcept { return limit_; }
    // The limit refuses allocations only while enforced (during runs): a host's own stores never fail.
    void setEnforcing(bool enforcing) noexcept { enforcing_ = enforcing; }
    bool enforcing() const noexcept { return enforcing_; }

    void charge(std::size_t bytes);
    void credit(std::size_t bytes) noexcept { bytes_ -= bytes < bytes_ ? bytes : bytes_; }
    void link(Collectable* object) noexcept
    {
        object->linkBefore(&sentinel_);
    }
    const std::shared_ptr<HeapAnchor>& anchor() const noexcept { return anchor_; }

private:
    struct Sentinel : Collectable
    {
        Sentinel() noexcept : Collectable(RefKind::Table) {}
    };

    void scheduleAfter(std::size_t liveBytes) noexcept;

    Sentinel sentinel_; // the circular list of this heap's objects
    std::shared_ptr<HeapAnchor> anchor_;
    Attention& attention_;
    std::size_t bytes_ = 0;
    std::size_t limit_ = 0;
    std::size_t allocatedSinceCollection_ = 0;
    std::size_t collectionBudget_ = 0;
    bool enforcing_ = false;
    bool collecting_ = false;
};

// Makes `heap` current for the lifetime of the scope (nests: the previous one comes back).
class HeapScope
{
public:
    explicit HeapScope(ValueHeap& heap) noexcept : previous_(gCurrentHeap) { gCurrentHeap = &heap; }
    // The anchor's heap, or none at all when it is gone (or the anchor is null).
    explicit HeapScope(const HeapAnchor* anchor) noexcept : previous_(gCurrentHeap)
    {
        gCurrentHeap = anchor != nullptr ? anchor->heap : nullptr;
    }
    ~HeapScope() { gCurrentHeap = previous_; }
    HeapScope(const HeapScope&) = delete;
    HeapScope& operator=(const HeapScope&) = delete;

private:
    ValueHeap* previous_;
};

inline void chargeBytes(std::size_t bytes)
{
    if (ValueHeap* heap = gCurrentHeap)
    {
        heap->charge(bytes);
    }
}

inline void creditBytes(std::size_t bytes) noexcept
{
    if (ValueHeap* heap = gCurrentHeap)
    {
        heap->credit(bytes);
    }
}

// Bytes charged for memory that is not a value but lives as long as something that holds this (a
// chunk's syntax tree): returned when the holder goes. Movable, so the charge follows its holder.
class HeapCharge
{
public:
    HeapCharge() = default;
    HeapCharge(HeapCharge&& other) noexcept : bytes_(other.bytes_) { other.bytes_ = 0; }
    HeapCharge& operator=(HeapCharge&& other) noexcept
    {
        if (this != &other)
        {
            creditBytes(bytes_);
            bytes_ = other.bytes_;
            other.bytes_ = 0;
        }
        return *this;
    }
    ~HeapCharge() { creditBytes(bytes_); }

    // Fails like an allocation when the bytes would breach the memory limit.
    void add(std::size_t bytes)
    {
        chargeBytes(bytes);
        bytes_ += bytes;
    }
    std::size_t bytes() const noexcept { return bytes_; }

private:
    std::size_t bytes_ = 0;
};

inline void* allocateCounted(std::size_t bytes)
{
    chargeBytes(bytes);
    try
    {
        return ::operator new(bytes);
    }
    catch (...)
    {
        creditBytes(bytes);
        throw;
    }
}

inline void releaseCounted(void* memory, std::size_t bytes) noexcept
{
    creditBytes(bytes);
    ::operator delete(memory);
}

inline void Collectable::joinCurrentHeap() noexcept
{
    if (ValueHeap* heap = gCurrentHeap)
    {
        heap->link(this);
    }
}

// Allocator of the storage inside values (table parts, spilled slot lists), counted like the values.
template <typename T> struct HeapAllocator
{
    using value_type = T;

    HeapAllocator() noexcept = default;
    template <typename U> HeapAllocator(const HeapAllocator<U>&) noexcept {}

    T* allocate(std::size_t count)
    {
        if (count > static_cast<std::size_t>(-1) / sizeof(T))
        {
            throw std::bad_alloc();
        }
        return static_cast<T*>(allocateCounted(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept { releaseCounted(memory, count * sizeof(T)); }

    template <typename U> bool operator==(const HeapAllocator<U>&) const noexcept { return true; }
};

} // namespace velmar::lua
