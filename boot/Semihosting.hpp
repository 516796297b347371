// Calls into the emulator through Arm semihosting: the console, files of the machine that runs the
// emulator (relative to its current directory), the command line and the exit status.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velmar::boot
{

// A host file handle, or -1.
using HostHandle = int;

// Opens `name` with a semihosting mode number (0 "r", 1 "rb", 4 "w", 5 "wb", 8 "a"); ":tt" is the console.
HostHandle hostOpen(const char* name, int mode);
bool hostClose(HostHandle handle);
// Writes all `size` bytes; false when any was not written.
bool hostWrite(HostHandle handle, const void* data, std::size_t size);
// Reads up to `size` bytes; returns how many were read (0 at the end), or -1 on failure.
long hostRead(HostHandle handle, void* data, std::size_t size);
// The length of an open file, or -1.
long hostFileLength(HostHandle handle);
bool hostRemove(const char* name);
// The host's errno after the last failed call.
int hostErrno();
// Fills `buffer` with the emulator's command line (its arguments joined by spaces); false on failure.
bool hostCommandLine(char* buffer, std::size_t capacity);
// Ends the emulator with `status` as its exit status.
[[noreturn]] void hostExit(int status);

// The console as three handles, opened at start-up.
struct Console
{
    HostHandle input = -1;
    HostHandle output = -1;
    HostHandle error = -1;
};
extern Console gConsole;
void openConsole();

} // namespace velmar::boot
