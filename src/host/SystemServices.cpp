// The library's own memory, environment, command and clock services, served by the host table.
#include "host/SystemServices.hpp"

#include "host/ProgramInterface.hpp"

#include <new>

namespace zq
{

std::atomic<std::uint64_t> gLuaClockTicks{0};

void* malloc(std::size_t size) noexcept
{
    auto allocate = hostAllocate();
    return allocate != nullptr ? allocate(size) : nullptr;
}

void free(void* address) noexcept
{
    auto release = hostRelease();
    if (address != nullptr && release != nullptr)
    {
        release(address);
    }
}

void* realloc(void* address, std::size_t size) noexcept
{
    auto resize = hostResize();
    return resize != nullptr ? resize(address, size) : nullptr;
}

const char* getenv(const char*) noexcept
{
    return nullptr;
}

int system(const char*) noexcept
{
    return -1;
}

long long clock() noexcept
{
    return static_cast<long long>(gLuaClockTicks.fetch_add(1, std::memory_order_relaxed));
}

} // namespace zq

#if defined(VELMAR_LUA_BOOT)
// In the boot image all object memory comes from the host table's slots. An allocation the host
// refuses raises std::bad_alloc, which a run reports as "not enough memory" (the image must not stop).
void* operator new(std::size_t size)
{
    if (void* memory = zq::malloc(size != 0 ? size : 1))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return zq::malloc(size != 0 ? size : 1);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return zq::malloc(size != 0 ? size : 1);
}

void operator delete(void* address) noexcept
{
    zq::free(address);
}

void operator delete[](void* address) noexcept
{
    zq::free(address);
}

void operator delete(void* address, std::size_t) noexcept
{
    zq::free(address);
}

void operator delete[](void* address, std::size_t) noexcept
{
    zq::free(address);
}
#endif
