// Guards recursion by real stack use, so deep scripts fail cleanly on any thread's stack size.
#pragma once
#include "support/Platform.hpp"

namespace zq
{

// Lowest frame address the current thread may reach before recursive work must stop; null until measured.
extern constinit ZQ_THREAD_LOCAL const char* gStackLimit;

// Measures the current thread's stack once and sets gStackLimit, keeping a safety margin below it.
void initStackLimit();

// True when the caller's frame lies below the limit: the next level of recursion must not start.
inline bool stackExhausted()
{
    const char* frame = static_cast<const char*>(__builtin_frame_address(0));
    return frame < gStackLimit;
}

} // namespace zq
