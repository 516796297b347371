// Buffered file handles over the host's whole-file services, and console handles under reserved names.
#include "host/FileLayer.hpp"

#include "host/ProgramInterface.hpp"
#include "support/FileErrors.hpp"
#include "host/SystemServices.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

namespace
{

enum class FileKind : unsigned char
{
    Ordinary,
    ConsoleInput,
    ConsoleOutput,
    ConsoleError
};

constexpr std::size_t kNameLimit = 240;
constexpr std::size_t kConsoleLineCapacity = 512;
constexpr std::size_t kConsoleReadRoom = 510; // leaves space for the appended line feed
constexpr std::size_t kFirstCapacity = 256;

using ReleaseFileBytes = void (*)(const void*);

} // namespace

struct zqfs_file
{
    FileKind kind = FileKind::Ordinary;
    char name[kNameLimit + 1] = {};
    const unsigned char* data = nullptr; // what reads see: the host's bytes or `buffer`
    unsigned char* buffer = nullptr;
    std::size_t capacity = 0;
    std::size_t length = 0;
    std::size_t position = 0;
    int pushback = -1;
    bool readable = false;
    bool writable = false;
    bool append = false;
    bool dirty = false;
    bool eof = false;
    bool error = false;
    // The host's bytes that a read-only handle reads in place, and who takes them back at close.
    const void* hostBytes = nullptr;
    ReleaseFileBytes releaseHostBytes = nullptr;
    char line[kConsoleLineCapacity] = {};
    std::size_t lineLength = 0;
    std::size_t lineIndex = 0;
};

namespace
{

int failWith(int code, int result)
{
    zq_errno = code;
    return result;
}

// What the host's stat reported, with the bytes owed back to the table that handed them out.
struct HostFile
{
    bool exists = false;
    bool broken = false; // claims bytes but gives no address: unusable
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    ReleaseFileBytes release = nullptr;
};

HostFile statHostFile(const char* name)
{
    HostFile file;
    auto stat = zq::hostStatFile();
    zq_file_stat record{};
    if (stat == nullptr || stat(name, &record) == 0)
    {
        return file;
    }
    file.exists = true;
    file.data = static_cast<const unsigned char*>(record.data);
    file.size = record.size;
    file.broken = file.data == nullptr && file.size != 0;
    if (file.data != nullptr)
    {
        file.release = zq::hostReleaseFileBytes();
    }
    return file;
}

void releaseHostFile(HostFile& file)
{
    if (file.release != nullptr)
    {
        file.release(file.data);
    }
    file.release = nullptr;
    file.data = nullptr;
}

zqfs_file* newRecord(FileKind kind)
{
    void* memory = zq::malloc(sizeof(zqfs_file));
    if (memory == nullptr)
    {
        zq_errno = zq::kErrorOutOfMemory;
        return nullptr;
    }
    auto* file = new (memory) zqfs_file{};
    file->kind = kind;
    return file;
}

void deleteRecord(zqfs_file* file)
{
    if (file->releaseHostBytes != nullptr)
    {
        file->releaseHostBytes(file->hostBytes);
    }
    zq::free(file->buffer);
    file->~zqfs_file();
    zq::free(file);
}

bool reserve(zqfs_file* file, std::size_t need)
{
    if (file->capacity >= need)
    {
        return true;
    }
    std::size_t capacity = file->capacity != 0 ? file->capacity : kFirstCapacity;
    while (capacity < need)
    {
        if (capacity > SIZE_MAX / 2)
        {
            capacity = 0;
            break;
        }
        capacity *= 2;
    }
    void* grown = nullptr;
    if (capacity != 0)
    {
        grown = file->buffer != nullptr ? zq::realloc(file->buffer, capacity) : zq::malloc(capacity);
    }
    if (grown == nullptr)
    {
        zq_errno = zq::kErrorOutOfMemory;
        file->error = true;
        return false;
    }
    file->buffer = static_cast<unsigned char*>(grown);
    file->capacity = capacity;
    file->data = file->buffer;
    return true;
}

bool modeHas(const char* mode, char letter)
{
    return std::strchr(mode, letter) != nullptr;
}

// The reserved names that give console handles without asking the host.
bool consoleKind(const char* name, FileKind& kind)
{
    if (std::strcmp(name, "__zqfs_stdin") == 0)
    {
        kind = FileKind::ConsoleInput;
    }
    else if (std::strcmp(name, "__zqfs_stdout") == 0)
    {
        kind = FileKind::ConsoleOutput;
    }
    else if (std::strcmp(name, "__zqfs_stderr") == 0)
    {
        kind = FileKind::ConsoleError;
    }
    else
    {
        return false;
    }
    return true;
}

// Console input is readable only, the two outputs writable only; the mode does not matter.
zqfs_file* openConsole(const char* name, FileKind kind)
{
    zqfs_file* file = newRecord(kind);
    if (file != nullptr)
    {
        std::strcpy(file->name, name);
        file->readable = kind == FileKind::ConsoleInput;
        file->writable = !file->readable;
    }
    return file;
}

// Console input hands out the host's lines one byte at a time, each completed by a line feed.
int consoleInputByte(zqfs_file* file)
{
    if (file->lineIndex >= file->lineLength)
    {
        if (!zq_lua_readline(file->line, kConsoleReadRoom, "", false))
        {
            file->lineLength = file->lineIndex = 0;
            file->eof = true;
            return -1;
        }
        file->lineLength = static_cast<std::size_t>(std::find(file->line, file->line + kConsoleReadRoom, '\0') - file->line);
        file->line[file->lineLength++] = '\n';
        file->lineIndex = 0;
    }
    return static_cast<unsigned char>(file->line[file->lineIndex++]);
}

// Copies up to `total` bytes with the same outcome as that many getc calls, without a call per byte.
std::size_t readBytes(zqfs_file* file, unsigned char* dest, std::size_t total)
{
    if (total == 0)
    {
        return 0;
    }
    if (!file->readable)
    {
        zq_errno = zq::kErrorBadHandle;
        file->error = true;
        return 0;
    }
    std::size_t done = 0;
    if (file->pushback >= 0)
    {
        dest[done++] = static_cast<unsigned char>(file->pushback);
        file->pushback = -1;
    }
    if (file->kind == FileKind::ConsoleInput)
    {
        for (; done < total; ++done)
        {
            int byte = consoleInputByte(file);
            if (byte < 0)
            {
                break;
            }
            dest[done] = static_cast<unsigned char>(byte);
        }
        return done;
    }
    std::size_t available = file->position < file->length ? file->length - file->position : 0;
    std::size_t take = std::min(total - done, available);
    if (take > 0)
    {
        std::memcpy(dest + done, file->data + file->position, take);
        file->position += take;
        done += take;
    }
    if (done < total)
    {
        file->eof = true;
    }
    return done;
}

bool multiplyFits(std::size_t size, std::size_t count, std::size_t& total)
{
    return !__builtin_mul_overflow(size, count, &total);
}

} // namespace

zqfs_file* zqfs_fopen(const char* name, const char* mode)
{
    if (name == nullptr || mode == nullptr)
    {
        zq_errno = zq::kErrorInvalidArgument;
        return nullptr;
    }
    FileKind kind = FileKind::Ordinary;
    if (consoleKind(name, kind))
    {
        return openConsole(name, kind);
    }
    zqfs_file* file = newRecord(FileKind::Ordinary);
    if (file == nullptr)
    {
        return nullptr;
    }
    const bool truncate = modeHas(mode, 'w');
    file->readable = modeHas(mode, 'r') || modeHas(mode, '+') || modeHas(mode, 'a');
    file->writable = truncate || modeHas(mode, 'a') || modeHas(mode, '+');
    file->append = modeHas(mode, 'a');
    std::strncpy(file->name, name, kNameLimit);

    HostFile host = statHostFile(file->name);
    if (host.broken)
    {
        releaseHostFile(host);
        deleteRecord(file);
        zq_errno = zq::kErrorIo;
        return nullptr;
    }
    if (!host.exists && !file->writable)
    {
        deleteRecord(file);
        zq_errno = zq::kErrorNoSuchFile;
        return nullptr;
    }
    if (host.exists && host.size != 0 && !truncate)
    {
        if (file->writable)
        {
            if (!reserve(file, host.size))
            {
                releaseHostFile(host);
                deleteRecord(file);
                return nullptr;
            }
            std::memcpy(file->buffer, host.data, host.size);
            releaseHostFile(host);
        }
        else
        {
            // Read in place: the host's bytes stay ours until close.
            file->data = host.data;
            file->hostBytes = host.data;
            file->releaseHostBytes = host.release;
            host.release = nullptr;
        }
        file->length = host.size;
    }
    releaseHostFile(host);
    // An emptied or new file must reach the host even if nothing is written to it.
    file->dirty = file->writable && (truncate || !host.exists);
    if (file->append)
    {
        file->position = file->length;
    }
    return file;
}

zqfs_file* zqfs_freopen(const char* name, const char* mode, zqfs_file* handle)
{
    if (handle != nullptr)
    {
        zqfs_fclose(handle);
    }
    return zqfs_fopen(name, mode);
}

int zqfs_fclose(zqfs_file* handle)
{
    if (handle == nullptr)
    {
        return 0;
    }
    int result = zqfs_fflush(handle);
    deleteRecord(handle);
    return result;
}

std::size_t zqfs_fread(void* dest, std::size_t size, std::size_t count, zqfs_file* handle)
{
    std::size_t total = 0;
    if (handle == nullptr || (dest == nullptr && size != 0 && count != 0) || !multiplyFits(size, count, total))
    {
        return static_cast<std::size_t>(failWith(zq::kErrorInvalidArgument, 0));
    }
    if (total == 0)
    {
        return 0;
    }
    return readBytes(handle, static_cast<unsigned char*>(dest), total) / size;
}

int zqfs_getc(zqfs_file* handle)
{
    if (handle == nullptr)
    {
        return failWith(zq::kErrorInvalidArgument, -1);
    }
    unsigned char byte;
    return readBytes(handle, &byte, 1) == 1 ? byte : -1;
}

int zqfs_ungetc(int byte, zqfs_file* handle)
{
    if (byte == -1 || handle == nullptr)
    {
        return -1;
    }
    handle->pushback = static_cast<unsigned char>(byte);
    handle->eof = false;
    return handle->pushback;
}

std::size_t zqfs_fwrite(const void* src, std::size_t size, std::size_t count, zqfs_file* handle)
{
    if (handle == nullptr)
    {
        return static_cast<std::size_t>(failWith(zq::kErrorInvalidArgument, 0));
    }
    if (size == 0 || count == 0)
    {
        return 0;
    }
    std::size_t total = 0;
    if (src == nullptr || !multiplyFits(size, count, total))
    {
        handle->error = true;
        return static_cast<std::size_t>(failWith(zq::kErrorInvalidArgument, 0));
    }
    if (!handle->writable)
    {
        handle->error = true;
        return static_cast<std::size_t>(failWith(zq::kErrorBadHandle, 0));
    }
    if (handle->kind != FileKind::Ordinary)
    {
        zq_lua_write(src, total);
        handle->position += total;
        return count;
    }
    if (handle->append)
    {
        handle->position = handle->length;
    }
    std::size_t end = 0;
    if (__builtin_add_overflow(handle->position, total, &end))
    {
        handle->error = true;
        return static_cast<std::size_t>(failWith(zq::kErrorOutOfMemory, 0));
    }
    if (!reserve(handle, end))
    {
        return 0;
    }
    if (handle->position > handle->length)
    {
        std::memset(handle->buffer + handle->length, 0, handle->position - handle->length);
    }
    std::memcpy(handle->buffer + handle->position, src, total);
    handle->position = end;
    handle->length = std::max(handle->length, end);
    handle->dirty = true;
    return count;
}

int zqfs_fseek(zqfs_file* handle, long offset, int whence)
{
    if (handle == nullptr)
    {
        return failWith(zq::kErrorInvalidArgument, -1);
    }
    long long origin = 0;
    bool known = handle->kind == FileKind::Ordinary;
    switch (whence)
    {
    case 0: origin = 0; break;
    case 1: origin = static_cast<long long>(handle->position); break;
    case 2: origin = static_cast<long long>(handle->length); break;
    default: known = false; break;
    }
    long long target = 0;
    if (!known || __builtin_add_overflow(origin, static_cast<long long>(offset), &target) || target < 0)
    {
        handle->error = true;
        return failWith(zq::kErrorInvalidArgument, -1);
    }
    handle->position = static_cast<std::size_t>(target);
    handle->eof = handle->position >= handle->length;
    handle->pushback = -1;
    return 0;
}

long zqfs_ftell(zqfs_file* handle)
{
    if (handle == nullptr)
    {
        return failWith(zq::kErrorInvalidArgument, -1);
    }
    return static_cast<long>(handle->position);
}

int zqfs_fflush(zqfs_file* handle)
{
    if (handle == nullptr || handle->kind != FileKind::Ordinary || !handle->dirty)
    {
        return 0;
    }
    auto write = zq::hostWriteFile();
    if (write == nullptr || write(handle->name, handle->data, handle->length) == 0)
    {
        handle->error = true;
        return failWith(zq::kErrorIo, -1);
    }
    handle->dirty = false;
    return 0;
}

int zqfs_feof(zqfs_file* handle)
{
    return handle != nullptr && handle->eof ? 1 : 0;
}

int zqfs_ferror(zqfs_file* handle)
{
    return handle != nullptr && handle->error ? 1 : 0;
}

void zqfs_clearerr(zqfs_file* handle)
{
    if (handle != nullptr)
    {
        handle->eof = false;
        handle->pushback = -1;
    }
}

int zqfs_remove(const char* name)
{
    if (name == nullptr)
    {
        return failWith(zq::kErrorInvalidArgument, -1);
    }
    auto remove = zq::hostDeleteFile();
    if (remove == nullptr || remove(name) == 0)
    {
        return failWith(zq::kErrorIo, -1);
    }
    return 0;
}

int zqfs_rename(const char* old_name, const char* new_name)
{
    if (old_name == nullptr || new_name == nullptr)
    {
        return failWith(zq::kErrorInvalidArgument, -1);
    }
    HostFile host = statHostFile(old_name);
    if (!host.exists)
    {
        return failWith(zq::kErrorNoSuchFile, -1);
    }
    // Copying onto itself and then deleting would lose the file.
    if (std::strcmp(old_name, new_name) == 0)
    {
        releaseHostFile(host);
        return 0;
    }
    auto write = zq::hostWriteFile();
    bool written = !host.broken && write != nullptr && write(new_name, host.data, host.size) != 0;
    releaseHostFile(host);
    if (!written)
    {
        return failWith(zq::kErrorIo, -1);
    }
    auto remove = zq::hostDeleteFile();
    if (remove == nullptr || remove(old_name) == 0)
    {
        return failWith(zq::kErrorIo, -1);
    }
    return 0;
}

bool zqfs_read_entire_file(const char* name, unsigned char** bytes, std::size_t* size)
{
    if (name == nullptr || bytes == nullptr || size == nullptr)
    {
        return failWith(zq::kErrorInvalidArgument, false);
    }
    HostFile host = statHostFile(name);
    if (!host.exists || host.broken)
    {
        releaseHostFile(host);
        return failWith(host.exists ? zq::kErrorIo : zq::kErrorNoSuchFile, false);
    }
    auto* copy = static_cast<unsigned char*>(zq::malloc(std::max<std::size_t>(host.size, 1)));
    if (copy == nullptr)
    {
        releaseHostFile(host);
        return failWith(zq::kErrorOutOfMemory, false);
    }
    if (host.size != 0)
    {
        std::memcpy(copy, host.data, host.size);
    }
    *bytes = copy;
    *size = host.size;
    releaseHostFile(host);
    return true;
}

bool zqfs_write_entire_file(const char* name, const void* bytes, std::size_t size)
{
    if (name == nullptr || (bytes == nullptr && size != 0))
    {
        return failWith(zq::kErrorInvalidArgument, false);
    }
    auto write = zq::hostWriteFile();
    if (write == nullptr || write(name, bytes, size) == 0)
    {
        return failWith(zq::kErrorIo, false);
    }
    return true;
}

void zqfs_free(void* bytes)
{
    zq::free(bytes);
}

int zqfs_mount_image(const void*, std::size_t)
{
    return 0;
}

void zqfs_unmount(void) {}

bool zqfs_is_mounted(void)
{
    return true;
}

bool zqfs_register_virtual_file(const char* name, const void* bytes, std::size_t size)
{
    return zqfs_write_entire_file(name, bytes, size);
}

void zqfs_clear_virtual_files(void) {}

const void* zqfs_image_data(void)
{
    return nullptr;
}

std::size_t zqfs_image_size(void)
{
    return 0;
}

bool zqfs_export_image(const char* name)
{
    (void)name;
    return failWith(zq::kErrorInvalidArgument, false);
}

namespace zq
{

std::size_t fileHeldBytes(const zqfs_file* handle) noexcept
{
    if (handle == nullptr)
    {
        return 0;
    }
    return handle->buffer != nullptr ? handle->capacity : (handle->hostBytes != nullptr ? handle->length : 0);
}

std::size_t fileHeldBytesAfterWrite(const zqfs_file* handle, std::size_t count) noexcept
{
    if (handle == nullptr || handle->kind != FileKind::Ordinary || !handle->writable)
    {
        return fileHeldBytes(handle);
    }
    const std::size_t at = handle->append ? handle->length : handle->position;
    const std::size_t need = at > SIZE_MAX - count ? SIZE_MAX : at + count;
    if (need <= handle->capacity)
    {
        return handle->capacity;
    }
    std::size_t capacity = handle->capacity != 0 ? handle->capacity : kFirstCapacity; // as reserve() grows
    while (capacity < need)
    {
        if (capacity > SIZE_MAX / 2)
        {
            return SIZE_MAX;
        }
        capacity *= 2;
    }
    return capacity;
}

std::size_t fileLength(const zqfs_file* handle) noexcept
{
    return handle != nullptr && handle->kind == FileKind::Ordinary ? handle->length : 0;
}

} // namespace zq
