// The sealed host, the allocation cap and the outcome checks shared by the harnesses.
#include "FuzzHost.hpp"

#include <velmar/lua/HostInterface.hpp>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <set>
#include <vector>

namespace fuzz
{
namespace
{

// ---- Allocation cap ----

bool gCapArmed = false;
std::size_t gLiveBytes = 0;

void* allocate(std::size_t size, std::size_t alignment, bool throwing)
{
    if (gCapArmed && (size > AllocationCap::kLargestAllocation || gLiveBytes + size > AllocationCap::kAllocationCap))
    {
        if (throwing)
        {
            throw std::bad_alloc();
        }
        return nullptr;
    }
    void* memory = alignment <= alignof(std::max_align_t) ? std::malloc(size ? size : 1)
                                                          : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (memory == nullptr)
    {
        if (throwing)
        {
            throw std::bad_alloc();
        }
        return nullptr;
    }
    gLiveBytes += malloc_usable_size(memory);
    return memory;
}

// Host callbacks are C entry points: they must not throw, so they run outside the cap.
class Uncapped
{
public:
    Uncapped() : saved_(gCapArmed) { gCapArmed = false; }
    ~Uncapped() { gCapArmed = saved_; }
    Uncapped(const Uncapped&) = delete;
    Uncapped& operator=(const Uncapped&) = delete;

private:
    bool saved_;
};

void release(void* memory) noexcept
{
    if (memory != nullptr)
    {
        gLiveBytes -= malloc_usable_size(memory);
        std::free(memory);
    }
}

// ---- Sealed host: files live in a map, the console swallows lines, there is no input ----

std::map<std::string, std::string> gFiles;
std::set<const void*> gSnapshots; // stat results not yet handed back
constexpr std::size_t kLargestFile = std::size_t{16} << 20;

int sealedStat(const char* name, zq_file_stat* record)
{
    require(name != nullptr && record != nullptr, "stat without a name or a record");
    const Uncapped uncapped;
    const auto found = gFiles.find(name);
    if (found == gFiles.end())
    {
        return 0;
    }
    record->size = found->second.size();
    record->data = nullptr;
    if (!found->second.empty())
    {
        // A private copy, so a library that read past its snapshot or after releasing it is caught.
        auto* bytes = static_cast<char*>(std::malloc(found->second.size()));
        require(bytes != nullptr, "out of memory for a snapshot");
        std::memcpy(bytes, found->second.data(), found->second.size());
        gSnapshots.insert(bytes);
        record->data = bytes;
    }
    return 1;
}

void sealedReleaseFileBytes(const void* data)
{
    const Uncapped uncapped;
    require(gSnapshots.erase(data) == 1, "file bytes released twice or never handed out");
    std::free(const_cast<void*>(data));
}

int sealedWrite(const char* name, const void* data, std::size_t size)
{
    require(name != nullptr && (data != nullptr || size == 0), "write without a name or bytes");
    if (size > kLargestFile)
    {
        return 0;
    }
    const Uncapped uncapped;
    gFiles[name].assign(static_cast<const char*>(data), size);
    return 1;
}

int sealedDelete(const char* name)
{
    require(name != nullptr, "delete without a name");
    const Uncapped uncapped;
    return gFiles.erase(name) == 1 ? 1 : 0;
}

int sealedWriteLine(const char* text)
{
    require(text != nullptr, "console line without text");
    volatile std::size_t length = std::strlen(text); // reads every byte, so ASan checks the whole line
    require(length < 512, "console line longer than the console's buffer");
    return 1;
}

std::uint32_t sealedReadLine(char* buffer, std::uint32_t capacity, const char*, std::uint8_t)
{
    require(buffer != nullptr && capacity > 0, "console read without a buffer");
    return 0;
}

void* sealedAllocate(std::size_t size)
{
    return std::malloc(size);
}

void sealedRelease(void* address)
{
    std::free(address);
}

void* sealedResize(void* address, std::size_t size)
{
    return std::realloc(address, size);
}

zq_program_api makeSealedApi()
{
    zq_program_api api{};
    std::memcpy(api.magic, "ZQAP", 4);
    api.live = 1;
    api.size = ZQ_API_FULL_SIZE;
    api.stat_file = sealedStat;
    api.write_file = sealedWrite;
    api.delete_file = sealedDelete;
    api.write_line = sealedWriteLine;
    api.read_line = sealedReadLine;
    api.allocate = sealedAllocate;
    api.release = sealedRelease;
    api.resize = sealedResize;
    api.release_file_bytes = sealedReleaseFileBytes;
    return api;
}

const zq_program_api gSealedApi = makeSealedApi();

} // namespace

SealedHost::SealedHost()
{
    gFiles.clear();
    zq_set_program_api(&gSealedApi);
}

SealedHost::~SealedHost()
{
    zq_lua_flush_output();
    require(gSnapshots.empty(), "file snapshots still held after the VM is gone",
            std::to_string(gSnapshots.size()) + " outstanding");
    gFiles.clear();
    zq_set_program_api(nullptr);
}

AllocationCap::AllocationCap()
{
    gCapArmed = true;
}

AllocationCap::~AllocationCap()
{
    gCapArmed = false;
}

void require(bool condition, const char* what, const std::string& detail)
{
    if (!condition)
    {
        std::fprintf(stderr, "fuzz invariant broken: %s%s%s\n", what, detail.empty() ? "" : ": ", detail.c_str());
        std::abort();
    }
}

void requireCleanOutcome(velmar::lua::LuaVM& vm, const velmar::lua::LuaResult& result, const std::string& chunkName)
{
    if (result.success)
    {
        require(result.error.empty(), "a successful run with a message", result.error);
    }
    else
    {
        const bool positioned = result.error.compare(0, chunkName.size() + 1, chunkName + ":") == 0;
        require(positioned || result.error == "not enough memory" || result.error == "stack overflow",
                "a failure without its chunk name", result.error);
    }
    requireUsable(vm);
}

void requireUsable(velmar::lua::LuaVM& vm)
{
    const velmar::lua::LuaResult after = vm.runScriptString("return 6 * 7", "after");
    require(after.success && after.value.type() == velmar::lua::LuaValue::Type::Integer && after.value.asInteger() == 42,
            "the VM is unusable after a run", after.error);
}

} // namespace fuzz

// Replacements of the global allocation functions, so the allocation cap covers all library memory.
void* operator new(std::size_t size)
{
    return fuzz::allocate(size, 0, true);
}
void* operator new[](std::size_t size)
{
    return fuzz::allocate(size, 0, true);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return fuzz::allocate(size, 0, false);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return fuzz::allocate(size, 0, false);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return fuzz::allocate(size, static_cast<std::size_t>(alignment), true);
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return fuzz::allocate(size, static_cast<std::size_t>(alignment), true);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return fuzz::allocate(size, static_cast<std::size_t>(alignment), false);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return fuzz::allocate(size, static_cast<std::size_t>(alignment), false);
}
void operator delete(void* memory) noexcept
{
    fuzz::release(memory);
}
void operator delete[](void* memory) noexcept
{
    fuzz::release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    fuzz::release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept
{
    fuzz::release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    fuzz::release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept
{
    fuzz::release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    fuzz::release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept
{
    fuzz::release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    fuzz::release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    fuzz::release(memory);
}
