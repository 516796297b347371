// Script loading for the command line: '#' first lines, containers, and messages made safe to show.
#include "Scripts.hpp"

namespace velmar::cli
{
namespace
{

// A loaded file whose bytes start with this is run as a container, whatever its name.
constexpr std::string_view kContainerMagic = "VLBC";

// Length of the UTF-8 sequence at the start of `text`, 0 when it is not a valid one.
std::size_t utf8Length(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    std::size_t length = lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
    if (length == 0 || length > text.size())
    {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i)
    {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
        {
            return 0;
        }
    }
    const auto second = static_cast<unsigned char>(text[1]);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) || (lead == 0xF0 && second < 0x90) ||
        (lead == 0xF4 && second >= 0x90))
    {
        return 0; // overlong, surrogate or beyond U+10FFFF
    }
    return length;
}

// A container starts with the magic and then its version's low byte, a control byte; source text can
// start with the same four letters ("VLBC = 1") but not go on with a control byte other than a blank.
bool looksLikeContainer(std::string_view text)
{
    if (!text.starts_with(kContainerMagic))
    {
        return false;
    }
    if (text.size() == kContainerMagic.size())
    {
        return true;
    }
    const auto next = static_cast<unsigned char>(text[kContainerMagic.size()]);
    const bool blank = next == ' ' || (next >= '\t' && next <= '\r');
    return !blank && (next < 0x20 || next >= 0x7F);
}

} // namespace

// For script files, standard input and -c; -e chunks and prompt lines are taken as typed.
void skipCommentLine(std::string& text)
{
    if (text.starts_with("\xEF\xBB\xBF"))
    {
        text.erase(0, 3); // a byte-order mark some editors write
    }
    if (!text.empty() && text[0] == '#') // "#!/usr/bin/env velmarlua" makes a script executable
    {
        text.erase(0, text.find('\n') == std::string::npos ? text.size() : text.find('\n'));
    }
}

// A container carries its own chunk name, so `chunkName` names only source text.
velmar::lua::LuaResult runLoadedScript(velmar::lua::LuaVM& vm, std::string text, const std::string& chunkName)
{
    if (looksLikeContainer(text))
    {
        velmar::lua::LuaBytecode container;
        container.bytes.assign(text.begin(), text.end());
        return vm.runBytecode(container);
    }
    skipCommentLine(text);
    return vm.runScriptString(text, chunkName);
}

// Valid UTF-8 passes through whole, so messages quoting non-ASCII text stay readable.
std::string printable(std::string_view message)
{
    std::string shown;
    shown.reserve(message.size());
    for (std::size_t i = 0; i < message.size();)
    {
        const auto byte = static_cast<unsigned char>(message[i]);
        if (byte >= 0x80) // a valid sequence is copied whole; a stray byte falls through to \DDD
        {
            if (const std::size_t length = utf8Length(message.substr(i)); length != 0)
            {
                shown.append(message.substr(i, length));
                i += length;
                continue;
            }
        }
        else if ((byte >= 0x20 && byte != 0x7F) || byte == '\t' || byte == '\n')
        {
            shown += static_cast<char>(byte);
            ++i;
            continue;
        }
        shown += '\\';
        shown += std::to_string(byte);
        ++i;
    }
    return shown;
}

} // namespace velmar::cli
