// XCBlob.h - bytes that do not change any more and are shared by all copies.
//
// WHAT     A value: copies show the same bytes and cost one atomic increment. Equal when the bytes are, ordered as
//          XCBytes is, hashed once. Made from a copy of bytes, or from an XCBuffer that hands its storage over
//          (XCBuffer::Detach, no copy).
// COST     Copying: one atomic increment. The hash: one pass at the first question, kept for all copies. == of blobs with
//          different sizes, or hashes that are both known and differ, looks at no byte.
// LIFETIME What Data() returns lives as long as any copy of the blob. The bytes begin at a multiple of 32.
// THREADS  Any threads may use copies of one blob, and read one blob.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCExport.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

/// Shared bytes that do not change (see the head of this file).
class XC_API XCBlob {
public:
    XCBlob() noexcept = default;
    /// Copies the bytes. @throws std::bad_alloc
    explicit XCBlob(XCBytes bytes);
    XCBlob(XCBlob const& other) noexcept;
    XCBlob(XCBlob&& other) noexcept : m_block(std::exchange(other.m_block, nullptr)) {}
    ~XCBlob();
    /// Shares the bytes of the other blob. The former ones are freed with the last blob that holds them.
    XCBlob& operator=(XCBlob other) noexcept
    {
        std::swap(m_block, other.m_block);
        return *this;
    }

    /// All bytes; as long as any copy of this blob lives.
    [[nodiscard]] XCBytes View() const noexcept;
    operator XCBytes() const noexcept { return View(); }
    /// The first byte; null when there is none.
    [[nodiscard]] std::uint8_t const* Data() const noexcept { return View().Data(); }
    /// How many bytes.
    [[nodiscard]] std::size_t Size() const noexcept { return View().Size(); }
    /// Whether there are none.
    [[nodiscard]] bool IsEmpty() const noexcept { return Size() == 0; }
    /// A number that equal bytes share, on every machine. No defence against keys that are chosen to collide.
    [[nodiscard]] std::uint64_t GetHash() const noexcept;

    friend bool operator==(XCBlob const& a, XCBlob const& b) noexcept { return a.Equals(b); }
    friend std::strong_ordering operator<=>(XCBlob const& a, XCBlob const& b) noexcept { return a.View() <=> b.View(); }

private:
    friend class XCBuffer;
    explicit XCBlob(xc::data::Block* block) noexcept : m_block(block) {}
    [[nodiscard]] bool Equals(XCBlob const& other) const noexcept;

    xc::data::Block* m_block = nullptr; // null: no bytes
};

/// @cond
template <>
struct std::hash<XCBlob> {
    std::size_t operator()(XCBlob const& blob) const noexcept { return static_cast<std::size_t>(blob.GetHash()); }
};
/// @endcond
