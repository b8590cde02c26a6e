// XCStringStorage.h - the counted block of a string, and reading it.
//
// WHAT     What XCString and all that reads it agree on: one pointer to a block {capacity, share count, length, text}.
//          All empty strings point at one static block (glbEmptyData) that nobody counts, writes or frees.
// COST     Copying: one atomic increment. Reading: nothing.
// LIFETIME A block lives as long as a string points at it. What AsWChar() returns lives until the next change of the
//          string or its end. operator[] yields a value: a reference could write into a block that a copy shares.
// ERRORS   Nothing here fails. A position past the end reads 0.
// THREADS  Any threads may read one object, and copy or destroy strings that share a block.
#pragma once

#include <XelbrinCore/XCExport.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace xc::text {
struct StringAccess;
} // namespace xc::text

/// The storage of a string, and what is read from it.
class XC_API XCStringStorage {
public:
    /// The header of a storage block; the text, capacity + 1 units, follows it.
    struct DataDef {
        std::uint32_t capacity; ///< units that fit, the terminator not counted; 0 only in glbEmptyData
        std::int32_t shares;    ///< further strings that point here; 0 means one owner; changed atomically
        std::uint32_t length;   ///< units in use; the unit at this index is always 0

        /// The text that follows the header, NUL-terminated.
        wchar_t* Text() noexcept { return reinterpret_cast<wchar_t*>(this + 1); }
        wchar_t const* Text() const noexcept { return reinterpret_cast<wchar_t const*>(this + 1); }
    };
    /// A block with an empty text.
    struct EmptyDataDef {
        DataDef header;     ///< The header that all empty strings share.
        wchar_t terminator; ///< The NUL of the empty text.
    };

    /// "Not found", and as a count "up to the end".
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
    /// The longest text, in units.
    static constexpr std::size_t kMaxLength = 0xFFFFFFFDu;
    /// The block of every empty string.
    static EmptyDataDef glbEmptyData;

    /// Units that fit without a new block, the NUL not counted.
    [[nodiscard]] std::size_t Capacity() const noexcept { return m_data->capacity; }
    /// Units of the text, the NUL not counted.
    [[nodiscard]] std::size_t Length() const noexcept { return m_data->length; }
    /// The same as Length.
    [[nodiscard]] std::size_t Len() const noexcept { return m_data->length; }
    /// Whether the string is empty.
    [[nodiscard]] bool IsNull() const noexcept { return m_data->length == 0; }
    /// The text, terminated; never null.
    [[nodiscard]] wchar_t const* AsWChar() const noexcept { return m_data->Text(); }
    /// The text, NUL-terminated; until the next change of this string or its end.
    [[nodiscard]] wchar_t const* c_str() const noexcept { return m_data->Text(); }
    /// The text; until the next change of this string or its end.
    [[nodiscard]] std::wstring_view View() const noexcept { return {m_data->Text(), m_data->length}; }
    operator std::wstring_view() const noexcept { return View(); }
    operator std::wstring() const { return std::wstring(View()); }
    /// The unit at pos; 0 past the end.
    wchar_t operator[](std::size_t pos) const noexcept { return pos < m_data->length ? m_data->Text()[pos] : L'\0'; }
    [[nodiscard]] wchar_t const* begin() const noexcept { return m_data->Text(); }
    [[nodiscard]] wchar_t const* end() const noexcept { return m_data->Text() + m_data->length; }

protected:
    XCStringStorage() noexcept : m_data(&glbEmptyData.header) {}
    /// Takes over one owner's part of the block.
    constexpr explicit XCStringStorage(DataDef* data) noexcept : m_data(data) {}
    XCStringStorage(XCStringStorage const& other) noexcept : m_data(other.m_data) { Share(m_data); }
    XCStringStorage(XCStringStorage&& other) noexcept : m_data(std::exchange(other.m_data, &glbEmptyData.header)) {}
    ~XCStringStorage() { Unshare(m_data); }
    XCStringStorage& operator=(XCStringStorage const& other) noexcept
    {
        Share(other.m_data);
        Unshare(std::exchange(m_data, other.m_data));
        return *this;
    }
    XCStringStorage& operator=(XCStringStorage&& other) noexcept
    {
        if (this != &other) Unshare(std::exchange(m_data, std::exchange(other.m_data, &glbEmptyData.header)));
        return *this;
    }
    /// Points at the empty block.
    void Drop() noexcept { Unshare(std::exchange(m_data, &glbEmptyData.header)); }
    /// Whether another string points at the block.
    [[nodiscard]] bool IsShared() const noexcept
    {
        return std::atomic_ref<std::int32_t>(m_data->shares).load(std::memory_order_acquire) > 0;
    }
    /// One more owner; the empty block counts none.
    static void Share(DataDef* data) noexcept
    {
        if (data->capacity != 0) std::atomic_ref<std::int32_t>(data->shares).fetch_add(1, std::memory_order_relaxed);
    }
    /// One owner less; the last one frees the block.
    static void Unshare(DataDef* data) noexcept
    {
        if (data->capacity == 0) return;
        // A sole owner cannot get company meanwhile: only owners hand a block on.
        std::atomic_ref<std::int32_t> const shares(data->shares);
        if (shares.load(std::memory_order_acquire) == 0 || shares.fetch_sub(1, std::memory_order_acq_rel) == 0)
            Free(data);
    }
    /// A block with room for n units, empty and with one owner. @throws std::bad_alloc
    static DataDef* Alloc(std::size_t n);
    /// Gives a block back that Alloc has made.
    static void Free(DataDef* data) noexcept;
    friend struct xc::text::StringAccess;

    DataDef* m_data; ///< The block; never null.
};
