// The console of velmarlua: the desktop host table with a line reader of its own, and Ctrl-C.
#pragma once

#include <velmar/lua/LuaVM.hpp>

namespace velmar::cli
{

// How the last console read ended.
enum class ReadEnd
{
    Line,        // a line was read
    EndOfInput,  // end of standard input (Ctrl-D on an empty line at a terminal)
    Leave,       // Esc on an empty line at a terminal
    Interrupted, // Ctrl-C: the line typed so far is dropped
    TooLong,     // the line did not fit the reader's buffer; its start was stored
};

// Installs the console: the desktop host table whose read-line slot edits lines with history when
// standard input and output are a terminal (and libedit was found at build time) and reads plain lines
// otherwise, and a Ctrl-C handler that interrupts the run in progress or wakes the reader.
void installConsole();

// Saves the history and gives the terminal back as it was.
void closeConsole();

// The interpreter that Ctrl-C interrupts while it runs (null: none).
void setInterruptTarget(velmar::lua::LuaVM* vm);

// Lines read while this is on are the prompt's: they are kept in the history file.
void setPromptReading(bool on);

// How the last read of the console ended: why no line came, or TooLong for a line cut short.
ReadEnd lastReadEnd();

// True when standard input is a terminal (the prompt starts by itself then).
bool inputIsTerminal();

} // namespace velmar::cli
