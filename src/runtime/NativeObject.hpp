// Userdata: an open file, a console stream, or a host object.
#pragma once

#include "runtime/Heap.hpp"
#include "runtime/RefCounted.hpp"
#include "velmar/lua/LuaValue.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

namespace zq
{
class fstream;
}

namespace velmar::lua
{

class Table;
class Value;
class NativeObject;

// Answers a method name read from a file or stream (nil for an unknown one); set by the library that
// makes the object, so the evaluator reads such fields without knowing any library.
using NativeMethodLookup = Value (*)(const NativeObject& object, std::string_view name);

// Collectable, because a host object holds a table of the fields scripts store on it, and so can sit
// in a cycle; files and streams hold nothing the collector looks at.
class NativeObject : public Collectable
{
public:
    enum class Kind : std::uint8_t
    {
        File,
        Stream,
        Host,
    };

    NativeObject() noexcept : Collectable(RefKind::UserData) { joinCurrentHeap(); }
    NativeObject(const NativeObject&) = delete;
    NativeObject& operator=(const NativeObject&) = delete;
    ~NativeObject() { creditBytes(heldBytes); }
    static void destroy(NativeObject* object) noexcept { destroyRefObject(RefKind::UserData, object); }

    Kind kind = Kind::File;
    std::shared_ptr<zq::fstream> file; // closed and released with the last reference
    bool readable = false;
    bool writable = false;
    std::string name; // a host object's type name
    NativeMethodLookup methodNamed = nullptr;
    std::size_t heldBytes = 0; // the file's memory, as charged to the memory limit
};

// A host object (LuaValue::object): the host's data, its methods and the fields scripts set on it.
class LuaObjectHandle final : public NativeObject
{
public:
    LuaObjectHandle() noexcept { kind = Kind::Host; }
    ~LuaObjectHandle();
    // An object made outside any VM joins the current one when it first enters it.
    void adoptIntoCurrentHeap();

    std::shared_ptr<void> data;
    const std::type_info* type = nullptr;
    Ref<Table> methods; // name -> native function, made once with the object
    Ref<Table> fields;  // made by the first store
    std::shared_ptr<HeapAnchor> home; // the heap it belongs to, which its release must credit
};

// Releases a public object value: the object's own heap is current while it may be destroyed.
struct ReleaseObject
{
    void operator()(LuaObjectHandle* object) const noexcept;
};

// A public pointer sharing the interpreter's own object.
std::shared_ptr<LuaObjectHandle> publicObject(LuaObjectHandle* object);

} // namespace velmar::lua
