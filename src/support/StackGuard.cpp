// Guards recursion by real stack use, so deep scripts fail cleanly on any thread's stack size.
#include "support/StackGuard.hpp"

#include <pthread.h>

#include <algorithm>
#include <cstddef>

namespace zq
{

constinit thread_local const char* gStackLimit = nullptr;

namespace
{

thread_local bool gStackMeasured = false;

constexpr std::size_t kMinimumMargin = 128 * 1024;
constexpr std::size_t kMaximumMargin = 1024 * 1024;
// A main thread with an unlimited stack rlimit reports an absurd size; assume a conventional one instead.
constexpr std::size_t kAssumedStack = 8 * 1024 * 1024;

} // namespace

void initStackLimit()
{
    if (gStackMeasured)
    {
        return;
    }
    gStackMeasured = true;
    const char* here = static_cast<const char*>(__builtin_frame_address(0));
    pthread_attr_t attributes;
    void* low = nullptr;
    std::size_t size = 0;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0)
    {
        pthread_attr_getstack(&attributes, &low, &size);
        pthread_attr_destroy(&attributes);
    }
    const char* bottom = static_cast<const char*>(low);
    if (low == nullptr || size == 0 || size > (std::size_t{1} << 30) || here < bottom || here > bottom + size)
    {
        bottom = here - kAssumedStack + 64 * 1024;
        size = kAssumedStack;
    }
    const std::size_t margin = std::clamp(size / 8, kMinimumMargin, kMaximumMargin);
    gStackLimit = bottom + margin;
}

} // namespace zq
