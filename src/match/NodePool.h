// NodePool.h - memory for the nodes of syntax trees, many nodes to a block.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace xc::match {

/// Hands out memory from the block at hand. Belongs to one parser; the nodes made in it may outlive it.
class NodePool {
public:
    NodePool() noexcept = default;
    ~NodePool() { Close(); }
    NodePool(NodePool const&) = delete;
    NodePool& operator=(NodePool const&) = delete;

    [[nodiscard]] void* Take(std::size_t size);
    /// Memory that stands alone, for nodes without a pool.
    [[nodiscard]] static void* TakeAlone(std::size_t size);
    /// Gives back what Take or TakeAlone gave; on any thread.
    static void Give(void* memory) noexcept;

private:
    struct Block {
        std::atomic<std::uint32_t> held; ///< kOpen while nodes are added, less what was given back
    };

public:
    /// Gives nodes that end one after the other back together: their block is told once.
    class Returns {
    public:
        Returns() noexcept = default;
        Returns(Returns const&) = delete;
        Returns& operator=(Returns const&) = delete;
        ~Returns() { Flush(); }
        /// What Take gave comes back to Give next, before this object ends.
        void Expect(void* memory) noexcept;

    private:
        friend class NodePool;
        void Flush() noexcept;

        Block* m_block = nullptr;
        std::uint32_t m_count = 0;
    };

private:
    static constexpr std::uint32_t kOpen = 0x80000000;
    static constexpr std::size_t kHeader = 8; ///< before the memory: the address of its block, 0 when it is alone
    static constexpr std::size_t kFirstBlock = 1024;
    static constexpr std::size_t kLargestBlock = 32768;

    void Open(std::size_t least);
    void Close() noexcept;
    static void Drop(Block* block, std::uint32_t count) noexcept;

    Block* m_block = nullptr;
    std::byte* m_free = nullptr;
    std::size_t m_left = 0;
    std::size_t m_nextSize = kFirstBlock;
    std::uint32_t m_taken = 0; ///< from the block at hand
};

} // namespace xc::match
