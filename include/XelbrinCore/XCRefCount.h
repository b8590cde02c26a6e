// XCRefCount.h - counted objects and the smart pointers that own them.
//
// WHAT     XCRefCountI is the interface of counted objects, XCRefCount its usual implementation, XCObjectI the root of
//          those that also tell their kind. XCSmartPtr and XCSmartPtrToConst hold one counted object.
// RULE     Whoever creates a counted object hands it to a smart pointer at once and never deletes it: the last
//          Release does.
// SLOTS    Virtual operations stand in the order of the compiler's C++ ABI: (XCRefCountI) destructor, AddRef, Release;
//          (XCObjectI) after these GetIUID, IsKindOf, QueryInterface. NbRef is not virtual.
// THREADS  Counts are atomic, so one object may be held by many threads. One smart pointer object belongs to one thread.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCSafeCounter.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

/// The interface of counted objects.
class XC_API XCRefCountI {
public:
    virtual ~XCRefCountI();
    /// Takes a reference; returns the count after the change.
    virtual unsigned long AddRef() const = 0;
    /// Gives a reference back; returns the count after the change. At 0 the object is gone.
    virtual unsigned long Release() const = 0;

protected:
    XCRefCountI() noexcept = default;
    XCRefCountI(XCRefCountI const&) noexcept = default;
    XCRefCountI& operator=(XCRefCountI const&) noexcept = default;
};

/// Counting with one XCSafeCounter. A new object starts at 0; so does a copy, and assignment keeps the own count.
class XC_API XCRefCount : public XCRefCountI {
public:
    ~XCRefCount() override;
    unsigned long AddRef() const override;
    unsigned long Release() const override;
    /// The count of the moment.
    unsigned long NbRef() const noexcept { return m_count; }

protected:
    XCRefCount() noexcept = default;
    XCRefCount(XCRefCount const& other) noexcept : XCRefCountI(other) {}
    XCRefCount& operator=(XCRefCount const&) noexcept { return *this; }

private:
    mutable XCSafeCounter m_count;
};

namespace xc {
/// Of no object: its name is what a compiler says to `delete pointer` of a smart pointer.
struct SmartPointersReleaseTheirObject;
} // namespace xc

/// Holds one counted object of type T (T may be const). The shared body of XCSmartPtr and XCSmartPtrToConst.
///
/// Assignment takes the new reference before it releases the old one and touches nothing of itself after the release,
/// so that assigning to itself, or assigning a child of the object being released, is safe.
template <class T>
class XCSmartPtrBase {
public:
    /// The object, still counted by this pointer; null when there is none.
    T* GetPtr() const noexcept { return m_object; }
    /// The object; this pointer must not be null.
    T* operator->() const noexcept { return m_object; }
    /// The object, still counted by this pointer; null when there is none.
    operator T*() const noexcept { return m_object; }
    /// Refuses `delete pointer`, which would destroy an object that others count: a second conversion to a pointer leaves
    /// the compiler nothing to delete. It fits no other use. Compilers that look only at conversions without a
    /// template parameter accept the line.
    template <class Object>
    requires std::is_same_v<Object, xc::SmartPointersReleaseTheirObject>
    operator Object*() const = delete;
    /// Whether it points to nothing.
    [[nodiscard]] bool IsNull() const noexcept { return m_object == nullptr; }
    /// Releases the object.
    void Clear() noexcept { Give(nullptr); }

    /// Compared with a raw pointer, another smart pointer or 0: the addresses.
    template <class U>
    friend bool operator==(XCSmartPtrBase const& a, XCSmartPtrBase<U> const& b) noexcept
    {
        return a.GetPtr() == b.GetPtr();
    }
    template <class U>
    friend bool operator<(XCSmartPtrBase const& a, XCSmartPtrBase<U> const& b) noexcept
    {
        return std::less<void const*>{}(a.GetPtr(), b.GetPtr());
    }

protected:
    XCSmartPtrBase() noexcept = default;
    /// A pointer that is a constant of the program does not count: what it points to is never deleted.
    constexpr explicit XCSmartPtrBase(T* object) : m_object(object)
    {
        if (!std::is_constant_evaluated() && m_object) m_object->AddRef();
    }
    ~XCSmartPtrBase()
    {
        if (m_object) m_object->Release();
    }
    XCSmartPtrBase(XCSmartPtrBase const&) = delete;
    XCSmartPtrBase& operator=(XCSmartPtrBase const&) = delete;

    /// Counts the new object, then releases the old one.
    void Set(T* object)
    {
        if (object) object->AddRef();
        Give(object);
    }
    /// Holds `object`, whose reference the caller hands over.
    void Give(T* object) noexcept
    {
        T* const old = std::exchange(m_object, object);
        if (old) old->Release();
    }
    /// Hands the object over with its count; this pointer is null afterwards.
    T* Take() noexcept { return std::exchange(m_object, nullptr); }

private:
    T* m_object = nullptr;
};

/// Owns one reference to a counted object, or none.
template <class T>
class XCSmartPtr : public XCSmartPtrBase<T> {
    using Base = XCSmartPtrBase<T>;

public:
    XCSmartPtr() noexcept = default;
    /// Counts the object; null is allowed.
    XCSmartPtr(T* object) : Base(object) {}
    XCSmartPtr(XCSmartPtr const& other) : Base(other.GetPtr()) {}
    XCSmartPtr(XCSmartPtr&& other) noexcept { Base::Give(other.Base::Take()); }
    /// From a pointer to a derived class; the object is counted once more.
    template <class U>
    requires std::is_convertible_v<U*, T*> XCSmartPtr(XCSmartPtr<U> const& other) : Base(other.GetPtr()) {}

    XCSmartPtr& operator=(XCSmartPtr const& other)
    {
        Base::Set(other.GetPtr());
        return *this;
    }
    XCSmartPtr& operator=(XCSmartPtr&& other) noexcept
    {
        if (this != &other) Base::Give(other.Base::Take());
        return *this;
    }
    /// Counts the object and releases the old one.
    XCSmartPtr& operator=(T* object)
    {
        Base::Set(object);
        return *this;
    }
    /// From a pointer to a derived class; the object is counted once more.
    template <class U>
    requires std::is_convertible_v<U*, T*> XCSmartPtr& operator=(XCSmartPtr<U> const& other)
    {
        Base::Set(other.GetPtr());
        return *this;
    }
};

/// Owns one reference to a counted object that it does not change, or none.
template <class T>
class XCSmartPtrToConst : public XCSmartPtrBase<T const> {
    using Base = XCSmartPtrBase<T const>;

public:
    XCSmartPtrToConst() noexcept = default;
    /// Counts the object; null is allowed.
    constexpr XCSmartPtrToConst(T const* object) : Base(object) {}
    XCSmartPtrToConst(XCSmartPtrToConst const& other) : Base(other.GetPtr()) {}
    XCSmartPtrToConst(XCSmartPtrToConst&& other) noexcept { Base::Give(other.Base::Take()); }
    /// From a pointer to a derived class; the object is counted once more.
    template <class U>
    requires std::is_convertible_v<U const*, T const*> XCSmartPtrToConst(XCSmartPtrToConst<U> const& other)
        : Base(other.GetPtr())
    {
    }
    /// From a pointer that allows changes; the object is counted once more.
    template <class U>
    requires std::is_convertible_v<U const*, T const*> XCSmartPtrToConst(XCSmartPtr<U> const& other)
        : Base(other.GetPtr())
    {
    }

    XCSmartPtrToConst& operator=(XCSmartPtrToConst const& other)
    {
        Base::Set(other.GetPtr());
        return *this;
    }
    XCSmartPtrToConst& operator=(XCSmartPtrToConst&& other) noexcept
    {
        if (this != &other) Base::Give(other.Base::Take());
        return *this;
    }
    /// Counts the object and releases the old one.
    XCSmartPtrToConst& operator=(T const* object)
    {
        Base::Set(object);
        return *this;
    }
    /// From a pointer to a derived class; the object is counted once more.
    template <class U>
    requires std::is_convertible_v<U const*, T const*> XCSmartPtrToConst& operator=(XCSmartPtrToConst<U> const& other)
    {
        Base::Set(other.GetPtr());
        return *this;
    }
    /// From a pointer that allows changes; the object is counted once more.
    template <class U>
    requires std::is_convertible_v<U const*, T const*> XCSmartPtrToConst& operator=(XCSmartPtr<U> const& other)
    {
        Base::Set(other.GetPtr());
        return *this;
    }
};

/// The root of counted objects that tell their kind by a number.
class XC_API XCObjectI : public XCRefCount {
public:
    ~XCObjectI() override;
    /// The interface number of the concrete class.
    virtual int GetIUID() const = 0;
    /// Whether the object is of the kind with this number, or of one derived from it.
    virtual bool IsKindOf(int iuid) const;
    /// The object as the kind with this number; null when it is not of that kind.
    virtual XCSmartPtr<XCObjectI> QueryInterface(int iuid);

protected:
    XCObjectI() noexcept = default;
    XCObjectI(XCObjectI const&) noexcept = default;
    XCObjectI& operator=(XCObjectI const&) noexcept = default;
};

/// What a list of T holds: T itself when it is a smart pointer already.
template <class T>
struct XCSmartPtrVectorElement {
    /// The pointer that a vector of T stores.
    using Type = XCSmartPtr<T>;
};
/// A smart pointer stays what it is.
template <class T>
struct XCSmartPtrVectorElement<XCSmartPtr<T>> {
    /// The pointer itself.
    using Type = XCSmartPtr<T>;
};
/// A smart pointer stays what it is.
template <class T>
struct XCSmartPtrVectorElement<XCSmartPtrToConst<T>> {
    /// The pointer itself.
    using Type = XCSmartPtrToConst<T>;
};

/// A standard vector of counted objects, each held by one reference. It may be named by the class or by the smart
/// pointer: XCSmartPtrVector<Node> and XCSmartPtrVector<XCSmartPtr<Node>> are one type.
template <class T>
using XCSmartPtrVector = std::vector<typename XCSmartPtrVectorElement<T>::Type>;

/// A list that owns plain objects: it deletes objects that are removed, and all others when it ends.
template <class T>
class XCPointerVector {
public:
    XCPointerVector() noexcept = default;
    XCPointerVector(XCPointerVector&&) noexcept = default;
    XCPointerVector& operator=(XCPointerVector&&) noexcept = default;

    /// Takes the object over, also when the list cannot grow (then it is deleted and std::bad_alloc thrown).
    T& Add(std::unique_ptr<T> object) { return *m_objects.emplace_back(std::move(object)); }
    /// How many pointers it holds, null ones included.
    [[nodiscard]] std::size_t GetSize() const noexcept { return m_objects.size(); }
    /// Null when the index is out of range.
    [[nodiscard]] T* Get(std::size_t index) const noexcept
    {
        return index < m_objects.size() ? m_objects[index].get() : nullptr;
    }
    /// Deletes all objects.
    void Clear() noexcept { m_objects.clear(); }
    auto begin() const noexcept { return m_objects.begin(); }
    auto end() const noexcept { return m_objects.end(); }

private:
    std::vector<std::unique_ptr<T>> m_objects;
};
