// The library's own memory, environment, command and clock services, served by the host table.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zq
{

// Forward to the host table's allocate, release and resize slots; without them allocation gives null
// and release does nothing. Memory from these must be released through them, never through std::free.
void* malloc(std::size_t size) noexcept;
void free(void* address) noexcept;
void* realloc(void* address, std::size_t size) noexcept;

// There is no environment to read: always null.
const char* getenv(const char* name) noexcept;

// There is no command processor: the command is ignored and the status is always -1.
int system(const char* command) noexcept;

// A call counter, not time: returns gLuaClockTicks, then increments it.
long long clock() noexcept;
extern std::atomic<std::uint64_t> gLuaClockTicks; // shared by every thread, so atomic

} // namespace zq
