// Script files and standard input as the desktop reads them, through the operating system.
#include "Scripts.hpp"

#include <velmar/lua/HostInterface.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace velmar::cli
{
namespace
{

// To the end of the input; a read interrupted by a signal (Ctrl-C while a pipe is slow) is retried.
bool readAll(int fd, std::string& text)
{
    char bytes[65536];
    for (;;)
    {
        const ssize_t got = ::read(fd, bytes, sizeof bytes);
        if (got == 0)
        {
            return true;
        }
        if (got < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            return false;
        }
        text.append(bytes, static_cast<std::size_t>(got));
    }
}

// "what (reason)", the reason in the system's own words.
std::string because(const std::string& what, int error)
{
    return what + " (" + std::strerror(error) + ")";
}

} // namespace

bool readScriptFile(const std::string& path, std::string& text, std::string& error)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
    {
        error = because("cannot open " + path, errno);
        return false;
    }
    // A directory opens fine; refuse it here so the message says what is wrong.
    struct stat info;
    if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode))
    {
        ::close(fd);
        error = because("cannot open " + path, EISDIR);
        return false;
    }
    const bool ok = readAll(fd, text);
    const int readError = errno; // before close can change it
    ::close(fd);
    if (!ok)
    {
        error = because("cannot read " + path, readError);
    }
    return ok;
}

bool readHostScriptFile(const std::string& path, std::string& text, std::string& error)
{
    const zq_program_api* api = zq_desktop_program_api();
    zq_file_stat record{};
    if (api == nullptr || api->stat_file == nullptr || api->stat_file(path.c_str(), &record) == 0)
    {
        error = because("cannot open " + path, ENOENT);
        return false;
    }
    if (record.data != nullptr)
    {
        text.assign(static_cast<const char*>(record.data), record.size);
        if (api->release_file_bytes != nullptr)
        {
            api->release_file_bytes(record.data);
        }
    }
    return true;
}

bool readStandardInput(std::string& text, std::string& error)
{
    if (!readAll(0, text))
    {
        error = because("cannot read stdin", errno);
        return false;
    }
    return true;
}

// stat follows links, so a link to a script counts; a directory named index.lua does not.
bool isRegularFile(const std::string& path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

} // namespace velmar::cli
