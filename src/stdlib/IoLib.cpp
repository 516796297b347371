// The io library: io.open and io.write, the two console streams, and the methods of file handles.
#include "host/FileStream.hpp"
#include "host/ProgramInterface.hpp"
#include "runtime/NativeObject.hpp"
#include "runtime/WorkMeter.hpp"
#include "stdlib/Library.hpp"
#include "velmar/lua/HostInterface.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <string>

namespace velmar::lua
{
namespace
{

using Impl = LuaVM::Impl;

constexpr auto kFileKind = static_cast<std::uint8_t>(NativeObject::Kind::File);
constexpr auto kStreamKind = static_cast<std::uint8_t>(NativeObject::Kind::Stream);

// File-level failures reach the script as (nil, message), never as errors.
MultiValue failure(const char* message)
{
    return MultiValue{Value(), Value(message)};
}

// Null once the file was closed (or never opened).
zq::fstream* openStream(const NativeObject& object)
{
    return object.file && object.file->is_open() ? object.file.get() : nullptr;
}

// Bytes go to the console and to files in pieces of this size, each charged before it is written.
constexpr std::size_t kPiece = 64 * 1024;

void writeConsoleValue(WorkMeter& meter, const Value& value)
{
    if (!value.isString())
    {
        writeVelmarBootText(value.toString());
        return;
    }
    const std::string_view text = value.stringView();
    for (std::size_t at = 0; at < text.size(); at += kPiece)
    {
        const std::size_t piece = std::min(kPiece, text.size() - at);
        meter.scanned(piece); // the console looks at every byte
        zq_lua_write(text.data() + at, piece);
    }
}

// Keeps what the memory limit counts for a file equal to what its stream holds: growth is charged
// before it happens, and a breach fails the run with "not enough memory".
void holdFileMemory(NativeObject& object, std::size_t bytes)
{
    if (bytes > object.heldBytes)
    {
        chargeBytes(bytes - object.heldBytes);
    }
    else
    {
        creditBytes(object.heldBytes - bytes);
    }
    object.heldBytes = bytes;
}

// The mode is searched for r, w, a and b anywhere; `+` and every other character are ignored, so
// "r+" only reads and "w+" only writes.
Value fileMethod(const NativeObject& file, std::string_view name);

MultiValue ioOpen(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("io.open", args.size(), 1, 2);
    const Value& pathValue = Impl::requireString("io.open", args, 0, line);
    const std::string_view mode = args.size() > 1 ? Impl::requireString("io.open", args, 1, line).stringView() : "r";
    const bool read = mode.find('r') != std::string_view::npos;
    const bool write = mode.find('w') != std::string_view::npos;
    const bool append = mode.find('a') != std::string_view::npos;
    zq::openmode flags = zq::openmode::none;
    if (read || (!write && !append))
    {
        flags |= zq::fstream::in;
    }
    if (write)
    {
        flags |= zq::fstream::out | zq::fstream::trunc;
    }
    if (append)
    {
        flags |= zq::fstream::out | zq::fstream::app;
    }
    if (mode.find('b') != std::string_view::npos)
    {
        flags |= zq::fstream::binary;
    }
    std::string path = pathValue.string()->str();
    auto stream = std::make_shared<zq::fstream>();
    if (path.find('\0') == std::string::npos) // no file name holds a zero byte
    {
        // Under a memory limit the desktop host must not read a file larger than what is left.
        const ValueHeap* heap = gCurrentHeap;
        const bool limited = heap != nullptr && heap->limit() != 0 && heap->enforcing();
        zq::gHostReadAllowance =
            limited ? std::max<std::size_t>(heap->limit() - std::min(heap->limit(), heap->bytesInUse()), 1) : 0;
        zq::gHostReadRefused = false;
        stream->open(path, flags);
        zq::gHostReadAllowance = 0;
        if (zq::gHostReadRefused)
        {
            zq::gHostReadRefused = false;
            throw std::bad_alloc();
        }
    }
    if (!stream->is_open())
    {
        return MultiValue{Value(), Value("failed to open file: " + path)};
    }
    Ref<NativeObject> object = makeRef<NativeObject>();
    object->kind = NativeObject::Kind::File;
    object->methodNamed = fileMethod;
    object->file = std::move(stream);
    object->readable = read || (!write && !append);
    object->writable = write || append;
    object->name = std::move(path);
    // The host read the whole file to open it, and the handle holds it while open.
    WorkMeter(Impl::of(vm), line).bytes(object->file->length());
    holdFileMemory(*object, object->file->held_bytes());
    return MultiValue(Value(std::move(object)));
}

MultiValue ioWrite(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("io.write", args.size(), 1, kUnbounded);
    WorkMeter meter(Impl::of(vm), line);
    for (const Value& argument : args)
    {
        writeConsoleValue(meter, argument);
    }
    zq_lua_flush_output();
    return MultiValue(Value(true));
}

// Both streams end on the same console.
MultiValue streamWrite(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("stream:write", args.size(), 2, kUnbounded);
    const NativeObject* stream = Impl::requireUserData("stream:write", args, line, kStreamKind);
    if (!stream->file && stream->name != "stdout" && stream->name != "stderr")
    {
        return failure("stream is not available");
    }
    WorkMeter meter(Impl::of(vm), line);
    for (std::size_t i = 1; i < args.size(); ++i)
    {
        writeConsoleValue(meter, args[i]);
    }
    zq_lua_flush_output();
    return MultiValue(args[0]);
}

// "*a" reads to the end; a number reads up to that many bytes. Any other format is not a number.
MultiValue fileRead(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("file:read", args.size(), 1, 2);
    zq::fstream* stream = openStream(*Impl::requireUserData("file:read", args, line, kFileKind));
    if (!stream)
    {
        return MultiValue(Value());
    }
    stream->clear();
    const bool all = args.size() == 2 && args[1].isString() && args[1].stringView() == "*a";
    std::uint64_t remaining = ~0ULL; // "*a": to the end
    if (!all)
    {
        const std::int64_t count = Impl::requireInteger("file:read", args, 1, line);
        if (count < 1)
        {
            return MultiValue(Value(std::string_view()));
        }
        remaining = static_cast<std::uint64_t>(count);
    }
    // Read in bounded pieces, each charged as work and as memory before it is read: a huge count
    // must not allocate before the file proves that long.
    WorkMeter meter(Impl::of(vm), line);
    CountedText bytes;
    while (remaining > 0)
    {
        const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(remaining, kPiece));
        meter.bytes(want);
        bytes.reserveFor(want);
        std::string& text = bytes.str();
        const std::size_t before = text.size();
        text.resize(before + want);
        stream->read(text.data() + before, want);
        const std::size_t got = stream->gcount();
        text.resize(before + got);
        remaining -= got;
        if (got < want)
        {
            break;
        }
    }
    if (all)
    {
        stream->clear(); // reading to the end is no failure
        return MultiValue(makeStringMetered(meter, bytes.view()));
    }
    if (bytes.size() == 0)
    {
        return MultiValue(Value()); // at the end of the file
    }
    return MultiValue(makeStringMetered(meter, bytes.view()));
}

MultiValue fileWrite(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("file:write", args.size(), 2, kUnbounded);
    NativeObject* object = Impl::requireUserData("file:write", args, line, kFileKind);
    zq::fstream* stream = openStream(*object);
    if (!stream)
    {
        return failure("file is not open");
    }
    stream->clear();
    WorkMeter meter(Impl::of(vm), line);
    std::string text;
    for (std::size_t i = 1; i < args.size(); ++i)
    {
        const Value& argument = args[i];
        std::string_view bytes;
        if (argument.isString())
        {
            bytes = argument.stringView();
        }
        else
        {
            text.clear();
            argument.appendTo(text);
            bytes = text;
        }
        // In pieces, each charged first: its bytes, and the file's growth (a write far past the end
        // fills the gap with zero bytes) as work and as memory.
        for (std::size_t at = 0; at < bytes.size() || at == 0; at += kPiece)
        {
            const std::size_t piece = std::min(kPiece, bytes.size() - at);
            const std::size_t held = stream->held_bytes_after_write(piece);
            // Fresh memory is slower to fill than to copy: its pages fault in one by one.
            meter.bytes(piece + 4 * (held > object->heldBytes ? held - object->heldBytes : 0));
            holdFileMemory(*object, std::max(held, object->heldBytes));
            stream->write(bytes.data() + at, piece);
            if (stream->fail() || piece == 0)
            {
                break;
            }
        }
        if (stream->fail())
        {
            return failure("failed to write file"); // the earlier pieces stay written
        }
    }
    return MultiValue(args[0]);
}

// The stream has one position for reading and writing, so a single seek moves both.
MultiValue fileSeek(LuaVM&, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("file:seek", args.size(), 1, 3);
    zq::fstream* stream = openStream(*Impl::requireUserData("file:seek", args, line, kFileKind));
    if (!stream)
    {
        return failure("file is not open");
    }
    const std::string_view whence =
        args.size() > 1 ? Impl::requireString("file:seek", args, 1, line).stringView() : "cur";
    const std::int64_t offset = args.size() > 2 ? Impl::requireInteger("file:seek", args, 2, line) : 0;
    zq::seekdir origin;
    if (whence == "set")
    {
        origin = zq::fstream::beg;
    }
    else if (whence == "cur")
    {
        origin = zq::fstream::cur;
    }
    else if (whence == "end")
    {
        origin = zq::fstream::end;
    }
    else
    {
        return failure("invalid seek mode");
    }
    stream->clear();
    stream->seekg(offset, origin);
    if (stream->fail())
    {
        return failure("seek failed");
    }
    const long long position = stream->tellg();
    return MultiValue(Value(position >= 0 ? position : stream->tellp()));
}

// Closing twice is harmless; the handle stays a valid value whose methods report the closed file.
MultiValue fileClose(LuaVM& vm, ValueSpan args, unsigned line)
{
    Impl::requireArgumentCount("file:close", args.size(), 1, 1);
    NativeObject* object = Impl::requireUserData("file:close", args, line, kFileKind);
    if (object->file)
    {
        WorkMeter(Impl::of(vm), line).bytes(object->file->length()); // the whole file goes to the host
        object->file->close();
        holdFileMemory(*object, 0);
    }
    return MultiValue(Value(true));
}

Value nativeMethod(std::string name, NativeCallable method)
{
    return Value(makeNativeFunction(std::move(name), std::move(method)));
}

// Methods are not stored anywhere: every lookup makes a fresh native function.
Value streamMethod(const NativeObject& stream, std::string_view name)
{
    return name == "write" ? nativeMethod(stream.name + ":write", streamWrite) : Value();
}

Value fileMethod(const NativeObject&, std::string_view name)
{
    if (name == "read")
    {
        return nativeMethod("file:read", fileRead);
    }
    if (name == "write")
    {
        return nativeMethod("file:write", fileWrite);
    }
    if (name == "seek")
    {
        return nativeMethod("file:seek", fileSeek);
    }
    if (name == "close")
    {
        return nativeMethod("file:close", fileClose);
    }
    return Value();
}

Value makeStream(const char* name)
{
    Ref<NativeObject> stream = makeRef<NativeObject>();
    stream->kind = NativeObject::Kind::Stream;
    stream->name = name;
    stream->methodNamed = streamMethod;
    return Value(std::move(stream));
}

} // namespace

void bindIoLibrary(LuaVM::Impl& vm)
{
    Ref<Table> table = makeLibraryTable(vm, "io");
    vm.bindTableFunction(*table, "open", ioOpen);
    vm.bindTableFunction(*table, "write", ioWrite);
    tableSetByKey(table.get(), TableKey::makeString("stderr"), makeStream("stderr"));
    tableSetByKey(table.get(), TableKey::makeString("stdout"), makeStream("stdout"));
}

} // namespace velmar::lua
