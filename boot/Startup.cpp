// Start-up of the boot image: the vector table, the reset handler that prepares memory, publishes the
// host table and runs main with the emulator's command line, and fault handlers that end the run with
// a message instead of hanging.
#include "BootEnvironment.hpp"
#include "Semihosting.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C"
{
// Ends of the regions the linker script lays out.
extern char __zq_bss_start[];
extern char __zq_bss_end[];
extern char __zq_tls_image[];
extern char __zq_tdata_end[];
extern char __zq_tls_size[];
extern char __zq_tls_block[];
extern char __zq_stack_top[];

void __libc_init_array();
void _set_tls(void* tls);
int main(int argc, char** argv);

[[noreturn]] void zq_boot_reset();
[[noreturn]] void zq_boot_fault();
}

namespace
{

using Handler = void (*)();

// Room for the command line the wrapper passes, and for the arguments split from it.
constexpr std::size_t kCommandLineRoom = 64 * 1024;
constexpr std::size_t kMaximumArguments = 1024;
char gCommandLine[kCommandLineRoom];
char* gArguments[kMaximumArguments + 1];

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
    {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F')
    {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f')
    {
        return c - 'a' + 10;
    }
    return -1;
}

// The emulator joins its arguments with spaces, so the wrapper writes each one with every byte that
// is not a plain printable one (space, '%' and ',' included) as %XX, and an empty one as a lone %; this
// splits and decodes in place.
int splitCommandLine(char* line, char** arguments, std::size_t room)
{
    int count = 0;
    char* in = line;
    while (*in != '\0' && static_cast<std::size_t>(count) < room)
    {
        while (*in == ' ')
        {
            ++in;
        }
        if (*in == '\0')
        {
            break;
        }
        char* out = in;
        arguments[count++] = out;
        while (*in != '\0' && *in != ' ')
        {
            const int high = in[0] == '%' ? hexValue(in[1]) : -1;
            const int low = high >= 0 ? hexValue(in[2]) : -1;
            if (low >= 0)
            {
                *out++ = static_cast<char>(high * 16 + low);
                in += 3;
            }
            else
            {
                *out++ = *in++;
            }
        }
        const bool more = *in == ' ';
        if (out - arguments[count - 1] == 1 && arguments[count - 1][0] == '%' && in - arguments[count - 1] == 1)
        {
            out = arguments[count - 1]; // a lone % is an empty argument
        }
        *out = '\0';
        if (more)
        {
            ++in;
        }
    }
    arguments[count] = nullptr;
    return count;
}

} // namespace

// The first words of the image: the initial stack pointer, then the handlers. Every exception but the
// reset is a fault here (nothing enables interrupts).
__attribute__((section(".vectors"), used)) const Handler kVectorTable[16] = {
    reinterpret_cast<Handler>(__zq_stack_top),
    zq_boot_reset,
    zq_boot_fault, // NMI
    zq_boot_fault, // hard fault
    zq_boot_fault, // memory management fault
    zq_boot_fault, // bus fault
    zq_boot_fault, // usage fault
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    zq_boot_fault, // supervisor call
    zq_boot_fault, // debug monitor
    nullptr,
    zq_boot_fault, // pending supervisor call
    zq_boot_fault, // system tick
};

void zq_boot_reset()
{
    std::memset(__zq_bss_start, 0, static_cast<std::size_t>(__zq_bss_end - __zq_bss_start));
    // The one thread's TLS block: a copy of .tdata, then .tbss cleared (with .bss above).
    std::memcpy(__zq_tls_block, __zq_tls_image, static_cast<std::size_t>(__zq_tdata_end - __zq_tls_image));
    _set_tls(__zq_tls_block);
    static_cast<void>(__zq_tls_size);
    __libc_init_array();

    velmar::boot::openConsole();
    velmar::boot::publishHostTable();

    int argc = 0;
    if (velmar::boot::hostCommandLine(gCommandLine, sizeof gCommandLine))
    {
        argc = splitCommandLine(gCommandLine, gArguments, kMaximumArguments);
    }
    // The wrapper's first word carries its flags: '@', then 't' when standard input is a terminal and
    // 'm' to report the heap's high-water mark at the end.
    int first = 0;
    if (argc > 0 && gArguments[0][0] == '@')
    {
        velmar::boot::gInputIsTerminal = std::strchr(gArguments[0], 't') != nullptr;
        velmar::boot::gReportMemory = std::strchr(gArguments[0], 'm') != nullptr;
        first = 1;
    }
    static char programName[] = "velmarlua";
    if (argc - first == 0)
    {
        gArguments[first] = programName;
        gArguments[first + 1] = nullptr;
        argc = first + 1;
    }
    velmar::boot::finish(main(argc - first, gArguments + first));
}

void zq_boot_fault()
{
    std::uint32_t status;
    asm volatile("mrs %0, ipsr" : "=r"(status));
    char message[96];
    const int length = std::snprintf(message, sizeof message, "velmarlua-boot: processor fault (exception %u)\n",
                                     static_cast<unsigned>(status & 0x1FF));
    velmar::boot::hostWrite(velmar::boot::gConsole.error, message, static_cast<std::size_t>(length));
    velmar::boot::hostExit(70);
}

// The C library's way out (abort, exit): end the emulator with the status.
extern "C" [[noreturn]] void _exit(int status)
{
    velmar::boot::finish(status);
}

// abort() ends up here through kill(): say so on standard error and end as a shell shows a signal.
extern "C" [[noreturn]] void zq_boot_signal_exit(int signal)
{
    std::fflush(stdout);
    std::fprintf(stderr, "velmarlua-boot: stopped by signal %d\n", signal);
    velmar::boot::finish(128 + signal);
}
