// The C library's standard streams over the semihosting console: output gathered in a buffer and
// handed over a block at a time (a semihosting call costs a trap into the emulator), input read a byte
// at a time so that nothing beyond a line is taken from the terminal.
#include "BootEnvironment.hpp"
#include "Semihosting.hpp"

#include <cstdio>

namespace velmar::boot
{
namespace
{

struct OutputBuffer
{
    HostHandle* handle;
    bool lineBuffered;
    std::size_t length = 0;
    char bytes[4096];
};

OutputBuffer gOutput{&gConsole.output, false, 0, {}};
OutputBuffer gError{&gConsole.error, true, 0, {}};

int flushBuffer(OutputBuffer& buffer)
{
    const bool written = hostWrite(*buffer.handle, buffer.bytes, buffer.length);
    buffer.length = 0;
    return written ? 0 : EOF;
}

int putByte(OutputBuffer& buffer, char c)
{
    buffer.bytes[buffer.length++] = c;
    if (buffer.length == sizeof buffer.bytes || (c == '\n' && (buffer.lineBuffered || gInputIsTerminal)))
    {
        if (flushBuffer(buffer) == EOF)
        {
            return EOF;
        }
    }
    return static_cast<unsigned char>(c);
}

int putOutput(char c, FILE*)
{
    return putByte(gOutput, c);
}

int putError(char c, FILE*)
{
    return putByte(gError, c);
}

int flushOutput(FILE*)
{
    return flushBuffer(gOutput);
}

int flushError(FILE*)
{
    return flushBuffer(gError);
}

int getInput(FILE*)
{
    unsigned char byte;
    return hostRead(gConsole.input, &byte, 1) == 1 ? byte : EOF;
}

FILE gStandardInput = FDEV_SETUP_STREAM(nullptr, getInput, nullptr, _FDEV_SETUP_READ);
FILE gStandardOutput = FDEV_SETUP_STREAM(putOutput, nullptr, flushOutput, _FDEV_SETUP_WRITE);
FILE gStandardError = FDEV_SETUP_STREAM(putError, nullptr, flushError, _FDEV_SETUP_WRITE);

} // namespace

void finish(int status)
{
    if (gReportMemory)
    {
        std::fflush(stdout);
        std::fprintf(stderr, "velmarlua-boot: heap high-water mark %zu bytes\n", heapHighWater());
    }
    std::fflush(stdout);
    std::fflush(stderr);
    hostExit(status);
}

} // namespace velmar::boot

FILE* const stdin = &velmar::boot::gStandardInput;
FILE* const stdout = &velmar::boot::gStandardOutput;
FILE* const stderr = &velmar::boot::gStandardError;
