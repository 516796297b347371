// The few things that differ between the desktop build and the freestanding boot build.
#pragma once

#if defined(VELMAR_LUA_BOOT)
// The boot environment runs one thread: per-thread state is plain global state, read without a
// thread-pointer lookup.
#define ZQ_THREAD_LOCAL
#define ZQ_INITIAL_EXEC
#else
// Separate interpreters may run on separate threads, each with its own copy of this state.
#define ZQ_THREAD_LOCAL thread_local
// For state read on hot paths: the general TLS model would cost a call per read.
#define ZQ_INITIAL_EXEC __attribute__((tls_model("initial-exec")))
#endif

#if !defined(VELMAR_LUA_BOOT)
#include <mutex>
#endif

namespace zq
{

#if defined(VELMAR_LUA_BOOT)
// One thread, and no thread library to ask: there is nothing to exclude.
struct Mutex
{
    void lock() noexcept {}
    void unlock() noexcept {}
};
#else
using Mutex = std::mutex;
#endif

// Holds a Mutex for the lifetime of the scope.
class ScopedLock
{
public:
    explicit ScopedLock(Mutex& mutex) : mutex_(mutex) { mutex_.lock(); }
    ~ScopedLock() { mutex_.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Mutex& mutex_;
};

} // namespace zq
