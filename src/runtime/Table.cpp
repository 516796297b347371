// Tables: key normalisation, the array/hash placement rule, the hash part and the cached length.
#include "runtime/Table.hpp"

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
        return nullptr;
    }
    std::int32_t index = buckets_[hash & (buckets_.size() - 1)];
    while (index >= 0)
    {
        const Entry& entry = entries_[static_cast<std::size_t>(index)];
        if (entry.hash == hash && matches(entry.key))
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

void HashPart::rebuildBuckets(std::size_t bucketCount)
{
    buckets_.assign(bucketCount, -1);
    const std::size_t mask = bucketCount - 1;
    for (std::size_t i = 0; i < entries_.size(); ++i)
    {
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
    const std::size_t entryCount = entries_.size();
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
    entries_.push_back(Entry{key, std::move(value), hash, head});
    head = static_cast<std::int32_t>(entryCount);
}

bool HashPart::erase(const TableKey& key, std::uint64_t hash)
{
    const Entry* entry = find(key, hash);
    if (!entry)
    {
        return false;
    }
    entries_.erase(entries_.begin() + (entry - entries_.data()));
    rebuildBuckets(buckets_.size());
    return true;
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
        const double rounded = std::round(number);
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
            inArray = true;
        }
        if (inArray)
        {
            const auto slot = static_cast<std::size_t>(index - 1);
            const bool storesNil = value.isNil();
            table->array[slot] = std::move(value);
            if (storesNil)
            {
                table->arrayBorder = std::min(table->arrayBorder, slot);
            }
            else if (slot == table->arrayBorder)
            {
                std::size_t border = slot + 1;
                while (border < table->array.size() && !table->array[border].isNil())
                {
                    ++border;
                }
                table->arrayBorder = border;
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

std::int64_t tableSequenceLength(Table* table)
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
        while (true)
        {
            const TableKey next = TableKey::makeInteger(length + 1);
            if (!table->hash.find(next, TableKeyHash{}(next)))
            {
                break;
            }
            ++length;
        }
    }
    table->cachedLength = length;
    table->lengthVersion = table->version;
    return length;
}

} // namespace velmar::lua
