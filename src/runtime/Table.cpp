// Tables: key normalisation, the array/hash placement rule, the hash part and the cached length.
#include "runtime/Table.hpp"
#include "support/ExactMath.hpp"

#include <algorithm>
#include <cmath>

namespace velmar::lua
{

std::uint64_t TableKeyHash::operator()(const TableKey& key) const noexcept
{
    const Value& value = key.asValue();
    switch (value.kind())
    {
    case ValueKind::Integer:
    {
        const std::int64_t integer = value.integer();
        return fnv1a(&integer, sizeof(integer)) ^ 0x13579bdfULL;
    }
    case ValueKind::String: return value.string()->bytesHash() ^ kStringKeyHashSalt;
    default:
    {
        const unsigned char byte = value.boolean() ? 1 : 0;
        return fnv1a(&byte, 1) ^ 0x10203040ULL;
    }
    }
}

// Walks the bucket chain of `hash` for the entry whose key `matches` accepts.
template <typename Matches>
const HashPart::Entry* HashPart::findMatching(std::uint64_t hash, Matches matches) const noexcept
{
    if (buckets_.empty())
    {
        for (const Entry& entry : entries_) // a small part: no chains, a short look at every entry
        {
            if (entry.hash == static_cast<std::uint32_t>(hash) && entry.live() && matches(entry.key))
            {
                return &entry;
            }
        }
        return nullptr;
    }
    std::int32_t index = buckets_[hash & (buckets_.size() - 1)];
    while (index >= 0)
    {
        const Entry& entry = entries_[static_cast<std::size_t>(index)];
        if (entry.hash == static_cast<std::uint32_t>(hash) && matches(entry.key))
        {
            return &entry;
        }
        index = entry.next;
    }
    return nullptr;
}

const HashPart::Entry* HashPart::findString(const LuaString& key, std::uint64_t hash) const noexcept
{
    return findMatching(hash, [&key](const TableKey& candidate) {
        return candidate.asValue().isString() && candidate.asValue().string()->equals(key);
    });
}

const HashPart::Entry* HashPart::find(const TableKey& key, std::uint64_t hash) const noexcept
{
    return findMatching(hash, [&key](const TableKey& candidate) { return candidate == key; });
}

namespace
{

// Parts of up to this many entries (tombstones included) have no buckets: a record's few fields are
// found by looking at each, which is as quick, and the table needs one allocation less.
constexpr std::size_t kEntriesWithoutBuckets = 8;

// Entries per counted block of the tombstone index.
constexpr std::size_t kDeadBlock = 64;
// Tombstones are swept out when they outnumber the live entries (and there are at least this many):
// each sweep is paid for by the erasures since the last one.
constexpr std::size_t kSweepFloor = 16;

} // namespace

void HashPart::rebuildBuckets(std::size_t bucketCount)
{
    buckets_.assign(bucketCount, -1);
    const std::size_t mask = bucketCount - 1;
    for (std::size_t i = 0; i < entries_.size(); ++i)
    {
        if (!entries_[i].live())
        {
            continue; // tombstones are in no chain
        }
        std::int32_t& head = buckets_[entries_[i].hash & mask];
        entries_[i].next = head;
        head = static_cast<std::int32_t>(i);
    }
}

void HashPart::assign(const TableKey& key, std::uint64_t hash, Value value)
{
    if (Entry* existing = find(key, hash))
    {
        existing->value = std::move(value);
        return;
    }
    insertNew(key, hash, std::move(value));
}

void HashPart::insertNew(const TableKey& key, std::uint64_t hash, Value value)
{
    const std::size_t entryCount = entries_.size();
    if (entryCount < kEntriesWithoutBuckets && buckets_.empty())
    {
        entries_.push_back(Entry{key, std::move(value), static_cast<std::uint32_t>(hash), -1});
        return;
    }
    if (buckets_.empty() || buckets_.size() * 3 < entryCount * 4 + 4)
    {
        std::size_t bucketCount = 8;
        while (bucketCount < 2 * entryCount + 2)
        {
            bucketCount *= 2;
        }
        rebuildBuckets(bucketCount);
    }
    std::int32_t& head = buckets_[hash & (buckets_.size() - 1)];
    entries_.push_back(Entry{key, std::move(value), static_cast<std::uint32_t>(hash), head});
    head = static_cast<std::int32_t>(entryCount);
    if (!deadIndex_.empty() && entries_.size() > deadIndex_.size() * kDeadBlock)
    {
        rebuildDeadIndex(); // the tree covers the entries' capacity, so this is paid for by growth
    }
}

bool HashPart::erase(const TableKey& key, std::uint64_t hash)
{
    std::size_t position;
    if (buckets_.empty())
    {
        const Entry* found = find(key, hash);
        if (!found)
        {
            return false;
        }
        position = static_cast<std::size_t>(found - entries_.data());
    }
    else
    {
        // Unlink the entry from its chain, remembering the link that pointed at it.
        std::int32_t* link = &buckets_[hash & (buckets_.size() - 1)];
        while (*link >= 0)
        {
            Entry& entry = entries_[static_cast<std::size_t>(*link)];
            if (entry.hash == static_cast<std::uint32_t>(hash) && entry.key == key)
            {
                break;
            }
            link = &entry.next;
        }
        if (*link < 0)
        {
            return false;
        }
        position = static_cast<std::size_t>(*link);
        *link = entries_[position].next;
    }
    Entry& entry = entries_[position];
    // The tombstone lets go of its key and value now; dropping them runs no script code.
    Value doomedValue = std::move(entry.value);
    TableKey doomedKey = std::move(entry.key);
    entry.value = Value();
    entry.key = TableKey();
    entry.next = -1;
    if (position + 1 == entries_.size())
    {
        // The last entry leaves no gap: drop it, and any tombstones it leaves at the end.
        entries_.pop_back();
        while (!entries_.empty() && !entries_.back().live())
        {
            uncountDead(entries_.size() - 1);
            entries_.pop_back();
            --dead_;
        }
        return true;
    }
    ++dead_;
    if (dead_ == entries_.size())
    {
        entries_.clear(); // nothing live: start over, with the buckets all empty already
        dead_ = 0;
        deadIndex_.clear();
    }
    else if (dead_ > entries_.size() - dead_ && dead_ >= kSweepFloor)
    {
        sweepTombstones();
    }
    else
    {
        countDead(position);
    }
    return true;
}

void HashPart::sweepTombstones()
{
    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries_.size(); ++i)
    {
        if (entries_[i].live())
        {
            if (kept != i)
            {
                entries_[kept] = std::move(entries_[i]);
            }
            ++kept;
        }
    }
    entries_.resize(kept);
    dead_ = 0;
    deadIndex_.clear();
    if (!buckets_.empty())
    {
        rebuildBuckets(buckets_.size());
    }
}

// A Fenwick tree over blocks of entries, sized for the entries' capacity.
void HashPart::rebuildDeadIndex()
{
    const std::size_t blocks = (std::max(entries_.capacity(), entries_.size()) + kDeadBlock - 1) / kDeadBlock;
    deadIndex_.assign(blocks, 0);
    for (std::size_t i = 0; i < entries_.size(); ++i)
    {
        if (!entries_[i].live())
        {
            ++deadIndex_[i / kDeadBlock];
        }
    }
    for (std::size_t node = 1; node <= blocks; ++node)
    {
        const std::size_t parent = node + (node & (~node + 1));
        if (parent <= blocks)
        {
            deadIndex_[parent - 1] += deadIndex_[node - 1];
        }
    }
}

void HashPart::countDead(std::size_t position) noexcept
{
    if (deadIndex_.empty())
    {
        rebuildDeadIndex(); // counts this tombstone too
        return;
    }
    for (std::size_t node = position / kDeadBlock + 1; node <= deadIndex_.size(); node += node & (~node + 1))
    {
        ++deadIndex_[node - 1];
    }
}

void HashPart::uncountDead(std::size_t position) noexcept
{
    for (std::size_t node = position / kDeadBlock + 1; node <= deadIndex_.size(); node += node & (~node + 1))
    {
        --deadIndex_[node - 1];
    }
}

const HashPart::Entry* HashPart::entryAtRank(std::size_t rank) const noexcept
{
    if (rank >= size())
    {
        return nullptr;
    }
    if (dead_ == 0)
    {
        return &entries_[rank];
    }
    // Descend the tree: skip whole spans of blocks whose live entries all come before the rank. Blocks
    // past the last entry count as live, which only ever makes a span look too large to skip.
    std::size_t block = 0;
    std::size_t remaining = rank;
    std::size_t span = 1;
    while (span * 2 <= deadIndex_.size())
    {
        span *= 2;
    }
    for (; span > 0; span /= 2)
    {
        const std::size_t next = block + span;
        if (next <= deadIndex_.size())
        {
            const std::size_t live = span * kDeadBlock - deadIndex_[next - 1];
            if (live <= remaining)
            {
                block = next;
                remaining -= live;
            }
        }
    }
    for (std::size_t i = block * kDeadBlock; i < entries_.size(); ++i)
    {
        if (entries_[i].live())
        {
            if (remaining == 0)
            {
                return &entries_[i];
            }
            --remaining;
        }
    }
    return nullptr;
}

// ---- Nil index ----

NilIndex::NilIndex(const ValueVector& array)
{
    resized(array, 0);
}

void NilIndex::slotBecame(std::size_t slot, bool nil) noexcept
{
    if (nil)
    {
        ++blocks_[slot / kBlock];
        ++groups_[slot / kGroup];
    }
    else
    {
        --blocks_[slot / kBlock];
        --groups_[slot / kGroup];
    }
}

void NilIndex::resized(const ValueVector& array, std::size_t oldSize)
{
    // Recount from the first block the change touched; everything before it is unchanged.
    const std::size_t size = array.size();
    const std::size_t firstBlock = std::min(oldSize, size) / kBlock;
    blocks_.resize((size + kBlock - 1) / kBlock);
    for (std::size_t block = firstBlock; block < blocks_.size(); ++block)
    {
        std::uint32_t nils = 0;
        const std::size_t end = std::min(size, (block + 1) * kBlock);
        for (std::size_t slot = block * kBlock; slot < end; ++slot)
        {
            nils += array[slot].isNil() ? 1 : 0;
        }
        blocks_[block] = nils;
    }
    const std::size_t firstGroup = firstBlock / kBlock;
    groups_.resize((blocks_.size() + kBlock - 1) / kBlock);
    for (std::size_t group = firstGroup; group < groups_.size(); ++group)
    {
        std::uint32_t nils = 0;
        const std::size_t end = std::min(blocks_.size(), (group + 1) * kBlock);
        for (std::size_t block = group * kBlock; block < end; ++block)
        {
            nils += blocks_[block];
        }
        groups_[group] = nils;
    }
}

std::size_t NilIndex::firstNilFrom(const ValueVector& array, std::size_t from) const noexcept
{
    const std::size_t size = array.size();
    std::size_t slot = from;
    // The rest of the first block, then whole blocks to the end of the group, then whole groups.
    while (slot < size && slot % kBlock != 0)
    {
        if (array[slot].isNil())
        {
            return slot;
        }
        ++slot;
    }
    std::size_t block = slot / kBlock;
    while (block < blocks_.size() && block % kBlock != 0 && blocks_[block] == 0)
    {
        ++block;
    }
    if (block < blocks_.size() && block % kBlock == 0)
    {
        std::size_t group = block / kBlock;
        while (group < groups_.size() && groups_[group] == 0)
        {
            ++group;
        }
        block = group * kBlock;
        while (block < blocks_.size() && blocks_[block] == 0)
        {
            ++block;
        }
    }
    for (slot = std::max(slot, block * kBlock); slot < size; ++slot)
    {
        if (array[slot].isNil())
        {
            return slot;
        }
    }
    return size;
}

void Table::destroy(Table* table) noexcept
{
    destroyRefObject(RefKind::Table, table);
}

bool tryMakeKeyFromValue(const Value& value, TableKey& out)
{
    switch (value.kind())
    {
    case ValueKind::Integer: out = TableKey::makeInteger(value.integer()); return true;
    case ValueKind::String: out = TableKey::makeString(Ref<LuaString>(value.string())); return true;
    case ValueKind::Boolean: out = TableKey::makeBoolean(value.boolean()); return true;
    case ValueKind::Float:
    {
        const double number = value.number();
        if (!std::isfinite(number))
        {
            return false;
        }
        const double rounded = zq::roundExact(number);
        if (rounded < -9223372036854775808.0 || rounded > 9223372036854775808.0 ||
            std::fabs(number - rounded) > kEpsilon)
        {
            return false;
        }
        out = TableKey::makeInteger(saturatingFloatToInteger(rounded)); // integral floats collapse to integers
        return true;
    }
    case ValueKind::Nil:
    case ValueKind::Table:
    case ValueKind::Function:
    case ValueKind::UserData:
    case ValueKind::Iterator: return false;
    }
    return false;
}

Value tableGetByKey(const Table* table, const TableKey& key)
{
    if (!table)
    {
        return Value();
    }
    if (key.kind() == TableKeyKind::Integer)
    {
        const std::int64_t index = key.integer();
        if (index >= 1 && static_cast<std::uint64_t>(index) <= table->array.size())
        {
            const Value& slot = table->array[static_cast<std::size_t>(index - 1)];
            if (!slot.isNil())
            {
                return slot;
            }
        }
    }
    if (table->hash.empty())
    {
        return Value();
    }
    const HashPart::Entry* entry = table->hash.find(key, TableKeyHash{}(key));
    return entry ? entry->value : Value();
}

namespace
{

// Slots a border search passes one by one before the table gets a nil index.
constexpr std::size_t kPlainBorderScan = 128;

// The first nil slot at or after `from` (or the array's size): a short plain scan, then the index.
std::size_t nextArrayNil(Table& table, std::size_t from)
{
    const ValueVector& array = table.array;
    if (!table.nilIndex)
    {
        const std::size_t stop = std::min(array.size(), from + kPlainBorderScan);
        for (std::size_t slot = from; slot < stop; ++slot)
        {
            if (array[slot].isNil())
            {
                return slot;
            }
        }
        if (stop == array.size())
        {
            return stop;
        }
        table.nilIndex = std::make_unique<NilIndex>(array);
    }
    return table.nilIndex->firstNilFrom(array, from);
}

} // namespace

void tableSetByKey(Table* table, const TableKey& key, Value value)
{
    if (!table)
    {
        return;
    }
    if (key.kind() == TableKeyKind::Integer && key.integer() >= 1)
    {
        const auto index = static_cast<std::uint64_t>(key.integer());
        const std::size_t size = table->array.size();
        bool inArray = index <= size;
        if (!inArray && !(index >= 65 && size + 8 < index))
        {
            table->array.resize(static_cast<std::size_t>(index));
            if (table->nilIndex)
            {
                table->nilIndex->resized(table->array, size);
            }
            inArray = true;
        }
        if (inArray)
        {
            const auto slot = static_cast<std::size_t>(index - 1);
            const bool storesNil = value.isNil();
            Value& target = table->array[slot];
            if (table->nilIndex && target.isNil() != storesNil)
            {
                table->nilIndex->slotBecame(slot, storesNil);
            }
            target = std::move(value);
            if (storesNil)
            {
                table->arrayBorder = std::min(table->arrayBorder, slot);
            }
            else if (slot == table->arrayBorder)
            {
                table->arrayBorder = nextArrayNil(*table, slot + 1);
            }
            if (!table->hash.empty())
            {
                table->hash.erase(key, TableKeyHash{}(key));
            }
            ++table->version;
            return;
        }
    }
    const std::uint64_t hash = TableKeyHash{}(key);
    if (!value.isNil())
    {
        table->hash.assign(key, hash, std::move(value));
    }
    else
    {
        table->hash.erase(key, hash);
    }
    ++table->version;
}

Value tableGetNameSearching(const Table* table, const LuaString& key, std::uint32_t& lastEntry)
{
    if (!table || table->hash.empty())
    {
        return Value();
    }
    const auto* entry = table->hash.findString(key, key.bytesHash() ^ kStringKeyHashSalt);
    if (!entry)
    {
        return Value();
    }
    lastEntry = static_cast<std::uint32_t>(entry - table->hash.entries().data());
    return entry->value;
}

std::int64_t tableSequenceLength(Table* table, TableWork* work)
{
    if (!table)
    {
        return 0;
    }
    if (table->lengthVersion == table->version)
    {
        return table->cachedLength;
    }
    auto length = static_cast<std::int64_t>(table->arrayBorder); // the first nil of the array part
    if (!table->hash.empty())
    {
        constexpr std::int64_t kReport = 256; // keys found between two reports of the work
        const std::int64_t start = length;
        while (true)
        {
            const TableKey next = TableKey::makeInteger(length + 1);
            if (!table->hash.find(next, TableKeyHash{}(next)))
            {
                break;
            }
            ++length;
            if (work != nullptr && (length - start) % kReport == 0)
            {
                work->elements(4 * kReport); // a hash probe each, usually a cache miss in a long run
            }
        }
    }
    table->cachedLength = length;
    table->lengthVersion = table->version;
    return length;
}

} // namespace velmar::lua
