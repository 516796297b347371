// Intrusive, non-atomic reference counting for the objects that values share.
#pragma once

#include <cstdint>
#include <utility>

namespace velmar::lua
{

// Base of every object a Value can share. Counts are plain integers: an interpreter is used
// from one thread at a time, so atomic counting would only slow down every value copy.
struct RefObject
{
    std::uint32_t refCount = 0;
};

// What a counted object is, so that it can be destroyed without knowing its static type.
enum class RefKind : std::uint8_t
{
    String,
    Table,
    Function,
    UserData,
    Iterator,
    Environment,
};

// Destroys an object whose count reached zero. Objects that hold other objects (tables, closures,
// environments) are destroyed by a loop at the outermost call instead of by recursion, so releasing a
// million-long chain of tables or closures never exhausts the stack.
void destroyRefObject(RefKind kind, RefObject* object) noexcept;

// Owning pointer to a RefObject subclass T; T must provide a static destroy(T*) that frees it.
template <typename T> class Ref
{
public:
    Ref() noexcept = default;
    Ref(std::nullptr_t) noexcept {}
    explicit Ref(T* object) noexcept : object_(object)
    {
        if (object_)
        {
            ++object_->refCount;
        }
    }
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~Ref() { reset(); }

    Ref& operator=(const Ref& other) noexcept
    {
        Ref(other).swap(*this);
        return *this;
    }
    Ref& operator=(Ref&& other) noexcept
    {
        Ref(std::move(other)).swap(*this);
        return *this;
    }

    void reset() noexcept
    {
        if (T* object = std::exchange(object_, nullptr); object && --object->refCount == 0)
        {
            T::destroy(object);
        }
    }
    void swap(Ref& other) noexcept { std::swap(object_, other.object_); }

    // Gives up ownership without releasing; the caller now holds the count.
    T* release() noexcept { return std::exchange(object_, nullptr); }
    // Takes over a count the caller already holds.
    static Ref adopt(T* object) noexcept
    {
        Ref ref;
        ref.object_ = object;
        return ref;
    }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.object_ == b.object_; }

private:
    T* object_ = nullptr;
};

template <typename T, typename... Args> Ref<T> makeRef(Args&&... args)
{
    return Ref<T>(new T(std::forward<Args>(args)...));
}

} // namespace velmar::lua
