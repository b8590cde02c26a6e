// A reader looks at one piece of bytes at a time, [m_at, m_end): the whole block, or a piece that its feed holds. What
// lies in the piece is read by one comparison and a load. Anything else goes through Want, the only place where a size
// is believed: it answers true when that many bytes have arrived. All that allocates for a size calls Want before.
//
// A failure empties the piece, so the fast path needs no test of the status. Positions count from the first byte, and
// pieces are found again by position: going back is nothing but showing another piece.
//
// The invariant of all operations: after a success the position is past the value, after a failure the value is
// unchanged and the status sticks. Limits are checked in Want and WantLength and nowhere else, so no new operation can
// forget them. What a source delivers costs one copy; what lies in a block costs none.
#include <XelbrinCore/XCBinaryReader.h>

#include "data/ByteFeed.h"
#include "data/DataErrors.h"

#include <algorithm>

using xc::data::ByteFeed;
using xc::data::DataError;
using xc::data::NumberParameter;

XCBinaryReader::XCBinaryReader(XCBytes block, XCByteOrder order, XCReadLimits const& limits) noexcept
    : m_order(order), m_block(block), m_limits(limits)
{
    Show(0);
}

XCBinaryReader::XCBinaryReader(XCByteSourceI& source, XCByteOrder order, XCReadLimits const& limits)
    : m_order(order), m_feed(std::make_unique<ByteFeed>(source, limits.readAhead)), m_limits(limits)
{
}

XCBinaryReader::~XCBinaryReader() = default;

// Failures ------------------------------------------------------------------------------------------------------

bool XCBinaryReader::SetFailed(XCReadStatus status, std::uint64_t position, XCErrorID error)
{
    // The first failure is the cause; what follows it are consequences.
    if (!Good()) return false;
    m_failedAt = position;
    m_status = status;
    m_error = std::move(error);
    m_at = m_end;
    return false;
}

bool XCBinaryReader::FailPastEnd(std::uint64_t position, std::uint64_t size)
{
    return SetFailed(XCReadStatus::PastEnd, position, DataError(XCErrDataPastEnd, position, size));
}

bool XCBinaryReader::FailLimit(wchar_t const* name, std::uint64_t limit)
{
    XCErrorID const error = xc::errors::MakeCoreError(XCErrDataLimit, NumberParameter(GetPosition()), XCString(name),
                                                      NumberParameter(limit));
    return SetFailed(XCReadStatus::LimitExceeded, GetPosition(), error);
}

bool XCBinaryReader::Fail(XCErrorID const& error)
{
    return error.Good() ? Fail() : SetFailed(XCReadStatus::Corrupt, GetPosition(), error);
}

bool XCBinaryReader::Fail()
{
    return SetFailed(XCReadStatus::Corrupt, GetPosition(), DataError(XCErrDataCorrupt, GetPosition()));
}

// Positions and pieces ------------------------------------------------------------------------------------------

std::uint64_t XCBinaryReader::GetPosition() const noexcept
{
    return Good() ? m_endPosition - AtHand() : m_failedAt;
}

XCBytes XCBinaryReader::GetUnread() const noexcept
{
    return {m_at, AtHand()};
}

/// Makes the piece that begins at the position the one at hand.
void XCBinaryReader::Show(std::uint64_t position) noexcept
{
    XCBytes piece = m_feed ? m_feed->PieceAt(position) : m_block.Slice(static_cast<std::size_t>(position));
    // The limit on all bytes cuts the piece, so the fast path runs into the end of it and asks Want, which knows why.
    if (piece.Size() > m_limits.maxBytes - position)
        piece = piece.Slice(0, static_cast<std::size_t>(m_limits.maxBytes - position));
    m_at = piece.begin();
    m_end = piece.end();
    m_endPosition = position + piece.Size();
}

/// The first position that may be asked for again.
std::uint64_t XCBinaryReader::FirstKept() const noexcept
{
    return m_marks.empty() ? GetPosition() : std::min(m_marks.front(), GetPosition());
}

/// True when `size` bytes from the position on are there; otherwise the failure.
bool XCBinaryReader::Want(std::uint64_t size)
{
    if (!Good()) return false;
    std::uint64_t const position = GetPosition();
    // A view of joined bytes ends with the next read, as the header says; so its storage is free here.
    m_joined.Clear();
    if (size > m_limits.maxBytes - position) return FailLimit(L"maxBytes", m_limits.maxBytes);
    if (!m_feed) return size <= m_block.Size() - position || FailPastEnd(position, size);
    m_feed->Drop(FirstKept());
    // A source that knows its end is believed when it says that too little is left: a claim of gigabytes in a short
    // file fails before a byte is read for it.
    if (!m_feed->MayReach(position + size)) return FailPastEnd(position, size);
    ByteFeed::Outcome const outcome = m_feed->HoldUpTo(position + size);
    Show(position);
    if (outcome == ByteFeed::Outcome::Failed)
        return SetFailed(XCReadStatus::SourceFailed, position, m_feed->GetError());
    return outcome == ByteFeed::Outcome::Enough || FailPastEnd(position, size);
}

/// The same for a length that the bytes claim.
bool XCBinaryReader::WantLength(std::uint64_t size, std::uint64_t most)
{
    return size <= most ? Want(size) : FailLimit(L"maxLength", most);
}

/// Takes bytes that Want has answered for.
void XCBinaryReader::CopyOut(void* to, std::size_t size) noexcept
{
    auto* out = static_cast<std::uint8_t*>(to);
    while (size > 0) {
        if (m_at == m_end) Show(m_endPosition);
        std::size_t const count = std::min(size, AtHand());
        std::memcpy(out, m_at, count);
        m_at += count;
        out += count;
        size -= count;
    }
}

bool XCBinaryReader::AtEnd()
{
    if (m_at != m_end) return false;
    if (!Good()) return true;
    std::uint64_t const position = GetPosition();
    if (!m_feed) return position >= m_block.Size();
    m_feed->Drop(FirstKept());
    // Only a source can tell whether more comes, so one byte is asked for.
    ByteFeed::Outcome const outcome = m_feed->HoldUpTo(position + 1);
    Show(position);
    if (outcome == ByteFeed::Outcome::Failed) SetFailed(XCReadStatus::SourceFailed, position, m_feed->GetError());
    return outcome != ByteFeed::Outcome::Enough;
}

XCBytes XCBinaryReader::Peek(std::size_t size)
{
    if (!Good() || size <= AtHand()) return GetUnread().Slice(0, size);
    if (!m_feed) return GetUnread();
    std::uint64_t const position = GetPosition();
    m_joined.Clear();
    m_feed->Drop(FirstKept());
    // A failure of the source shows itself again to whoever reads these bytes.
    m_feed->HoldUpTo(position + std::min<std::uint64_t>(size, m_limits.maxBytes - position));
    Show(position);
    if (size <= AtHand() || m_feed->PieceAt(m_endPosition).IsEmpty()) return GetUnread().Slice(0, size);
    while (m_joined.Size() < size && m_at != m_end) {
        m_joined.Append(GetUnread().Slice(0, size - m_joined.Size()));
        Show(m_endPosition);
    }
    Show(position);
    return m_joined;
}

/// Passes over bytes that have not all arrived, a piece at a time.
bool XCBinaryReader::SkipPieces(std::uint64_t size)
{
    std::uint64_t const start = GetPosition();
    for (std::uint64_t position = start; position < start + size;) {
        std::uint64_t const next = std::min<std::uint64_t>(position + ByteFeed::kPiece, start + size);
        ByteFeed::Outcome const outcome = m_feed->HoldUpTo(next);
        if (outcome == ByteFeed::Outcome::Failed)
            return SetFailed(XCReadStatus::SourceFailed, start, m_feed->GetError());
        if (outcome == ByteFeed::Outcome::TooFew) return FailPastEnd(start, size);
        m_feed->Drop(m_marks.empty() ? next : std::min(m_marks.front(), next));
        position = next;
    }
    Show(start + size);
    return true;
}

bool XCBinaryReader::Skip(std::uint64_t size)
{
    if (size > AtHand()) {
        // Want would hold all bytes at once; passing over needs one piece at a time.
        if (m_feed && size > ByteFeed::kPiece && Good()) {
            std::uint64_t const position = GetPosition();
            if (size > m_limits.maxBytes - position) return FailLimit(L"maxBytes", m_limits.maxBytes);
            if (!m_feed->MayReach(position + size)) return FailPastEnd(position, size);
            return SkipPieces(size);
        }
        if (!Want(size)) return false;
        Show(GetPosition() + size);
        return true;
    }
    m_at += size;
    return Good();
}

bool XCBinaryReader::Seek(std::uint64_t position)
{
    if (!Good()) return false;
    // Forward over a source is reading; backward only as far as an open part keeps its bytes.
    if (m_feed && position > GetPosition()) return Skip(position - GetPosition());
    std::uint64_t const first = m_feed ? FirstKept() : 0;
    if (position < first || (!m_feed && position > std::min<std::uint64_t>(m_block.Size(), m_limits.maxBytes)))
        return false;
    Show(position);
    return true;
}

// Parts ---------------------------------------------------------------------------------------------------------

void XCBinaryReader::Begin()
{
    m_marks.push_back(GetPosition());
}

XCReadStatus XCBinaryReader::Commit()
{
    XCReadStatus const found = m_status;
    if (m_marks.empty()) return found;
    // Too few bytes at the end of the outermost part: the part is taken back, so the caller reads it again when more
    // came.
    if (found == XCReadStatus::PastEnd && m_marks.size() == 1)
        RollBack();
    else
        m_marks.pop_back();
    return found;
}

void XCBinaryReader::RollBack()
{
    if (m_marks.empty()) return;
    std::uint64_t const position = m_marks.back();
    m_marks.pop_back();
    // Going back forgives what another try may not meet again; damaged bytes stay damaged.
    if (m_status == XCReadStatus::PastEnd || m_status == XCReadStatus::SourceFailed) {
        m_status = XCReadStatus::Good;
        m_error = {};
    }
    if (Good()) Show(position);
}

// Numbers and bytes ---------------------------------------------------------------------------------------------

bool XCBinaryReader::ReadRaw(void* to, std::size_t size)
{
    if (size > AtHand() && !Want(size)) return false;
    if (Good()) CopyOut(to, size);
    return Good();
}

XCBytes XCBinaryReader::ReadView(std::size_t size)
{
    if (size > AtHand() && !Want(size)) return {};
    if (size <= AtHand()) {
        XCBytes const view(m_at, size);
        m_at += size;
        return view;
    }
    // The bytes stand in several pieces, and a view has one.
    CopyOut(m_joined.Extend(size), size);
    return m_joined;
}

bool XCBinaryReader::ReadVarBits(std::uint64_t& value, std::uint64_t most)
{
    std::uint64_t result = 0;
    for (unsigned int shift = 0;; shift += 7) {
        std::uint8_t byte = 0;
        if (!Load(byte)) return false;
        if (shift == 63 && byte > 1) return Fail(); // more than 64 bits
        result |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
        if (byte >= 0x80) continue;
        if (byte == 0 && shift != 0) return Fail(); // a longer form of a smaller number
        break;
    }
    if (result > most) return Fail();
    value = result;
    return true;
}

bool XCBinaryReader::ReadLength(std::size_t& size, XCLengthForm form)
{
    std::uint8_t small = 0;
    std::uint16_t medium = 0;
    std::uint32_t large = 0;
    switch (form) {
    case XCLengthForm::Bits8: Read(small); break;
    case XCLengthForm::Bits16: Read(medium); break;
    case XCLengthForm::Bits32: Read(large); break;
    default: return ReadVar(size);
    }
    size = std::size_t{small} + medium + large;
    return Good();
}

bool XCBinaryReader::ReadBytesView(XCBytes& bytes, XCLengthForm length)
{
    std::size_t size = 0;
    if (!ReadLength(size, length) || !WantLength(size, m_limits.maxLength)) return false;
    bytes = ReadView(size);
    return true;
}

bool XCBinaryReader::ReadBytes(XCBuffer& bytes, XCLengthForm length)
{
    std::size_t size = 0;
    if (!ReadLength(size, length) || !WantLength(size, m_limits.maxLength)) return false;
    if (size > bytes.Capacity()) bytes = XCBuffer(); // nothing can fail any more but memory
    bytes.Resize(0);
    CopyOut(bytes.Extend(size), size);
    return true;
}

bool XCBinaryReader::ReadCount(std::size_t& count, std::size_t leastSize)
{
    std::size_t const least = std::max<std::size_t>(leastSize, 1);
    std::size_t claimed = 0;
    if (!ReadVar(claimed)) return false;
    // By division: the product could wrap.
    if (claimed > m_limits.maxLength / least) return FailLimit(L"maxLength", m_limits.maxLength);
    if (!Want(std::uint64_t{claimed} * least)) return false;
    count = claimed;
    return true;
}
