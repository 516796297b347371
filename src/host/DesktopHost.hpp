// The built-in host table of the desktop build.
#pragma once

#include <velmar/lua/HostInterface.hpp>

#include <cstddef>

namespace zq
{

// Standard output and input for lines, files relative to the current directory, the C heap.
extern const zq_program_api gDesktopProgramApi;

// While not 0, the desktop table's stat refuses (as if the file were missing) a file larger than this
// many bytes on this thread, and sets gDesktopReadRefused: a run under a memory limit must not have a
// whole file read into memory before it can be charged for it.
extern thread_local std::size_t gDesktopReadAllowance;
extern thread_local bool gDesktopReadRefused;

// Confines the desktop table's files beneath `root` (see zq_desktop_confine_files).
bool confineDesktopFiles(const char* root, bool readOnly);

// Stat snapshots handed out by the desktop table and not yet released.
std::size_t desktopFileSnapshotCount();

} // namespace zq
