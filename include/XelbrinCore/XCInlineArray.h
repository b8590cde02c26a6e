// XCInlineArray.h - the array that tables of ranges are kept in.
//
// WHAT     A growing array of plain data whose first four entries stand inside the object. For the library's own use.
// COST     As std::vector; no memory of its own for up to four entries. Moving copies those.
// THREADS  Many readers, or one writer.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace xc::match {

/// The entries of a table, in one array: the first few inside the object. For entries that are plain data.
template <class T>
class InlineArray {
public:
    using const_iterator = T const*;
    using iterator = T*;

    InlineArray() noexcept {}
    InlineArray(InlineArray const& other) { *this = other; }
    InlineArray(InlineArray&& other) noexcept { *this = std::move(other); }
    InlineArray& operator=(InlineArray const& other)
    {
        if (this == &other) return *this;
        m_size = 0;
        Reserve(other.m_size);
        m_size = other.m_size;
        std::copy(other.begin(), other.end(), begin());
        return *this;
    }
    InlineArray& operator=(InlineArray&& other) noexcept
    {
        if (this == &other) return *this;
        m_more = std::move(other.m_more);
        m_capacity = std::exchange(other.m_capacity, kInside);
        m_size = std::exchange(other.m_size, 0u);
        if (!m_more) std::copy_n(other.m_inside, m_size, m_inside);
        return *this;
    }
    ~InlineArray() = default;

    [[nodiscard]] T* begin() noexcept { return m_more ? m_more.get() : m_inside; }
    [[nodiscard]] T* end() noexcept { return begin() + m_size; }
    [[nodiscard]] T const* begin() const noexcept { return m_more ? m_more.get() : m_inside; }
    [[nodiscard]] T const* end() const noexcept { return begin() + m_size; }
    [[nodiscard]] bool empty() const noexcept { return m_size == 0; }
    [[nodiscard]] std::size_t size() const noexcept { return m_size; }
    [[nodiscard]] T& back() noexcept { return end()[-1]; }
    void clear() noexcept { m_size = 0; }
    void push_back(T const& entry) { insert(end(), entry); }
    T* insert(T* at, T const& entry)
    {
        T const copy = entry;
        std::size_t const offset = static_cast<std::size_t>(at - begin());
        Reserve(m_size + 1);
        at = begin() + offset;
        std::copy_backward(at, end(), end() + 1);
        *at = copy;
        ++m_size;
        return at;
    }
    T* erase(T* at) { return erase(at, at + 1); }
    T* erase(T* first, T* last)
    {
        std::copy(last, end(), first);
        m_size -= static_cast<std::uint32_t>(last - first);
        return first;
    }
    friend bool operator==(InlineArray const& a, InlineArray const& b) noexcept
    {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    static constexpr std::uint32_t kInside = 4;

    void Reserve(std::uint32_t count)
    {
        if (count <= m_capacity) return;
        std::uint32_t const capacity = std::max(count, 2 * m_capacity);
        auto more = std::make_unique<T[]>(capacity);
        std::copy(begin(), end(), more.get());
        m_more = std::move(more);
        m_capacity = capacity;
    }

    std::unique_ptr<T[]> m_more;
    std::uint32_t m_size = 0;
    std::uint32_t m_capacity = kInside;
    T m_inside[kInside];
};

} // namespace xc::match
