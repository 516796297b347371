// The library's own memory, environment, command and clock services, served by the host table.
#include "support/SystemServices.hpp"

#include "host/ProgramInterface.hpp"

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
