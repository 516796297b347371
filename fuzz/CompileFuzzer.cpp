// Compiles arbitrary bytes: either a container whose layout matches the documented one byte for byte,
// or a syntax error "fuzz.lua:LINE:COLUMN: message". Nothing else may come out, and nothing may crash.
#include "FuzzHost.hpp"

#include <cstring>
#include <exception>

namespace
{

std::uint32_t readU32(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    return static_cast<std::uint32_t>(bytes[offset]) | static_cast<std::uint32_t>(bytes[offset + 1]) << 8 |
           static_cast<std::uint32_t>(bytes[offset + 2]) << 16 | static_cast<std::uint32_t>(bytes[offset + 3]) << 24;
}

bool isPositionedSyntaxError(const std::string& message)
{
    const std::string prefix = "fuzz.lua:";
    if (message.compare(0, prefix.size(), prefix) != 0)
    {
        return false;
    }
    std::size_t at = prefix.size();
    for (int field = 0; field < 2; ++field)
    {
        const std::size_t digits = at;
        while (at < message.size() && message[at] >= '0' && message[at] <= '9')
        {
            ++at;
        }
        if (at == digits || at >= message.size() || message[at] != ':')
        {
            return false;
        }
        ++at;
    }
    return message.compare(at, 1, " ") == 0 && message.size() > at + 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string source(reinterpret_cast<const char*>(data), size);
    fuzz::SealedHost host;
    fuzz::AllocationCap cap;
    velmar::lua::LuaVM vm;
    try
    {
        const velmar::lua::LuaBytecode bytecode = vm.compileScript(source, "fuzz.lua");
        const std::vector<std::uint8_t>& bytes = bytecode.bytes;
        fuzz::require(bytes.size() == 16 + 8 + source.size(), "container size");
        fuzz::require(std::memcmp(bytes.data(), "VLBC", 4) == 0 && readU32(bytes, 4) == 1, "container header");
        fuzz::require(readU32(bytes, 8) == 8 && std::memcmp(bytes.data() + 12, "fuzz.lua", 8) == 0, "container name");
        fuzz::require(readU32(bytes, 20) == source.size(), "container source length");
        fuzz::require(size == 0 || std::memcmp(bytes.data() + 24, data, size) == 0, "container source bytes");
    }
    catch (const std::bad_alloc&)
    {
        // The allocation cap was reached: a clean failure.
    }
    catch (const std::exception& error)
    {
        fuzz::require(isPositionedSyntaxError(error.what()), "syntax error without a position", error.what());
    }
    return 0;
}
