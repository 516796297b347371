// Finds the current host table and hands out its slots only when the table covers them.
#pragma once

#include <velmar/lua/HostInterface.hpp>

#include <atomic>
#include <cstdint>

namespace zq
{

// The installed table; never null (the desktop table when the host installed none).
extern std::atomic<const zq_program_api*> gProgramApi; // set by any thread, read at every use

// The readiness rule for one boot offset of `api`, which may be null.
bool programApiFieldReady(const zq_program_api* api, std::uint32_t offset) noexcept;

// The slot `member` of the current table when its boot offset is ready, else null.
template <typename Slot>
Slot programApiSlot(Slot zq_program_api::*member, std::uint32_t offset) noexcept
{
    const zq_program_api* api = gProgramApi.load(std::memory_order_acquire);
    return programApiFieldReady(api, offset) ? api->*member : nullptr;
}

inline auto hostStatFile() noexcept { return programApiSlot(&zq_program_api::stat_file, ZQ_API_STAT_FILE); }
inline auto hostWriteFile() noexcept { return programApiSlot(&zq_program_api::write_file, ZQ_API_WRITE_FILE); }
inline auto hostDeleteFile() noexcept { return programApiSlot(&zq_program_api::delete_file, ZQ_API_DELETE_FILE); }
inline auto hostWriteLine() noexcept { return programApiSlot(&zq_program_api::write_line, ZQ_API_WRITE_LINE); }
inline auto hostReadLine() noexcept { return programApiSlot(&zq_program_api::read_line, ZQ_API_READ_LINE); }
inline auto hostAllocate() noexcept { return programApiSlot(&zq_program_api::allocate, ZQ_API_ALLOCATE); }
inline auto hostRelease() noexcept { return programApiSlot(&zq_program_api::release, ZQ_API_RELEASE); }
inline auto hostResize() noexcept { return programApiSlot(&zq_program_api::resize, ZQ_API_RESIZE); }
inline auto hostReleaseFileBytes() noexcept
{
    return programApiSlot(&zq_program_api::release_file_bytes, ZQ_API_RELEASE_FILE_BYTES);
}

} // namespace zq
