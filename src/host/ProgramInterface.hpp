// Finds the current host table and hands out its slots only when the table covers them.
#pragma once

#include <velmar/lua/HostInterface.hpp>

#include "support/Platform.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zq
{

// The installed table. Desktop: never null (the desktop table when the host installed none). Boot: null
// means the boot environment's own table at kBootProgramApiAddress.
extern std::atomic<const zq_program_api*> gProgramApi; // set by any thread, read at every use

// While not 0, a host's stat refuses (as if the file were missing) a file larger than this many bytes on
// this thread, and sets gHostReadRefused: a run under a memory limit must not have a whole file read
// into memory before it can be charged for it.
extern ZQ_THREAD_LOCAL std::size_t gHostReadAllowance;
extern ZQ_THREAD_LOCAL bool gHostReadRefused;

// The readiness rule for one boot offset of `api`, which may be null.
bool programApiFieldReady(const zq_program_api* api, std::uint32_t offset) noexcept;

#if defined(VELMAR_LUA_BOOT)
// Where the boot environment publishes its table: magic, live marker and size, then each slot as a
// 32-bit code address at its boot offset.
inline constexpr std::uintptr_t kBootProgramApiAddress = 0x6800;

// The boot table's word at `offset` (a multiple of 4 within the table), read afresh at every use: the
// host may publish the table at any time. The processor is little-endian, as the layout is.
inline std::uint32_t bootProgramApiWord(std::uint32_t offset) noexcept
{
    const volatile std::uint32_t* table = reinterpret_cast<const volatile std::uint32_t*>(kBootProgramApiAddress);
    asm("" : "+r"(table)); // a fixed address, not an object the compiler may reason about
    return table[offset / 4];
}

bool bootProgramApiFieldReady(std::uint32_t offset) noexcept;
#endif

// The slot `member` of the current table when its boot offset is ready, else null.
template <typename Slot>
Slot programApiSlot(Slot zq_program_api::*member, std::uint32_t offset) noexcept
{
    const zq_program_api* api = gProgramApi.load(std::memory_order_acquire);
#if defined(VELMAR_LUA_BOOT)
    if (api == nullptr)
    {
        return bootProgramApiFieldReady(offset)
            ? reinterpret_cast<Slot>(static_cast<std::uintptr_t>(bootProgramApiWord(offset)))
            : nullptr;
    }
#endif
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
