/* What the C and C++ runtimes ask of an operating system, answered for the boot image: 64-bit atomics
   (a Cortex-M3 has no 64-bit exclusive access; with one thread and no interrupts a plain update is
   atomic, and masking interrupts keeps it so should any be enabled), and the process calls behind
   abort(). */
#include <stdint.h>

static uint32_t maskInterrupts(void)
{
    uint32_t mask;
    __asm__ volatile("mrs %0, primask\n\tcpsid i" : "=r"(mask)::"memory");
    return mask;
}

static void restoreInterrupts(uint32_t mask)
{
    __asm__ volatile("msr primask, %0" ::"r"(mask) : "memory");
}

unsigned long long __atomic_fetch_add_8(volatile void* address, unsigned long long value, int order)
{
    (void)order;
    const uint32_t mask = maskInterrupts();
    volatile unsigned long long* target = address;
    const unsigned long long old = *target;
    *target = old + value;
    restoreInterrupts(mask);
    return old;
}

unsigned long long __atomic_load_8(const volatile void* address, int order)
{
    (void)order;
    const uint32_t mask = maskInterrupts();
    const unsigned long long value = *(const volatile unsigned long long*)address;
    restoreInterrupts(mask);
    return value;
}

void __atomic_store_8(volatile void* address, unsigned long long value, int order)
{
    (void)order;
    const uint32_t mask = maskInterrupts();
    *(volatile unsigned long long*)address = value;
    restoreInterrupts(mask);
}

/* abort() raises SIGABRT at its own process: end the run with the status a shell shows for it. */
int getpid(void)
{
    return 1;
}

void zq_boot_signal_exit(int signal);

int kill(int process, int signal)
{
    (void)process;
    zq_boot_signal_exit(signal);
    return 0;
}
