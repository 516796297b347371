// Error codes of the file layer and their texts.
#include "support/FileErrors.hpp"
#include "support/Platform.hpp"

namespace
{
ZQ_THREAD_LOCAL int gFileErrorCode = 0;
}

int* zq_errno_location(void)
{
    return &gFileErrorCode;
}

const char* zq_strerror(int code)
{
    return zq::strerror(code);
}

namespace zq
{

const char* strerror(int code) noexcept
{
    switch (code)
    {
    case kErrorNone: return "ok";
    case kErrorNoSuchFile: return "no such file";
    case kErrorIo: return "i/o error";
    case kErrorBadHandle: return "bad file descriptor";
    case kErrorOutOfMemory: return "out of memory";
    case kErrorPermissionDenied: return "permission denied";
    case kErrorFileExists: return "file exists";
    case kErrorInvalidArgument: return "invalid argument";
    default: return "error";
    }
}

} // namespace zq
