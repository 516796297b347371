// Tables: an array part for keys 1..n and an insertion-ordered hash part for everything else.
#pragma once

#include "runtime/Value.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace velmar::lua
{

enum class TableKeyKind : std::uint8_t
{
    Integer,
    String,
    Boolean,
};

// A normalised key: an integer, a string or a boolean. Floats never appear (integral ones collapse).
class TableKey
{
public:
    TableKey() noexcept : value_(0LL) {}
    static TableKey makeInteger(std::int64_t integer) noexcept { return TableKey(Value(static_cast<long long>(integer))); }
    static TableKey makeBoolean(bool boolean) noexcept { return TableKey(Value(boolean)); }
    static TableKey makeString(std::string_view text) { return TableKey(Value(text)); }
    static TableKey makeString(Ref<LuaString> text) noexcept { return TableKey(Value(std::move(text))); }

    TableKeyKind kind() const noexcept
    {
        return value_.isInteger() ? TableKeyKind::Integer
                                  : (value_.isString() ? TableKeyKind::String : TableKeyKind::Boolean);
    }
    std::int64_t integer() const noexcept { return value_.isInteger() ? value_.integer() : 0; }
    bool boolean() const noexcept { return value_.kind() == ValueKind::Boolean && value_.boolean(); }
    std::string_view text() const noexcept { return value_.isString() ? value_.stringView() : std::string_view(); }
    // The key as a script value (pairs yields it).
    const Value& asValue() const noexcept { return value_; }

    friend bool operator==(const TableKey& a, const TableKey& b) noexcept
    {
        if (a.value_.kind() != b.value_.kind())
        {
            return false;
        }
        switch (a.value_.kind())
        {
        case ValueKind::Integer: return a.value_.integer() == b.value_.integer();
        case ValueKind::String: return a.value_.string()->equals(*b.value_.string());
        default: return a.value_.boolean() == b.value_.boolean();
        }
    }

private:
    explicit TableKey(Value value) noexcept : value_(std::move(value)) {}
    Value value_;
};

// What a string key's hash adds to the bytes' hash.
constexpr std::uint64_t kStringKeyHashSalt = 0x2468ace0ULL;

// FNV-1a over the key's payload bytes from the program's own basis, then a per-kind constant.
struct TableKeyHash
{
    std::uint64_t operator()(const TableKey& key) const noexcept;
};

// The hash part keeps entries in insertion order, with bucket chains of entry indices over them once
// it has more than a few entries.
// Erasing leaves a tombstone (an entry whose value is nil, out of every chain) instead of shifting the
// later entries down, so it costs no more than a lookup; the tombstones are swept out once they
// outnumber the live entries. Positions among the live entries (ranks) are what iteration sees.
class HashPart
{
public:
    struct Entry
    {
        TableKey key;
        Value value; // nil: a tombstone
        // The low half of the key's hash: enough to pick a bucket among at most 2^32 and to pass over
        // most other keys of a chain, and it keeps an entry at 40 bytes.
        std::uint32_t hash;
        std::int32_t next;

        bool live() const noexcept { return !value.isNil(); }
    };

    const Entry* find(const TableKey& key, std::uint64_t hash) const noexcept;
    // The same for a string key, without a TableKey for it.
    const Entry* findString(const LuaString& key, std::uint64_t hash) const noexcept;
    Entry* findString(const LuaString& key, std::uint64_t hash) noexcept
    {
        return const_cast<Entry*>(static_cast<const HashPart*>(this)->findString(key, hash));
    }
    Entry* find(const TableKey& key, std::uint64_t hash) noexcept
    {
        return const_cast<Entry*>(static_cast<const HashPart*>(this)->find(key, hash));
    }
    // Overwrites an existing entry, or appends a new one at the end of the insertion order.
    void assign(const TableKey& key, std::uint64_t hash, Value value);
    // Appends an entry for a key the part does not hold (a constructor's distinct names).
    void insertNew(const TableKey& key, std::uint64_t hash, Value value);
    // Removes the entry; the order of the rest is kept.
    bool erase(const TableKey& key, std::uint64_t hash);

    // In bytes: counting 40-byte entries would take a division on every store into the array part.
    bool empty() const noexcept
    {
        return static_cast<std::size_t>(reinterpret_cast<const char*>(entries_.data() + entries_.size()) -
                                        reinterpret_cast<const char*>(entries_.data())) == dead_ * sizeof(Entry);
    }
    // Number of live entries.
    std::size_t size() const noexcept { return entries_.size() - dead_; }
    // Room for `count` entries, so a constructor with named fields grows the list once.
    void reserve(std::size_t count) { entries_.reserve(count); }
    // Every entry in insertion order, tombstones included (skip those that are not live()).
    const std::vector<Entry, HeapAllocator<Entry>>& entries() const noexcept { return entries_; }
    // The live entry of the given rank (0-based, in insertion order), or null past the last one.
    const Entry* entryAtRank(std::size_t rank) const noexcept;
    std::size_t bucketCount() const noexcept { return buckets_.size(); }

private:
    template <typename Matches> const Entry* findMatching(std::uint64_t hash, Matches matches) const noexcept;
    void rebuildBuckets(std::size_t bucketCount);
    void sweepTombstones();
    void rebuildDeadIndex();
    void countDead(std::size_t position) noexcept;
    void uncountDead(std::size_t position) noexcept;

    std::vector<Entry, HeapAllocator<Entry>> entries_;
    std::vector<std::int32_t, HeapAllocator<std::int32_t>> buckets_;
    std::size_t dead_ = 0;
    // While there are tombstones: a Fenwick tree of tombstone counts per block of kDeadBlock entries,
    // so that finding the entry of a rank takes logarithmic time.
    std::vector<std::uint32_t, HeapAllocator<std::uint32_t>> deadIndex_;
};

static_assert(sizeof(HashPart::Entry) == 40, "a hash entry is a key, a value and two 32-bit links");

// Finds the first nil slot of an array part from a position quickly, for arrays that have had
// a long run of non-nil slots to pass over: nil counts per block of 64 slots and per group of 64
// blocks. Kept only for tables that needed it.
class NilIndex
{
public:
    static constexpr std::size_t kBlock = 64;
    static constexpr std::size_t kGroup = kBlock * kBlock;

    explicit NilIndex(const ValueVector& array);
    // A slot changed between nil and non-nil, or the array grew (its new slots are nil).
    void slotBecame(std::size_t slot, bool nil) noexcept;
    void resized(const ValueVector& array, std::size_t oldSize);
    // The first nil slot at or after `from`, or the array's size when there is none.
    std::size_t firstNilFrom(const ValueVector& array, std::size_t from) const noexcept;

private:
    std::vector<std::uint32_t, HeapAllocator<std::uint32_t>> blocks_;
    std::vector<std::uint32_t, HeapAllocator<std::uint32_t>> groups_;
};

class Table : public Collectable
{
public:
    Table() noexcept : Collectable(RefKind::Table) { joinCurrentHeap(); }
    static void destroy(Table* table) noexcept;

    ValueVector array;          // slot i holds key i+1; slots may hold nil
    HashPart hash;                     // never holds a nil value
    std::uint64_t version = 0;         // bumped by every store, overwrite and deletion
    std::uint64_t lengthVersion = ~0ULL;
    std::int64_t cachedLength = 0;
    // Number of leading non-nil array slots, kept current by every store so that the length never
    // rescans the array: appending with t[#t + 1] = v stays O(1).
    std::size_t arrayBorder = 0;
    // Made when filling the border slot first had a long run of slots to pass: finding the next nil
    // then stays cheap however often the border moves.
    std::unique_ptr<NilIndex> nilIndex;

    // Tells the nil index (if any) that a non-nil array slot was set to nil directly.
    void arraySlotCleared(std::size_t slot) noexcept
    {
        if (nilIndex)
        {
            nilIndex->slotBecame(slot, true);
        }
    }
    // Tells the nil index (if any) that the array part was resized from `oldSize` by code that works
    // on the array directly.
    void arrayResized(std::size_t oldSize)
    {
        if (nilIndex)
        {
            nilIndex->resized(array, oldSize);
        }
    }
};

// Work done inside a table primitive whose cost grows with the table, reported as it goes so that the
// caller can charge it to a run (and stop it there by throwing).
class TableWork
{
public:
    virtual void elements(std::uint64_t count) = 0;

protected:
    TableWork() = default;
    TableWork(const TableWork&) = default;
    TableWork& operator=(const TableWork&) = default;
    ~TableWork() = default;
};

// Converts a value into a key; false for nil, tables, functions, userdata, iterators,
// non-finite or non-integral floats. Raises nothing: the caller picks the message.
bool tryMakeKeyFromValue(const Value& value, TableKey& out);

// A null table reads as nil, ignores stores and has length 0.
Value tableGetByKey(const Table* table, const TableKey& key);
void tableSetByKey(Table* table, const TableKey& key, Value value);
// The border, extended through consecutive integer keys of the hash part: each key found there is an
// element of `work`.
std::int64_t tableSequenceLength(Table* table, TableWork* work = nullptr);

// Reads t[index] for an integer index without building a key.
[[gnu::always_inline]] inline Value tableGetInteger(const Table* table, std::int64_t index)
{
    if (table && index >= 1 && static_cast<std::uint64_t>(index) <= table->array.size() &&
        !table->array[static_cast<std::size_t>(index - 1)].isNil())
    {
        return table->array[static_cast<std::size_t>(index - 1)];
    }
    return tableGetByKey(table, TableKey::makeInteger(index));
}

// t[key] = value for a key the table does not hold and that belongs in its hash part (a constructor's
// distinct names): no search for an entry to overwrite.
inline void tableInsertNew(Table* table, const TableKey& key, Value&& value)
{
    if (!value.isNil()) // nil stores nothing: the table is unchanged
    {
        table->hash.insertNew(key, TableKeyHash{}(key), std::move(value));
        ++table->version;
    }
}

// Stores t[index] for an integer index. Overwriting a value in the array with another non-nil one
// changes neither the border nor the hash part, and appending one where the array has room moves the
// border only if it was at the end, so both are done here without building a key.
[[gnu::always_inline]] inline void tableSetInteger(Table* table, std::int64_t index, Value value)
{
    if (table && index >= 1 && !value.isNil() && table->hash.empty())
    {
        const auto position = static_cast<std::uint64_t>(index - 1);
        const std::size_t size = table->array.size();
        if (position < size)
        {
            Value& slot = table->array[static_cast<std::size_t>(position)];
            if (!slot.isNil())
            {
                slot = std::move(value);
                ++table->version;
                return;
            }
        }
        else if (position == size && size < table->array.capacity() && !table->nilIndex)
        {
            table->array.push_back(std::move(value)); // within capacity: nothing to allocate or charge
            if (table->arrayBorder == size)
            {
                table->arrayBorder = size + 1;
            }
            ++table->version;
            return;
        }
    }
    tableSetByKey(table, TableKey::makeInteger(index), std::move(value));
}

// Reads t[key] for a string key: what tableGetByKey does with TableKey::makeString(key), without
// building the key.
[[gnu::always_inline]] inline Value tableGetString(const Table* table, const LuaString& key)
{
    if (!table || table->hash.empty())
    {
        return Value();
    }
    const HashPart::Entry* entry = table->hash.findString(key, key.bytesHash() ^ kStringKeyHashSalt);
    return entry ? entry->value : Value();
}

// The look-up behind tableGetName when the remembered entry does not hold the name; it remembers where
// it found it.
Value tableGetNameSearching(const Table* table, const LuaString& key, std::uint32_t& lastEntry);

// tableGetString for a name read at one place in the tree, again and again on tables of one shape: the
// entry position where the last read found the name is tried first. The try is exact: a live entry
// holding this very string object is the name's only entry. Names are interned, so tables built with
// named fields hold the same object.
[[gnu::always_inline]] inline Value tableGetName(const Table* table, const LuaString& key, std::uint32_t& lastEntry)
{
    if (table) [[likely]]
    {
        // The remembered position, compared in bytes: no division by the entry size on this path.
        const auto& entries = table->hash.entries();
        const auto* first = reinterpret_cast<const unsigned char*>(entries.data());
        const auto* end = reinterpret_cast<const unsigned char*>(entries.data() + entries.size());
        const std::size_t offset = static_cast<std::size_t>(lastEntry) * sizeof(HashPart::Entry);
        if (offset < static_cast<std::size_t>(end - first))
        {
            const auto& entry = *reinterpret_cast<const HashPart::Entry*>(first + offset);
            if (entry.key.asValue().isString() && entry.key.asValue().string() == &key && entry.live())
            {
                return entry.value;
            }
        }
    }
    return tableGetNameSearching(table, key, lastEntry);
}

// Stores t[key] for a string key. Overwriting an existing field with a non-nil value is done in place,
// without building a key; everything else is tableSetByKey's.
inline void tableSetString(Table* table, const Value& key, Value value)
{
    if (table && !value.isNil() && !table->hash.empty())
    {
        const LuaString& text = *key.string();
        if (HashPart::Entry* entry = table->hash.findString(text, text.bytesHash() ^ kStringKeyHashSalt))
        {
            entry->value = std::move(value);
            ++table->version;
            return;
        }
    }
    tableSetByKey(table, TableKey::makeString(Ref<LuaString>(key.string())), std::move(value));
}

inline Ref<Table> makeTable()
{
    return makeRef<Table>();
}

} // namespace velmar::lua
