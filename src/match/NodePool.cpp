// Gives the nodes of a tree memory out of shared blocks, which are freed when their last node is.
//
// A parser makes dozens of nodes of one lifetime; a block of the heap for each costs more than the node itself. Parts of
// a tree may live on in other trees and on other threads, so a block counts its nodes. While nodes are added the count
// stands at a large number, so that adding needs no atomic operation: closing the block takes the difference away.
//
// A tree that is released as a whole tells its blocks once: each node's header then names the object that counts for
// its block (the address and one) when the memory comes back.
//
// COST      Taking: a few instructions. Giving back: one atomic subtraction, for a tree one for each block.
// INVARIANT held is 0 only when the block is closed and every node in it was given back.
#include "match/NodePool.h"

#include <XelbrinCore/XCRegExTree.h>

#include <algorithm>
#include <new>

namespace xc::match {

namespace {

void SetOwner(std::byte* header, void* owner, std::uintptr_t mark = 0) noexcept
{
    ::new (header) std::uintptr_t(reinterpret_cast<std::uintptr_t>(owner) | mark);
}

std::uintptr_t OwnerAt(std::byte const* header) noexcept
{
    return *reinterpret_cast<std::uintptr_t const*>(header);
}

constexpr std::uintptr_t kExpected = 1; ///< the owner counts for the block

} // namespace

void* NodePool::Take(std::size_t size)
{
    std::size_t const whole = kHeader + ((size + 7) & ~std::size_t{7});
    if (m_left < whole) Open(whole);
    std::byte* const memory = m_free;
    m_free += whole;
    m_left -= whole;
    ++m_taken;
    SetOwner(memory, m_block);
    return memory + kHeader;
}

void* NodePool::TakeAlone(std::size_t size)
{
    auto* const memory = static_cast<std::byte*>(::operator new(size + kHeader));
    SetOwner(memory, nullptr);
    return memory + kHeader;
}

void NodePool::Give(void* memory) noexcept
{
    std::byte* const start = static_cast<std::byte*>(memory) - kHeader;
    std::uintptr_t const owner = OwnerAt(start);
    if ((owner & kExpected) != 0)
        ++reinterpret_cast<Returns*>(owner - kExpected)->m_count;
    else if (owner != 0)
        Drop(reinterpret_cast<Block*>(owner), 1);
    else
        ::operator delete(start);
}

void NodePool::Returns::Expect(void* memory) noexcept
{
    std::byte* const header = static_cast<std::byte*>(memory) - kHeader;
    auto* const block = reinterpret_cast<Block*>(OwnerAt(header));
    if (block != m_block) Flush();
    m_block = block;
    SetOwner(header, this, kExpected);
}

void NodePool::Returns::Flush() noexcept
{
    if (m_count != 0) Drop(m_block, m_count);
    m_count = 0;
}

void NodePool::Open(std::size_t least)
{
    std::size_t const size = std::max(m_nextSize, least + sizeof(Block) + 8);
    auto* const memory = static_cast<std::byte*>(::operator new(size));
    Close();
    m_block = ::new (memory) Block{{kOpen}};
    m_free = memory + 8;
    static_assert(sizeof(Block) <= 8);
    m_left = size - 8;
    m_nextSize = std::min(2 * m_nextSize, kLargestBlock);
}

void NodePool::Close() noexcept
{
    if (m_block) Drop(m_block, kOpen - m_taken);
    m_block = nullptr;
    m_taken = 0;
}

void NodePool::Drop(Block* block, std::uint32_t count) noexcept
{
    if (block->held.fetch_sub(count, std::memory_order_acq_rel) == count) ::operator delete(block);
}

} // namespace xc::match

void* XCRegExSyntaxNode::operator new(std::size_t size)
{
    return xc::match::NodePool::TakeAlone(size);
}

void* XCRegExSyntaxNode::operator new(std::size_t size, xc::match::NodePool& pool)
{
    return pool.Take(size);
}

void XCRegExSyntaxNode::operator delete(void* node) noexcept
{
    xc::match::NodePool::Give(node);
}

void XCRegExSyntaxNode::operator delete(void* node, xc::match::NodePool&) noexcept
{
    xc::match::NodePool::Give(node);
}
