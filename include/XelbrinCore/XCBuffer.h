// XCBuffer.h - bytes: a view of those of somebody else, and a growable block of one's own.
//
// WHAT     XCBytes is a pointer and a count; it owns nothing. XCBuffer owns its bytes and grows. XCBlob (XCBlob.h) is
//          the third kind: bytes that no longer change and are shared.
// SHAPE    The bytes of an XCBuffer begin at a multiple of 32, so that they may be read as any plain type and in vector
//          steps. An empty buffer owns no storage.
// COST     Appending n bytes one by one: O(n) in total, the capacity grows by half. Copying a buffer copies its bytes;
//          moving it, and Detach, do not.
// LIFETIME A view lives until the next change of the buffer it looks into, or its end.
// ALIASING Bytes that are appended or inserted may lie in the buffer that is being changed.
// ERRORS   A position past the end is no error: slices are cut, searches answer npos. More than kMaxSize bytes:
//          std::length_error. No memory: std::bad_alloc. A call that throws changes nothing.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ranges>
#include <type_traits>
#include <utility>

class XCBlob;
class XCBuffer;
namespace xc::data {
struct Block;
} // namespace xc::data

/// Which of the two usual alphabets of base64 a text uses.
enum class XCBase64 {
    Standard, ///< "+" and "/"; filled up with "=" to a multiple of four
    Url       ///< "-" and "_"; not filled up
};

/// A view of bytes that somebody else owns. A small value.
class XC_API XCBytes {
public:
    /// "Not found", and as a count "up to the end".
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    constexpr XCBytes() noexcept = default;
    /// @param bytes may be null when the size is 0.
    XCBytes(void const* bytes, std::size_t size) noexcept
        : m_data(static_cast<std::uint8_t const*>(bytes)), m_size(size)
    {
    }
    /// The bytes of a std::string, a std::string_view, a vector or a span of a type of one byte. (An array of char is
    /// refused, since the NUL of a literal would count.)
    template <std::ranges::contiguous_range Range>
    requires(sizeof(std::ranges::range_value_t<Range>) == 1 && std::ranges::sized_range<Range> &&
             !std::is_array_v<std::remove_cvref_t<Range>> && !std::derived_from<std::remove_cvref_t<Range>, XCBytes> &&
             !std::same_as<std::remove_cvref_t<Range>, XCBuffer>) XCBytes(Range const& range)
    noexcept : XCBytes(std::ranges::data(range), std::ranges::size(range)) {}

    /// The first byte; null in a view that was made without bytes.
    [[nodiscard]] constexpr std::uint8_t const* Data() const noexcept { return m_data; }
    /// How many bytes.
    [[nodiscard]] constexpr std::size_t Size() const noexcept { return m_size; }
    /// Whether there are none.
    [[nodiscard]] constexpr bool IsEmpty() const noexcept { return m_size == 0; }
    [[nodiscard]] constexpr std::uint8_t const* begin() const noexcept { return m_data; }
    [[nodiscard]] constexpr std::uint8_t const* end() const noexcept { return m_data + m_size; }
    /// The byte at pos; 0 past the end.
    constexpr std::uint8_t operator[](std::size_t pos) const noexcept
    {
        return pos < m_size ? m_data[pos] : std::uint8_t{0};
    }

    /// At most `count` bytes from pos on; empty past the end.
    [[nodiscard]] XCBytes Slice(std::size_t pos, std::size_t count = npos) const noexcept
    {
        std::size_t const start = std::min(pos, m_size);
        return {m_data + start, std::min(count, m_size - start)};
    }
    /// The first place at or after start. No bytes are found at start, when that is not past the end. Time is linear
    /// in both sizes, also for periodic bytes.
    [[nodiscard]] std::size_t Find(XCBytes bytes, std::size_t start = 0) const;
    /// The first place at or after start.
    [[nodiscard]] std::size_t Find(std::uint8_t value, std::size_t start = 0) const noexcept;
    /// Whether the first bytes are these; no bytes begin everything.
    [[nodiscard]] bool StartsWith(XCBytes bytes) const noexcept { return Slice(0, bytes.m_size) == bytes; }
    /// Whether the last bytes are these; no bytes end everything.
    [[nodiscard]] bool EndsWith(XCBytes bytes) const noexcept
    {
        return bytes.m_size <= m_size && Slice(m_size - bytes.m_size) == bytes;
    }

    /// Two digits a byte, in lower case: "00ff10".
    [[nodiscard]] XCString AsHex() const;
    /// As base64, on one line.
    [[nodiscard]] XCString AsBase64(XCBase64 alphabet = XCBase64::Standard) const;

    /// Whether both have the same bytes.
    friend bool operator==(XCBytes a, XCBytes b) noexcept
    {
        return a.m_size == b.m_size && (a.m_size == 0 || std::memcmp(a.m_data, b.m_data, a.m_size) == 0);
    }
    /// Byte by byte as unsigned numbers; a beginning comes before the whole.
    friend std::strong_ordering operator<=>(XCBytes a, XCBytes b) noexcept
    {
        std::size_t const common = std::min(a.m_size, b.m_size);
        int const order = common == 0 ? 0 : std::memcmp(a.m_data, b.m_data, common);
        return order != 0 ? order <=> 0 : a.m_size <=> b.m_size;
    }

private:
    std::uint8_t const* m_data = nullptr;
    std::size_t m_size = 0;
};

/// A growable block of bytes (see the head of this file).
class XC_API XCBuffer {
public:
    /// The most bytes of a buffer.
    static constexpr std::size_t kMaxSize = static_cast<std::size_t>(-1) / 4;
    /// Where the bytes begin: at a multiple of this.
    static constexpr std::size_t kAlignment = 32;

    XCBuffer() noexcept = default;
    /// Copies the bytes.
    explicit XCBuffer(XCBytes bytes) { Append(bytes); }
    XCBuffer(XCBuffer const& other) { Append(other.View()); }
    XCBuffer(XCBuffer&& other) noexcept { Swap(other); }
    ~XCBuffer() { Clear(); }
    XCBuffer& operator=(XCBuffer const& other)
    {
        if (this != &other) XCBuffer(other).Swap(*this);
        return *this;
    }
    XCBuffer& operator=(XCBuffer&& other) noexcept
    {
        XCBuffer(std::move(other)).Swap(*this);
        return *this;
    }
    /// Exchanges the bytes. Never fails.
    void Swap(XCBuffer& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
    }

    /// The first byte; null while the buffer owns no storage.
    [[nodiscard]] std::uint8_t* Data() noexcept { return m_data; }
    [[nodiscard]] std::uint8_t const* Data() const noexcept { return m_data; }
    /// How many bytes.
    [[nodiscard]] std::size_t Size() const noexcept { return m_size; }
    /// Whether there are none.
    [[nodiscard]] bool IsEmpty() const noexcept { return m_size == 0; }
    /// Bytes that fit without new storage.
    [[nodiscard]] std::size_t Capacity() const noexcept { return m_capacity; }
    /// All bytes; until the next change of this buffer or its end.
    [[nodiscard]] XCBytes View() const noexcept { return {m_data, m_size}; }
    operator XCBytes() const noexcept { return View(); }
    /// The byte at pos; 0 past the end.
    std::uint8_t operator[](std::size_t pos) const noexcept { return View()[pos]; }

    /// Adds at the end.
    XCBuffer& Append(XCBytes bytes);
    XCBuffer& Append(std::uint8_t value)
    {
        if (m_size == m_capacity) Grow(1);
        m_data[m_size++] = value;
        return *this;
    }
    /// Adds `count` bytes of no particular value at the end and returns the first of them: room for what a source or a
    /// call of the system fills in.
    std::uint8_t* Extend(std::size_t count)
    {
        if (count > m_capacity - m_size) Grow(count);
        return m_data + std::exchange(m_size, m_size + count);
    }
    /// Inserts before pos; a pos past the end appends.
    XCBuffer& Insert(std::size_t pos, XCBytes bytes);
    /// Takes out `count` bytes from pos on, at most those that are there.
    XCBuffer& Erase(std::size_t pos, std::size_t count = XCBytes::npos) noexcept;
    /// Cuts the end off, or adds bytes of the value `fill`.
    void Resize(std::size_t size, std::uint8_t fill = 0);
    /// Makes sure of room for `capacity` bytes in all. A buffer never shrinks.
    void Reserve(std::size_t capacity)
    {
        if (capacity > m_capacity) Reallocate(capacity);
    }
    /// Releases the bytes and their storage.
    void Clear() noexcept;
    /// Hands the bytes over, without a copy; the buffer is empty afterwards.
    [[nodiscard]] XCBlob Detach();

    /// Reads what XCBytes::AsHex gives, in any case. Bad (XCErrDataText), and `result` as it was: anything else.
    static XCErrorID FromHex(XCBuffer& result, XCString const& text);
    /// Reads what XCBytes::AsBase64 gives. Bad (XCErrDataText), and `result` as it was: a unit outside the alphabet, a
    /// wrong length, bits set that stand for no byte. With XCBase64::Url the "=" at the end may be there.
    static XCErrorID FromBase64(XCBuffer& result, XCString const& text, XCBase64 alphabet = XCBase64::Standard);

    friend bool operator==(XCBuffer const& a, XCBuffer const& b) noexcept { return a.View() == b.View(); }

private:
    void Grow(std::size_t more);
    void Reallocate(std::size_t capacity);

    std::uint8_t* m_data = nullptr; // behind the head of its block
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

/// The checksum CRC-32C (Castagnoli), as storage and network protocols use it. "123456789" gives 0xE3069283.
/// @param previous the checksum of the bytes before these, to go on from.
/// Cost: 8 bytes in three cycles where the processor has an instruction for it, else by tables in about ten.
XC_API std::uint32_t XCCrc32c(XCBytes bytes, std::uint32_t previous = 0) noexcept;
