// XCUntypedVector.h - a list of plain elements whose type only the caller knows.
//
// WHAT     Elements of one size, given at run time, one after the other in memory: what callbacks written in C and
//          plug-ins of another compiler can fill and read through void pointers. Elements are copied byte by byte; in
//          C++ with a known type take std::vector.
// SHAPE    Element i begins at Data() + i * GetElementSize(); the first one at a multiple of 32.
// LIFETIME A pointer to an element lives until the next change of the list. Elements that own something name a release
//          function: it is called once for each element that is removed, replaced or left at the end of the list.
// ALIASING An element that is added, inserted or set may lie in the list.
// ERRORS   An index past the end: Get answers null, the others change nothing and answer false. No memory:
//          std::bad_alloc; the list is unchanged, and the element that was to come still the caller's.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCExport.h>

#include <cstddef>

/// A list of elements of a size given at run time (see the head of this file).
class XC_API XCUntypedVector {
public:
    /// Gives back what an element owns. Must not throw, nor touch the list.
    using ReleaseFunction = void (*)(void* element);
    /// Below 0, 0 or above 0, as the first element stands to the second.
    using CompareFunction = int (*)(void const* a, void const* b, void* context);
    /// Sees one element; false ends the walk.
    using VisitFunction = bool (*)(void* element, void* context);
    static constexpr std::size_t npos = XCBytes::npos; ///< "Not found".

    /// @param elementSize in bytes; 0 counts as 1. @param release may be null.
    explicit XCUntypedVector(std::size_t elementSize, ReleaseFunction release = nullptr) noexcept;
    XCUntypedVector(XCUntypedVector&& other) noexcept;
    XCUntypedVector& operator=(XCUntypedVector&& other) noexcept;
    XCUntypedVector(XCUntypedVector const&) = delete; // elements may own something
    XCUntypedVector& operator=(XCUntypedVector const&) = delete;
    ~XCUntypedVector() { Clear(); }

    /// How many elements.
    [[nodiscard]] std::size_t GetSize() const noexcept { return m_bytes.Size() / m_elementSize; }
    /// In bytes.
    [[nodiscard]] std::size_t GetElementSize() const noexcept { return m_elementSize; }
    /// All elements, one after the other; null while there are none.
    [[nodiscard]] void* Data() noexcept { return m_bytes.Data(); }
    [[nodiscard]] void const* Data() const noexcept { return m_bytes.Data(); }
    /// Null when the index is out of range.
    [[nodiscard]] void* Get(std::size_t index) noexcept;
    [[nodiscard]] void const* Get(std::size_t index) const noexcept;

    /// Copies an element to the end and returns the copy. Null adds an element of zeros.
    void* Add(void const* element);
    /// Copies an element before `index` and returns the copy; past the end it is added. Null: zeros.
    void* Insert(std::size_t index, void const* element);
    /// Replaces an element. @param element must not be null.
    bool Set(std::size_t index, void const* element) noexcept;
    /// Takes an element out.
    bool Remove(std::size_t index) noexcept;
    /// Takes all elements out and releases the storage.
    void Clear() noexcept;
    /// Makes sure of room for `count` elements in all.
    void Reserve(std::size_t count);

    /// Sorts; equal elements keep their order. Any comparison is safe, also one that contradicts itself or throws (the
    /// list is then unchanged). Cost: O(n log n) comparisons, room for a second list.
    void Sort(CompareFunction compare, void* context = nullptr);
    /// The index of the first element for which the comparison with `element` gives 0; npos when there is none.
    [[nodiscard]] std::size_t Find(void const* element, CompareFunction compare, void* context = nullptr) const;
    /// Shows the elements in order; returns how many were seen. The visitor may change elements, not the list.
    std::size_t ForEach(VisitFunction visit, void* context = nullptr);

private:
    XCBuffer m_bytes;
    std::size_t m_elementSize;
    ReleaseFunction m_release;
};
