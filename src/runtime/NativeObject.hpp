// The one userdata type: an open file or a console stream.
#pragma once

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

    static void destroy(NativeObject* object) noexcept { destroyRefObject(RefKind::UserData, object); }

    Kind kind = Kind::File;
    std::shared_ptr<zq::fstream> file; // closed and released with the last reference
    bool readable = false;
    bool writable = false;
    std::string name;
};

} // namespace velmar::lua
