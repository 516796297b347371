// The built-in host table of the desktop build.
#pragma once

#include <velmar/lua/HostInterface.hpp>

#include <cstddef>

namespace zq
{

// Standard output and input for lines, files relative to the current directory, the C heap.
extern const zq_program_api gDesktopProgramApi;

// Confines the desktop table's files beneath `root` (see zq_desktop_confine_files).
bool confineDesktopFiles(const char* root, bool readOnly);

// Stat snapshots handed out by the desktop table and not yet released.
std::size_t desktopFileSnapshotCount();

} // namespace zq
