// The stand-in boot environment around the library: its host table, console streams and way out.
#pragma once

#include <cstddef>

namespace velmar::boot
{

// Marks the host table at 0x6800 live, once the console and the heap are ready.
void publishHostTable();

// True when the wrapper found standard input to be a terminal.
extern bool gInputIsTerminal;

// True when the run ends with the heap's high-water mark on standard error.
extern bool gReportMemory;

// How the last console line read ended (the values of velmar::cli::ReadEnd).
extern int gLastReadEnd;

// The heap's high-water mark in bytes: the most that the run had taken from RAM at once.
std::size_t heapHighWater();

// Flushes the console streams and ends the emulator with `status`.
[[noreturn]] void finish(int status);

} // namespace velmar::boot
