// Buffered file handles over the host's whole-file services, and console handles under reserved names.
//
// A file is held whole in memory while it is open and reaches the host only when its handle is flushed
// or closed, as one whole-file write. Failures return the documented failure value and set zq_errno
// (see support/FileErrors.hpp); nothing is raised.
#pragma once

#include <velmar/lua/Export.hpp>

#include <cstddef>

extern "C"
{

// An open handle; its layout is private to the file layer.
typedef struct zqfs_file zqfs_file;

// Opens `name`. The mode letters are found anywhere in `mode`: readable with 'r', '+' or 'a'; writable
// with 'w', 'a' or '+'; 'a' appends; 'w' starts empty. A missing file fails (code 2) unless the handle
// is writable. "__zqfs_stdin", "__zqfs_stdout" and "__zqfs_stderr" give console handles whatever the
// mode. A writable handle that starts empty (mode 'w' or a missing file) writes its file at close even
// when nothing was written, so opening for writing always leaves a file behind.
VELMAR_LUA_API zqfs_file* zqfs_fopen(const char* name, const char* mode);
// Closes `handle` (when not null), then opens anew.
VELMAR_LUA_API zqfs_file* zqfs_freopen(const char* name, const char* mode, zqfs_file* handle);
// Flushes, then releases the handle; returns the flush result (0 or -1). Null gives 0.
VELMAR_LUA_API int zqfs_fclose(zqfs_file* handle);

// Number of whole items read before the end; a partial last item is consumed all the same.
VELMAR_LUA_API std::size_t zqfs_fread(void* dest, std::size_t size, std::size_t count, zqfs_file* handle);
// The next byte, or -1 at the end (sets eof) or on a handle that cannot read. Console input reads the
// host's lines, each ending in "\n".
VELMAR_LUA_API int zqfs_getc(zqfs_file* handle);
// Pushes back one byte, returned by the next read; the position does not move. -1 for a byte of -1 or a
// null handle.
VELMAR_LUA_API int zqfs_ungetc(int byte, zqfs_file* handle);

// `count` on success, 0 on failure (also for a zero size or count). Console output goes to the console;
// a write past the end fills the gap with zero bytes.
VELMAR_LUA_API std::size_t zqfs_fwrite(const void* src, std::size_t size, std::size_t count, zqfs_file* handle);

// whence 0 from the start, 1 from the position, 2 from the end; 0 or -1 (code 22 for a console handle,
// an unknown whence or a negative target). Drops the pushback and sets eof when at or past the end.
VELMAR_LUA_API int zqfs_fseek(zqfs_file* handle, long offset, int whence);
// The position, or -1 with code 22 for a null handle.
VELMAR_LUA_API long zqfs_ftell(zqfs_file* handle);
// Writes a changed file to the host: 0, or -1 with code 5 when the host refuses (the handle stays
// changed, so a later flush tries again).
VELMAR_LUA_API int zqfs_fflush(zqfs_file* handle);
VELMAR_LUA_API int zqfs_feof(zqfs_file* handle);
VELMAR_LUA_API int zqfs_ferror(zqfs_file* handle);
// Clears eof and drops the pushback; the error flag stays.
VELMAR_LUA_API void zqfs_clearerr(zqfs_file* handle);

// 0, or -1 with code 5 (host refused) or 22 (null name).
VELMAR_LUA_API int zqfs_remove(const char* name);
// Copies the old file to the new name, then deletes the old one: 0, or -1 with code 2 when the old file
// is missing and 5 when the host refused. Renaming a file to its own name leaves it as it is.
VELMAR_LUA_API int zqfs_rename(const char* old_name, const char* new_name);

// A fresh copy of the whole file (at least one byte is allocated, also for an empty file), released
// with zqfs_free; false with code 2 for a missing file, 12 without memory, 22 for null arguments.
VELMAR_LUA_API bool zqfs_read_entire_file(const char* name, unsigned char** bytes, std::size_t* size);
// Writes the whole file through the host; null bytes are allowed only with size 0 (else code 22); code
// 5 when the host refused.
VELMAR_LUA_API bool zqfs_write_entire_file(const char* name, const void* bytes, std::size_t size);
// Releases memory handed out by zqfs_read_entire_file.
VELMAR_LUA_API void zqfs_free(void* bytes);

// This build keeps no file-system image of its own: every file lives with the host, which is always
// mounted. Mounting is accepted and ignored (0), unmounting does nothing.
VELMAR_LUA_API int zqfs_mount_image(const void* image, std::size_t size);
VELMAR_LUA_API void zqfs_unmount(void);
VELMAR_LUA_API bool zqfs_is_mounted(void);
// A virtual file goes straight to the host as a whole-file write; there is nothing to clear afterwards.
VELMAR_LUA_API bool zqfs_register_virtual_file(const char* name, const void* bytes, std::size_t size);
VELMAR_LUA_API void zqfs_clear_virtual_files(void);
// There is no image: no data, size 0, and exporting fails with code 22.
VELMAR_LUA_API const void* zqfs_image_data(void);
VELMAR_LUA_API std::size_t zqfs_image_size(void);
VELMAR_LUA_API bool zqfs_export_image(const char* name);

} // extern "C"

namespace zq
{

// The memory an open handle holds for its file: its private buffer, or the host's bytes it reads in
// place. 0 for a null handle.
std::size_t fileHeldBytes(const zqfs_file* handle) noexcept;
// What it would hold after writing `count` bytes at its position (appending, in append mode).
std::size_t fileHeldBytesAfterWrite(const zqfs_file* handle, std::size_t count) noexcept;
// The file's current length in bytes; 0 for a null or console handle.
std::size_t fileLength(const zqfs_file* handle) noexcept;

} // namespace zq
