// Value semantics: conversions, the arithmetic kernels, equality and the text of a value.
#include "runtime/Value.hpp"

#include "runtime/Function.hpp"
#include "runtime/Iterator.hpp"
#include "runtime/NativeObject.hpp"
#include "runtime/Table.hpp"
#include "support/Errors.hpp"
#include "support/NumberFormat.hpp"
#include "support/Platform.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <new>

namespace velmar::lua
{

Ref<LuaString> LuaString::makeUninitialized(std::size_t length)
{
    if (length > static_cast<std::size_t>(-1) - sizeof(LuaString) - 1)
    {
        throw std::bad_alloc();
    }
    void* memory = allocateCounted(sizeof(LuaString) + length + 1);
    auto* string = new (memory) LuaString(length);
    string->mutableData()[length] = '\0';
    return Ref<LuaString>(string);
}

Ref<LuaString> LuaString::make(std::string_view text)
{
    Ref<LuaString> string = makeUninitialized(text.size());
    if (!text.empty())
    {
        std::memcpy(string->mutableData(), text.data(), text.size());
    }
    return string;
}

void LuaString::destroy(LuaString* string) noexcept
{
    const std::size_t bytes = sizeof(LuaString) + string->size() + 1;
    string->~LuaString();
    releaseCounted(string, bytes);
}

Value::Value(Ref<Table> table) noexcept : Value(ValueKind::Table, table.release()) {}
Value::Value(Ref<LuaFunctionHandle> function) noexcept : Value(ValueKind::Function, function.release()) {}
Value::Value(Ref<NativeObject> object) noexcept : Value(ValueKind::UserData, object.release()) {}
Value::Value(Ref<IteratorState> iterator) noexcept : Value(ValueKind::Iterator, iterator.release()) {}

void Value::destroyObject(ValueKind kind, RefObject* object) noexcept
{
    switch (kind)
    {
    case ValueKind::String: LuaString::destroy(static_cast<LuaString*>(object)); return;
    case ValueKind::Table: destroyRefObject(RefKind::Table, object); return;
    case ValueKind::Function: destroyRefObject(RefKind::Function, object); return;
    case ValueKind::UserData: destroyRefObject(RefKind::UserData, object); return;
    case ValueKind::Iterator: destroyRefObject(RefKind::Iterator, object); return;
    case ValueKind::Nil:
    case ValueKind::Integer:
    case ValueKind::Float:
    case ValueKind::Boolean: return;
    }
}

namespace
{

// Collectables whose count reached zero while another one was being destroyed, linked through
// their own list fields: releasing a long chain is a loop, and never needs memory.
ZQ_INITIAL_EXEC constinit ZQ_THREAD_LOCAL Collectable* gDoomedObjects = nullptr;
ZQ_INITIAL_EXEC constinit ZQ_THREAD_LOCAL bool gDestroyingObjects = false;

void destroyNow(RefKind kind, RefObject* object) noexcept
{
    switch (kind)
    {
    case RefKind::String: LuaString::destroy(static_cast<LuaString*>(object)); return;
    case RefKind::Table: delete static_cast<Table*>(object); return;
    case RefKind::Function: delete static_cast<LuaFunctionHandle*>(object); return;
    case RefKind::UserData:
        if (static_cast<NativeObject*>(object)->kind == NativeObject::Kind::Host)
        {
            delete static_cast<LuaObjectHandle*>(object);
            return;
        }
        delete static_cast<NativeObject*>(object);
        return;
    case RefKind::Iterator: delete static_cast<IteratorState*>(object); return;
    case RefKind::Environment: delete static_cast<Environment*>(object); return;
    }
}

} // namespace

void destroyRefObject(RefKind kind, RefObject* object) noexcept
{
    if (kind == RefKind::String)
    {
        destroyNow(kind, object); // holds no other object: no recursion to avoid
        return;
    }
    auto* collectable = static_cast<Collectable*>(object);
    if (gDestroyingObjects)
    {
        collectable->unlink(); // leaves its heap now; the list fields carry the worklist
        collectable->next_ = gDoomedObjects;
        gDoomedObjects = collectable;
        return;
    }
    gDestroyingObjects = true;
    destroyNow(kind, collectable);
    while (Collectable* next = gDoomedObjects)
    {
        gDoomedObjects = next->next_;
        next->next_ = nullptr;
        destroyNow(next->kind(), next);
    }
    gDestroyingObjects = false;
}

double Value::asFloat() const
{
    if (kind_ == ValueKind::Float)
    {
        return bits_.number;
    }
    if (kind_ == ValueKind::Integer)
    {
        return static_cast<double>(bits_.integer);
    }
    throw zq::runtime_error("value is not numeric");
}

std::int64_t Value::asInteger() const
{
    if (kind_ == ValueKind::Integer)
    {
        return bits_.integer;
    }
    if (kind_ == ValueKind::Float)
    {
        return saturatingFloatToInteger(bits_.number);
    }
    throw zq::runtime_error("value is not numeric");
}

namespace
{

void appendAddress(std::string& out, const char* prefix, const void* address)
{
    out += prefix;
    out += "0x";
    auto bits = reinterpret_cast<std::uintptr_t>(address);
    char digits[2 * sizeof(bits)];
    int count = 0;
    do
    {
        digits[count++] = "0123456789abcdef"[bits & 15];
        bits >>= 4;
    } while (bits != 0);
    while (count > 0)
    {
        out.push_back(digits[--count]);
    }
}

} // namespace

void Value::appendTo(std::string& out) const
{
    switch (kind_)
    {
    case ValueKind::Nil: out += "nil"; return;
    case ValueKind::Integer: zq::append_number(out, static_cast<long long>(bits_.integer)); return;
    case ValueKind::Float: zq::append_number(out, bits_.number); return;
    case ValueKind::Boolean: out += bits_.boolean ? "true" : "false"; return;
    case ValueKind::String: out.append(string()->data(), string()->size()); return;
    case ValueKind::Table: appendAddress(out, "table: ", bits_.object); return;
    case ValueKind::Function:
    {
        const LuaFunctionHandle* handle = function();
        out += "function: ";
        out += handle && !handle->name.empty() ? handle->name : std::string("anonymous");
        return;
    }
    case ValueKind::UserData:
        if (const NativeObject* object = userData(); object->kind == NativeObject::Kind::Host)
        {
            out += object->name;
            appendAddress(out, ": ", object);
            return;
        }
        appendAddress(out, "userdata: ", bits_.object);
        return;
    case ValueKind::Iterator: appendAddress(out, "iterator: ", bits_.object); return;
    }
    out += "nil";
}

std::string Value::toString() const
{
    if (kind_ == ValueKind::String)
    {
        return string()->str();
    }
    std::string out;
    appendTo(out);
    return out;
}

const char* describeValueType(ValueKind kind) noexcept
{
    static const char* const kNames[] = {"nil",   "number",   "number",   "boolean", "string",
                                         "table", "function", "userdata", "iterator"};
    const auto index = static_cast<std::size_t>(kind);
    return index < sizeof(kNames) / sizeof(kNames[0]) ? kNames[index] : "unknown";
}

std::int64_t saturatingFloatToInteger(double number) noexcept
{
    if (std::isnan(number))
    {
        return 0;
    }
    if (number >= 9223372036854775808.0)
    {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (number <= -9223372036854775808.0)
    {
        return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(number);
}

} // namespace velmar::lua
