// Block.h - the storage that XCBuffer fills and XCBlob shares.
//
// The bytes follow the head of their block, so that a buffer can hand them over as a blob without copying: the buffer
// keeps a pointer to the bytes alone, since it needs nothing of the head, and the blob a pointer to the head.
#pragma once

#include <XelbrinCore/XCBuffer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

namespace xc::data {

struct alignas(XCBuffer::kAlignment) Block {
    std::atomic<std::uint32_t> shares{1};
    std::size_t size = 0;               // set when a blob takes the block over
    std::atomic<std::uint64_t> hash{0}; // 0: not asked for yet

    std::uint8_t* Bytes() noexcept { return reinterpret_cast<std::uint8_t*>(this + 1); }
    static Block* Of(std::uint8_t* bytes) noexcept { return reinterpret_cast<Block*>(bytes) - 1; }

    static Block* New(std::size_t capacity)
    {
        return new (::operator new(sizeof(Block) + capacity, std::align_val_t(alignof(Block)))) Block;
    }
    static void Delete(Block* block) noexcept
    {
        block->~Block();
        ::operator delete(block, std::align_val_t(alignof(Block)));
    }
};
static_assert(sizeof(Block) == XCBuffer::kAlignment);

} // namespace xc::data
