// The process-wide host table pointer and the rule that decides whether a slot may be used.
#include "host/ProgramInterface.hpp"

#if !defined(VELMAR_LUA_BOOT)
#include "host/DesktopHost.hpp"
#endif

#include <cstring>

namespace zq
{

namespace
{

// The readiness rule over the three header words of a table.
bool headerCovers(const char* magic, std::uint32_t live, std::uint32_t size, std::uint32_t offset) noexcept
{
    if (std::memcmp(magic, "ZQAP", 4) != 0 || live == 0 || size < 12)
    {
        return false;
    }
    // Widened so an offset near the top of the range cannot wrap around.
    return std::uint64_t{size} >= std::uint64_t{offset} + 4;
}

#if defined(VELMAR_LUA_BOOT)
constexpr const zq_program_api* kDefaultProgramApi = nullptr;
#else
constexpr const zq_program_api* kDefaultProgramApi = &gDesktopProgramApi;
#endif

} // namespace

constinit std::atomic<const zq_program_api*> gProgramApi{kDefaultProgramApi};
ZQ_THREAD_LOCAL std::size_t gHostReadAllowance = 0;
ZQ_THREAD_LOCAL bool gHostReadRefused = false;

bool programApiFieldReady(const zq_program_api* api, std::uint32_t offset) noexcept
{
#if defined(VELMAR_LUA_BOOT)
    if (api == nullptr)
    {
        return bootProgramApiFieldReady(offset);
    }
#endif
    return api != nullptr && headerCovers(api->magic, api->live, api->size, offset);
}

#if defined(VELMAR_LUA_BOOT)
bool bootProgramApiFieldReady(std::uint32_t offset) noexcept
{
    const std::uint32_t magic = bootProgramApiWord(0);
    char bytes[4];
    std::memcpy(bytes, &magic, 4); // the word was assembled little-endian, as the bytes lie in memory
    return headerCovers(bytes, bootProgramApiWord(4), bootProgramApiWord(8), offset);
}
#endif

} // namespace zq

const zq_program_api* zq_set_program_api(const zq_program_api* api)
{
    return zq::gProgramApi.exchange(api != nullptr ? api : zq::kDefaultProgramApi);
}

#if defined(VELMAR_LUA_BOOT)
// The boot build has no desktop table: its host is the boot environment's table at 0x6800.
bool zq_desktop_confine_files(const char*, bool)
{
    return false;
}

const zq_program_api* zq_desktop_program_api(void)
{
    return nullptr;
}
#else
bool zq_desktop_confine_files(const char* root, bool read_only)
{
    return zq::confineDesktopFiles(root, read_only);
}

const zq_program_api* zq_desktop_program_api(void)
{
    return &zq::gDesktopProgramApi;
}
#endif

bool zq_program_api_field_ready(std::uint32_t offset)
{
    return zq::programApiFieldReady(zq::gProgramApi.load(std::memory_order_acquire), offset);
}
