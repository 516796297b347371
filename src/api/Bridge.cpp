// Value bridging between the public LuaValue and the interpreter's Value, both ways.
#include "api/PublicText.hpp"
#include "runtime/Interpreter.hpp"
#include "runtime/NativeObject.hpp"
#include "support/StackGuard.hpp"

#include <cerrno>
#include <cstdlib>

namespace velmar::lua
{
namespace
{

// Both directions recurse once per nesting level of a table or array, so each level checks the stack.
void guardBridgeDepth()
{
    if (zq::stackExhausted())
    {
        throw zq::runtime_error("stack overflow"); // nesting too deep, or a table that contains itself
    }
}

// A map key becomes an integer key when the whole text is a base-10 integer (strtoll also takes a sign
// and leading blanks, so " 7" and "+7" become 7 as well); out of range, it stays a string.
bool parseIntegerKey(const std::string& text, std::int64_t& out)
{
    if (text.empty())
    {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long long integer = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end != text.c_str() + text.size())
    {
        return false;
    }
    out = integer;
    return true;
}

// Releases a public function value. The handle's memory (and whatever its closure holds) was counted by
// the VM that handed it out, which is current while it goes, unless that VM is gone.
struct ReleaseFunction
{
    std::shared_ptr<HeapAnchor> anchor;
    void operator()(LuaFunctionHandle* handle) const noexcept
    {
        HeapScope scope(anchor.get());
        if (--handle->refCount == 0)
        {
            LuaFunctionHandle::destroy(handle);
        }
    }
};

// A table key as a map key: the same text tostring would give an integer or a boolean.
std::string keyText(const TableKey& key)
{
    switch (key.kind())
    {
    case TableKeyKind::Integer: return std::to_string(key.integer());
    case TableKeyKind::String: return std::string(key.text());
    case TableKeyKind::Boolean: return key.boolean() ? "true" : "false";
    }
    return std::string();
}

} // namespace

// Into the interpreter: arrays and maps become new tables (a host value is copied, never shared); functions
// and objects are shared by reference.
Value LuaVM::Impl::publicToValue(const LuaValue& value) const
{
    guardBridgeDepth();
    switch (value.type())
    {
    case LuaValue::Type::Nil: return Value();
    case LuaValue::Type::Integer: return Value(value.asInteger());
    case LuaValue::Type::Float: return Value(value.asFloat());
    case LuaValue::Type::Boolean: return Value(value.asBoolean());
    case LuaValue::Type::String: return Value(value.asString());
    case LuaValue::Type::Array:
    {
        Ref<Table> table = makeTable();
        const auto& elements = value.asArray();
        for (std::size_t i = 0; i < elements.size(); ++i)
        {
            tableSetByKey(table.get(), TableKey::makeInteger(static_cast<std::int64_t>(i + 1)),
                          publicToValue(elements[i]));
        }
        return Value(std::move(table));
    }
    case LuaValue::Type::Map:
    {
        Ref<Table> table = makeTable();
        for (const auto& [key, element] : value.asMap())
        {
            std::int64_t integer = 0;
            const TableKey tableKey =
                parseIntegerKey(key, integer) ? TableKey::makeInteger(integer) : TableKey::makeString(key);
            tableSetByKey(table.get(), tableKey, publicToValue(element));
        }
        return Value(std::move(table));
    }
    case LuaValue::Type::Function:
        if (!value.asFunction())
        {
            return Value(emptyFunction); // a host's empty handle: a function that cannot be called
        }
        return Value(Ref<LuaFunctionHandle>(value.asFunction().get()));
    case LuaValue::Type::Object:
    {
        LuaObjectHandle* object = value.asObject().get();
        object->adoptIntoCurrentHeap(); // an object made outside any run belongs to the first VM it enters
        return Value(Ref<NativeObject>(object));
    }
    }
    return Value();
}

std::vector<LuaValue> publicArguments(const LuaVM::Impl& vm, ValueSpan args, BridgeMeter& meter)
{
    std::vector<LuaValue> values;
    values.reserve(args.size());
    for (const Value& argument : args)
    {
        values.push_back(vm.valueToPublic(argument, &meter));
    }
    return values;
}

LuaValue LuaVM::Impl::valueToPublic(const Value& value) const
{
    return valueToPublic(value, nullptr);
}

// Out of the interpreter: tables are copied whole into arrays or maps. With a meter (values handed to a
// host function or print) every element is charged as work and memory; a host's own getGlobal and
// results are not metered.
LuaValue LuaVM::Impl::valueToPublic(const Value& value, BridgeMeter* meter) const
{
    guardBridgeDepth();
    if (meter != nullptr)
    {
        meter->convert(value.isString() ? value.string()->size() : 0);
    }
    switch (value.kind())
    {
    case ValueKind::Nil: return LuaValue();
    case ValueKind::Integer: return LuaValue(static_cast<long long>(value.integer()));
    case ValueKind::Float: return LuaValue(value.number());
    case ValueKind::Boolean: return LuaValue(value.boolean());
    case ValueKind::String: return LuaValue(value.string()->str());
    case ValueKind::Function:
    {
        LuaFunctionHandle* handle = value.function();
        if (!handle || handle == emptyFunction.get())
        {
            return LuaValue(std::shared_ptr<LuaFunctionHandle>());
        }
        ++handle->refCount; // the public pointer shares the interpreter's own handle
        return LuaValue(std::shared_ptr<LuaFunctionHandle>(handle, ReleaseFunction{heap.anchor()}));
    }
    case ValueKind::Table:
    {
        Table* table = value.table();
        // An array only when the table is exactly the sequence 1..length: nothing hashed, and no value in
        // the array slots beyond it.
        const std::int64_t length = tableSequenceLength(table, meter != nullptr ? meter->work() : nullptr);
        bool isArray = table->hash.empty();
        if (meter != nullptr)
        {
            meter->pass(table->array.size() + table->hash.entries().size()); // slots looked at, nil or not
        }
        for (std::size_t p = static_cast<std::size_t>(length); isArray && p < table->array.size(); ++p)
        {
            isArray = table->array[p].isNil();
        }
        if (isArray)
        {
            std::vector<LuaValue> elements;
            elements.reserve(static_cast<std::size_t>(length));
            for (std::int64_t i = 1; i <= length; ++i)
            {
                elements.push_back(valueToPublic(tableGetInteger(table, i), meter));
            }
            return LuaValue(std::move(elements));
        }
        // Otherwise a map in the table's own order: the array slots by index, then the hashed keys.
        LuaMap map;
        for (std::size_t p = 0; p < table->array.size(); ++p)
        {
            if (!table->array[p].isNil())
            {
                map.insert_or_assign(std::to_string(p + 1), valueToPublic(table->array[p], meter));
            }
        }
        for (const HashPart::Entry& entry : table->hash.entries())
        {
            if (entry.live())
            {
                if (meter != nullptr)
                {
                    meter->convert(entry.key.text().size()); // the key's text
                }
                map.insert_or_assign(keyText(entry.key), valueToPublic(entry.value, meter));
            }
        }
        return LuaValue(std::move(map));
    }
    case ValueKind::UserData:
        if (value.userData()->kind == NativeObject::Kind::Host)
        {
            return LuaValue(publicObject(static_cast<LuaObjectHandle*>(value.userData())));
        }
        throw zq::runtime_error("value cannot be bridged out of VelmarLua"); // a library's own object
    case ValueKind::Iterator: throw zq::runtime_error("value cannot be bridged out of VelmarLua");
    }
    throw zq::runtime_error("unsupported VelmarLua value");
}

} // namespace velmar::lua
