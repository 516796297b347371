// velmarlua's platform part in the boot image: the console (the host table's line reader does the
// reading) and script files read whole over semihosting.
#include "BootEnvironment.hpp"
#include "Semihosting.hpp"

#include "cli/Console.hpp"
#include "cli/Scripts.hpp"

#include <cstring>

namespace velmar::cli
{
namespace
{

// The host's reason for a failed call, as the desktop's messages give it.
std::string because(const std::string& what)
{
    return what + " (" + std::strerror(velmar::boot::hostErrno()) + ")";
}

} // namespace

// The boot table at 0x6800 is the console already; there is no Ctrl-C to catch in the emulator.
void installConsole() {}
void closeConsole() {}
void setInterruptTarget(velmar::lua::LuaVM*) {}
void setPromptReading(bool) {}

ReadEnd lastReadEnd()
{
    return static_cast<ReadEnd>(velmar::boot::gLastReadEnd);
}

bool inputIsTerminal()
{
    return velmar::boot::gInputIsTerminal;
}

bool readScriptFile(const std::string& path, std::string& text, std::string& error)
{
    using namespace velmar::boot;
    const HostHandle handle = hostOpen(path.c_str(), 1);
    if (handle < 0)
    {
        error = because("cannot open " + path);
        return false;
    }
    const long length = hostFileLength(handle);
    bool ok = length >= 0;
    if (ok)
    {
        text.resize(static_cast<std::size_t>(length));
        ok = length == 0 || hostRead(handle, text.data(), text.size()) == length;
    }
    if (!ok)
    {
        error = because("cannot read " + path);
    }
    hostClose(handle);
    return ok;
}

// The image cannot be confined (--confine is refused here), so the host's files are semihosting's.
bool readHostScriptFile(const std::string& path, std::string& text, std::string& error)
{
    return readScriptFile(path, text, error);
}

bool readStandardInput(std::string& text, std::string& error)
{
    char bytes[4096];
    for (;;)
    {
        const long got = velmar::boot::hostRead(velmar::boot::gConsole.input, bytes, sizeof bytes);
        if (got < 0)
        {
            error = because("cannot read stdin");
            return false;
        }
        if (got == 0)
        {
            return true;
        }
        text.append(bytes, static_cast<std::size_t>(got));
    }
}

bool isRegularFile(const std::string& path)
{
    using namespace velmar::boot;
    const HostHandle handle = hostOpen(path.c_str(), 1);
    if (handle < 0)
    {
        return false;
    }
    char byte;
    const bool readable = hostFileLength(handle) == 0 || hostRead(handle, &byte, 1) == 1; // not a directory
    hostClose(handle);
    return readable;
}

} // namespace velmar::cli
