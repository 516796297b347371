// The cost of values handed to a host (print and bound host functions): the work of converting them
// and of writing their text, and the memory the converted values take while the host holds them.
#pragma once

#include "runtime/Heap.hpp"
#include "runtime/WorkMeter.hpp"
#include "velmar/lua/LuaValue.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace velmar::lua
{

// Charges every converted element as work, and the memory of the public values to the run's memory
// limit for as long as the meter lives.
class BridgeMeter
{
public:
    explicit BridgeMeter(WorkMeter& work) noexcept : work_(work) {}
    ~BridgeMeter() { creditBytes(held_); }
    BridgeMeter(const BridgeMeter&) = delete;
    BridgeMeter& operator=(const BridgeMeter&) = delete;

    // One converted value holding `payloadBytes` bytes of its own (a string's text, a map key). A public
    // value is allocated and built, so it counts as four elements.
    void convert(std::size_t payloadBytes)
    {
        work_.elements(4);
        work_.bytes(payloadBytes);
        const std::size_t bytes = kValueOverhead + payloadBytes;
        chargeBytes(bytes);
        held_ += bytes;
    }

    TableWork* work() noexcept { return &work_; }
    // Slots looked at without converting anything.
    void pass(std::size_t count) { work_.scanned(count); }

private:
    // A public value, its slot in an array or map, and the map's index node, roughly.
    static constexpr std::size_t kValueOverhead = sizeof(LuaValue) + 64;

    WorkMeter& work_;
    std::size_t held_ = 0;
};

// The public values of a call's arguments, converted in order and charged to `meter`.
std::vector<LuaValue> publicArguments(const LuaVM::Impl& vm, ValueSpan args, BridgeMeter& meter);

// Appends the text LuaValue::toString gives; when `sink` is not null, hands the text over whenever it
// has grown past a piece (the sink takes it and clears it), so a huge value is never held whole.
struct TextSink
{
    virtual void take(std::string& text) = 0;

protected:
    ~TextSink() = default;
};
void appendPublicText(std::string& out, const LuaValue& value, TextSink* sink);

} // namespace velmar::lua
