// Hostile containers: every truncation of valid containers, corrupted length fields, and the same through
// container files. Each must fail with the exact documented message (header checks: tests/api).
#include "Adversarial.hpp"

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace
{

using namespace adversarial;
using namespace std::string_literals;

std::vector<std::uint8_t> littleEndian(std::uint32_t value)
{
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 24)};
}

void putU32(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint32_t value)
{
    const std::vector<std::uint8_t> encoded = littleEndian(value);
    std::copy(encoded.begin(), encoded.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

// The documented failure for the first `length` bytes of a container whose chunk name has `nameSize` bytes
// and whose source has `sourceSize`.
std::string expectedTruncationError(std::size_t length, std::size_t nameSize, std::size_t sourceSize)
{
    if (length < 8)
    {
        return "bytecode file is too small";
    }
    if (length < 12 || (length >= 12 + nameSize && length < 16 + nameSize))
    {
        return "bytecode is truncated";
    }
    if (length < 16 + nameSize + sourceSize)
    {
        return "bytecode string exceeds file size";
    }
    return "";
}

struct Chunk
{
    std::string name;
    std::string source;
};

TEST(ContainerTest, EveryTruncationOfAValidContainerFailsWithItsMessage)
{
    const std::vector<Chunk> chunks = {
        {"boot", "x = 1"},
        {"", ""},
        {"a", "return 'a string with \\0 inside', [[long]]"},
        {std::string(300, 'n'), "local t = {} for i = 1, 10 do t[i] = i end return #t"},
    };
    LuaVM vm;
    for (const Chunk& chunk : chunks)
    {
        const LuaBytecode full = vm.compileScript(chunk.source, chunk.name);
        ASSERT_EQ(full.bytes.size(), 16 + chunk.name.size() + chunk.source.size());
        for (std::size_t length = 0; length < full.bytes.size(); ++length)
        {
            LuaBytecode cut;
            cut.bytes.assign(full.bytes.begin(), full.bytes.begin() + static_cast<std::ptrdiff_t>(length));
            const LuaResult result = vm.runBytecode(cut);
            ASSERT_FALSE(result.success) << "a container cut to " << length << " bytes ran";
            ASSERT_EQ(result.error, expectedTruncationError(length, chunk.name.size(), chunk.source.size()))
                << "cut to " << length << " of " << full.bytes.size();
        }
        EXPECT_TRUE(vm.runBytecode(full).success);
    }
}

TEST(ContainerTest, CorruptedLengthFieldsNeverAllocateOrReadPastTheEnd)
{
    LuaVM vm;
    const LuaBytecode valid = vm.compileScript("return 7", "seven");
    for (std::uint32_t length : {0xffffffffu, 0x80000000u, 0x7fffffffu, 0xfffffff4u, 0xfffffff0u, 100u, 9u})
    {
        SCOPED_TRACE(length);
        LuaBytecode name = valid;
        putU32(name.bytes, 8, length);
        EXPECT_EQ(vm.runBytecode(name).error, "bytecode string exceeds file size");
        LuaBytecode source = valid;
        putU32(source.bytes, 12 + 5, length);
        EXPECT_EQ(vm.runBytecode(source).error, "bytecode string exceeds file size");
    }
    // A shorter source length runs a prefix of the source.
    LuaBytecode prefix = valid;
    putU32(prefix.bytes, 12 + 5, 6);
    const LuaResult prefixRun = vm.runBytecode(prefix);
    EXPECT_TRUE(prefixRun.success) << prefixRun.error;
    EXPECT_TRUE(prefixRun.value.isNil());
    // A shorter name length shifts every later field: the source length is then read from the name's bytes.
    LuaBytecode shifted = valid;
    putU32(shifted.bytes, 8, 1);
    EXPECT_EQ(vm.runBytecode(shifted).error, "bytecode string exceeds file size");
    EXPECT_EQ(vm.runBytecode(valid).value.asInteger(), 7);
}

class ContainerFileTest : public testing::Test
{
protected:
    void SetUp() override
    {
        directory_ = std::filesystem::temp_directory_path() / ("velmar-adversarial-" + std::to_string(::getpid()));
        std::filesystem::create_directories(directory_);
    }
    void TearDown() override { std::filesystem::remove_all(directory_); }

    std::string write(const std::string& name, const std::vector<std::uint8_t>& bytes)
    {
        const std::filesystem::path path = directory_ / name;
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                    static_cast<std::streamsize>(bytes.size()));
        return path.string();
    }

    std::filesystem::path directory_;
};

TEST_F(ContainerFileTest, EveryTruncationOfAContainerFile)
{
    LuaVM vm;
    const LuaBytecode full = vm.compileScript("return 'from a file'", "file-chunk");
    for (std::size_t length = 0; length < full.bytes.size(); ++length)
    {
        const std::string path =
            write("cut.vlbc", std::vector<std::uint8_t>(full.bytes.begin(), full.bytes.begin() + static_cast<std::ptrdiff_t>(length)));
        const LuaResult result = vm.runBytecodeFile(path);
        ASSERT_FALSE(result.success) << length;
        ASSERT_EQ(result.error, expectedTruncationError(length, 10, 20)) << "cut to " << length;
    }
    EXPECT_EQ(vm.runBytecodeFile(write("whole.vlbc", full.bytes)).value.asString(), "from a file");
    EXPECT_EQ(vm.runBytecodeFile((directory_ / "missing.vlbc").string()).error,
              "failed to open file: " + (directory_ / "missing.vlbc").string());
    EXPECT_FALSE(vm.runBytecodeFile(directory_.string()).success);
}

} // namespace
