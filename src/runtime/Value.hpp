// The interpreter's internal value: a kind tag and a payload, 16 bytes, shared objects counted.
#pragma once

#include "runtime/Heap.hpp"
#include "runtime/LuaString.hpp"
#include "runtime/RefCounted.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmar::lua
{

enum class ValueKind : std::uint8_t
{
    Nil,
    Integer,
    Float,
    Boolean,
    String,
    Table,
    Function,
    UserData,
    Iterator,
};

class Table;
class LuaFunctionHandle;
class NativeObject;
class IteratorState;

constexpr double kEpsilon = 2.220446049250313e-16;

struct NumberValue;

class Value
{
public:
    Value() noexcept { bits_.integer = 0; }
    Value(std::nullptr_t) noexcept : Value() {}
    Value(int integer) noexcept : Value(static_cast<std::int64_t>(integer)) {}
    Value(long integer) noexcept : kind_(ValueKind::Integer) { bits_.integer = integer; }
    Value(long long integer) noexcept : kind_(ValueKind::Integer) { bits_.integer = integer; }
    Value(double number) noexcept : kind_(ValueKind::Float) { bits_.number = number; }
    Value(bool boolean) noexcept : kind_(ValueKind::Boolean)
    {
        bits_.integer = 0;
        bits_.boolean = boolean;
    }
    Value(const char* text) : Value(std::string_view(text ? text : "")) {}
    Value(std::string_view text) : Value(LuaString::make(text)) {}
    Value(const std::string& text) : Value(std::string_view(text)) {}
    Value(Ref<LuaString> string) noexcept : Value(ValueKind::String, string.release()) {}
    Value(Ref<Table> table) noexcept;
    Value(Ref<LuaFunctionHandle> function) noexcept;
    Value(Ref<NativeObject> object) noexcept;
    Value(Ref<IteratorState> iterator) noexcept;

    Value(const Value& other) noexcept : bits_(other.bits_), kind_(other.kind_)
    {
        if (isObject())
        {
            ++bits_.object->refCount;
        }
    }
    Value(Value&& other) noexcept : bits_(other.bits_), kind_(other.kind_) { other.kind_ = ValueKind::Nil; }
    ~Value()
    {
        if (isObject())
        {
            releaseObject();
        }
    }
    // Both assignments store the new payload before releasing the old one: releasing may run
    // destructors that free the memory holding *this (a table slot whose table dies with the old value).
    [[gnu::always_inline]] Value& operator=(const Value& other) noexcept
    {
        if (other.isObject())
        {
            ++other.bits_.object->refCount;
        }
        replace(other.bits_, other.kind_);
        return *this;
    }
    // Moving a value onto itself needs no test: the payload is read before the source is emptied, and
    // the emptied kind means nothing is released.
    [[gnu::always_inline]] Value& operator=(Value&& other) noexcept
    {
        const Bits bits = other.bits_;
        const ValueKind kind = other.kind_;
        other.kind_ = ValueKind::Nil;
        replace(bits, kind);
        return *this;
    }

    ValueKind kind() const noexcept { return kind_; }
    bool isNil() const noexcept { return kind_ == ValueKind::Nil; }
    bool isInteger() const noexcept { return kind_ == ValueKind::Integer; }
    bool isFloat() const noexcept { return kind_ == ValueKind::Float; }
    bool isNumber() const noexcept { return kind_ == ValueKind::Integer || kind_ == ValueKind::Float; }
    bool isString() const noexcept { return kind_ == ValueKind::String; }
    bool isTable() const noexcept { return kind_ == ValueKind::Table; }
    bool isFunction() const noexcept { return kind_ == ValueKind::Function; }
    bool isObject() const noexcept { return kind_ >= ValueKind::String; }

    // False only for nil and false: 0, 0.0 and "" are true.
    bool isTruthy() const noexcept
    {
        return kind_ != ValueKind::Nil && (kind_ != ValueKind::Boolean || bits_.boolean);
    }

    // Checked numeric views; any other kind throws the plain runtime error "value is not numeric".
    double asFloat() const;
    std::int64_t asInteger() const;

    // Unchecked payload access: the caller has tested the kind.
    std::int64_t integer() const noexcept { return bits_.integer; }
    double number() const noexcept { return bits_.number; }
    bool boolean() const noexcept { return bits_.boolean; }
    LuaString* string() const noexcept { return static_cast<LuaString*>(bits_.object); }
    std::string_view stringView() const noexcept { return string()->view(); }
    // Templates only so that they compile where the object's class is complete (every caller that uses
    // the pointer): inline, they cost no call on the evaluator's hottest paths.
    template <typename T = Table> T* table() const noexcept { return static_cast<T*>(bits_.object); }
    template <typename T = LuaFunctionHandle> T* function() const noexcept { return static_cast<T*>(bits_.object); }
    template <typename T = NativeObject> T* userData() const noexcept { return static_cast<T*>(bits_.object); }
    template <typename T = IteratorState> T* iterator() const noexcept { return static_cast<T*>(bits_.object); }
    const void* objectAddress() const noexcept { return bits_.object; }

    explicit Value(const NumberValue& number) noexcept;

    // Stores a number in place (a local's slot, a result being built), releasing what was there.
    [[gnu::always_inline]] void setInteger(std::int64_t integer) noexcept
    {
        Bits bits;
        bits.integer = integer;
        replace(bits, ValueKind::Integer);
    }
    [[gnu::always_inline]] void setFloat(double number) noexcept
    {
        Bits bits;
        bits.number = number;
        replace(bits, ValueKind::Float);
    }

    // The text that tostring and concatenation show.
    std::string toString() const;
    void appendTo(std::string& out) const;

private:
    Value(ValueKind kind, RefObject* object) noexcept : kind_(kind) { bits_.object = object; }
    void releaseObject() noexcept
    {
        if (--bits_.object->refCount == 0)
        {
            destroyObject(kind_, bits_.object);
        }
    }
    static void destroyObject(ValueKind kind, RefObject* object) noexcept;

    union Bits
    {
        std::int64_t integer;
        double number;
        bool boolean;
        RefObject* object;
    } bits_;

    [[gnu::always_inline]] void replace(Bits bits, ValueKind kind) noexcept
    {
        const Bits oldBits = bits_;
        const ValueKind oldKind = kind_;
        bits_ = bits;
        kind_ = kind;
        if (oldKind >= ValueKind::String && --oldBits.object->refCount == 0)
        {
            destroyObject(oldKind, oldBits.object);
        }
    }
    ValueKind kind_ = ValueKind::Nil;
};

static_assert(sizeof(Value) == 16, "a value is two machine words");

// A number as two machine words, returned in registers (a Value, whose destructor is not trivial, is
// returned in memory): what pure arithmetic hands to the operator that uses it.
struct NumberValue
{
    union
    {
        std::int64_t integer;
        double number;
    } bits;
    std::uint64_t kind; // ValueKind::Integer or Float, a whole word: a byte would be merged into garbage
};

inline Value::Value(const NumberValue& number) noexcept : kind_(static_cast<ValueKind>(number.kind))
{
    bits_.integer = number.bits.integer;
}

// Value storage inside other values, counted against the VM's memory.
using ValueVector = std::vector<Value, HeapAllocator<Value>>;

// A non-owning view of consecutive values: how arguments reach every callable.
struct ValueSpan
{
    const Value* data = nullptr;
    std::size_t count = 0;

    std::size_t size() const noexcept { return count; }
    bool empty() const noexcept { return count == 0; }
    const Value& operator[](std::size_t index) const noexcept { return data[index]; }
    const Value* begin() const noexcept { return data; }
    const Value* end() const noexcept { return data + count; }
};

// The type name of a value as type() reports it; a tag beyond the known kinds is "unknown".
const char* describeValueType(ValueKind kind) noexcept;
inline const char* describeValueType(const Value& value) noexcept
{
    return describeValueType(value.kind());
}

// Saturating double to integer conversion, for the places that must never trap.
std::int64_t saturatingFloatToInteger(double number) noexcept;

} // namespace velmar::lua
