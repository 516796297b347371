// The process-wide host table pointer and the rule that decides whether a slot may be used.
#include "host/ProgramInterface.hpp"

#include "host/DesktopHost.hpp"

#include <cstring>

namespace zq
{

constinit std::atomic<const zq_program_api*> gProgramApi{&gDesktopProgramApi};

bool programApiFieldReady(const zq_program_api* api, std::uint32_t offset) noexcept
{
    if (api == nullptr || std::memcmp(api->magic, "ZQAP", 4) != 0 || api->live == 0 || api->size < 12)
    {
        return false;
    }
    // Widened so an offset near the top of the range cannot wrap around.
    return std::uint64_t{api->size} >= std::uint64_t{offset} + 4;
}

} // namespace zq

const zq_program_api* zq_set_program_api(const zq_program_api* api)
{
    return zq::gProgramApi.exchange(api != nullptr ? api : &zq::gDesktopProgramApi);
}

bool zq_desktop_confine_files(const char* root, bool read_only)
{
    return zq::confineDesktopFiles(root, read_only);
}

const zq_program_api* zq_desktop_program_api(void)
{
    return &zq::gDesktopProgramApi;
}

bool zq_program_api_field_ready(std::uint32_t offset)
{
    return zq::programApiFieldReady(zq::gProgramApi.load(std::memory_order_acquire), offset);
}
