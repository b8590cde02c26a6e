// The bytes of a source, held in pieces from the first position that is still wanted to the last that has come.
//
// Pieces never move: a view that a reader has handed out stays valid while more bytes arrive behind it, so growth
// appends a piece instead of enlarging one. A piece holds what was asked for, at most kPiece bytes, so that a claim of
// gigabytes costs one piece until the bytes are really there; read-ahead sets the least size, so that small reads
// share a call of the source.
//
// Invariants: pieces lie in order without gaps, m_end is the end of the last one, and bytes are never read twice.
// Holding and dropping cost amortised O(1) a byte, finding a piece by its position O(log pieces).
#include "data/ByteFeed.h"

#include <algorithm>

namespace xc::data {

ByteFeed::ByteFeed(XCByteSourceI& source, std::size_t readAhead) noexcept
    : m_source(source), m_readAhead(std::min(readAhead, kPiece))
{
}

void ByteFeed::AddPiece(std::uint64_t wanted)
{
    auto const capacity = std::max(static_cast<std::size_t>(std::min<std::uint64_t>(wanted, kPiece)), m_readAhead);
    m_pieces.push_back({m_end, 0, capacity, std::make_unique_for_overwrite<std::uint8_t[]>(capacity)});
}

ByteFeed::Outcome ByteFeed::HoldUpTo(std::uint64_t end)
{
    while (m_end < end) {
        std::uint64_t const wanted = end - m_end;
        if (m_pieces.empty() || m_pieces.back().size == m_pieces.back().capacity) AddPiece(wanted);
        Piece& piece = m_pieces.back();
        std::size_t room = piece.capacity - piece.size;
        // Without read-ahead not a byte more is taken than was asked for: the rest of a socket belongs to the next
        // reader.
        if (m_readAhead == 0) room = static_cast<std::size_t>(std::min<std::uint64_t>(room, wanted));
        std::size_t got = 0;
        m_error = m_source.Read(piece.bytes.get() + piece.size, room, got);
        if (m_error.Bad()) return Outcome::Failed;
        // Not an end for ever: a queue may have more bytes by the next call.
        if (got == 0) return Outcome::TooFew;
        // A source is foreign code: a count beyond the room would make the rest of the pieces lie.
        got = std::min(got, room);
        piece.size += got;
        m_end += got;
    }
    return Outcome::Enough;
}

bool ByteFeed::MayReach(std::uint64_t end) const
{
    std::uint64_t remaining = 0;
    // A source that does not know what remains is asked for the bytes instead of being believed to have too few.
    return end <= m_end || !m_source.GetRemaining(remaining) || end - m_end <= remaining;
}

XCBytes ByteFeed::PieceAt(std::uint64_t position) const noexcept
{
    // The piece before the first one that begins past the position.
    auto const after = std::upper_bound(m_pieces.begin(), m_pieces.end(), position,
                                        [](std::uint64_t at, Piece const& piece) { return at < piece.start; });
    if (after == m_pieces.begin()) return {};
    Piece const& piece = *std::prev(after);
    return XCBytes(piece.bytes.get(), piece.size).Slice(static_cast<std::size_t>(position - piece.start));
}

void ByteFeed::Drop(std::uint64_t before) noexcept
{
    while (!m_pieces.empty() && m_pieces.front().start + m_pieces.front().size <= before) {
        if (m_pieces.size() == 1) { // kept for the bytes to come
            m_pieces.front().start = m_end;
            m_pieces.front().size = 0;
            return;
        }
        m_pieces.pop_front();
    }
}

} // namespace xc::data
