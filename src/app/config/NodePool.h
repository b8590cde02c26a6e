// NodePool.h - memory for the nodes of a configuration file's lists.
//
// A file of 10,000 lines is 10,000 list nodes of one size, made at once and released at once; the heap would spend more
// time on them than the reader on their text. Nodes are carved from blocks of 64 KiB, one after the other, so that
// neighbours in the file are neighbours in memory. A node given back goes to a list of free nodes of its size, from
// which the next request of that size is served: both take constant time. Blocks go back to the heap with the pool
// alone. Invariant: every free node is in the list of its rounded size, and nothing else is in it.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <new>
#include <utility>
#include <vector>

namespace xc::config {

/// Carves nodes from large blocks and keeps those given back for the next of their size. The blocks live as long as the
/// pool. Used under the lock of the file.
class NodePool final : public std::pmr::memory_resource {
private:
    static constexpr std::size_t kBlockSize = 64 * 1024;
    static constexpr std::size_t kUnit = alignof(void*);
    static constexpr std::size_t kLargest = 512; // larger requests go to the heap

    struct FreeNode {
        FreeNode* next;
    };

    static std::size_t Rounded(std::size_t size) noexcept { return (size + kUnit - 1) / kUnit * kUnit; }

    void* do_allocate(std::size_t size, std::size_t alignment) override
    {
        if (size > kLargest || alignment > kUnit) return ::operator new(size, std::align_val_t(alignment));
        FreeNode*& first = m_free[Rounded(size) / kUnit];
        if (!first) return Carve(Rounded(size));
        FreeNode* const node = first;
        first = node->next;
        return node;
    }
    void do_deallocate(void* memory, std::size_t size, std::size_t alignment) override
    {
        if (size > kLargest || alignment > kUnit) return ::operator delete(memory, std::align_val_t(alignment));
        FreeNode*& first = m_free[Rounded(size) / kUnit];
        first = ::new (memory) FreeNode{first};
    }
    [[nodiscard]] bool do_is_equal(std::pmr::memory_resource const& other) const noexcept override
    {
        return this == &other;
    }

    void* Carve(std::size_t size)
    {
        if (m_left < size) {
            m_blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(kBlockSize));
            m_next = m_blocks.back().get();
            m_left = kBlockSize;
        }
        m_left -= size;
        return std::exchange(m_next, m_next + size);
    }

    std::array<FreeNode*, kLargest / kUnit + 1> m_free{}; // by size
    std::vector<std::unique_ptr<std::byte[]>> m_blocks;
    std::byte* m_next = nullptr;
    std::size_t m_left = 0;
};

} // namespace xc::config
