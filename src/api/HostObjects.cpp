// Host functions and host objects: the wrappers that run a host's functions for scripts, and the
// objects (LuaValue::object) that scripts hold by reference.
#include "api/PublicText.hpp"
#include "runtime/Interpreter.hpp"
#include "runtime/NativeObject.hpp"

namespace velmar::lua
{

// Out of line so that the error class's type information lives in the library once, and a host's catch
// of LuaError matches what the library throws.
LuaError::~LuaError() = default;

namespace
{

// The calling interpreter, not the binding one, converts: a host may hand the function to another VM,
// which can call it after the first one is gone.
template <typename Function, typename Convert>
NativeCallable wrap(std::string name, Function function, Convert convert)
{
    return [function = std::move(function), name = std::move(name), convert](LuaVM& vm, ValueSpan args,
                                                                            unsigned line) -> MultiValue {
        LuaVM::Impl& caller = LuaVM::Impl::of(vm);
        // The arguments' conversion is the caller's work, and their public copies its memory while the
        // host function holds them.
        WorkMeter work(caller, line);
        BridgeMeter meter(work);
        const std::vector<LuaValue> arguments = publicArguments(caller, args, meter);
        // A LuaError the host throws becomes a script error "name: message" at the call's line, which
        // pcall can catch; any other exception of the host passes through to the host.
        MultiValue results =
            asScriptErrors(line, name + ": ", [&] { return convert(caller, function(vm, arguments)); });
        caller.attention.noticeRaised(); // an interrupt the function made stops the run at the next step
        return results;
    };
}

} // namespace

// A single-result host function returns exactly one value to the script, nil included.
NativeCallable wrapHostFunction(std::string name, NativeFunction function)
{
    return wrap(std::move(name), std::move(function),
                [](const LuaVM::Impl& vm, const LuaValue& result) { return MultiValue(vm.publicToValue(result)); });
}

NativeCallable wrapHostFunction(std::string name, LuaMultiFunction function)
{
    return wrap(std::move(name), std::move(function), [](const LuaVM::Impl& vm, const std::vector<LuaValue>& results) {
        MultiValue values;
        for (const LuaValue& result : results)
        {
            values.push(vm.publicToValue(result));
        }
        return values;
    });
}

LuaObjectHandle::~LuaObjectHandle() = default;

// The handle's own memory is charged to the heap it joins; the host's data behind it is not.
void LuaObjectHandle::adoptIntoCurrentHeap()
{
    if (!inHeap() && gCurrentHeap != nullptr)
    {
        chargeBytes(sizeof(LuaObjectHandle));
        joinCurrentHeap();
        home = gCurrentHeap->anchor();
    }
}

// obj.key: the object's own fields first, so a field set by a script shadows a method of the same
// name; only string keys reach the methods.
Value hostObjectField(const LuaObjectHandle* object, const Value& key, std::uint32_t line)
{
    if (key.isString())
    {
        if (Value field = tableGetString(object->fields.get(), *key.string()); !field.isNil())
        {
            return field;
        }
        return tableGetString(object->methods.get(), *key.string());
    }
    TableKey tableKey;
    if (!tryMakeKeyFromValue(key, tableKey))
    {
        failRuntime(line, "table index must be a number, string, or boolean");
    }
    return tableGetByKey(object->fields.get(), tableKey);
}

void ReleaseObject::operator()(LuaObjectHandle* object) const noexcept
{
    const std::shared_ptr<HeapAnchor> home = object->home; // the object may go with this release
    HeapScope scope(home.get());
    if (--object->refCount == 0)
    {
        NativeObject::destroy(object);
    }
}

std::shared_ptr<LuaObjectHandle> publicObject(LuaObjectHandle* object)
{
    ++object->refCount; // the public pointer shares the interpreter's own object
    return std::shared_ptr<LuaObjectHandle>(object, ReleaseObject{});
}

LuaValue LuaValue::makeObject(std::shared_ptr<void> data, const std::type_info& type, LuaMethods methods,
                              std::string typeName)
{
    // Made inside a run (a host function's result), the object belongs to that VM from the start;
    // otherwise to the first one it enters.
    Ref<LuaObjectHandle> object = makeRef<LuaObjectHandle>();
    object->data = std::move(data);
    object->type = &type;
    if (object->inHeap())
    {
        object->home = gCurrentHeap->anchor();
    }
    if (!methods.empty())
    {
        object->methods = makeTable();
        for (auto& [name, method] : methods)
        {
            std::string qualified = typeName + ":" + name; // "Type:method" prefixes the method's errors
            NativeCallable callable = method.multi ? wrapHostFunction(qualified, std::move(method.multi))
                                                   : wrapHostFunction(qualified, std::move(method.single));
            tableSetByKey(object->methods.get(), TableKey::makeString(name),
                          Value(makeNativeFunction(std::move(qualified), std::move(callable))));
        }
    }
    object->name = std::move(typeName);
    return LuaValue(publicObject(object.get()));
}

// The exact type the object was made with, or null: a host never reads one object as another type.
void* LuaValue::objectPointer(const std::type_info& type) const noexcept
{
    if (type_ != Type::Object)
    {
        return nullptr;
    }
    const auto& object = std::get<std::shared_ptr<LuaObjectHandle>>(payload_);
    return object && object->type != nullptr && *object->type == type ? object->data.get() : nullptr;
}

std::string LuaValue::objectTypeName() const
{
    return type_ == Type::Object ? asObject()->name : std::string();
}

const std::shared_ptr<LuaObjectHandle>& LuaValue::asObject() const
{
    if (type_ != Type::Object)
    {
        throw zq::runtime_error("value is not an object");
    }
    return std::get<std::shared_ptr<LuaObjectHandle>>(payload_);
}

} // namespace velmar::lua
