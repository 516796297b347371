// LuaValue: constructors, checked accessors and the text of a public value.
#include "velmar/lua/LuaValue.hpp"

#include "api/PublicText.hpp"

#include "runtime/Function.hpp"
#include "runtime/NativeObject.hpp"
#include "support/Errors.hpp"
#include "support/NumberFormat.hpp"
#include "support/StackGuard.hpp"
#include "support/Platform.hpp"

#include <new>

namespace velmar::lua
{

// GCC 12 reports false "may be used uninitialized" warnings inside std::variant's copy and move;
// keeping these members here keeps them out of every host's build and confines the suppression.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

LuaValue::LuaValue() noexcept = default;
LuaValue::LuaValue(std::nullptr_t) noexcept {}
LuaValue::LuaValue(int integer) noexcept : type_(Type::Integer), payload_(static_cast<long long>(integer)) {}
LuaValue::LuaValue(long integer) noexcept : type_(Type::Integer), payload_(static_cast<long long>(integer)) {}
LuaValue::LuaValue(long long integer) noexcept : type_(Type::Integer), payload_(integer) {}
LuaValue::LuaValue(unsigned integer) noexcept : type_(Type::Integer), payload_(static_cast<long long>(integer)) {}
LuaValue::LuaValue(unsigned long integer) noexcept : LuaValue(static_cast<unsigned long long>(integer)) {}
// An unsigned value beyond the integer range becomes the nearest float rather than wrapping negative.
LuaValue::LuaValue(unsigned long long integer) noexcept
{
    if (integer <= static_cast<unsigned long long>(INT64_MAX))
    {
        type_ = Type::Integer;
        payload_ = static_cast<long long>(integer);
    }
    else
    {
        type_ = Type::Float;
        payload_ = static_cast<double>(integer);
    }
}
LuaValue::LuaValue(double number) noexcept : type_(Type::Float), payload_(number) {}
LuaValue::LuaValue(bool boolean) noexcept : type_(Type::Boolean), payload_(boolean) {}
LuaValue::LuaValue(const char* text) : type_(Type::String), payload_(std::string(text ? text : "")) {} // null: ""
LuaValue::LuaValue(std::string text) noexcept : type_(Type::String), payload_(std::move(text)) {}
LuaValue::LuaValue(std::string_view text) : type_(Type::String), payload_(std::string(text)) {}
// An empty object pointer is nil; an empty function pointer stays a function (one that cannot be called).
LuaValue::LuaValue(std::shared_ptr<LuaObjectHandle> object) noexcept
{
    if (object)
    {
        type_ = Type::Object;
        payload_ = std::move(object);
    }
}
LuaValue::LuaValue(std::shared_ptr<LuaFunctionHandle> function) noexcept
    : type_(Type::Function), payload_(std::move(function))
{
}
LuaValue::LuaValue(const LuaValue& other) = default;
// A moved-from value reads as nil (its payload keeps only an empty husk).
LuaValue::LuaValue(LuaValue&& other) noexcept
    : type_(std::exchange(other.type_, Type::Nil)), payload_(std::move(other.payload_))
{
}

// Both assignments drop an old array or map through ~LuaValue, so a long chain is freed without
// recursion, and only after the new value is in place (it may live inside the old one).
LuaValue& LuaValue::operator=(const LuaValue& other)
{
    if (type_ == Type::Array || type_ == Type::Map)
    {
        if (this != &other)
        {
            const LuaValue old(std::move(*this));
            type_ = other.type_;
            payload_ = other.payload_;
        }
        return *this;
    }
    type_ = other.type_;
    payload_ = other.payload_;
    return *this;
}

LuaValue& LuaValue::operator=(LuaValue&& other) noexcept
{
    if (type_ == Type::Array || type_ == Type::Map)
    {
        if (this != &other)
        {
            const LuaValue old(std::move(*this));
            type_ = other.type_;
            payload_ = std::move(other.payload_);
        }
        return *this;
    }
    type_ = other.type_;
    payload_ = std::move(other.payload_);
    return *this;
}

LuaValue::~LuaValue()
{
    if (type_ == Type::Array || type_ == Type::Map)
    {
        releaseNested();
    }
}

namespace
{

// Releases nested this deep run the ordinary way; deeper ones wait for the outermost release.
constexpr int kReleaseDepth = 64;

struct ReleaseState
{
    int depth = 0;
    std::vector<LuaValue>* pending = nullptr; // the outermost release's worklist
};
// Initial-exec: a plain thread-pointer access instead of a resolver call on every release.
ZQ_INITIAL_EXEC constinit ZQ_THREAD_LOCAL ReleaseState gRelease;

} // namespace

// Freeing a nested array or map frees its elements first, one machine frame per level. Past a fixed
// depth a release is handed to the outermost one, which frees it after its own payload: a chain of any
// length is freed within a bounded stack, and shallow values pay only a thread-local counter. The
// worklist lives in the outermost release's frame, so nothing outlives it.
void LuaValue::releaseNested() noexcept
{
    ReleaseState& state = gRelease;
    if (state.depth >= kReleaseDepth)
    {
        try
        {
            state.pending->push_back(std::move(*this));
            return;
        }
        catch (const std::bad_alloc&)
        {
            // No room to defer: free it here, the ordinary way.
        }
    }
    auto dropPayload = [this] {
        if (auto* array = std::get_if<LuaValueArray>(&payload_))
        {
            array->reset();
        }
        else if (auto* map = std::get_if<LuaValueMap>(&payload_))
        {
            map->reset();
        }
    };
    if (state.depth != 0)
    {
        ++state.depth;
        dropPayload();
        --state.depth;
        return;
    }
    std::vector<LuaValue> pending;
    state.pending = &pending;
    state.depth = 1;
    dropPayload();
    while (!pending.empty())
    {
        LuaValue next = std::move(pending.back());
        pending.pop_back();
        // `next` dies here, one level below this release, deferring what lies too deep again.
    }
    state.depth = 0;
    state.pending = nullptr;
}

LuaValue::LuaValue(std::vector<LuaValue> array)
    : type_(Type::Array), payload_(std::make_shared<std::vector<LuaValue>>(std::move(array)))
{
}

LuaValue::LuaValue(LuaMap map) : type_(Type::Map), payload_(std::make_shared<LuaMap>(std::move(map))) {}

LuaValue LuaValue::makeArray()
{
    return LuaValue(std::vector<LuaValue>());
}

LuaValue LuaValue::makeMap()
{
    return LuaValue(LuaMap());
}

bool LuaValue::isTruthy() const noexcept
{
    return type_ != Type::Nil && (type_ != Type::Boolean || std::get<bool>(payload_));
}

// Floats truncate toward zero; NaN reads as 0 and out-of-range values saturate, so no host value can
// make the conversion undefined.
long long LuaValue::asInteger() const
{
    switch (type_)
    {
    case Type::Integer: return std::get<long long>(payload_);
    case Type::Float:
    {
        const double number = std::get<double>(payload_);
        if (!(number == number))
        {
            return 0;
        }
        if (number >= 9223372036854775808.0)
        {
            return INT64_MAX; // saturates instead of trapping
        }
        if (number <= -9223372036854775808.0)
        {
            return INT64_MIN;
        }
        return static_cast<long long>(number);
    }
    case Type::Boolean: return std::get<bool>(payload_) ? 1 : 0;
    default: throw zq::runtime_error("value is not numeric");
    }
}

double LuaValue::asFloat() const
{
    switch (type_)
    {
    case Type::Float: return std::get<double>(payload_);
    case Type::Integer: return static_cast<double>(std::get<long long>(payload_));
    case Type::Boolean: return std::get<bool>(payload_) ? 1.0 : 0.0;
    default: throw zq::runtime_error("value is not numeric");
    }
}

bool LuaValue::asBoolean() const
{
    if (type_ != Type::Boolean)
    {
        throw zq::runtime_error("value is not boolean");
    }
    return std::get<bool>(payload_);
}

const std::string& LuaValue::asString() const
{
    if (type_ != Type::String)
    {
        throw zq::runtime_error("value is not a string");
    }
    return std::get<std::string>(payload_);
}

std::vector<LuaValue>& LuaValue::asArray()
{
    if (type_ != Type::Array)
    {
        throw zq::runtime_error("value is not an array");
    }
    return *std::get<LuaValueArray>(payload_);
}

const std::vector<LuaValue>& LuaValue::asArray() const
{
    return const_cast<LuaValue*>(this)->asArray();
}

LuaMap& LuaValue::asMap()
{
    if (type_ != Type::Map)
    {
        throw zq::runtime_error("value is not a map");
    }
    return *std::get<LuaValueMap>(payload_);
}

const LuaMap& LuaValue::asMap() const
{
    return const_cast<LuaValue*>(this)->asMap();
}

const std::shared_ptr<LuaFunctionHandle>& LuaValue::asFunction() const
{
    if (type_ != Type::Function)
    {
        throw zq::runtime_error("value is not a function");
    }
    return std::get<std::shared_ptr<LuaFunctionHandle>>(payload_);
}

std::string LuaValue::functionName() const
{
    if (type_ != Type::Function)
    {
        return std::string();
    }
    const auto& handle = std::get<std::shared_ptr<LuaFunctionHandle>>(payload_);
    return handle && !handle->name.empty() ? handle->name : std::string("anonymous");
}

namespace
{

// Text handed to a sink once it reaches this size.
constexpr std::size_t kTextPiece = 64 * 1024;

} // namespace

// Scalars as a script prints them, arrays as [a, b], maps as {key: value} in their order, functions as
// [function name]. Recursion is bounded by the stack check, which also stops a value that holds itself.
void appendPublicText(std::string& out, const LuaValue& value, TextSink* sink)
{
    if (zq::stackExhausted())
    {
        throw zq::runtime_error("stack overflow"); // a table nested too deeply (or containing itself)
    }
    if (sink != nullptr && out.size() >= kTextPiece)
    {
        sink->take(out);
    }
    switch (value.type())
    {
    case LuaValue::Type::Nil: out += "nil"; return;
    case LuaValue::Type::Integer: zq::append_number(out, value.asInteger()); return;
    case LuaValue::Type::Float: zq::append_number(out, value.asFloat()); return;
    case LuaValue::Type::Boolean: out += value.asBoolean() ? "true" : "false"; return;
    case LuaValue::Type::String:
        if (sink != nullptr && value.asString().size() >= kTextPiece)
        {
            sink->take(out);
            std::string text = value.asString(); // a copy the sink may consume
            sink->take(text);
            return;
        }
        out += value.asString();
        return;
    case LuaValue::Type::Array:
    {
        out += '[';
        bool first = true;
        for (const LuaValue& element : value.asArray())
        {
            if (!first)
            {
                out += ", ";
            }
            first = false;
            appendPublicText(out, element, sink);
        }
        out += ']';
        return;
    }
    case LuaValue::Type::Map:
    {
        out += '{';
        bool first = true;
        for (const auto& [key, element] : value.asMap())
        {
            if (!first)
            {
                out += ", ";
            }
            first = false;
            out += key;
            out += ": ";
            appendPublicText(out, element, sink);
        }
        out += '}';
        return;
    }
    case LuaValue::Type::Function:
        out += "[function ";
        out += value.functionName();
        out += ']';
        return;
    case LuaValue::Type::Object:
        // The text tostring gives the same object in a script.
        out += Value(Ref<NativeObject>(value.asObject().get())).toString();
        return;
    }
}

std::string LuaValue::toString() const
{
    zq::initStackLimit();
    std::string out;
    appendPublicText(out, *this, nullptr);
    return out;
}

// LuaMap keeps entries in insertion order (entries_) with an index from key to position (index_);
// assigning an existing key keeps its place.
LuaMap::LuaMap(std::initializer_list<Entry> entries)
{
    for (const Entry& entry : entries)
    {
        insert_or_assign(entry.first, entry.second);
    }
}

LuaValue& LuaMap::operator[](const std::string& key)
{
    const auto found = index_.find(key);
    if (found != index_.end())
    {
        return entries_[found->second].second;
    }
    index_.emplace(key, entries_.size());
    entries_.emplace_back(key, LuaValue());
    return entries_.back().second;
}

void LuaMap::insert_or_assign(const std::string& key, LuaValue value)
{
    (*this)[key] = std::move(value);
}

LuaValue* LuaMap::find(const std::string& key)
{
    const auto found = index_.find(key);
    return found == index_.end() ? nullptr : &entries_[found->second].second;
}

const LuaValue* LuaMap::find(const std::string& key) const
{
    return const_cast<LuaMap*>(this)->find(key);
}

// Linear in the map's size: the positions after the erased entry all move down by one.
bool LuaMap::erase(const std::string& key)
{
    const auto found = index_.find(key);
    if (found == index_.end())
    {
        return false;
    }
    const std::size_t position = found->second;
    index_.erase(found);
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
    for (auto& [name, index] : index_)
    {
        if (index > position)
        {
            --index;
        }
    }
    return true;
}

} // namespace velmar::lua
