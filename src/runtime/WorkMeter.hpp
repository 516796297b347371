// Charging bulk work to a run: steps in proportion to the bytes and elements an operation touches.
#pragma once

#include "runtime/Interpreter.hpp"

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace velmar::lua
{

// The rule, in units, chosen so that a step buys at most a few hundred nanoseconds of work:
//  - a byte copied, compared or searched in bulk: 1 unit;
//  - a byte (or table slot) examined one at a time: written to the console, parsed as a number, read
//    in a format, a nil slot passed over: kUnitsPerScanned units;
//  - an element: a table value moved, copied out or compared, a sort comparison, a value pushed as a
//    result, an item of a list in the source, a slot of a called function's frame: kUnitsPerElement
//    units (the evaluator charges the last two itself, a step per Impl::kItemsPerStep items); a value converted for the host, or a match kept or replaced by
//    the pattern functions, counts as several.
// Every full kUnitsPerStep units of one operation spend one step: 1,024 bytes copied, 128 bytes
// examined or 16 elements cost a step. The meter settles as the work goes, so an exhausted budget or
// an interrupt stops a long operation in its middle, at its call's line; what is left below a step at
// the end is not charged.
class WorkMeter final : public TableWork
{
public:
    static constexpr std::uint64_t kUnitsPerStep = 1024;
    static constexpr std::uint64_t kUnitsPerScanned = 8;
    static constexpr std::uint64_t kUnitsPerElement = 64;

    WorkMeter(LuaVM::Impl& vm, std::uint32_t line) noexcept : vm_(vm), line_(line) {}
    WorkMeter(const WorkMeter&) = delete;
    WorkMeter& operator=(const WorkMeter&) = delete;

    void bytes(std::uint64_t count) { add(count); }
    void scanned(std::uint64_t count) { add(count * kUnitsPerScanned); }
    void elements(std::uint64_t count) override { add(count * kUnitsPerElement); }
    void add(std::uint64_t units)
    {
        pending_ += units;
        if (pending_ >= kUnitsPerStep) [[unlikely]]
        {
            settle();
        }
    }

private:
    void settle()
    {
        const std::uint64_t steps = pending_ / kUnitsPerStep;
        pending_ %= kUnitsPerStep;
        vm_.spendSteps(steps, line_);
    }

    LuaVM::Impl& vm_;
    std::uint32_t line_;
    std::uint64_t pending_ = 0;
};

static_assert(LuaVM::Impl::kItemsPerStep == WorkMeter::kUnitsPerStep / WorkMeter::kUnitsPerElement,
              "a source list's item is charged as an element");

// A text being built for a run, whose buffer counts against the run's memory limit as it grows (a
// breach fails the run with "not enough memory" before the buffer grows).
class CountedText
{
public:
    CountedText() = default;
    ~CountedText() { creditBytes(charged_); }
    CountedText(const CountedText&) = delete;
    CountedText& operator=(const CountedText&) = delete;

    void append(std::string_view text)
    {
        reserveFor(text.size());
        text_.append(text);
    }
    void push_back(char c)
    {
        reserveFor(1);
        text_.push_back(c);
    }
    // Room for `more` bytes, charged before it is taken.
    void reserveFor(std::size_t more)
    {
        const std::size_t need = text_.size() + more;
        if (need > text_.capacity())
        {
            const std::size_t capacity = std::max(need, 2 * text_.capacity());
            chargeBytes(capacity - charged_);
            charged_ = capacity;
            text_.reserve(capacity);
        }
    }
    // Appends through a plain string, then charges what it grew to.
    template <typename Fill> void appendWith(Fill fill)
    {
        fill(text_);
        if (text_.capacity() > charged_)
        {
            chargeBytes(text_.capacity() - charged_);
            charged_ = text_.capacity();
        }
    }
    std::string& str() noexcept { return text_; }
    std::string_view view() const noexcept { return text_; }
    std::size_t size() const noexcept { return text_.size(); }

private:
    std::string text_;
    std::size_t charged_ = 0;
};

// Copies `count` bytes in pieces, charging each piece before it is copied, so a huge copy stops
// promptly when the budget runs out or the run is interrupted.
inline void copyMetered(WorkMeter& meter, char* destination, const char* source, std::size_t count)
{
    constexpr std::size_t kPiece = 256 * 1024;
    while (count > 0)
    {
        const std::size_t piece = count < kPiece ? count : kPiece;
        meter.bytes(piece);
        std::memcpy(destination, source, piece);
        destination += piece;
        source += piece;
        count -= piece;
    }
}

// A string value of the given bytes, copied in charged pieces.
inline Value makeStringMetered(WorkMeter& meter, std::string_view text)
{
    Ref<LuaString> result = LuaString::makeUninitialized(text.size());
    copyMetered(meter, result->mutableData(), text.data(), text.size());
    return Value(std::move(result));
}

} // namespace velmar::lua
