// LuaValue: the value type that crosses VelmarLua's public boundary.
#pragma once

#include "velmar/lua/Export.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace velmar::lua
{

class LuaFunctionHandle; // a script or native function living inside an interpreter
class LuaObjectHandle;   // a host object as scripts hold it
class LuaValue;
class LuaMap;
class LuaVM;

using LuaValueArray = std::shared_ptr<std::vector<LuaValue>>;
using LuaValueMap = std::shared_ptr<LuaMap>;

// A host function callable from scripts that returns exactly one value (nil included).
using NativeFunction = std::function<LuaValue(LuaVM&, const std::vector<LuaValue>&)>;
// A host function that returns any number of values, in order: {} returns nothing, {nil, "message"}
// the usual failure pair.
using LuaMultiFunction = std::function<std::vector<LuaValue>(LuaVM&, const std::vector<LuaValue>&)>;

// Either kind of host function: made from any callable taking (LuaVM&, const std::vector<LuaValue>&)
// and returning a LuaValue (or anything that converts to one) or a std::vector<LuaValue> (several
// values). A method of a host object receives the object itself as args[0].
class LuaMethod
{
public:
    template <typename F, typename = std::enable_if_t<!std::is_same_v<std::decay_t<F>, LuaMethod> &&
                                                      std::is_invocable_v<F&, LuaVM&, const std::vector<LuaValue>&>>>
    LuaMethod(F&& function) // NOLINT: implicit on purpose, so a lambda is a method
    {
        using Result = std::invoke_result_t<F&, LuaVM&, const std::vector<LuaValue>&>;
        if constexpr (std::is_same_v<std::decay_t<Result>, std::vector<LuaValue>>)
        {
            multi = LuaMultiFunction(std::forward<F>(function));
        }
        else
        {
            single = NativeFunction(std::forward<F>(function));
        }
    }

    NativeFunction single;  // set when the function returns one value,
    LuaMultiFunction multi; // or this one when it returns several
};

// The methods of a host object, by name.
using LuaMethods = std::unordered_map<std::string, LuaMethod>;

// A Lua value as a host sees it. Strings are copied; arrays and maps are shared, so two copies of an
// array see the same elements, but they are copies of the script's tables, made when the value
// crossed the boundary: changing one never changes the table a script holds. Functions and objects
// are shared with the scripts themselves: a function value is the script's own function, an object
// value the very object a script holds.
//
// A Lua table arrives as an Array when it is a plain sequence 1..n (nothing else in it; an empty table
// too) and as a Map otherwise, keyed by text: integer keys as decimal text, booleans as "true" and
// "false", entries in the table's order (array slots first). Going in, an Array becomes the sequence
// 1..n, and a Map key that reads whole as a base-10 integer becomes an integer key again. The reading is
// the C library's strtoll: leading blanks, one sign and leading zeros are taken, so " 7", "+7" and "07"
// all become the key 7 (and come back as "7"); a key out of the 64-bit range stays a string.
class VELMAR_LUA_API LuaValue
{
public:
    enum class Type : std::uint8_t
    {
        Nil,
        Integer,
        Float,
        Boolean,
        String,
        Array,
        Map,
        Function,
        Object, // a host object: "userdata" to scripts
    };

    LuaValue() noexcept;
    LuaValue(std::nullptr_t) noexcept;
    // Every integer type is an Integer; an unsigned one above the largest signed 64-bit integer becomes
    // the Float of its value, as such a literal does in a script.
    LuaValue(int integer) noexcept;
    LuaValue(long integer) noexcept;
    LuaValue(long long integer) noexcept;
    LuaValue(unsigned integer) noexcept;
    LuaValue(unsigned long integer) noexcept;
    LuaValue(unsigned long long integer) noexcept;
    LuaValue(double number) noexcept;
    LuaValue(bool boolean) noexcept;
    LuaValue(const char* text); // null gives the empty string
    LuaValue(std::string text) noexcept;
    LuaValue(std::string_view text);
    LuaValue(std::vector<LuaValue> array);
    LuaValue(LuaMap map);
    LuaValue(std::shared_ptr<LuaFunctionHandle> function) noexcept;
    LuaValue(std::shared_ptr<LuaObjectHandle> object) noexcept; // shares the object; null gives nil
    LuaValue(const LuaValue& other);
    LuaValue(LuaValue&& other) noexcept;
    LuaValue& operator=(const LuaValue& other);
    LuaValue& operator=(LuaValue&& other) noexcept;
    ~LuaValue();

    static LuaValue makeArray();
    static LuaValue makeMap();

    // A host object: scripts see a userdata (type() gives "userdata", tostring "TYPENAME: 0x...") and
    // call its methods as obj:name(...), each receiving the object as args[0]. A script may also store
    // fields on it (obj.onClick = f), which it reads back before the methods. The object crosses the
    // boundary by reference, both ways: a script gets back the object it was given, and the host gets
    // its data back with objectData<T>(). `data` is released when the last holder lets go, be it a
    // script, a LuaValue or a cycle through the object's fields that the collector frees.
    template <typename T>
    static LuaValue object(std::shared_ptr<T> data, LuaMethods methods, std::string typeName)
    {
        return makeObject(std::shared_ptr<void>(std::move(data)), typeid(T), std::move(methods), std::move(typeName));
    }
    // The data of an object made from a std::shared_ptr<T> of this very T; null for anything else.
    template <typename T> T* objectData() const noexcept
    {
        return static_cast<T*>(objectPointer(typeid(T)));
    }
    // The type name given to object(); empty for other types.
    std::string objectTypeName() const;

    Type type() const noexcept { return type_; }
    bool isNil() const noexcept { return type_ == Type::Nil; }
    // False only for nil and false: 0, 0.0 and "" are true.
    bool isTruthy() const noexcept;

    // Integer as is, Float truncated toward zero, Boolean 1/0; otherwise throws "value is not numeric".
    long long asInteger() const;
    // Float as is, Integer converted, Boolean 1.0/0.0; otherwise throws "value is not numeric".
    double asFloat() const;
    // Only a Boolean; otherwise throws "value is not boolean".
    bool asBoolean() const;
    // Only a String; otherwise throws "value is not a string".
    const std::string& asString() const;
    // The shared vector itself; otherwise throws "value is not an array".
    std::vector<LuaValue>& asArray();
    const std::vector<LuaValue>& asArray() const;
    // The shared map itself; otherwise throws "value is not a map".
    LuaMap& asMap();
    const LuaMap& asMap() const;
    // Otherwise throws "value is not a function".
    const std::shared_ptr<LuaFunctionHandle>& asFunction() const;
    // Otherwise throws "value is not an object".
    const std::shared_ptr<LuaObjectHandle>& asObject() const;

    // nil, decimal integers, six-decimal floats, true/false, strings without quotes,
    // [a, b] for arrays, {key: value} for maps, [function name] for functions, TYPENAME: 0x... for
    // objects. Throws "stack overflow"
    // for a value nested too deeply for the calling thread's stack, or one that contains itself.
    std::string toString() const;

    // The name a function value carries ("anonymous" when it has none); empty for other types.
    std::string functionName() const;

    // Thrown accessors raise errors of the library's exception family (LuaError, message in what()).

private:
    void releaseNested() noexcept;
    static LuaValue makeObject(std::shared_ptr<void> data, const std::type_info& type, LuaMethods methods,
                               std::string typeName);
    void* objectPointer(const std::type_info& type) const noexcept;

    using Payload = std::variant<std::monostate, long long, double, bool, std::string, LuaValueArray, LuaValueMap,
                                 std::shared_ptr<LuaFunctionHandle>, std::shared_ptr<LuaObjectHandle>>;
    Type type_ = Type::Nil;
    Payload payload_;
};

// A map from string keys to values that keeps the order of first insertion; assigning to an
// existing key keeps its position.
class VELMAR_LUA_API LuaMap
{
public:
    using Entry = std::pair<std::string, LuaValue>;
    using iterator = std::vector<Entry>::iterator;
    using const_iterator = std::vector<Entry>::const_iterator;

    LuaMap() = default;
    LuaMap(std::initializer_list<Entry> entries);

    // The value under `key`, inserted as nil at the end when absent.
    LuaValue& operator[](const std::string& key);
    void insert_or_assign(const std::string& key, LuaValue value);
    LuaValue* find(const std::string& key);
    const LuaValue* find(const std::string& key) const;
    bool contains(const std::string& key) const { return find(key) != nullptr; }
    bool erase(const std::string& key);

    std::size_t size() const noexcept { return entries_.size(); }
    bool empty() const noexcept { return entries_.empty(); }
    iterator begin() noexcept { return entries_.begin(); }
    iterator end() noexcept { return entries_.end(); }
    const_iterator begin() const noexcept { return entries_.begin(); }
    const_iterator end() const noexcept { return entries_.end(); }

private:
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> index_;
};

} // namespace velmar::lua
