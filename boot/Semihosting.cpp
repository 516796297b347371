// The semihosting calls: an operation number in r0, the address of its argument block in r1, and the
// breakpoint the emulator traps.
#include "Semihosting.hpp"

#include <cstring>

namespace velmar::boot
{

Console gConsole;

namespace
{

enum Operation : std::uintptr_t
{
    kOpen = 0x01,
    kClose = 0x02,
    kWrite = 0x05,
    kRead = 0x06,
    kFileLength = 0x0C,
    kRemove = 0x0E,
    kErrno = 0x13,
    kCommandLine = 0x15,
    kExitExtended = 0x20,
};

std::intptr_t call(Operation operation, const void* block)
{
    register std::uintptr_t r0 asm("r0") = operation;
    register const void* r1 asm("r1") = block;
    asm volatile("bkpt 0xAB" : "+r"(r0) : "r"(r1) : "memory");
    return static_cast<std::intptr_t>(r0);
}

std::uintptr_t word(const void* pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

} // namespace

HostHandle hostOpen(const char* name, int mode)
{
    const std::uintptr_t block[3] = {word(name), static_cast<std::uintptr_t>(mode), std::strlen(name)};
    return static_cast<HostHandle>(call(kOpen, block));
}

bool hostClose(HostHandle handle)
{
    const std::uintptr_t block[1] = {static_cast<std::uintptr_t>(handle)};
    return call(kClose, block) == 0;
}

bool hostWrite(HostHandle handle, const void* data, std::size_t size)
{
    if (size == 0)
    {
        return true;
    }
    const std::uintptr_t block[3] = {static_cast<std::uintptr_t>(handle), word(data), size};
    return call(kWrite, block) == 0; // the number of bytes not written
}

long hostRead(HostHandle handle, void* data, std::size_t size)
{
    const std::uintptr_t block[3] = {static_cast<std::uintptr_t>(handle), word(data), size};
    const std::intptr_t left = call(kRead, block); // the number of bytes not read
    return left < 0 || static_cast<std::size_t>(left) > size ? -1 : static_cast<long>(size - static_cast<std::size_t>(left));
}

long hostFileLength(HostHandle handle)
{
    const std::uintptr_t block[1] = {static_cast<std::uintptr_t>(handle)};
    return call(kFileLength, block);
}

bool hostRemove(const char* name)
{
    const std::uintptr_t block[2] = {word(name), std::strlen(name)};
    return call(kRemove, block) == 0;
}

int hostErrno()
{
    return static_cast<int>(call(kErrno, nullptr));
}

bool hostCommandLine(char* buffer, std::size_t capacity)
{
    std::uintptr_t block[2] = {word(buffer), capacity};
    return call(kCommandLine, block) == 0;
}

void hostExit(int status)
{
    constexpr std::uintptr_t kApplicationExit = 0x20026;
    const std::uintptr_t block[2] = {kApplicationExit, static_cast<std::uintptr_t>(status)};
    call(kExitExtended, block);
    for (;;)
    {
    }
}

void openConsole()
{
    gConsole.input = hostOpen(":tt", 0);
    gConsole.output = hostOpen(":tt", 4);
    gConsole.error = hostOpen(":tt", 8);
}

} // namespace velmar::boot
