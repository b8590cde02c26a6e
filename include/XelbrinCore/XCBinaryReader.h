// XCBinaryReader.h - typed values out of bytes that nobody vouches for.
//
// WHAT     The way back of XCBinaryWriter: numbers, texts, bytes and the library's values, from a block in memory or from
//          a source. Every call that reads answers whether it could, and leaves its argument alone when not.
// STATUS   Sticky: after the first failure every call answers false at once, so a record is read without a test a field.
//              PastEnd        the bytes ended inside the value
//              Corrupt        bytes that no such value has, or a failure that the caller has set
//              LimitExceeded  a budget of XCReadLimits is used up; the error names it
//              SourceFailed   the source reported an error
// LENGTHS  No length or count that bytes claim is believed before the source can have that much: before anything is
//          allocated for it, the bytes have arrived, or the source has told that they remain. Bytes that arrive are
//          kept in pieces of at most 32 KiB. So the memory in use is at most twice the bytes received, plus 64 KiB.
//          A text in UTF-8 out of a source needs three times its bytes while it is read: they are held until all have
//          arrived, and it may become twice as many bytes in UTF-16.
// PARTS    Begin marks a place. Commit takes what was read since; when the bytes ended too early it goes back to the
//          place instead, in Good status, to try again when more has arrived. RollBack always goes back. They nest.
//
//              reader.Begin();
//              reader.Read(kind) && reader.ReadText(name);
//              switch (reader.Commit()) {
//              case XCReadStatus::Good: Handle(kind, name); break;
//              case XCReadStatus::PastEnd: return; // the rest is still on its way
//              default: Disconnect(reader.GetError());
//              }
//
// COST     A number: a comparison and a load. A source is asked for `readAhead` bytes at a time.
// LIFETIME Block and source must live as long as the reader. A view lives as long as the block, or until the next call
//          when the reader stands over a source.
// ERRORS   No memory: std::bad_alloc.
// THREADS  One thread at a time.
#pragma once

#include <XelbrinCore/XCBinaryWriter.h>
#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCByteStream.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

namespace xc::data {
class ByteFeed;
} // namespace xc::data

/// How a reader fares (see the head of this file).
enum class XCReadStatus { Good, PastEnd, Corrupt, LimitExceeded, SourceFailed };

/// The budgets of a reader.
struct XCReadLimits {
    /// Bytes read in all.
    std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max();
    /// Bytes of one text, one run of bytes, one list or one frame.
    std::size_t maxLength = std::size_t{1} << 30;
    /// Objects inside objects (XCMarshaller).
    unsigned int maxDepth = 64;
    /// Bytes that a source is asked for at a time, up to 32 KiB. 0: never more than the value at hand needs, so that
    /// somebody else may go on with the source.
    std::size_t readAhead = 4096;
};

/// Reads typed values (see the head of this file).
class XC_API XCBinaryReader {
public:
    /// Over a block, which is not copied.
    explicit XCBinaryReader(XCBytes block, XCByteOrder order = XCByteOrder::Little,
                            XCReadLimits const& limits = {}) noexcept;
    /// Over a source.
    explicit XCBinaryReader(XCByteSourceI& source, XCByteOrder order = XCByteOrder::Little,
                            XCReadLimits const& limits = {});
    XCBinaryReader(XCBinaryReader const&) = delete;
    XCBinaryReader& operator=(XCBinaryReader const&) = delete;
    ~XCBinaryReader();

    /// The byte order of the numbers to come.
    [[nodiscard]] XCByteOrder GetOrder() const noexcept { return m_order; }
    /// Of the numbers to come; what was read stays.
    void SetOrder(XCByteOrder order) noexcept { m_order = order; }
    /// The budgets that were given.
    [[nodiscard]] XCReadLimits const& GetLimits() const noexcept { return m_limits; }
    /// The first failure that was met; it stays until a roll back or the end of the reader.
    [[nodiscard]] XCReadStatus Status() const noexcept { return m_status; }
    /// Whether all went well so far.
    [[nodiscard]] bool Good() const noexcept { return m_status == XCReadStatus::Good; }
    /// Success, or the failure with its position: XCErrDataPastEnd, XCErrDataCorrupt, XCErrMalformedText and so on, the
    /// source's own error, or what Fail was given.
    [[nodiscard]] XCErrorID const& GetError() const noexcept { return m_error; }
    /// Sets the status Corrupt with an error of the caller's: a value that was read makes no sense. The first failure
    /// stays. Returns false.
    bool Fail(XCErrorID const& error);
    /// The same with XCErrDataCorrupt and the position.
    bool Fail();
    /// How many bytes were read; after a failure the place where it was seen.
    [[nodiscard]] std::uint64_t GetPosition() const noexcept;
    /// Whether no byte is left now, or the reader has failed. Asks the source when nothing is held.
    [[nodiscard]] bool AtEnd();
    /// What has been taken from the source, or stands in the block, and has not been read: the piece at hand.
    [[nodiscard]] XCBytes GetUnread() const noexcept;

    /// A number of fixed width.
    template <XCFixedWidth T>
    bool Read(T& value)
    {
        using Number = xc::data::Bits<sizeof(T)>;
        Number number{};
        if (!Load(number)) return false;
        if constexpr (std::is_floating_point_v<T>)
            value = std::bit_cast<T>(number);
        else if constexpr (std::is_signed_v<T>)
            value = static_cast<T>(static_cast<std::make_signed_t<Number>>(number));
        else
            value = static_cast<T>(number);
        return true;
    }
    /// 0 or 1; anything else is Corrupt.
    bool Read(bool& value);
    /// A text in UTF-8 after a length of variable width.
    bool Read(XCString& text) { return ReadText(text); }
    /// What no setter of the class would store is Corrupt.
    bool Read(XCDateEx& value);
    bool Read(XCTimeEx& value);
    bool Read(XCDateTimeEx& value);
    bool Read(XCDurationEx& value);
    bool Read(XCDate& value);
    bool Read(XCDateTime& value);
    bool Read(XCDouble& value);
    bool Read(XCGuid& value);
    /// An error as XCBinaryWriter wrote it. One of the library's own has its parameters again, and a text in the
    /// language of the reader; any other is an XCErrorString with the text that its writer saw.
    bool Read(XCErrorID& error);
    /// The same; errors that are not the library's own become errors of `source` (XCMessageSource.h), with their parameters.
    bool ReadError(XCErrorID& error, XCSmartPtrToConst<XCMessageSource> const& source);

    /// A number of variable length. Corrupt: more than T holds, or more bytes than it needs.
    template <std::integral T>
    bool ReadVar(T& value)
    {
        std::uint64_t bits = 0;
        if constexpr (std::is_signed_v<T>) {
            if (!LoadVar(bits, static_cast<std::uint64_t>(std::numeric_limits<T>::max()) * 2 + 1)) return false;
            value = static_cast<T>((bits >> 1) ^ (~(bits & 1) + 1));
        } else {
            if (!LoadVar(bits, std::numeric_limits<T>::max())) return false;
            value = static_cast<T>(bits);
        }
        return true;
    }
    /// A text after its length in bytes. Corrupt: malformed UTF-8, half a unit of UTF-16.
    bool ReadText(XCString& text, XCTextForm form = XCTextForm::Utf8, XCLengthForm length = XCLengthForm::Var);
    /// Bytes after their length; replaces those of the buffer.
    bool ReadBytes(XCBuffer& bytes, XCLengthForm length = XCLengthForm::Var);
    /// Exactly `size` bytes, without a length before them.
    bool ReadRaw(void* to, std::size_t size);
    /// The next `size` bytes without a copy, where they lie in one piece. Empty after a failure.
    [[nodiscard]] XCBytes ReadView(std::size_t size);
    /// Bytes after their length, as ReadView shows them.
    bool ReadBytesView(XCBytes& bytes, XCLengthForm length = XCLengthForm::Var);
    /// Numbers of fixed width one after the other, without a count.
    template <XCFixedWidth T>
    bool ReadArray(T* values, std::size_t count)
    {
        if (m_order == XCByteOrder::Little && count <= kMaxArray / sizeof(T)) return ReadRaw(values, count * sizeof(T));
        for (std::size_t i = 0; i < count; ++i)
            if (!Read(values[i])) return false;
        return true;
    }
    /// How many elements follow, each of at least `leastSize` bytes. True only when the source can have that many: the
    /// caller may allocate for them.
    bool ReadCount(std::size_t& count, std::size_t leastSize = 1);

    /// The next `size` bytes, which stay unread. Fewer, and no failure, when fewer are left.
    [[nodiscard]] XCBytes Peek(std::size_t size);
    /// Passes over bytes. Those of a source are not kept, unless Begin wants them.
    bool Skip(std::uint64_t size);
    /// Goes to a position of a block; over a source forward as Skip does, and back to what Begin still holds. False, and
    /// no failure, for a place behind a block's end or before what is held; after a failure false.
    bool Seek(std::uint64_t position);

    /// Marks the place to which Commit and RollBack go back.
    void Begin();
    /// Ends the innermost Begin. Good: what was read is taken. PastEnd: the outermost Commit goes back to its place, as
    /// RollBack does; an inner one leaves that to it. Otherwise the status stays. Returns the status it found.
    XCReadStatus Commit();
    /// Ends the innermost Begin and goes back to its place; PastEnd and SourceFailed become Good again. After another
    /// failure the status stays.
    void RollBack();

private:
    friend class XCMarshaller;
    static constexpr std::size_t kMaxArray = std::numeric_limits<std::size_t>::max();

    template <class U>
    bool Load(U& number)
    {
        if (static_cast<std::size_t>(m_end - m_at) >= sizeof number) {
            std::memcpy(&number, m_at, sizeof number);
            m_at += sizeof number;
        } else if (!ReadRaw(&number, sizeof number)) {
            return false;
        }
        if ((m_order == XCByteOrder::Big) == (std::endian::native == std::endian::little))
            number = xc::data::SwapBytes(number);
        return true;
    }
    bool LoadVar(std::uint64_t& bits, std::uint64_t most)
    {
        if (m_at == m_end || *m_at >= 0x80 || *m_at > most) return ReadVarBits(bits, most);
        bits = *m_at++;
        return true;
    }
    bool Want(std::uint64_t size);
    bool WantLength(std::uint64_t size, std::uint64_t most);
    [[nodiscard]] std::size_t AtHand() const noexcept { return static_cast<std::size_t>(m_end - m_at); }
    [[nodiscard]] std::uint64_t FirstKept() const noexcept;
    bool SkipPieces(std::uint64_t size);
    void CopyOut(void* to, std::size_t size) noexcept;
    void Show(std::uint64_t position) noexcept;
    bool ReadVarBits(std::uint64_t& value, std::uint64_t most);
    bool ReadLength(std::size_t& size, XCLengthForm form);
    bool ReadUtf8(XCString& text, std::size_t size);
    bool ReadUtf8Pieces(XCString& text, std::size_t size);
    bool ReadUtf16(XCString& text, std::size_t size);
    bool ReadParameter(XCErrorWithArgs& error);
    bool ReadError(XCErrorID& error, XCSmartPtrToConst<XCMessageSource> const& source, bool own);
    bool SetFailed(XCReadStatus status, std::uint64_t position, XCErrorID error);
    bool FailPastEnd(std::uint64_t position, std::uint64_t size);
    bool FailLimit(wchar_t const* name, std::uint64_t limit);

    std::uint8_t const* m_at = nullptr; // the piece at hand; a failure makes it empty
    std::uint8_t const* m_end = nullptr;
    XCByteOrder m_order;
    XCReadStatus m_status = XCReadStatus::Good;
    unsigned int m_depth = 0;
    std::uint64_t m_endPosition = 0; // of m_end
    std::uint64_t m_failedAt = 0;
    XCBytes m_block;
    std::unique_ptr<xc::data::ByteFeed> m_feed; // null: over a block
    XCBuffer m_joined;                          // a view over several pieces
    XCReadLimits m_limits;
    std::vector<std::uint64_t> m_marks;
    XCErrorID m_error;
};
