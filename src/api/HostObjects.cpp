// Host functions and host objects: the wrappers that run a host's functions for scripts, and the
// objects (LuaValue::object) that scripts hold by reference.
#include "api/PublicText.hpp"
#include "runtime/Interpreter.hpp"
#include "runtime/NativeObject.hpp"

namespace velmar::lua
{

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
        return asScriptErrors(line, name + ": ", [&] { return convert(caller, function(vm, arguments)); });
    };
}

} // namespace

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

void LuaObjectHandle::adoptIntoCurrentHeap()
{
    if (!inHeap() && gCurrentHeap != nullptr)
    {
        chargeBytes(sizeof(LuaObjectHandle));
        joinCurrentHeap();
        home = gCurrentHeap->anchor();
    }
}

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
            std::string qualified = typeName + ":" + name;
            NativeCallable callable = method.multi ? wrapHostFunction(qualified, std::move(method.multi))
                                                   : wrapHostFunction(qualified, std::move(method.single));
            tableSetByKey(object->methods.get(), TableKey::makeString(name),
                          Value(makeNativeFunction(std::move(qualified), std::move(callable))));
        }
    }
    object->name = std::move(typeName);
    return LuaValue(publicObject(object.get()));
}

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
