// Tables: key normalisation, stale hash entries, length, and models under churn.
#include "runtime/Table.hpp"
#include "runtime/Function.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace
{

using namespace velmar::lua;

TableKey key(std::int64_t i)
{
    return TableKey::makeInteger(i);
}

TableKey textKey(const char* text)
{
    return TableKey::makeString(std::string_view(text));
}

void set(const Ref<Table>& t, const TableKey& k, Value v)
{
    tableSetByKey(t.get(), k, std::move(v));
}

std::string get(const Ref<Table>& t, const TableKey& k)
{
    return tableGetByKey(t.get(), k).toString();
}

// Keys 1..n assigned one after another, so the array part grows one slot at a time.
Ref<Table> sequence(std::int64_t n)
{
    Ref<Table> t = makeTable();
    for (std::int64_t i = 1; i <= n; ++i)
    {
        set(t, key(i), Value(static_cast<long long>(i)));
    }
    return t;
}

TEST(TableTest, KeysFromValues)
{
    TableKey k;
    ASSERT_TRUE(tryMakeKeyFromValue(Value(2.0), k));
    EXPECT_EQ(k.kind(), TableKeyKind::Integer);
    EXPECT_EQ(k.integer(), 2);
    ASSERT_TRUE(tryMakeKeyFromValue(Value(-0.0), k));
    EXPECT_EQ(k.integer(), 0);
    ASSERT_TRUE(tryMakeKeyFromValue(Value(1.0000000000000002), k));
    EXPECT_EQ(k.integer(), 1);
    ASSERT_TRUE(tryMakeKeyFromValue(Value(9223372036854775808.0), k));
    EXPECT_EQ(k.integer(), std::numeric_limits<std::int64_t>::max());
    ASSERT_TRUE(tryMakeKeyFromValue(Value(-9223372036854775808.0), k));
    EXPECT_EQ(k.integer(), std::numeric_limits<std::int64_t>::min());
    ASSERT_TRUE(tryMakeKeyFromValue(Value(true), k));
    EXPECT_EQ(k.kind(), TableKeyKind::Boolean);
    EXPECT_TRUE(k.boolean());
    ASSERT_TRUE(tryMakeKeyFromValue(Value(std::string_view("a\0b", 3)), k));
    EXPECT_EQ(k.kind(), TableKeyKind::String);
    EXPECT_EQ(k.text(), std::string_view("a\0b", 3));

    const double inf = std::numeric_limits<double>::infinity();
    for (const Value& refused :
         {Value(2.5), Value(std::numeric_limits<double>::quiet_NaN()), Value(inf), Value(-inf), Value(1e300),
          Value(3.0000000000000004), Value(), Value(makeTable()), Value(makeNativeFunction("f", {}))})
    {
        EXPECT_FALSE(tryMakeKeyFromValue(refused, k)) << refused.toString();
    }

    EXPECT_FALSE(key(0) == TableKey::makeBoolean(false));
    EXPECT_FALSE(key(1) == textKey("1"));
    EXPECT_FALSE(TableKey::makeString(std::string_view("a\0b", 3)) ==
                 TableKey::makeString(std::string_view("a\0c", 3)));
    EXPECT_TRUE(textKey("ab") == TableKey::makeString(std::string("ab")));
    EXPECT_TRUE(TableKey::makeBoolean(false) == TableKey::makeBoolean(false));
}

TEST(TableTest, NilArraySlotFallsThroughToAStaleHashEntry)
{
    Ref<Table> t = makeTable();
    set(t, key(70), Value("old"));
    set(t, key(64), Value("a"));
    set(t, key(72), Value("b")); // the array now covers 70, but 70 still lives in the hash part
    ASSERT_EQ(t->array.size(), 72u);
    EXPECT_EQ(get(t, key(70)), "old");
    set(t, key(70), Value("new"));
    EXPECT_TRUE(t->hash.empty());
    EXPECT_EQ(get(t, key(70)), "new");
    set(t, key(70), Value());
    EXPECT_EQ(get(t, key(70)), "nil");

    // The stale entry also extends the length past the array's first nil.
    t = makeTable();
    set(t, key(70), Value("h"));
    for (std::int64_t i = 1; i <= 69; ++i)
    {
        set(t, key(i), Value(true));
    }
    set(t, key(72), Value(true));
    ASSERT_EQ(t->array.size(), 72u);
    EXPECT_EQ(tableSequenceLength(t.get()), 70);
}

TEST(TableTest, LengthStopsAtTheFirstNilAndContinuesThroughTheHashPart)
{
    EXPECT_EQ(tableSequenceLength(makeTable().get()), 0);
    Ref<Table> t = sequence(2);
    set(t, key(4), Value(4LL));
    EXPECT_EQ(tableSequenceLength(t.get()), 2);

    t = makeTable();
    set(t, key(100), Value("x"));
    EXPECT_EQ(tableSequenceLength(t.get()), 0);
    for (std::int64_t i = 1; i <= 99; ++i)
    {
        set(t, key(i), Value(true));
    }
    EXPECT_EQ(t->array.size(), 99u);
    EXPECT_EQ(tableSequenceLength(t.get()), 100);
    set(t, key(100), Value("y"));
    EXPECT_EQ(t->array.size(), 100u);
    EXPECT_TRUE(t->hash.empty());
    EXPECT_EQ(get(t, key(100)), "y");
    EXPECT_EQ(tableSequenceLength(t.get()), 100);
    set(t, key(50), Value());
    EXPECT_EQ(tableSequenceLength(t.get()), 49); // a store forgets the cached length

    tableSetByKey(nullptr, key(1), Value(1LL));
    EXPECT_TRUE(tableGetByKey(nullptr, key(1)).isNil());
    EXPECT_EQ(tableSequenceLength(nullptr), 0);
}

// Random stores and deletions over array and hash keys, checked against plain models: the length
// (whatever index helps find the border), lookups, and the live entries' order and ranks.
TEST(TableTest, LengthAndRanksMatchAPlainModelUnderRandomChurn)
{
    Ref<Table> t = makeTable();
    std::vector<bool> present(3002, false);
    std::vector<std::string> order; // live string keys in insertion order
    std::uint64_t seed = 12345;
    const auto next = [&seed](std::uint64_t limit) {
        seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
        return (seed >> 33) % limit;
    };
    for (int step = 0; step < 60000; ++step)
    {
        const std::uint64_t choice = next(100);
        if (choice < 70)
        {
            // Integer keys, mostly near the front so the border keeps moving through long runs.
            const auto k = static_cast<std::int64_t>(choice < 35 ? 1 + next(40) : 1 + next(3000));
            const bool store = next(3) != 0;
            set(t, key(k), store ? Value(static_cast<long long>(k)) : Value());
            present[static_cast<std::size_t>(k)] = store;
        }
        else
        {
            std::string name = "s";
            name += std::to_string(next(200));
            const auto found = std::find(order.begin(), order.end(), name);
            if (found != order.end())
            {
                order.erase(found);
                set(t, TableKey::makeString(name), Value());
            }
            else
            {
                order.push_back(name);
                set(t, TableKey::makeString(name), Value(1LL));
            }
        }
        if (step % 97 == 0)
        {
            std::int64_t border = 0;
            while (present[static_cast<std::size_t>(border + 1)])
            {
                ++border;
            }
            ASSERT_EQ(tableSequenceLength(t.get()), border) << "step " << step;
            std::size_t rank = 0;
            for (const HashPart::Entry& entry : t->hash.entries())
            {
                if (entry.live() && entry.key.kind() == TableKeyKind::String)
                {
                    while (t->hash.entryAtRank(rank)->key.kind() != TableKeyKind::String)
                    {
                        ++rank;
                    }
                    ASSERT_EQ(t->hash.entryAtRank(rank)->key.text(), entry.key.text()) << "step " << step;
                    ++rank;
                }
            }
            std::vector<std::string> live;
            for (const HashPart::Entry& entry : t->hash.entries())
            {
                if (entry.live() && entry.key.kind() == TableKeyKind::String)
                {
                    live.emplace_back(entry.key.text());
                }
            }
            ASSERT_EQ(live, order) << "step " << step;
            ASSERT_EQ(t->hash.entryAtRank(t->hash.size()), nullptr);
        }
    }
}

// A hash part of a few entries has no buckets; churn keeps crossing that size with tombstones present.
// Key 0 is among the keys: a tombstone's cleared key reads as 0 and must never be found.
TEST(TableTest, SmallPartsFindEveryKeyWhileCrossingToBuckets)
{
    const auto keyNumber = [](std::uint64_t k) {
        return k == 0 ? key(0) : TableKey::makeString(std::string("f").append(std::to_string(k)));
    };
    Ref<Table> t;
    std::vector<std::uint64_t> order; // live keys in insertion order
    std::uint64_t seed = 99;
    for (int step = 0; step < 20000; ++step)
    {
        if (step % 16 == 0) // a fresh table often: a part has no buckets only until it first grows
        {
            t = makeTable();
            order.clear();
        }
        seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
        const std::uint64_t k = (seed >> 33) % 11;
        const auto found = std::find(order.begin(), order.end(), k);
        if (found != order.end())
        {
            order.erase(found);
            set(t, keyNumber(k), Value());
        }
        else
        {
            order.push_back(k);
            set(t, keyNumber(k), Value(static_cast<long long>(step)));
        }
        ASSERT_EQ(t->hash.size(), order.size()) << "step " << step;
        for (std::uint64_t probe = 0; probe < 11; ++probe)
        {
            const bool live = std::find(order.begin(), order.end(), probe) != order.end();
            ASSERT_EQ(get(t, keyNumber(probe)) != "nil", live) << "step " << step << " key " << probe;
        }
        for (std::size_t rank = 0; rank < order.size(); ++rank)
        {
            ASSERT_TRUE(t->hash.entryAtRank(rank)->key == keyNumber(order[rank])) << "step " << step;
        }
    }
}

TEST(TableTest, LookupsSurviveManyInsertsAndDeletes)
{
    Ref<Table> t = makeTable();
    std::vector<std::pair<std::string, long long>> model; // the expected entries in order
    const auto erase = [&](const std::string& name)
    {
        set(t, TableKey::makeString(name), Value());
        std::erase_if(model, [&](const auto& entry) { return entry.first == name; });
    };
    for (long long i = 0; i < 3000; ++i)
    {
        const std::string name = std::string("k").append(std::to_string(i));
        set(t, TableKey::makeString(name), Value(i));
        model.emplace_back(name, i);
        if (i % 3 == 2)
        {
            erase(std::string("k").append(std::to_string(i - 1)));
        }
        if (i % 500 == 499)
        {
            erase(std::string("k").append(std::to_string(i / 2)));
            set(t, TableKey::makeString(std::string("k").append(std::to_string(i / 2))), Value(-i));
            model.emplace_back(std::string("k").append(std::to_string(i / 2)), -i);
        }
    }
    ASSERT_EQ(t->hash.size(), model.size());
    for (std::size_t i = 0; i < model.size(); ++i)
    {
        EXPECT_EQ(t->hash.entryAtRank(i)->key.text(), model[i].first);
        ASSERT_EQ(get(t, TableKey::makeString(model[i].first)), std::to_string(model[i].second)) << model[i].first;
    }
    EXPECT_EQ(get(t, textKey("k1")), "nil");
    const std::size_t buckets = t->hash.bucketCount();
    EXPECT_EQ(buckets & (buckets - 1), 0u);
    EXPECT_GE(buckets, model.size());
}

} // namespace
