// LuaValue: the value type that crosses VelmarLua's public boundary.
#pragma once

#include "velmar/lua/Export.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace velmar::lua
{

class LuaFunctionHandle; // a script or native function living inside an interpreter
class LuaValue;
class LuaMap;

using LuaValueArray = std::shared_ptr<std::vector<LuaValue>>;
using LuaValueMap = std::shared_ptr<LuaMap>;

// A Lua value as a host sees it. Strings are copied; arrays, maps and functions are shared, so two
// copies of an array see the same elements. A Lua table arrives as an Array when it is a plain
// sequence 1..n and as a Map (string keys, insertion order) otherwise.
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
    };

    LuaValue() noexcept;
    LuaValue(std::nullptr_t) noexcept;
    LuaValue(int integer) noexcept;
    LuaValue(long integer) noexcept;
    LuaValue(long long integer) noexcept;
    LuaValue(double number) noexcept;
    LuaValue(bool boolean) noexcept;
    LuaValue(const char* text); // null gives the empty string
    LuaValue(std::string text) noexcept;
    LuaValue(std::vector<LuaValue> array);
    LuaValue(LuaMap map);
    LuaValue(std::shared_ptr<LuaFunctionHandle> function) noexcept;
    LuaValue(const LuaValue& other);
    LuaValue(LuaValue&& other) noexcept;
    LuaValue& operator=(const LuaValue& other);
    LuaValue& operator=(LuaValue&& other) noexcept;
    ~LuaValue();

    static LuaValue makeArray();
    static LuaValue makeMap();

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

    // nil, decimal integers, six-decimal floats, true/false, strings without quotes,
    // [a, b] for arrays, {key: value} for maps, [function name] for functions. Throws "stack overflow"
    // for a value nested too deeply for the calling thread's stack, or one that contains itself.
    std::string toString() const;

    // The name a function value carries ("anonymous" when it has none); empty for other types.
    std::string functionName() const;

    // Thrown accessors raise errors of the library's exception family (std::exception, message in what()).

private:
    void releaseNested() noexcept;

    using Payload = std::variant<std::monostate, long long, double, bool, std::string, LuaValueArray, LuaValueMap,
                                 std::shared_ptr<LuaFunctionHandle>>;
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
