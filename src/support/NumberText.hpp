// Reading a number from a text of any length the way the C library's strtoll and strtod read it, without
// handing them an arbitrarily long text: they cannot be stopped midway, and a text of many megabytes of
// digits would keep them busy past any interrupt. A long text is first reduced, in a pass that calls back
// every kCheckpointBytes bytes, to a short text that the C function reads to the same value, the same
// range error and the same answer to "was all of it a number".
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace zq
{

// Called after every kCheckpointBytes bytes examined; it may throw to abandon the scan.
using ScanCheckpoint = std::function<void()>;
inline constexpr std::size_t kCheckpointBytes = 64 * 1024;

// A short text that strtoll(_, _, base) reads as it reads all of `text`, or nothing when strtoll would stop
// before the end of `text`. base is 0 or 2 to 36.
std::optional<std::string> shortIntegerText(std::string_view text, int base, const ScanCheckpoint& checkpoint);

// The same for strtod (the C locale's decimal and hexadecimal forms, infinities and NaNs with payloads).
std::optional<std::string> shortFloatText(std::string_view text, const ScanCheckpoint& checkpoint);

} // namespace zq
