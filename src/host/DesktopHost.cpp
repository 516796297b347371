// The desktop host table: console lines on standard output and input, whole files, the C heap.
#include "host/DesktopHost.hpp"
#include "host/ProgramInterface.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

namespace zq
{

namespace
{

// Each stat reads the file into a snapshot that lives until the library hands its address back, so a
// read-only handle keeps seeing the bytes it opened even when the file is rewritten meanwhile.
class SnapshotRegistry
{
  public:
    const unsigned char* keep(std::unique_ptr<unsigned char[]> bytes)
    {
        const unsigned char* address = bytes.get();
        std::lock_guard lock(mutex_);
        snapshots_.emplace(address, std::move(bytes));
        return address;
    }

    void release(const void* address)
    {
        std::unique_ptr<unsigned char[]> doomed;
        std::lock_guard lock(mutex_);
        auto found = snapshots_.find(address);
        if (found != snapshots_.end())
        {
            doomed = std::move(found->second);
            snapshots_.erase(found);
        }
    }

    std::size_t count()
    {
        std::lock_guard lock(mutex_);
        return snapshots_.size();
    }

  private:
    std::mutex mutex_;
    std::unordered_map<const void*, std::unique_ptr<unsigned char[]>> snapshots_;
};

SnapshotRegistry& snapshots()
{
    // Never destroyed: handles may still be released from static destructors at exit.
    static SnapshotRegistry* registry = new SnapshotRegistry;
    return *registry;
}

// ---- Confinement ----
// While confined, every name is resolved beneath one directory by the kernel itself (openat2 with
// RESOLVE_BENEATH): an absolute name, a ".." that climbs out, or a symbolic link that leads out fails
// to resolve, however it is spelled, so there is nothing to get wrong in parsing names here.

struct Confinement
{
    int root = -1; // the directory, held open
    bool readOnly = false;

    ~Confinement()
    {
        if (root >= 0)
        {
            ::close(root);
        }
    }
};

// Replaced whole, so a file operation on another thread keeps the one it started with.
std::atomic<std::shared_ptr<const Confinement>>& confinement()
{
    static auto* current = new std::atomic<std::shared_ptr<const Confinement>>(); // outlives static destructors
    return *current;
}

// Opens `name` like open(2), beneath the confining directory when there is one.
int openFile(const Confinement* confined, const char* name, int flags, mode_t mode = 0)
{
    if (confined == nullptr)
    {
        return ::open(name, flags, mode);
    }
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags);
    how.mode = (flags & O_CREAT) != 0 ? mode : 0;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    for (;;)
    {
        const long fd = ::syscall(SYS_openat2, confined->root, name, &how, sizeof how);
        if (fd >= 0 || errno != EINTR)
        {
            return static_cast<int>(fd); // a kernel without openat2 refuses every name: confinement fails closed
        }
    }
}

// Reads up to `size` bytes; fewer when the file shrank after it was measured. -1 on a read error.
long long readFully(int fd, unsigned char* into, std::size_t size)
{
    std::size_t done = 0;
    while (done < size)
    {
        ssize_t got = ::read(fd, into + done, size - done);
        if (got < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            return -1;
        }
        if (got == 0)
        {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return static_cast<long long>(done);
}

int desktopStatFile(const char* name, zq_file_stat* record)
{
    if (name == nullptr || record == nullptr)
    {
        return 0;
    }
    const std::shared_ptr<const Confinement> confined = confinement().load();
    int fd = openFile(confined.get(), name, O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a fifo must not block
    if (fd < 0)
    {
        return 0;
    }
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))
    {
        ::close(fd);
        return 0;
    }
    auto size = static_cast<std::size_t>(info.st_size);
    if (gHostReadAllowance != 0 && size > gHostReadAllowance)
    {
        gHostReadRefused = true;
        ::close(fd);
        return 0;
    }
    std::unique_ptr<unsigned char[]> bytes;
    long long got = 0;
    if (size > 0)
    {
        bytes.reset(new (std::nothrow) unsigned char[size]);
        got = bytes ? readFully(fd, bytes.get(), size) : -1;
    }
    ::close(fd);
    if (got < 0)
    {
        return 0;
    }
    record->size = static_cast<std::size_t>(got);
    record->data = got > 0 ? snapshots().keep(std::move(bytes)) : nullptr;
    return 1;
}

int desktopWriteFile(const char* name, const void* data, std::size_t size)
{
    if (name == nullptr || (data == nullptr && size != 0))
    {
        return 0;
    }
    const std::shared_ptr<const Confinement> confined = confinement().load();
    if (confined && confined->readOnly)
    {
        return 0;
    }
    int fd = openFile(confined.get(), name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0)
    {
        return 0;
    }
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::size_t done = 0;
    bool ok = true;
    while (done < size)
    {
        ssize_t put = ::write(fd, bytes + done, size - done);
        if (put < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            ok = false;
            break;
        }
        done += static_cast<std::size_t>(put);
    }
    // A failed close can mean the data never reached the disk.
    if (::close(fd) != 0)
    {
        ok = false;
    }
    return ok ? 1 : 0;
}

int desktopDeleteFile(const char* name)
{
    if (name == nullptr)
    {
        return 0;
    }
    const std::shared_ptr<const Confinement> confined = confinement().load();
    if (!confined)
    {
        return ::unlink(name) == 0 ? 1 : 0;
    }
    if (confined->readOnly)
    {
        return 0;
    }
    // The directory is resolved beneath the root; the last component is removed as it is (a link
    // itself, never what it points at).
    const std::string path(name);
    const std::size_t slash = path.find_last_of('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const std::string leaf = slash == std::string::npos ? path : path.substr(slash + 1);
    if (leaf.empty() || leaf == "." || leaf == "..")
    {
        return 0;
    }
    const int parent = openFile(confined.get(), directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (parent < 0)
    {
        return 0;
    }
    const bool removed = ::unlinkat(parent, leaf.c_str(), 0) == 0;
    ::close(parent);
    return removed ? 1 : 0;
}

int desktopWriteLine(const char* text)
{
    // Buffered by stdio on purpose: print-heavy scripts must not pay for a flush per line.
    std::fputs(text, stdout);
    std::putc('\n', stdout);
    return 1;
}

std::uint32_t desktopReadLine(char* buffer, std::uint32_t capacity, const char* prompt, std::uint8_t)
{
    if (buffer == nullptr || capacity == 0)
    {
        return 0;
    }
    if (prompt != nullptr)
    {
        std::fputs(prompt, stdout);
    }
    std::fflush(stdout);
    std::uint32_t length = 0;
    bool truncated = false;
    int c = std::getc(stdin);
    if (c == EOF)
    {
        buffer[0] = '\0';
        return 0;
    }
    // Whatever does not fit is read and dropped, so the next read starts at the next line.
    for (; c != EOF && c != '\n'; c = std::getc(stdin))
    {
        if (length + 1 < capacity)
        {
            buffer[length++] = static_cast<char>(c);
        }
        else
        {
            truncated = true;
        }
    }
    if (!truncated && length > 0 && buffer[length - 1] == '\r')
    {
        --length;
    }
    buffer[length] = '\0';
    return 1;
}

void* desktopAllocate(std::size_t size)
{
    return std::malloc(size != 0 ? size : 1);
}

void desktopRelease(void* address)
{
    std::free(address);
}

void* desktopResize(void* address, std::size_t size)
{
    return std::realloc(address, size != 0 ? size : 1);
}

void desktopReleaseFileBytes(const void* data)
{
    if (data != nullptr)
    {
        snapshots().release(data);
    }
}

} // namespace

constinit const zq_program_api gDesktopProgramApi = {
    .magic = {'Z', 'Q', 'A', 'P'},
    .live = 1,
    .size = ZQ_API_FULL_SIZE,
    .stat_file = desktopStatFile,
    .write_file = desktopWriteFile,
    .delete_file = desktopDeleteFile,
    .write_line = desktopWriteLine,
    .read_line = desktopReadLine,
    .allocate = desktopAllocate,
    .release = desktopRelease,
    .resize = desktopResize,
    .release_file_bytes = desktopReleaseFileBytes,
};

bool confineDesktopFiles(const char* root, bool readOnly)
{
    if (root == nullptr)
    {
        confinement().store(nullptr);
        return true;
    }
    const int fd = ::open(root, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
    {
        return false;
    }
    auto confined = std::make_shared<Confinement>();
    confined->root = fd;
    confined->readOnly = readOnly;
    confinement().store(std::move(confined));
    return true;
}

std::size_t desktopFileSnapshotCount()
{
    return snapshots().count();
}

} // namespace zq
