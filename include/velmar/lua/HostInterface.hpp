// The host program interface: the table of host services VelmarLua uses, and its line console.
#pragma once

#include <velmar/lua/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

extern "C"
{

// What a stat reports about a whole file: the address of its bytes and their count. For an empty file
// `data` may be null. On a 32-bit processor this is the boot layout's 12-byte record; the library zeroes
// `reserved` before the call and never reads it.
struct zq_file_stat
{
    const void* data;
    std::size_t size;
    std::uint32_t reserved;
};

// The host's service table. A slot is used only when the table is valid (magic "ZQAP", non-zero `live`,
// `size` of at least 12) and `size` covers the slot's boot offset plus 4 (see zq_program_api_offset);
// a null slot is skipped too. `size` counts bytes of the boot layout, not sizeof this struct.
struct zq_program_api
{
    char magic[4];      // the bytes 'Z', 'Q', 'A', 'P'
    std::uint32_t live; // must be non-zero
    std::uint32_t size; // boot-layout bytes the table covers

    // Non-zero when `name` exists; fills `record` with the address and size of its bytes.
    int (*stat_file)(const char* name, zq_file_stat* record);
    // Replaces the whole file `name` with `size` bytes; non-zero on success.
    int (*write_file)(const char* name, const void* data, std::size_t size);
    // Deletes `name`; non-zero on success.
    int (*delete_file)(const char* name);
    // Shows one console line (zero-terminated, without its line break); the result is ignored.
    int (*write_line)(const char* text);
    // Reads one console line without its line break into `buffer`, zero-terminated, at most `capacity`
    // bytes including the zero; `prompt` is shown first by the desktop host, `flag` is reserved (0).
    // Non-zero when a line was read.
    std::uint32_t (*read_line)(char* buffer, std::uint32_t capacity, const char* prompt, std::uint8_t flag);
    // Memory for the file layer's records and buffers.
    void* (*allocate)(std::size_t size);
    void (*release)(void* address);
    void* (*resize)(void* address, std::size_t size);

    // Desktop extension. When present, every successful stat that handed out non-null bytes is answered
    // by exactly one call with that address, once the library no longer reads them; until then the host
    // keeps them valid and unchanged, even if the file is rewritten. A table without this slot keeps
    // ownership of its bytes: they must stay valid while any read-only file handle may read them.
    void (*release_file_bytes)(const void* data);
};

// Boot-layout byte offsets of the slots, as zq_program_api_field_ready takes them.
enum zq_program_api_offset : std::uint32_t
{
    ZQ_API_STAT_FILE = 52,
    ZQ_API_WRITE_FILE = 56,
    ZQ_API_DELETE_FILE = 60,
    ZQ_API_WRITE_LINE = 64,
    ZQ_API_READ_LINE = 68,
    ZQ_API_ALLOCATE = 76,
    ZQ_API_RELEASE = 80,
    ZQ_API_RESIZE = 84,
    ZQ_API_RELEASE_FILE_BYTES = 88,
    ZQ_API_BOOT_SIZE = 88, // `size` of a table with every boot slot
    ZQ_API_FULL_SIZE = 92  // `size` of a table that also has the desktop extension
};

// Installs `api` as the process-wide host table and returns the previous one; null restores the
// built-in desktop table (in the boot build: the boot environment's table at address 0x6800, read in
// the boot layout, which is also what a null return means there). The library reads the table at
// every use, so it may change at any time, but
// memory handed out by one table's allocator must not be released through another's.
VELMAR_LUA_API const zq_program_api* zq_set_program_api(const zq_program_api* api);

// The built-in desktop table: standard output and input, files relative to the current directory, the
// C heap. Copy it to override single slots. Null in the boot build, which has none.
VELMAR_LUA_API const zq_program_api* zq_desktop_program_api(void);

// Confines the built-in desktop table's files to the directory `root`: names are then resolved beneath
// it, and a name that is absolute, climbs out of it with "..", or leads out of it through a symbolic
// link does not exist (a stat finds nothing, a write or a delete fails); the kernel resolves the names,
// so no spelling escapes. With `read_only`, every write and delete fails as well. A null `root` lifts
// the confinement. False, with nothing changed, when `root` is not a directory that can be opened, and
// always in the boot build.
// Process-wide, like the table; the desktop table must be the installed one (or its slots copied).
VELMAR_LUA_API bool zq_desktop_confine_files(const char* root, bool read_only);

// True when the current table is valid and its `size` covers the slot at boot offset `offset`.
VELMAR_LUA_API bool zq_program_api_field_ready(std::uint32_t offset);

// Console output. Bytes are gathered into a line buffer of the calling thread: byte 8 removes
// the last buffered byte, 13 is dropped, 10 hands the line to the host, and a line that reaches 511
// bytes is handed over in pieces of 511.
VELMAR_LUA_API void zq_lua_write(const void* data, std::size_t length);
// Writes a zero-terminated text; null writes nothing.
VELMAR_LUA_API void zq_lua_write_cstr(const char* text);
// Ends the current line; an empty buffer gives an empty line.
VELMAR_LUA_API void zq_lua_writeline(void);
// Hands a pending unfinished line to the host as a whole line; an empty buffer gives nothing.
VELMAR_LUA_API void zq_lua_flush_output(void);
// zq_lua_writeline when `newline` is true, zq_lua_flush_output otherwise.
VELMAR_LUA_API void zq_lua_flush_output_line(bool newline);
// Writes `format` (null means "%s") applied to `text` (null means ""), at most 319 characters. The
// format takes one %s conversion; any other conversion is written as literal text.
VELMAR_LUA_API void zq_lua_write_errorf(const char* format, const char* text);
// Writes the start-up banner, six lines ending with an empty one.
VELMAR_LUA_API void zq_lua_show_banner(void);
// Writes the version line and an empty line.
VELMAR_LUA_API void zq_lua_show_help(void);
// Flushes pending output, then reads one line from the host into `buffer` (see read_line). False for a
// null buffer, zero capacity, or when the host has no line reader or none was read.
VELMAR_LUA_API bool zq_lua_readline(char* buffer, std::size_t capacity, const char* text, bool flag);

} // extern "C"

namespace velmar::lua
{

// Writes text to the console exactly as zq_lua_write does; the pointer form writes nothing for null.
VELMAR_LUA_API void writeVelmarBootText(const std::string& text);
VELMAR_LUA_API void writeVelmarBootText(const char* text);

} // namespace velmar::lua
