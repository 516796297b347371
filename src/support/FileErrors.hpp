// Error codes of the file layer, the process-wide code of the last failure, and their texts.
#pragma once

#include <velmar/lua/Export.hpp>

extern "C"
{

// Code of the most recent file-layer failure on this thread; successful calls leave it unchanged.
// Like errno, `zq_errno` names the calling thread's own variable.
VELMAR_LUA_API int* zq_errno_location(void);
#define zq_errno (*zq_errno_location())

// The text of a file-layer error code, for hosts that call the file layer directly.
VELMAR_LUA_API const char* zq_strerror(int code);

} // extern "C"

namespace zq
{

inline constexpr int kErrorNone = 0;
inline constexpr int kErrorNoSuchFile = 2;
inline constexpr int kErrorIo = 5;
inline constexpr int kErrorBadHandle = 9;
inline constexpr int kErrorOutOfMemory = 12;
inline constexpr int kErrorPermissionDenied = 13;
inline constexpr int kErrorFileExists = 17;
inline constexpr int kErrorInvalidArgument = 22;

// "ok", "no such file", ... for the codes above; "error" for any other.
const char* strerror(int code) noexcept;

} // namespace zq
