// XCBinaryWriter.h - typed values into bytes.
//
// WHAT     Writes numbers of fixed width in either byte order, numbers of variable length, texts and bytes with their
//          length before them, and the library's values. docs/binary-data.md has the form of each. The bytes go to a
//          sink, or stay with the writer when it has none. XCBinaryReader is the way back.
// STATUS   Sticky: after the first failure nothing more is written, and Flush and GetError tell it. So a record is
//          written without a test a field, and one look at the end tells.
// PLACES   Mark writes a number that is not known yet (a length, a count); Patch sets it. Between the two the bytes stay
//          in memory, since those in the sink cannot be changed any more.
// COST     A number: a comparison and a store. Sinks are called for every 4 KiB.
// LIFETIME The sink must live longer than the writer. The writer's end flushes; nobody learns of a failure then: call
//          Flush.
// ERRORS   No memory: std::bad_alloc.
// THREADS  One thread at a time.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCByteStream.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

class XCBlob;
class XCDate;
class XCDateEx;
class XCDateTime;
class XCDateTimeEx;
class XCDurationEx;
class XCGuid;
class XCTimeEx;

/// @cond
namespace xc::data {

/// The unsigned number of a width, to be stored as it is.
template <std::size_t Size>
using Bits = std::conditional_t<
    Size == 1, std::uint8_t,
    std::conditional_t<Size == 2, std::uint16_t, std::conditional_t<Size == 4, std::uint32_t, std::uint64_t>>>;

template <std::unsigned_integral U>
constexpr U SwapBytes(U value) noexcept
{
    // In the steps that compilers know as one instruction.
    std::uint64_t swapped = value;
    swapped = (swapped & 0x00FF00FF00FF00FFu) << 8 | (swapped >> 8 & 0x00FF00FF00FF00FFu);
    swapped = (swapped & 0x0000FFFF0000FFFFu) << 16 | (swapped >> 16 & 0x0000FFFF0000FFFFu);
    swapped = swapped << 32 | swapped >> 32;
    return static_cast<U>(swapped >> (64 - 8 * sizeof(U)));
}

} // namespace xc::data
/// @endcond

/// The types that Write and Read take as numbers of fixed width: whole numbers of 8 to 64 bits, float
/// and double, bit for bit. Enumerations want a cast, so that what is read is looked at before it is trusted.
template <class T>
concept XCFixedWidth =
    (std::integral<T> && !std::same_as<T, bool> && sizeof(T) <= 8) || std::same_as<T, float> || std::same_as<T, double>;

/// Writes typed values (see the head of this file).
class XC_API XCBinaryWriter {
public:
    /// Keeps the bytes: GetBytes and TakeBuffer hand them out.
    explicit XCBinaryWriter(XCByteOrder order = XCByteOrder::Little) noexcept;
    /// Passes the bytes to the sink.
    explicit XCBinaryWriter(XCByteSinkI& sink, XCByteOrder order = XCByteOrder::Little) noexcept;
    XCBinaryWriter(XCBinaryWriter const&) = delete;
    XCBinaryWriter& operator=(XCBinaryWriter const&) = delete;
    ~XCBinaryWriter();

    /// The byte order of the numbers to come.
    [[nodiscard]] XCByteOrder GetOrder() const noexcept { return m_order; }
    /// Of the numbers to come; what was written stays.
    void SetOrder(XCByteOrder order) noexcept { m_order = order; }
    /// Whether all went well so far.
    [[nodiscard]] bool Good() const noexcept { return m_error.Good(); }
    /// The first failure: of the sink, or of a value that its form cannot hold.
    [[nodiscard]] XCErrorID const& GetError() const noexcept { return m_error; }
    /// Makes a failure of the caller's the writer's; the first one stays.
    void Fail(XCErrorID const& error);
    /// How many bytes were written.
    [[nodiscard]] std::uint64_t GetPosition() const noexcept { return m_flushed + Pending(); }

    /// A number of fixed width.
    template <XCFixedWidth T>
    void Write(T value)
    {
        using Number = xc::data::Bits<sizeof(T)>;
        if constexpr (std::is_floating_point_v<T>)
            Store(std::bit_cast<Number>(value));
        else
            Store(static_cast<Number>(value));
    }
    /// One byte, 0 or 1. (A template, so that no pointer passes for a bool.)
    template <std::same_as<bool> T>
    void Write(T value)
    {
        Store(static_cast<std::uint8_t>(value ? 1 : 0));
    }
    /// As WriteText in UTF-8 with a length of variable width.
    void Write(XCString const& text) { WriteText(text); }
    /// The words that the value's own AsInt or AsInt64 gives.
    void Write(XCDateEx const& value);
    void Write(XCTimeEx const& value);
    void Write(XCDateTimeEx const& value);
    void Write(XCDurationEx const& value);
    void Write(XCDate const& value);
    void Write(XCDateTime const& value);
    /// The double, and one byte for its decimals.
    void Write(XCDouble const& value);
    /// 16 bytes, the fields of the identity in the byte order of the stream.
    void Write(XCGuid const& value);
    /// Success, or code, severity, parameters and text. A reader has the parameters back where it knows the source.
    void Write(XCErrorID const& error);

    /// A number in as few bytes as it needs, seven bits a byte, the lowest first; signed ones zig-zag (0, -1, 1, -2).
    template <std::integral T>
    void WriteVar(T value)
    {
        if constexpr (std::is_signed_v<T>)
            WriteVarBits((static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value < 0 ? -1 : 0));
        else
            WriteVarBits(value);
    }
    /// A text after its length in bytes. An unpaired surrogate in UTF-8 (XCErrUnmappableUnit) and a length that its
    /// form cannot hold (XCErrDataTooLong) are failures; nothing of the text is written.
    void WriteText(XCString const& text, XCTextForm form = XCTextForm::Utf8, XCLengthForm length = XCLengthForm::Var);
    /// Bytes after their length; XCErrDataTooLong when its form cannot hold it.
    void WriteBytes(XCBytes bytes, XCLengthForm length = XCLengthForm::Var);
    /// Bytes as they are, without a length. They must not lie in the memory of this writer.
    void WriteRaw(XCBytes bytes);
    /// Numbers of fixed width one after the other, without a count.
    template <XCFixedWidth T>
    void WriteArray(T const* values, std::size_t count)
    {
        if (m_order == XCByteOrder::Little)
            WriteRaw({values, count * sizeof(T)});
        else
            for (std::size_t i = 0; i < count; ++i) Write(values[i]);
    }
    /// How many elements follow, as XCBinaryReader::ReadCount reads it.
    void WriteCount(std::size_t count) { WriteVar(static_cast<std::uint64_t>(count)); }

    /// Writes a number that Patch will replace; returns its position. Each marked place wants one Patch.
    template <XCFixedWidth T>
    [[nodiscard]] std::uint64_t Mark(T placeholder)
    {
        std::uint64_t const position = OpenMark();
        Write(placeholder);
        return position;
    }
    /// Replaces the number at a marked place, in the byte order that is set now. T must be the type that was marked.
    /// @throws XCException when the place is not marked.
    template <XCFixedWidth T>
    void Patch(std::uint64_t position, T value)
    {
        using Number = xc::data::Bits<sizeof(T)>;
        Number number{};
        if constexpr (std::is_floating_point_v<T>)
            number = std::bit_cast<Number>(value);
        else
            number = static_cast<Number>(value);
        number = InOrder(number);
        Overwrite(position, &number, sizeof number);
        CloseMark(position);
    }
    /// The bytes from a position on, as far as they are still in memory: all of them without a sink, with one those from
    /// the first marked place on. Until the next call that writes.
    [[nodiscard]] XCBytes GetBytes(std::uint64_t from = 0) const noexcept;

    /// Passes on what is held back, and has the sink do the same. Bad: GetError(), or XCErrDataOpenMark when a marked
    /// place still waits (what stands before it has been passed on).
    XCErrorID Flush();
    /// Hands the bytes over that are in memory and begins anew at position 0, in Good status.
    [[nodiscard]] XCBuffer TakeBuffer();
    /// Begins anew at position 0, in Good status; what is in memory is dropped, its storage kept.
    void Clear() noexcept;

private:
    friend class XCMarshaller;
    template <class U>
    [[nodiscard]] U InOrder(U number) const noexcept
    {
        return (m_order == XCByteOrder::Big) == (std::endian::native == std::endian::little)
                   ? xc::data::SwapBytes(number)
                   : number;
    }
    template <class U>
    void Store(U number)
    {
        if (static_cast<std::size_t>(m_end - m_at) < sizeof number && !MakeRoom(sizeof number)) return;
        number = InOrder(number);
        std::memcpy(m_at, &number, sizeof number);
        m_at += sizeof number;
    }
    [[nodiscard]] std::size_t Pending() const noexcept { return static_cast<std::size_t>(m_at - m_buffer.Data()); }
    [[nodiscard]] std::uint64_t FirstMark() const noexcept;
    bool MakeRoom(std::size_t size);
    bool PassOn();
    bool WriteLength(std::size_t size, XCLengthForm form);
    void WriteVarBits(std::uint64_t value);
    void WriteUtf8(XCString const& text, XCLengthForm length);
    void WriteParameter(XCErrorI const& error, std::size_t index);
    std::uint64_t OpenMark();
    void Overwrite(std::uint64_t position, void const* bytes, std::size_t size);
    void CloseMark(std::uint64_t position);
    void TakeBack(std::uint64_t position) noexcept;
    void SetFailed(XCErrorID error) noexcept;

    std::uint8_t* m_at = nullptr; // the next byte; the room ends at m_end, which a failure closes
    std::uint8_t* m_end = nullptr;
    XCByteOrder m_order;
    XCBuffer m_buffer; // its size is its room; the bytes in use end at m_at
    XCByteSinkI* m_sink = nullptr;
    std::uint64_t m_flushed = 0; // bytes that have left the buffer
    std::vector<std::uint64_t> m_marks;
    XCErrorID m_error;
};
