// Just enough of the standard library to declare the module's classes without one: their slots are laid out
// from this where a tool chain's own library is not at hand. Nothing here has a body, so nothing of it can be
// linked, and the sizes mean nothing.
#pragma once
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

extern "C" int memcmp(const void* pA, const void* pB, size_t pSize);

namespace std {

using ::memcmp;

template <class T>
inline constexpr bool is_integral_v = __is_integral(T);
template <class T>
constexpr const T& min(const T& pA, const T& pB)
{
    return pB < pA ? pB : pA;
}
template <class T>
T&& move(T& pObject) noexcept;

template <class T>
class initializer_list {
    const T* mFirst;
    size_t mCount;
};

class string_view {
public:
    string_view();
    string_view(const char* pText);
    const char* data() const;
    size_t size() const;

private:
    const char* mText;
    size_t mSize;
};

class string {
public:
    string();
    string(const char* pText);
    string(const string& pOther);
    ~string();
    string& operator=(const string& pOther);
    const char* c_str() const;
    bool empty() const;
    operator string_view() const;

private:
    char* mText;
};
string to_string(unsigned long long pNumber);

template <class T = void>
struct less {
};

/// A container of whatever elements, as a member.
template <class T>
class StubContainer {
public:
    T* data();
    const T* data() const;
    size_t size() const;
    bool empty() const;
    using iterator = T*;
    StubContainer();
    StubContainer(const StubContainer& pOther);
    ~StubContainer();

private:
    T* mFirst;
};
template <class T>
class vector : public StubContainer<T> {
};
template <class T>
class deque : public StubContainer<T> {
};
template <class TKey, class TOrder = less<TKey>>
class set : public StubContainer<TKey> {
};
template <class TKey, class TValue, class TOrder = less<TKey>>
class map : public StubContainer<TValue> {
public:
    struct value_type {
        const TKey first;
        TValue second;
    };
    bool empty() const;
    value_type* begin();
    value_type* end();
};
template <class T>
class span {
    T* mFirst;
    size_t mCount;
};

/// A smart pointer of whatever kind.
template <class T>
class StubPointer {
public:
    StubPointer();
    StubPointer(const StubPointer& pOther);
    ~StubPointer();
    T* operator->() const;
    bool operator==(nullptr_t) const;

private:
    T* mPointer;
};
template <class T>
class unique_ptr : public StubPointer<T> {
};
template <class T>
class shared_ptr : public StubPointer<T> {
};
template <class T, class... TArgs>
shared_ptr<T> make_shared(TArgs&&... pArgs);

template <class T>
class optional : public StubPointer<T> {
public:
    T& operator*();
};
template <class T>
class atomic {
public:
    atomic(T pValue);

private:
    T mValue;
};
class mutex {
public:
    void lock();
    bool try_lock();
    void unlock();

private:
    void* mHandle;
};
class shared_mutex : public mutex {
public:
    void lock_shared();
    void unlock_shared();
};

} // namespace std
