// ByteFeed.h - what a reader holds of a source: the bytes that arrived and are still wanted, in pieces.
//
// A piece never moves, so views into it stay good, and nothing is copied when more arrives. A piece has at most 32 KiB
// and is allocated when the one before is full: whatever length bytes claim, the memory held exceeds what has arrived
// by less than one piece. (Half of the 64 KiB that readers promise, so that what they keep beside the bytes fits too.)
#pragma once

#include <XelbrinCore/XCByteStream.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

namespace xc::data {

class ByteFeed {
public:
    static constexpr std::size_t kPiece = std::size_t{32} * 1024;
    enum class Outcome { Enough, TooFew, Failed };

    ByteFeed(XCByteSourceI& source, std::size_t readAhead) noexcept;

    /// Takes from the source until all bytes before the position `end` have arrived.
    Outcome HoldUpTo(std::uint64_t end);
    /// False when the source tells that it ends before the position.
    [[nodiscard]] bool MayReach(std::uint64_t end) const;
    /// The bytes from a position on that lie in one piece; empty at the end of what is held.
    [[nodiscard]] XCBytes PieceAt(std::uint64_t position) const noexcept;
    /// Releases pieces that lie before the position.
    void Drop(std::uint64_t before) noexcept;
    /// The failure of the source.
    [[nodiscard]] XCErrorID const& GetError() const noexcept { return m_error; }

private:
    struct Piece {
        std::uint64_t start;
        std::size_t size;
        std::size_t capacity;
        std::unique_ptr<std::uint8_t[]> bytes;
    };
    void AddPiece(std::uint64_t wanted);

    XCByteSourceI& m_source;
    std::size_t m_readAhead;
    std::uint64_t m_end = 0; // position of the next byte of the source
    std::deque<Piece> m_pieces;
    XCErrorID m_error;
};

} // namespace xc::data
