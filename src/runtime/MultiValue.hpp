// Value lists with inline room: call results, argument lists and environment slots.
#pragma once

#include "runtime/Value.hpp"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace velmar::lua
{

// Keeps up to N values inline and spills to a heap vector on the first overflow, for good.
template <std::size_t N> class SmallValueStore
{
public:
    SmallValueStore() noexcept = default;
    // A store of `count` nils; inline when it fits.
    explicit SmallValueStore(std::size_t count)
    {
        if (count <= N)
        {
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
    SmallValueStore(const SmallValueStore& other) : heap_(other.heap_), count_(other.count_), spilled_(other.spilled_)
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            inline_[i] = other.inline_[i];
        }
    }
    SmallValueStore(SmallValueStore&& other) noexcept
        : heap_(std::move(other.heap_)), count_(other.count_), spilled_(other.spilled_)
    {
        for (std::size_t i = 0; i < count_; ++i)
        {
            inline_[i] = std::move(other.inline_[i]);
        }
        other.count_ = 0;
        other.spilled_ = false;
    }
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
            clear();
            heap_ = std::move(other.heap_);
            count_ = other.count_;
            spilled_ = other.spilled_;
            for (std::size_t i = 0; i < count_; ++i)
            {
                inline_[i] = std::move(other.inline_[i]);
            }
            other.count_ = 0;
            other.spilled_ = false;
        }
        return *this;
    }

    void push(Value value)
    {
        if (!spilled_)
        {
            if (count_ < N)
            {
                inline_[count_++] = std::move(value);
                return;
            }
            spill();
        }
        heap_.push_back(std::move(value));
    }

    std::size_t size() const noexcept { return spilled_ ? heap_.size() : count_; }
    bool empty() const noexcept { return size() == 0; }
    bool spilled() const noexcept { return spilled_; }
    Value* data() noexcept { return spilled_ ? heap_.data() : inline_; }
    const Value* data() const noexcept { return spilled_ ? heap_.data() : inline_; }
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
        for (std::size_t i = 0; i < count_; ++i)
        {
            inline_[i] = Value();
        }
        count_ = 0;
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
    void spill()
    {
        spilled_ = true;
        heap_.reserve(count_ < 4 ? 4 : count_ * 2);
        for (std::size_t i = 0; i < count_; ++i)
        {
            heap_.push_back(std::move(inline_[i]));
        }
        count_ = 0;
    }

    Value inline_[N];
    std::vector<Value> heap_;
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
