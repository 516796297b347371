// Guards recursion by real stack use, so deep scripts fail cleanly on any thread's stack size.
#include "support/StackGuard.hpp"
#include "support/Platform.hpp"

#if !defined(VELMAR_LUA_BOOT)
#include <pthread.h>
#endif

#include <algorithm>
#include <cstddef>

#if defined(VELMAR_LUA_BOOT)
// The boot image's linker script reserves one stack region and names its ends.
extern "C" char __zq_stack_bottom[];
extern "C" char __zq_stack_top[];
#endif

namespace zq
{

constinit ZQ_THREAD_LOCAL const char* gStackLimit = nullptr;

namespace
{

ZQ_THREAD_LOCAL bool gStackMeasured = false;

constexpr std::size_t kMinimumMargin = 128 * 1024;
constexpr std::size_t kMaximumMargin = 1024 * 1024;
// A main thread with an unlimited stack rlimit reports an absurd size; assume a conventional one instead.
constexpr std::size_t kAssumedStack = 8 * 1024 * 1024;

// The lowest address and the size of the current thread's stack, or a null address when unknown.
void findStack(const char*& bottom, std::size_t& size)
{
#if defined(VELMAR_LUA_BOOT)
    bottom = __zq_stack_bottom;
    size = static_cast<std::size_t>(__zq_stack_top - __zq_stack_bottom);
#else
    pthread_attr_t attributes;
    void* low = nullptr;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0)
    {
        pthread_attr_getstack(&attributes, &low, &size);
        pthread_attr_destroy(&attributes);
    }
    bottom = static_cast<const char*>(low);
#endif
}

} // namespace

void initStackLimit()
{
    if (gStackMeasured)
    {
        return;
    }
    gStackMeasured = true;
    const char* here = static_cast<const char*>(__builtin_frame_address(0));
    const char* bottom = nullptr;
    std::size_t size = 0;
    findStack(bottom, size);
    if (bottom == nullptr || size == 0 || size > (std::size_t{1} << 30) || here < bottom || here > bottom + size)
    {
        bottom = here - kAssumedStack + 64 * 1024;
        size = kAssumedStack;
    }
    const std::size_t margin = std::clamp(size / 8, kMinimumMargin, kMaximumMargin);
    gStackLimit = bottom + margin;
}

} // namespace zq
