// The table library: remove, concat and sort over a table's sequence 1..#t.
#include "runtime/WorkMeter.hpp"
#include "stdlib/Library.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

// True when keys first..last all live in non-nil array slots, so the array can be worked on directly.
bool arrayHoldsRange(const Table& table, std::int64_t first, std::int64_t last)
{
    if (static_cast<std::uint64_t>(last) > table.array.size())
    {
        return false;
    }
    return std::none_of(table.array.begin() + (first - 1), table.array.begin() + last,
                        [](const Value& value) { return value.isNil(); });
}

// Records a change whose resulting sequence length is known, so the next length query is O(1): slots
// 1..length are non-nil array slots and key length+1 is in neither part, exactly what a rescan would find.
void keepLength(Table& table, std::int64_t length)
{
    ++table.version;
    table.cachedLength = length;
    table.lengthVersion = table.version;
    table.arrayBorder = static_cast<std::size_t>(length);
}

MultiValue tableRemove(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("table.remove", args.size(), 1, 2);
    Table* table = Impl::requireTable("table.remove", args, 0, line);
    WorkMeter meter(Impl::of(vm), line);
    const std::int64_t n = tableSequenceLength(table, &meter);
    if (n == 0)
    {
        return MultiValue(Value()); // the position is not even checked
    }
    // A position below 1 is raised to 1, not rejected.
    const std::int64_t position =
        args.size() > 1 ? std::max<std::int64_t>(Impl::requireInteger("table.remove", args, 1, line), 1) : n;
    if (position > n)
    {
        return MultiValue(Value());
    }
    ValueVector& array = table->array;
    // Every element that moves is work, charged before anything moves.
    meter.elements(static_cast<std::uint64_t>(n - position));
    // Only the slots that move are checked, so popping the last element stays O(1).
    if (arrayHoldsRange(*table, position, n))
    {
        Value removed = std::move(array[static_cast<std::size_t>(position - 1)]);
        std::move(array.begin() + position, array.begin() + n, array.begin() + (position - 1));
        array[static_cast<std::size_t>(n - 1)] = Value();
        table->arraySlotCleared(static_cast<std::size_t>(n - 1));
        const std::size_t oldSize = array.size();
        while (!array.empty() && array.back().isNil())
        {
            array.pop_back();
        }
        table->arrayResized(oldSize);
        keepLength(*table, n - 1);
        return MultiValue(std::move(removed));
    }
    Value removed = tableGetInteger(table, position);
    for (std::int64_t k = position; k < n; ++k)
    {
        tableSetByKey(table, TableKey::makeInteger(k), tableGetInteger(table, k + 1));
    }
    tableSetByKey(table, TableKey::makeInteger(n), Value());
    return MultiValue(std::move(removed));
}

// Every element is accepted and shown with its text; there are no i and j bounds.
MultiValue tableConcat(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("table.concat", args.size(), 1, 2);
    Table* table = Impl::requireTable("table.concat", args, 0, line);
    std::string separator;
    if (args.size() > 1)
    {
        args[1].appendTo(separator); // nil gives "nil", a number its text
    }
    WorkMeter meter(Impl::of(vm), line);
    const std::int64_t n = tableSequenceLength(table, &meter);
    CountedText out;
    for (std::int64_t k = 1; k <= n; ++k)
    {
        if (k > 1)
        {
            meter.bytes(separator.size());
            out.append(separator);
        }
        const Value element = tableGetInteger(table, k);
        meter.elements(1);
        if (element.isString())
        {
            meter.bytes(element.string()->size());
            out.append(element.stringView());
        }
        else
        {
            out.appendWith([&](std::string& into) { element.appendTo(into); });
        }
    }
    return MultiValue(makeStringMetered(meter, out.view()));
}

// ---- Sorting ----
// The order is a stable insertion sort: for each i, key = t[i] moves down while less(key, t[j]).
// Without a comparator less() compares two numbers as doubles and anything else by its text.

// An element with what the default comparison needs, computed once per element instead of per comparison.
struct SortItem
{
    const Value* value;
    std::string text;
    double number = 0;
    bool isNumber = false;
};

double numberOf(const Value& number)
{
    return number.isInteger() ? static_cast<double>(number.integer()) : number.number();
}

// Straight insertion with a consistent-or-not order; `less` may be any predicate, and charges its
// comparisons (it may end the run: the items are a copy, so the table loses nothing). Every element
// moved is charged here too.
template <typename T, typename Less> void insertionSort(std::vector<T>& items, Less less, WorkMeter& meter)
{
    for (std::size_t i = 1; i < items.size(); ++i)
    {
        T key = std::move(items[i]);
        std::size_t j = i;
        try
        {
            while (j > 0 && less(key, items[j - 1]))
            {
                items[j] = std::move(items[j - 1]);
                --j;
                meter.elements(1);
            }
        }
        catch (...)
        {
            items[j] = std::move(key); // whole while the run ends
            throw;
        }
        items[j] = std::move(key);
    }
}

// Sorts with the default comparison. When it is a strict weak order (only numbers without NaN, or no
// numbers at all) a stable merge sort yields exactly the insertion sort's result; a mix of numbers and
// other values is not transitive, so it takes the literal insertion sort. No script code runs meanwhile,
// so the values stay where they are and only pointers to them are sorted: a sort stopped midway (out of
// steps, interrupted) has nothing to undo or release.
std::vector<const Value*> sortDefault(const Value* values, std::size_t count, Impl& vm, std::uint32_t line)
{
    // Each comparison is an element of work; comparing two strings, which live in memory of their own,
    // four, plus the bytes they may share before they differ.
    WorkMeter meter(vm, line);
    meter.scanned(count); // the pass that sorts the values into kinds
    const auto lessText = [&meter](std::string_view a, std::string_view b) {
        meter.add(4 * WorkMeter::kUnitsPerElement + std::min(a.size(), b.size()));
        return a < b;
    };
    std::vector<const Value*> order(count);
    bool anyNumber = false;
    bool anyOther = false;
    bool anyNaN = false;
    bool allStrings = true;
    for (std::size_t i = 0; i < count; ++i)
    {
        const Value& value = values[i];
        order[i] = &value;
        if (value.isNumber())
        {
            anyNumber = true;
            anyNaN = anyNaN || std::isnan(numberOf(value));
        }
        else
        {
            anyOther = true;
        }
        allStrings = allStrings && value.isString();
    }
    if (allStrings)
    {
        std::stable_sort(order.begin(), order.end(),
                         [&](const Value* a, const Value* b) { return lessText(a->stringView(), b->stringView()); });
        return order;
    }
    if (anyNumber && !anyOther && !anyNaN)
    {
        std::stable_sort(order.begin(), order.end(), [&](const Value* a, const Value* b) {
            meter.elements(1);
            return numberOf(*a) < numberOf(*b);
        });
        return order;
    }
    std::vector<SortItem> items(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        SortItem& item = items[i];
        item.value = order[i];
        item.isNumber = item.value->isNumber();
        item.number = item.isNumber ? numberOf(*item.value) : 0;
        item.value->appendTo(item.text);
        meter.elements(1);
        meter.bytes(item.text.size());
    }
    const auto less = [&](const SortItem& a, const SortItem& b) {
        if (a.isNumber && b.isNumber)
        {
            meter.elements(1);
            return a.number < b.number;
        }
        return lessText(a.text, b.text);
    };
    if (anyNumber && (anyOther || anyNaN))
    {
        insertionSort(items, less, meter);
    }
    else
    {
        std::stable_sort(items.begin(), items.end(), less);
    }
    for (std::size_t i = 0; i < count; ++i)
    {
        order[i] = items[i].value;
    }
    return order;
}

// Reads and writes positions 1..n of a table by zero-based index. With a script comparator the table
// may change under the sort, so every access goes through the table rather than a cached array.
struct TableSlots
{
    Table* table;
    Value get(std::size_t i) const { return tableGetInteger(table, static_cast<std::int64_t>(i) + 1); }
    void set(std::size_t i, Value value) const
    {
        tableSetByKey(table, TableKey::makeInteger(static_cast<std::int64_t>(i) + 1), std::move(value));
    }
};

struct VectorSlots
{
    ValueVector* values;
    Value get(std::size_t i) const { return (*values)[i]; }
    void set(std::size_t i, Value value) const { (*values)[i] = std::move(value); }
};

// Insertion sort through a script comparator, called as less(key, t[j]) in exactly the documented order.
// If the comparator fails, the element in hand is put back into the gap first, so nothing is lost.
template <typename Slots>
void sortWithComparator(Impl& vm, LuaFunctionHandle* comparator, Slots slots, std::size_t n, std::uint32_t line)
{
    Value pair[2];
    for (std::size_t i = 1; i < n; ++i)
    {
        const Value key = slots.get(i);
        std::size_t j = i;
        try
        {
            while (j > 0)
            {
                Value current = slots.get(j - 1);
                pair[0] = key;
                pair[1] = current;
                const MultiValue result = vm.callHandle(comparator, ValueSpan{pair, 2}, line);
                if (result.empty() || !result[0].isTruthy())
                {
                    break;
                }
                slots.set(j, std::move(current));
                --j;
            }
        }
        catch (...)
        {
            slots.set(j, key);
            throw;
        }
        slots.set(j, key);
    }
}

MultiValue tableSort(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("table.sort", args.size(), 1, 2);
    Table* table = Impl::requireTable("table.sort", args, 0, line);
    WorkMeter lengthMeter(Impl::of(vm), line);
    const std::int64_t n = tableSequenceLength(table, &lengthMeter);
    LuaFunctionHandle* comparator = nullptr;
    if (args.size() > 1)
    {
        if (!args[1].isFunction())
        {
            failRuntime(line, "table.sort comparator must be a function");
        }
        comparator = args[1].function();
    }
    const auto count = static_cast<std::size_t>(n);
    lengthMeter.scanned(count); // the density check, charged before it is made
    const bool dense = arrayHoldsRange(*table, 1, n);
    if (comparator && dense)
    {
        // The comparator sees the table as the sort goes, so it works on the table itself.
        sortWithComparator(Impl::of(vm), comparator, TableSlots{table}, count, line);
        return MultiValue(args[0]);
    }
    // Copying the values out and back in is work too, charged before any of it.
    lengthMeter.elements(dense ? count : 2 * count);
    if (!comparator && dense)
    {
        const std::vector<const Value*> order = sortDefault(table->array.data(), count, Impl::of(vm), line);
        ValueVector sorted;
        sorted.reserve(count);
        for (const Value* value : order)
        {
            sorted.push_back(*value);
        }
        std::move(sorted.begin(), sorted.end(), table->array.begin());
        keepLength(*table, n); // a permutation of the same non-nil slots
        return MultiValue(args[0]);
    }
    // Elements are copied out (sharing, not duplicating, their payloads) so a failure leaves t untouched.
    ValueVector values(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        values[i] = tableGetInteger(table, static_cast<std::int64_t>(i) + 1);
    }
    if (comparator)
    {
        sortWithComparator(Impl::of(vm), comparator, VectorSlots{&values}, count, line);
        for (std::size_t i = 0; i < count; ++i)
        {
            tableSetByKey(table, TableKey::makeInteger(static_cast<std::int64_t>(i) + 1), std::move(values[i]));
        }
        return MultiValue(args[0]);
    }
    const std::vector<const Value*> order = sortDefault(values.data(), count, Impl::of(vm), line);
    for (std::size_t i = 0; i < count; ++i)
    {
        tableSetByKey(table, TableKey::makeInteger(static_cast<std::int64_t>(i) + 1), *order[i]);
    }
    return MultiValue(args[0]);
}

} // namespace

void bindTableLibrary(LuaVM::Impl& vm)
{
    Ref<Table> table = makeLibraryTable(vm, "table");
    vm.bindTableFunction(*table, "remove", tableRemove);
    vm.bindTableFunction(*table, "concat", tableConcat);
    vm.bindTableFunction(*table, "sort", tableSort);
}

} // namespace velmar::lua
