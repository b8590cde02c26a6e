// The hash reads eight bytes a step: xor, multiply by an odd constant, fold the high half down. One step per word is
// enough to spread keys over a table; the last fold mixes the length in, so that trailing zeros count. Two copies may
// compute the hash at the same time; both store the same number, so the order does not matter.
//
// It is no protection against names made to collide; tables of foreign keys want a seed. The count of owners needs
// order only where the last one leaves: what the others have read happens before the block is freed (release,
// acquire).
#include <XelbrinCore/XCBlob.h>

#include "data/Block.h"

using xc::data::Block;

namespace {

std::uint64_t Mix(std::uint64_t hash, std::uint64_t word) noexcept
{
    hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
    return hash ^ (hash >> 32);
}

std::uint64_t HashOf(XCBytes bytes) noexcept
{
    std::uint64_t hash = bytes.Size();
    for (std::size_t i = 0; i < bytes.Size(); i += sizeof hash) {
        std::uint64_t word = 0;
        XCBytes const eight = bytes.Slice(i, sizeof word);
        std::memcpy(&word, eight.Data(), eight.Size());
        hash = Mix(hash, word);
    }
    hash = Mix(hash, bytes.Size());
    return hash != 0 ? hash : 1; // 0 stands for "not known yet"
}

} // namespace

XCBlob::XCBlob(XCBytes bytes) : XCBlob(XCBuffer(bytes).Detach()) {}

XCBlob::XCBlob(XCBlob const& other) noexcept : m_block(other.m_block)
{
    if (m_block) m_block->shares.fetch_add(1, std::memory_order_relaxed);
}

XCBlob::~XCBlob()
{
    if (m_block && m_block->shares.fetch_sub(1, std::memory_order_acq_rel) == 1) Block::Delete(m_block);
}

XCBytes XCBlob::View() const noexcept
{
    return m_block ? XCBytes(m_block->Bytes(), m_block->size) : XCBytes();
}

std::uint64_t XCBlob::GetHash() const noexcept
{
    if (!m_block) return HashOf({});
    std::uint64_t hash = m_block->hash.load(std::memory_order_relaxed);
    if (hash == 0) {
        hash = HashOf(View());
        m_block->hash.store(hash, std::memory_order_relaxed);
    }
    return hash;
}

bool XCBlob::Equals(XCBlob const& other) const noexcept
{
    if (m_block == other.m_block) return true;
    // Cheap answers first: size, then hashes where both are known, then the bytes.
    if (Size() != other.Size()) return false; // from here on both have a block
    std::uint64_t const own = m_block->hash.load(std::memory_order_relaxed);
    std::uint64_t const others = other.m_block->hash.load(std::memory_order_relaxed);
    return (own == 0 || others == 0 || own == others) && View() == other.View();
}
