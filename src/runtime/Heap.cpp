// Byte accounting and the cycle collector.
//
// The collector does trial deletion over every object of the heap. Subtracting the references the
// heap's objects hold on one another leaves, in each object's count, the references from outside:
// globals, the evaluator's frames, host-held results, objects made outside the heap. Everything
// reachable from an object with such a reference survives; the rest can only be reached from itself,
// and is freed. Counts are restored before anything is freed, and no step allocates, so a
// collection cannot fail.
#include "runtime/Heap.hpp"

#include "runtime/Function.hpp"
#include "runtime/Iterator.hpp"
#include "runtime/NativeObject.hpp"
#include "runtime/Table.hpp"
#include "support/Platform.hpp"

#include <algorithm>

namespace velmar::lua
{

constinit ZQ_THREAD_LOCAL ValueHeap* gCurrentHeap ZQ_INITIAL_EXEC = nullptr;

namespace
{

// Collections run after this many bytes have been allocated, or after as many as were live after
// the last one, whichever is more: the work of collecting stays proportional to the allocating.
constexpr std::size_t kMinimumCollectionBudget = 4u << 20;
// Under a memory limit, garbage must not be what breaches it.
constexpr std::size_t kMinimumLimitedBudget = 64u << 10;
// A request that would breach the limit first collects, unless so little was allocated since the
// last collection that it could not help: then a script living at its limit does not pay a whole
// collection for every small allocation.
constexpr std::size_t kEmergencyCollectionFloor = 16u << 10;

enum Mark : std::uint8_t
{
    kReachable = 1, // proven reachable from outside
    kTentative = 2, // not yet seen reachable; waits on the tentative list
};

// Every kind from Table on (tables, functions, userdata, iterators) is a collectable: one comparison.
static_assert(ValueKind::Iterator > ValueKind::UserData && ValueKind::UserData > ValueKind::Function &&
              ValueKind::Function > ValueKind::Table && ValueKind::Table > ValueKind::String);

template <typename Visit> [[gnu::always_inline]] inline void visitValue(const Value& value, Visit& visit)
{
    if (value.kind() >= ValueKind::Table)
    {
        visit(static_cast<Collectable*>(static_cast<RefObject*>(const_cast<void*>(value.objectAddress()))));
    }
}

// Calls visit(child) for every counted reference `object` holds on another collectable.
template <typename Visit> [[gnu::always_inline]] inline void forEachChild(Collectable* object, Visit&& visit)
{
    switch (object->kind())
    {
    case RefKind::Table:
    {
        const auto* table = static_cast<Table*>(object);
        for (const Value& value : table->array)
        {
            visitValue(value, visit);
        }
        for (const HashPart::Entry& entry : table->hash.entries())
        {
            visitValue(entry.value, visit); // keys are never collectable
        }
        return;
    }
    case RefKind::Environment:
    {
        auto* environment = static_cast<Environment*>(object);
        for (const Value& value : environment->slots)
        {
            visitValue(value, visit);
        }
        if (Environment* parent = environment->countedParent())
        {
            visit(static_cast<Collectable*>(parent));
        }
        return;
    }
    case RefKind::Function:
    {
        // A native function's captures are opaque: whatever they hold counts as held from outside.
        if (Environment* closure = static_cast<LuaFunctionHandle*>(object)->closure.get())
        {
            visit(static_cast<Collectable*>(closure));
        }
        return;
    }
    case RefKind::Iterator:
    {
        const auto* iterator = static_cast<IteratorState*>(object);
        if (Table* table = iterator->table.get())
        {
            visit(static_cast<Collectable*>(table));
        }
        return;
    }
    case RefKind::UserData:
        // A host object's fields; its methods are native functions, opaque like every native's captures.
        if (static_cast<NativeObject*>(object)->kind == NativeObject::Kind::Host)
        {
            if (Table* fields = static_cast<LuaObjectHandle*>(object)->fields.get())
            {
                visit(static_cast<Collectable*>(fields));
            }
        }
        return;
    case RefKind::String: return;
    }
}

// Drops every reference a garbage object holds. Moved-out contents die at the end of the scope, when
// the object itself is still held by the collector, so no garbage object is freed half-cleared.
void dropContents(Collectable* object) noexcept
{
    switch (object->kind())
    {
    case RefKind::Table:
    {
        auto* table = static_cast<Table*>(object);
        ValueVector array = std::move(table->array);
        HashPart hash = std::move(table->hash);
        table->array.clear();
        table->hash = HashPart();
        table->arrayBorder = 0;
        table->nilIndex.reset();
        ++table->version;
        return;
    }
    case RefKind::Environment: static_cast<Environment*>(object)->dropContents(); return;
    case RefKind::Function:
    {
        auto* function = static_cast<LuaFunctionHandle*>(object);
        Ref<Environment> closure = std::move(function->closure);
        NativeCallable native = std::move(function->native);
        function->native = nullptr;
        return;
    }
    case RefKind::Iterator:
    {
        auto* iterator = static_cast<IteratorState*>(object);
        Ref<Table> table = std::move(iterator->table);
        iterator->listSubject = Value();
        iterator->listSpans.clear();
        iterator->listEnds.clear();
        return;
    }
    case RefKind::UserData:
        if (static_cast<NativeObject*>(object)->kind == NativeObject::Kind::Host)
        {
            Ref<Table> fields = std::move(static_cast<LuaObjectHandle*>(object)->fields);
        }
        return;
    case RefKind::String: return;
    }
}

} // namespace

ValueHeap::ValueHeap(Attention& attention)
    : anchor_(std::make_shared<HeapAnchor>(HeapAnchor{this})), attention_(attention)
{
    sentinel_.prev_ = sentinel_.next_ = &sentinel_;
    scheduleAfter(0);
}

ValueHeap::~ValueHeap()
{
    anchor_->heap = nullptr; // values still held by the host now free into no heap at all
    // Objects that outlive their VM (held where the collector cannot see) leave the list, so that
    // freeing them later touches nothing of this heap.
    while (sentinel_.next_ != &sentinel_)
    {
        sentinel_.next_->unlink();
    }
    sentinel_.prev_ = sentinel_.next_ = nullptr;
}

void ValueHeap::charge(std::size_t bytes)
{
    if (limit_ != 0 && enforcing_ && (bytes > limit_ || bytes_ > limit_ - bytes))
    {
        if (bytes <= limit_ && allocatedSinceCollection_ >= kEmergencyCollectionFloor && !collecting_)
        {
            collect(); // garbage must not be what breaches the limit
        }
        if (bytes > limit_ || bytes_ > limit_ - bytes)
        {
            throw std::bad_alloc();
        }
    }
    bytes_ += bytes;
    allocatedSinceCollection_ += bytes;
    if (allocatedSinceCollection_ >= collectionBudget_ &&
        !(attention_.reasons.load(std::memory_order_relaxed) & kCollectionDue))
    {
        attention_.raiseHere(kCollectionDue); // the evaluator's next step collects
    }
}

void ValueHeap::scheduleAfter(std::size_t liveBytes) noexcept
{
    std::size_t budget = std::max(kMinimumCollectionBudget, liveBytes);
    if (limit_ != 0)
    {
        const std::size_t headroom = limit_ > liveBytes ? limit_ - liveBytes : 0;
        budget = std::min(budget, std::max(headroom / 2, kMinimumLimitedBudget));
    }
    collectionBudget_ = budget;
    allocatedSinceCollection_ = 0;
}

void ValueHeap::collect() noexcept
{
    collecting_ = true; // freeing garbage allocates nothing, but must never start another collection
    Collectable* const heap = &sentinel_;

    // 1. Take out the references among the heap's own objects. A child that is on no list was made
    // outside any VM: it is not collected, and what it holds counts as held from outside.
    for (Collectable* object = heap->next_; object != heap; object = object->next_)
    {
        forEachChild(object, [](Collectable* child) {
            if (child->next_ != nullptr)
            {
                --child->refCount;
            }
        });
    }

    // 2. Sort the objects into reachable ones (left in the heap's list) and the rest. An object still
    // counted, or reached from one that is, is reachable; one that is not yet known to be waits on
    // the tentative list and comes back, to be scanned in turn, when a reachable object refers to it.
    Sentinel tentative;
    tentative.prev_ = tentative.next_ = &tentative;
    Collectable* object = heap->next_;
    while (object != heap)
    {
        if (object->refCount == 0 && !(object->marks_ & kReachable))
        {
            Collectable* const next = object->next_;
            object->unlink();
            object->linkBefore(&tentative);
            object->marks_ |= kTentative;
            object = next;
            continue;
        }
        object->marks_ |= kReachable;
        forEachChild(object, [heap](Collectable* child) {
            if (child->next_ == nullptr)
            {
                return;
            }
            if (child->marks_ & kTentative)
            {
                child->unlink();
                child->linkBefore(heap); // scanned later in this same pass
                child->marks_ &= static_cast<std::uint8_t>(~kTentative);
            }
            child->marks_ |= kReachable;
        });
        object = object->next_;
    }

    // 3. Put every count back before anything is freed.
    const auto restore = [](Collectable* child) {
        if (child->next_ != nullptr)
        {
            ++child->refCount;
        }
    };
    for (Collectable* each = heap->next_; each != heap; each = each->next_)
    {
        forEachChild(each, restore);
        each->marks_ = 0;
    }
    for (Collectable* each = tentative.next_; each != &tentative; each = each->next_)
    {
        forEachChild(each, restore);
        each->marks_ = 0;
    }
    for (Collectable* each = tentative.next_; each != &tentative; each = each->next_)
    {
        ++each->refCount; // held while the garbage is taken apart
    }

    // 4. Free the garbage: first empty every object (their references to each other go), then let go.
    for (Collectable* each = tentative.next_; each != &tentative; each = each->next_)
    {
        dropContents(each);
    }
    while (tentative.next_ != &tentative)
    {
        Collectable* garbage = tentative.next_;
        garbage->unlink();
        if (--garbage->refCount == 0)
        {
            destroyRefObject(garbage->kind(), garbage);
        }
        else
        {
            garbage->linkBefore(heap); // something took a reference while it was emptied: it lives on
        }
    }
    tentative.prev_ = tentative.next_ = nullptr;
    scheduleAfter(bytes_);
    collecting_ = false;
}

} // namespace velmar::lua
