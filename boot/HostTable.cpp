// The host program interface table at 0x6800 and the services behind its slots: the console over
// semihosting, whole files of the emulator's current directory over semihosting, and the heap in RAM.
#include "BootEnvironment.hpp"
#include "Semihosting.hpp"

#include "cli/Console.hpp"
#include "host/ProgramInterface.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C"
{
void* sbrk(std::ptrdiff_t increment);
extern char __heap_start[];
}

namespace velmar::boot
{

bool gInputIsTerminal = false;
bool gReportMemory = false;
int gLastReadEnd = static_cast<int>(velmar::cli::ReadEnd::Line);

namespace
{

// The boot layout: three header words, ten words the library does not use, then the slots, each a
// 32-bit code address.
struct BootProgramApi
{
    char magic[4];
    volatile std::uint32_t live;
    std::uint32_t size;
    std::uint32_t unused[10];
    int (*statFile)(const char* name, zq_file_stat* record);
    int (*writeFile)(const char* name, const void* data, std::size_t size);
    int (*deleteFile)(const char* name);
    int (*writeLine)(const char* text);
    std::uint32_t (*readLine)(char* buffer, std::uint32_t capacity, const char* prompt, std::uint8_t flag);
    std::uint32_t unused72;
    void* (*allocate)(std::size_t size);
    void (*release)(void* address);
    void* (*resize)(void* address, std::size_t size);
    void (*releaseFileBytes)(const void* data);
};

static_assert(sizeof(void (*)()) == 4 && sizeof(std::size_t) == 4, "the boot layout is 32-bit");
static_assert(offsetof(BootProgramApi, statFile) == ZQ_API_STAT_FILE);
static_assert(offsetof(BootProgramApi, writeLine) == ZQ_API_WRITE_LINE);
static_assert(offsetof(BootProgramApi, readLine) == ZQ_API_READ_LINE);
static_assert(offsetof(BootProgramApi, allocate) == ZQ_API_ALLOCATE);
static_assert(offsetof(BootProgramApi, resize) == ZQ_API_RESIZE);
static_assert(offsetof(BootProgramApi, releaseFileBytes) == ZQ_API_RELEASE_FILE_BYTES);
static_assert(sizeof(BootProgramApi) == ZQ_API_FULL_SIZE);

char* gHeapTop = __heap_start; // the highest address the heap has reached

void noteHeapTop()
{
    char* top = static_cast<char*>(sbrk(0));
    if (top > gHeapTop)
    {
        gHeapTop = top;
    }
}

// Reads the whole file into fresh heap memory. A file too large for the run's memory (or for the
// heap) is refused as the desktop host refuses it, so the run fails with "not enough memory".
int statFile(const char* name, zq_file_stat* record)
{
    const HostHandle handle = hostOpen(name, 1);
    if (handle < 0)
    {
        return 0;
    }
    const long length = hostFileLength(handle);
    bool ok = length >= 0;
    const auto size = static_cast<std::size_t>(ok ? length : 0);
    if (ok && zq::gHostReadAllowance != 0 && size > zq::gHostReadAllowance)
    {
        zq::gHostReadRefused = true;
        ok = false;
    }
    void* bytes = nullptr;
    if (ok && size != 0)
    {
        bytes = std::malloc(size);
        if (bytes == nullptr)
        {
            zq::gHostReadRefused = true;
            ok = false;
        }
    }
    // A directory opens but cannot be read: it is not a file.
    if (ok && size != 0 && hostRead(handle, bytes, size) != static_cast<long>(size))
    {
        ok = false;
    }
    hostClose(handle);
    noteHeapTop();
    if (!ok)
    {
        std::free(bytes);
        return 0;
    }
    record->data = bytes;
    record->size = size;
    return 1;
}

int writeFile(const char* name, const void* data, std::size_t size)
{
    const HostHandle handle = hostOpen(name, 5);
    if (handle < 0)
    {
        return 0;
    }
    const bool written = hostWrite(handle, data, size);
    return hostClose(handle) && written ? 1 : 0;
}

int deleteFile(const char* name)
{
    return hostRemove(name) ? 1 : 0;
}

int writeLine(const char* text)
{
    std::fputs(text, stdout);
    std::putc('\n', stdout);
    return 1;
}

// One line from the console, without its line break; Esc alone on a line leaves the prompt.
std::uint32_t readLine(char* buffer, std::uint32_t capacity, const char* prompt, std::uint8_t)
{
    using velmar::cli::ReadEnd;
    if (prompt != nullptr)
    {
        std::fputs(prompt, stdout);
    }
    std::fflush(stdout);
    std::size_t length = 0;
    bool tooLong = false;
    bool any = false;
    for (;;)
    {
        const int c = std::getc(stdin);
        if (c == EOF)
        {
            if (!any)
            {
                gLastReadEnd = static_cast<int>(ReadEnd::EndOfInput);
                buffer[0] = '\0';
                return 0;
            }
            break; // a last line without its line feed
        }
        any = true;
        if (c == '\n')
        {
            break;
        }
        if (length + 1 < capacity)
        {
            buffer[length++] = static_cast<char>(c);
        }
        else
        {
            tooLong = true;
        }
    }
    if (length > 0 && buffer[length - 1] == '\r')
    {
        --length;
    }
    buffer[length] = '\0';
    if (!tooLong && std::strcmp(buffer, "\x1b") == 0)
    {
        gLastReadEnd = static_cast<int>(ReadEnd::Leave);
        buffer[0] = '\0';
        return 0;
    }
    gLastReadEnd = static_cast<int>(tooLong ? ReadEnd::TooLong : ReadEnd::Line);
    return 1;
}

void* allocate(std::size_t size)
{
    void* memory = std::malloc(size);
    noteHeapTop();
    return memory;
}

void release(void* address)
{
    std::free(address);
}

void* resize(void* address, std::size_t size)
{
    void* memory = std::realloc(address, size);
    noteHeapTop();
    return memory;
}

void releaseFileBytes(const void* data)
{
    std::free(const_cast<void*>(data));
}

} // namespace

// Published at 0x6800 by the linker script; live only once start-up has prepared what the slots use.
__attribute__((section(".host_program_interface"), used)) BootProgramApi gBootProgramApi = {
    {'Z', 'Q', 'A', 'P'}, 0, ZQ_API_FULL_SIZE, {}, statFile, writeFile, deleteFile, writeLine, readLine, 0,
    allocate, release, resize, releaseFileBytes,
};

void publishHostTable()
{
    gBootProgramApi.live = 1;
}

std::size_t heapHighWater()
{
    noteHeapTop();
    return static_cast<std::size_t>(gHeapTop - __heap_start);
}

} // namespace velmar::boot
