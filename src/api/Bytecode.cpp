// Containers ("VLBC" files) and running scripts and containers from files.
#include "host/FileLayer.hpp"
#include "host/FileStream.hpp"
#include "runtime/Interpreter.hpp"
#include "support/StackGuard.hpp"

#include <cstring>
#include <memory>

namespace velmar::lua
{
namespace
{

// A container is the magic, the version, then the chunk name and the source, each a 32-bit length and
// its bytes; numbers are little-endian. It holds checked source, not compiled code: running one
// compiles the source again, so a container stays valid whatever the evaluator does with its tree.
constexpr char kBytecodeMagic[4] = {'V', 'L', 'B', 'C'};
constexpr std::uint32_t kBytecodeVersion = 1;

void writeBytes(std::vector<std::uint8_t>& out, const void* data, std::size_t count)
{
    if (count == 0)
    {
        return;
    }
    const std::size_t offset = out.size();
    out.resize(offset + count);
    std::memcpy(out.data() + offset, data, count);
}

void writeU32(std::vector<std::uint8_t>& out, std::uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
    {
        out.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void writeString(std::vector<std::uint8_t>& out, const std::string& text)
{
    writeU32(out, static_cast<std::uint32_t>(text.size()));
    writeBytes(out, text.data(), text.size());
}

// Readers advance `offset` and refuse to read past the end: a truncated or forged container is an
// error, never an out-of-bounds read.
template <typename T> T readPrimitive(const std::vector<std::uint8_t>& bytes, std::size_t& offset);

template <> std::uint32_t readPrimitive<std::uint32_t>(const std::vector<std::uint8_t>& bytes, std::size_t& offset)
{
    if (bytes.size() < 4 || offset > bytes.size() - 4)
    {
        throw zq::runtime_error("bytecode is truncated");
    }
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
    {
        value = (value << 8) | bytes[offset + static_cast<std::size_t>(i)];
    }
    offset += 4;
    return value;
}

std::string readString(const std::vector<std::uint8_t>& bytes, std::size_t& offset)
{
    const std::uint32_t length = readPrimitive<std::uint32_t>(bytes, offset);
    if (length > bytes.size() - offset) // compared without overflow: a length of all ones is refused here
    {
        throw zq::runtime_error("bytecode string exceeds file size");
    }
    std::string text(reinterpret_cast<const char*>(bytes.data() + offset), length);
    offset += length;
    return text;
}

struct FileCloser
{
    void operator()(zqfs_file* file) const noexcept { zqfs_fclose(file); }
};

} // namespace

// Unlike a run, this throws: a syntax error leaves as the library's error, since no LuaResult carries it.
LuaBytecode LuaVM::compileScript(const std::string& source, const std::string& chunkName)
{
    if (!impl_)
    {
        throw zq::runtime_error(kMovedFromMessage);
    }
    zq::initStackLimit();
    HeapScope scope(impl_->heap);
    impl_->parseScript(source, chunkName); // validation only: the tree is discarded
    LuaBytecode bytecode;
    writeBytes(bytecode.bytes, kBytecodeMagic, sizeof(kBytecodeMagic));
    writeU32(bytecode.bytes, kBytecodeVersion);
    writeString(bytecode.bytes, chunkName); // the chunk name comes first
    writeString(bytecode.bytes, source);
    return bytecode;
}

// Written through the host's file services, so a confined host confines containers too.
bool LuaVM::writeBytecodeFile(const std::string& source, const std::string& path, const std::string& chunkName,
                              std::string* error)
{
    try
    {
        const LuaBytecode bytecode = compileScript(source, chunkName);
        zq::fstream file(path, zq::fstream::out | zq::fstream::trunc | zq::fstream::binary);
        if (!file.is_open())
        {
            throw zq::runtime_error("failed to open file for writing: " + path);
        }
        file.write(reinterpret_cast<const char*>(bytecode.bytes.data()), bytecode.bytes.size());
        file.close(); // the host sees the file only now, so a refusal shows here
        if (!file.good())
        {
            throw zq::runtime_error("failed to write file: " + path);
        }
        return true;
    }
    catch (const zq::exception& failure)
    {
        if (error)
        {
            *error = failure.message();
        }
        return false;
    }
}

// A container that cannot be read fails with the reader's message alone; once read, the run names its
// errors with the container's own chunk name.
LuaResult LuaVM::runBytecode(const LuaBytecode& bytecode)
{
    if (!impl_)
    {
        return movedFromResult();
    }
    std::string chunkName;
    std::string source;
    try
    {
        const std::vector<std::uint8_t>& bytes = bytecode.bytes;
        if (bytes.size() < 8)
        {
            throw zq::runtime_error("bytecode file is too small");
        }
        if (std::memcmp(bytes.data(), kBytecodeMagic, sizeof(kBytecodeMagic)) != 0)
        {
            throw zq::runtime_error("invalid VelmarLua bytecode header");
        }
        std::size_t offset = 4;
        if (readPrimitive<std::uint32_t>(bytes, offset) != kBytecodeVersion)
        {
            throw zq::runtime_error("unsupported VelmarLua bytecode version");
        }
        chunkName = readString(bytes, offset);
        source = readString(bytes, offset); // anything after the source is ignored
    }
    catch (const zq::exception& error)
    {
        return impl_->makeFailure(error, "<lua-bytecode>");
    }
    return impl_->runScriptString(source, chunkName);
}

LuaResult LuaVM::runBytecodeFile(const std::string& path)
{
    if (!impl_)
    {
        return movedFromResult();
    }
    LuaBytecode bytecode;
    try
    {
        zq::fstream file(path, zq::fstream::in | zq::fstream::binary);
        if (!file.is_open())
        {
            throw zq::runtime_error("failed to open file: " + path);
        }
        file.seekg(0, zq::fstream::end);
        const long long size = file.tellg();
        file.seekg(0, zq::fstream::beg);
        if (size < 0)
        {
            throw zq::runtime_error("failed to size file: " + path);
        }
        bytecode.bytes.resize(static_cast<std::size_t>(size));
        if (size != 0)
        {
            file.read(reinterpret_cast<char*>(bytecode.bytes.data()), bytecode.bytes.size());
            if (!file.good())
            {
                throw zq::runtime_error("failed to read file: " + path);
            }
        }
    }
    catch (const zq::exception& error)
    {
        return impl_->makeFailure(error, path);
    }
    return runBytecode(bytecode);
}

LuaResult LuaVM::runScriptFromBytecodeFile(const std::string& path)
{
    return runBytecodeFile(path);
}

// Reads through the host's file services and runs under the path as its chunk name.
LuaResult LuaVM::runScriptFile(const std::string& path)
{
    if (!impl_)
    {
        return movedFromResult();
    }
    std::unique_ptr<zqfs_file, FileCloser> file(zqfs_fopen(path.c_str(), "rb"));
    if (!file)
    {
        LuaResult result;
        result.error = "unable to open script file: " + path;
        return result;
    }
    std::string contents;
    char piece[512];
    while (true)
    {
        const std::size_t count = zqfs_fread(piece, 1, sizeof(piece), file.get());
        contents.append(piece, count);
        if (count < sizeof(piece))
        {
            break;
        }
    }
    return impl_->runScriptString(contents, path); // the file stays open for the run, closed after
}

} // namespace velmar::lua
