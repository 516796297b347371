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

// Long strings: four independent lanes over 8-byte words, so that hashing a fresh key costs a small
// fraction of what making its bytes was charged (a byte copied is a unit, a step 1,024 units); FNV-1a
// takes a multiply per byte. The hash decides no order anyone can see.
inline std::uint64_t laneHash(const unsigned char* bytes, std::size_t length)
{
    constexpr std::uint64_t kMultiplier = 0x9e3779b97f4a7c15ULL;
    std::uint64_t lanes[4] = {kFnvBasis, kFnvBasis ^ 0x5bd1e9955bd1e995ULL, kFnvBasis ^ 0xc2b2ae3d27d4eb4fULL,
                              kFnvBasis ^ 0x165667b19e3779f9ULL};
    std::size_t i = 0;
    for (; i + 32 <= length; i += 32)
    {
        for (int lane = 0; lane < 4; ++lane)
        {
            std::uint64_t word;
            __builtin_memcpy(&word, bytes + i + 8 * lane, sizeof(word));
            // The rotation carries high bits down, so no two word positions cancel each other out.
            const std::uint64_t mixed = (lanes[lane] ^ word) * kMultiplier;
            lanes[lane] = (mixed << 29) | (mixed >> 35);
        }
    }
    std::uint64_t hash = lanes[0] ^ ((lanes[1] << 16) | (lanes[1] >> 48)) ^ ((lanes[2] << 32) | (lanes[2] >> 32)) ^
                         ((lanes[3] << 48) | (lanes[3] >> 16));
    hash = fnv1a(bytes + i, length - i, hash ^ length);
    hash ^= hash >> 33;
    hash *= 0xff51afd7ed558ccdULL;
    hash ^= hash >> 33;
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

    // The bytes' hash (FNV-1a, or laneHash for long strings), computed once; table keys made from this
    // string reuse it.
    std::uint64_t bytesHash() const noexcept
    {
        if (!hashed_)
        {
            constexpr std::size_t kLongString = 64;
            hash_ = length_ < kLongString ? fnv1a(data(), length_)
                                          : laneHash(reinterpret_cast<const unsigned char*>(data()), length_);
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
