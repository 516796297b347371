// The one userdata type: an open file or a console stream.
#pragma once

#include "runtime/Heap.hpp"
#include "runtime/RefCounted.hpp"

#include <memory>
#include <string>

namespace zq
{
class fstream;
}

namespace velmar::lua
{

class NativeObject : public RefObject
{
public:
    enum class Kind : std::uint8_t
    {
        File,
        Stream,
    };

    NativeObject() = default;
    NativeObject(const NativeObject&) = delete;
    NativeObject& operator=(const NativeObject&) = delete;
    ~NativeObject() { creditBytes(heldBytes); }
    static void destroy(NativeObject* object) noexcept { destroyRefObject(RefKind::UserData, object); }

    Kind kind = Kind::File;
    std::shared_ptr<zq::fstream> file; // closed and released with the last reference
    bool readable = false;
    bool writable = false;
    std::string name;
    std::size_t heldBytes = 0; // the file's memory, as charged to the memory limit
};

} // namespace velmar::lua
