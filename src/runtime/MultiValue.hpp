// Value lists with inline room: call results, argument lists and environment slots.
#pragma once

#include "runtime/Value.hpp"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <vector>

namespace velmar::lua
{

// Keeps up to N values inline and spills to a heap vector on the first overflow, for good. Inline
// slots are constructed only when used, so an empty store costs almost nothing to make and drop.
template <std::size_t N> class SmallValueStore
{
public:
    SmallValueStore() noexcept = default;
    // A store of `count` nils; inline when it fits.
    explicit SmallValueStore(std::size_t count)
    {
        if (count <= N)
        {
            for (std::size_t i = 0; i < count; ++i)
            {
                new (slot(i)) Value();
            }
            count_ = count;
        }
        else
        {
            heap_.resize(count);
            spilled_ = true;
        }
    }
    SmallValueStore(std::initializer_list<Value> values)
    {
        for (const Value& value : values)
        {
            push(value);
        }
    }
    SmallValueStore(const SmallValueStore& other) : heap_(other.heap_), spilled_(other.spilled_)
    {
        for (std::size_t i = 0; i < other.count_; ++i)
        {
            new (slot(i)) Value(*other.slot(i));
        }
        count_ = other.count_;
    }
    SmallValueStore(SmallValueStore&& other) noexcept : heap_(std::move(other.heap_)), spilled_(other.spilled_)
    {
        takeInline(other);
    }
    ~SmallValueStore() { destroyInline(); }

    SmallValueStore& operator=(const SmallValueStore& other)
    {
        if (this != &other)
        {
            SmallValueStore copy(other);
            *this = std::move(copy);
        }
        return *this;
    }
    SmallValueStore& operator=(SmallValueStore&& other) noexcept
    {
        if (this != &other)
        {
            destroyInline();
            heap_ = std::move(other.heap_);
            spilled_ = other.spilled_;
            takeInline(other);
        }
        return *this;
    }

    void push(Value value)
    {
        if (!spilled_)
        {
            if (count_ < N)
            {
                new (slot(count_)) Value(std::move(value));
                ++count_;
                return;
            }
            spill();
        }
        heap_.push_back(std::move(value));
    }

    std::size_t size() const noexcept { return spilled_ ? heap_.size() : count_; }
    bool empty() const noexcept { return size() == 0; }
    bool spilled() const noexcept { return spilled_; }
    Value* data() noexcept { return spilled_ ? heap_.data() : slot(0); }
    const Value* data() const noexcept { return spilled_ ? heap_.data() : slot(0); }
    Value& operator[](std::size_t index) noexcept { return data()[index]; }
    const Value& operator[](std::size_t index) const noexcept { return data()[index]; }
    Value* begin() noexcept { return data(); }
    Value* end() noexcept { return data() + size(); }
    const Value* begin() const noexcept { return data(); }
    const Value* end() const noexcept { return data() + size(); }
    ValueSpan span() const noexcept { return ValueSpan{data(), size()}; }

    // Empties the list but keeps the storage mode, so a spilled store stays on the heap.
    void clear() noexcept
    {
        destroyInline();
        heap_.clear();
    }
    // Sets every value to nil without changing the count.
    void fillNil() noexcept
    {
        for (Value& value : *this)
        {
            value = Value();
        }
    }

private:
    Value* slot(std::size_t index) noexcept { return reinterpret_cast<Value*>(storage_) + index; }
    const Value* slot(std::size_t index) const noexcept { return reinterpret_cast<const Value*>(storage_) + index; }

    void destroyInline() noexcept
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            slot(i)->~Value();
        }
        count_ = 0;
    }
    // Moves the other store's inline values here; this store's inline part must be empty.
    void takeInline(SmallValueStore& other) noexcept
    {
        for (std::size_t i = 0; i < other.count_; ++i)
        {
            new (slot(i)) Value(std::move(*other.slot(i)));
            other.slot(i)->~Value();
        }
        count_ = other.count_;
        other.count_ = 0;
        other.spilled_ = false;
    }
    void spill()
    {
        heap_.reserve(count_ < 4 ? 4 : count_ * 2);
        for (std::size_t i = 0; i < count_; ++i)
        {
            heap_.push_back(std::move(*slot(i)));
        }
        destroyInline();
        spilled_ = true;
    }

    alignas(Value) unsigned char storage_[N * sizeof(Value)];
    ValueVector heap_;
    std::size_t count_ = 0;
    bool spilled_ = false;
};

// The results of a call or of a multi-valued expression.
class MultiValue : public SmallValueStore<2>
{
public:
    using SmallValueStore<2>::SmallValueStore;
    MultiValue() noexcept = default;
    MultiValue(Value value) { push(std::move(value)); }
};

inline Value firstOrNil(const MultiValue& values)
{
    return values.empty() ? Value() : values[0];
}

} // namespace velmar::lua
