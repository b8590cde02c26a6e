// A block of bytes that grows: the bytes stand behind a head of their block (Block.h), so that Detach can hand the
// block to a blob without copying one of them.
//
// Growth by half keeps appending amortised O(1) and lets an allocator use freed blocks again, which doubling never
// does. The first block has kLeastCapacity: small messages then need one allocation. Reserve gives exactly what was
// asked for.
//
// Invariant: m_data is null or the bytes of a block with one owner, this buffer. Arguments may lie in the buffer
// itself; each operation that could move the block copies them before the old block goes.
#include <XelbrinCore/XCBlob.h>
#include <XelbrinCore/XCBuffer.h>

#include "data/Block.h"

#include <algorithm>
#include <stdexcept>

using xc::data::Block;

namespace {

constexpr std::size_t kLeastCapacity = 96; // with the head of the block two cache lines

} // namespace

void XCBuffer::Reallocate(std::size_t capacity)
{
    // Also the answer to sums that wrapped: nothing above this is ever allocated.
    if (capacity > kMaxSize) throw std::length_error("XCBuffer: too many bytes");
    std::uint8_t* const fresh = Block::New(capacity)->Bytes();
    if (m_size > 0) std::memcpy(fresh, m_data, m_size);
    if (m_data) Block::Delete(Block::Of(m_data));
    m_data = fresh;
    m_capacity = capacity;
}

void XCBuffer::Grow(std::size_t more)
{
    // By subtraction, since the sum could wrap.
    if (more > kMaxSize - m_size) throw std::length_error("XCBuffer: too many bytes");
    Reallocate(std::max({m_size + more, std::min(m_capacity + m_capacity / 2, kMaxSize), kLeastCapacity}));
}

XCBuffer& XCBuffer::Append(XCBytes bytes)
{
    if (bytes.IsEmpty()) return *this;
    if (bytes.Size() <= m_capacity - m_size) {
        std::memcpy(Extend(bytes.Size()), bytes.Data(), bytes.Size());
        return *this;
    }
    // The bytes may lie in this buffer: its storage lives until they are copied.
    XCBuffer larger;
    larger.Reserve(m_size);
    if (m_size > 0) std::memcpy(larger.Extend(m_size), m_data, m_size);
    std::memcpy(larger.Extend(bytes.Size()), bytes.Data(), bytes.Size());
    Swap(larger);
    return *this;
}

XCBuffer& XCBuffer::Insert(std::size_t pos, XCBytes bytes)
{
    std::size_t const size = m_size;
    Append(bytes);
    // Appended first, so that bytes of this very buffer are copied while they still stand in their place.
    if (pos < size) std::rotate(m_data + pos, m_data + size, m_data + m_size);
    return *this;
}

XCBuffer& XCBuffer::Erase(std::size_t pos, std::size_t count) noexcept
{
    if (pos >= m_size) return *this;
    std::size_t const removed = std::min(count, m_size - pos);
    std::memmove(m_data + pos, m_data + pos + removed, m_size - pos - removed);
    m_size -= removed;
    return *this;
}

void XCBuffer::Resize(std::size_t size, std::uint8_t fill)
{
    if (size > m_size) {
        std::size_t const more = size - m_size;
        std::memset(Extend(more), fill, more);
    }
    m_size = size;
}

void XCBuffer::Clear() noexcept
{
    if (m_data) Block::Delete(Block::Of(m_data));
    m_data = nullptr;
    m_size = m_capacity = 0;
}

XCBlob XCBuffer::Detach()
{
    if (m_size == 0) {
        Clear();
        return {};
    }
    Block* const block = Block::Of(std::exchange(m_data, nullptr));
    // The blob has no capacity: what was reserved beyond the size stays with it unused.
    block->size = m_size;
    m_size = m_capacity = 0;
    return XCBlob(block);
}
