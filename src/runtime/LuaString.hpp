// Immutable, shared byte strings: copying a string value never copies its bytes.
#pragma once

#include "runtime/RefCounted.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmar::lua
{

constexpr std::uint64_t kFnvPrime = 0x100000001b3ULL;
// The program's own starting basis for every table-key hash.
constexpr std::uint64_t kFnvBasis = 0x14650fb0739d0383ULL;

inline std::uint64_t fnv1a(const void* data, std::size_t length, std::uint64_t hash = kFnvBasis)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < length; ++i)
    {
        hash ^= bytes[i];
        hash *= kFnvPrime;
    }
    return hash;
}

// The bytes follow the header in the same allocation, with a terminating zero for C interfaces.
class LuaString : public RefObject
{
public:
    static Ref<LuaString> make(std::string_view text);
    // A string of the given length whose bytes the caller fills in before sharing it.
    static Ref<LuaString> makeUninitialized(std::size_t length);
    static void destroy(LuaString* string) noexcept;

    const char* data() const noexcept { return reinterpret_cast<const char*>(this + 1); }
    char* mutableData() noexcept { return reinterpret_cast<char*>(this + 1); }
    std::size_t size() const noexcept { return length_; }
    std::string_view view() const noexcept { return {data(), length_}; }
    std::string str() const { return std::string(data(), length_); }

    // FNV-1a of the bytes, computed once; table keys made from this string reuse it.
    std::uint64_t bytesHash() const noexcept
    {
        if (!hashed_)
        {
            hash_ = fnv1a(data(), length_);
            hashed_ = true;
        }
        return hash_;
    }

    bool equals(const LuaString& other) const noexcept
    {
        return this == &other || (length_ == other.length_ && view() == other.view());
    }

private:
    explicit LuaString(std::size_t length) noexcept : length_(length) {}

    std::size_t length_;
    mutable std::uint64_t hash_ = 0;
    mutable bool hashed_ = false;
};

} // namespace velmar::lua
