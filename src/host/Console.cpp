// The line console: bytes gathered into one process-wide line buffer and handed to the host per line.
#include <velmar/lua/HostInterface.hpp>

#include "host/ProgramInterface.hpp"
#include "support/Platform.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

namespace zq
{
namespace
{

constexpr std::size_t kLineCapacity = 511;
constexpr std::size_t kErrorTextCapacity = 320;

// One line buffer per thread: interpreters running on separate threads never mix their partial lines.
constinit ZQ_THREAD_LOCAL char gLuaOutputLine[kLineCapacity + 1];
constinit ZQ_THREAD_LOCAL std::size_t gLuaOutputLineLength = 0;

// Backspace, line feed and carriage return are the only bytes the console treats specially.
constexpr std::uint32_t kControlMask = (1u << 8) | (1u << 10) | (1u << 13);

inline bool isControlByte(unsigned char byte)
{
    return byte <= 13 && ((kControlMask >> byte) & 1u) != 0;
}

void appendOrdinary(const unsigned char* bytes, std::size_t count)
{
    while (count > 0)
    {
        // A full buffer is handed over only when one more byte arrives, so a line of exactly 511 bytes
        // followed by a line feed stays one line.
        if (gLuaOutputLineLength == kLineCapacity)
        {
            zq_lua_flush_output_line(false);
        }
        std::size_t take = std::min(count, kLineCapacity - gLuaOutputLineLength);
        std::memcpy(gLuaOutputLine + gLuaOutputLineLength, bytes, take);
        gLuaOutputLineLength += take;
        bytes += take;
        count -= take;
    }
}

// Copies `format` so that its one %s conversion stays and every other '%' prints literally: a host
// passing a stray conversion must not make snprintf read arguments that were never given.
std::string sanitizeErrorFormat(const char* format)
{
    std::string safe;
    bool usedText = false;
    for (const char* p = format; *p != '\0'; ++p)
    {
        if (*p != '%')
        {
            safe.push_back(*p);
            continue;
        }
        const char* conversion = p + 1;
        if (*conversion == '%')
        {
            safe += "%%";
            p = conversion;
            continue;
        }
        const char* end = conversion + std::strspn(conversion, "-+ #0123456789.");
        if (*end == 's' && !usedText)
        {
            safe.append(p, end + 1);
            usedText = true;
            p = end;
            continue;
        }
        safe += "%%";
    }
    return safe;
}

} // namespace
} // namespace zq

void zq_lua_write(const void* data, std::size_t length)
{
    if (data == nullptr)
    {
        return;
    }
    const auto* p = static_cast<const unsigned char*>(data);
    const unsigned char* end = p + length;
    while (p < end)
    {
        if (!zq::isControlByte(*p))
        {
            const unsigned char* run = p;
            while (p < end && !zq::isControlByte(*p))
            {
                ++p;
            }
            zq::appendOrdinary(run, static_cast<std::size_t>(p - run));
            continue;
        }
        switch (*p++)
        {
        case 8:
            // Only the buffered part can be taken back; lines already handed over stay.
            if (zq::gLuaOutputLineLength > 0)
            {
                --zq::gLuaOutputLineLength;
            }
            break;
        case 10: zq_lua_flush_output_line(true); break;
        default: break; // carriage return
        }
    }
}

void zq_lua_write_cstr(const char* text)
{
    if (text != nullptr)
    {
        zq_lua_write(text, std::strlen(text));
    }
}

void zq_lua_flush_output_line(bool newline)
{
    if (zq::gLuaOutputLineLength == 0 && !newline)
    {
        return;
    }
    char line[zq::kLineCapacity + 1];
    std::memcpy(line, zq::gLuaOutputLine, zq::gLuaOutputLineLength);
    line[zq::gLuaOutputLineLength] = '\0';
    // Emptied before the host sees the line, so a host that writes back from its callback loses nothing.
    zq::gLuaOutputLineLength = 0;
    if (auto writeLine = zq::hostWriteLine())
    {
        writeLine(line);
    }
}

void zq_lua_writeline(void)
{
    zq_lua_flush_output_line(true);
}

void zq_lua_flush_output(void)
{
    zq_lua_flush_output_line(false);
}

void zq_lua_write_errorf(const char* format, const char* text)
{
    std::string safe = zq::sanitizeErrorFormat(format != nullptr ? format : "%s");
    char buffer[zq::kErrorTextCapacity];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    int length = std::snprintf(buffer, sizeof buffer, safe.c_str(), text != nullptr ? text : "");
#pragma GCC diagnostic pop
    if (length > 0)
    {
        zq_lua_write(buffer, std::min(static_cast<std::size_t>(length), sizeof buffer - 1));
    }
}

void zq_lua_show_banner(void)
{
    zq_lua_write_cstr("VelmarLua Desktop For VelmarBoot\r\n");
    zq_lua_write_cstr("type Lua code at the VelmarBoot prompt and press Enter\r\n");
    zq_lua_write_cstr("type exit or press Esc on an empty prompt to leave\r\n");
    zq_lua_write_cstr("autoruns index.lua if it is present\r\n");
    zq_lua_write_cstr("use dofile(\"name.lua\") to run files from disk\r\n");
    zq_lua_write_cstr("\r\n");
}

void zq_lua_show_help(void)
{
    zq_lua_write_cstr("Embedded Version:: VelmarLua 0.2\r\n");
    zq_lua_write_cstr("\r\n");
}

bool zq_lua_readline(char* buffer, std::size_t capacity, const char* text, bool flag)
{
    if (buffer == nullptr || capacity == 0)
    {
        return false;
    }
    zq_lua_flush_output();
    auto readLine = zq::hostReadLine();
    if (readLine == nullptr)
    {
        return false;
    }
    auto capacity32 = static_cast<std::uint32_t>(std::min<std::size_t>(capacity, UINT32_MAX));
    return readLine(buffer, capacity32, text, flag ? 1 : 0) != 0;
}

namespace velmar::lua
{

void writeVelmarBootText(const std::string& text)
{
    zq_lua_write(text.data(), text.size());
}

void writeVelmarBootText(const char* text)
{
    zq_lua_write_cstr(text);
}

} // namespace velmar::lua
