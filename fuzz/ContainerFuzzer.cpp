// Runs arbitrary containers. The first input byte chooses between the raw bytes and the rest behind a
// valid header, so both the header checks and the fields behind them are reached. The harness decodes
// the container by the documented layout itself: an invalid one must fail with exactly the message the
// layout prescribes; a valid one runs its source under the step budget, like the script harness.
#include "FuzzHost.hpp"

#include <cstring>
#include <optional>

namespace
{

struct Decoded
{
    std::string name;
    std::string source;
};

// The documented reader, as a second opinion: the decoded container, or the error it must give.
std::optional<Decoded> decode(const std::vector<std::uint8_t>& bytes, std::string& error)
{
    auto readU32 = [&](std::size_t& offset, std::uint32_t& value) {
        if (offset + 4 > bytes.size())
        {
            error = "bytecode is truncated";
            return false;
        }
        value = static_cast<std::uint32_t>(bytes[offset]) | static_cast<std::uint32_t>(bytes[offset + 1]) << 8 |
                static_cast<std::uint32_t>(bytes[offset + 2]) << 16 | static_cast<std::uint32_t>(bytes[offset + 3]) << 24;
        offset += 4;
        return true;
    };
    auto readString = [&](std::size_t& offset, std::string& text) {
        std::uint32_t length = 0;
        if (!readU32(offset, length))
        {
            return false;
        }
        if (offset + length > bytes.size())
        {
            error = "bytecode string exceeds file size";
            return false;
        }
        text.assign(reinterpret_cast<const char*>(bytes.data()) + offset, length);
        offset += length;
        return true;
    };
    if (bytes.size() < 8)
    {
        error = "bytecode file is too small";
        return std::nullopt;
    }
    if (std::memcmp(bytes.data(), "VLBC", 4) != 0)
    {
        error = "invalid VelmarLua bytecode header";
        return std::nullopt;
    }
    std::size_t offset = 4;
    std::uint32_t version = 0;
    readU32(offset, version);
    if (version != 1)
    {
        error = "unsupported VelmarLua bytecode version";
        return std::nullopt;
    }
    Decoded decoded;
    if (!readString(offset, decoded.name))
    {
        return std::nullopt;
    }
    if (!readString(offset, decoded.source))
    {
        return std::nullopt;
    }
    return decoded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    velmar::lua::LuaBytecode bytecode;
    if (data[0] % 2 == 0)
    {
        bytecode.bytes = {'V', 'L', 'B', 'C', 1, 0, 0, 0};
    }
    bytecode.bytes.insert(bytecode.bytes.end(), data + 1, data + size);

    fuzz::SealedHost host;
    velmar::lua::LuaVM vm;
    std::string expectedError;
    const std::optional<Decoded> decoded = decode(bytecode.bytes, expectedError);
    vm.setStepLimit(fuzz::kStepBudget);
    velmar::lua::LuaResult result;
    {
        fuzz::AllocationCap cap;
        result = vm.runBytecode(bytecode);
    }
    if (!decoded)
    {
        fuzz::require(!result.success && result.error == expectedError, "container error differs from the layout's",
                      "expected \"" + expectedError + "\", got \"" + result.error + "\"");
        fuzz::requireUsable(vm);
    }
    else
    {
        // Script and syntax errors of a valid container are reported under the chunk name it stores.
        fuzz::requireCleanOutcome(vm, result, decoded->name);
    }
    return 0;
}
