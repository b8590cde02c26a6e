// BlockReserve.h - freed blocks of memory that the next texts of a thread take.
//
// Most texts are short and live short, and a heap takes several times as long for a block as the text takes to be
// written: it locks itself, and looks for what fits. A thread therefore keeps a few of the blocks that it gives back, by
// their sizes, and takes them again without asking anybody. Sixteen of each of eight sizes are at most 10 KB a thread; a
// thread that only gives blocks back, which others make, soon passes them on to the heap.
//
// Invariant: a block lies under the size that it was made with, in one reserve alone. Cost: a look at the thread's own
// storage and one move. The idea is that of the magazines of J. Bonwick and J. Adams, "Magazines and Vmem", 2001, without
// the depot that theirs are exchanged at.
#pragma once

#include <cstddef>
#include <new>

namespace xc::win32 {

/// The blocks of one thread. Callers ask for kLeast bytes or whole steps of kStep more; what is larger than kSteps of them
/// belongs to the heap.
class BlockReserve {
public:
    static constexpr std::size_t kLeast = 24;
    static constexpr std::size_t kStep = 16;
    static constexpr std::size_t kSteps = 8;
    static constexpr std::size_t kOfEach = 16;

    BlockReserve() noexcept = default;
    BlockReserve(BlockReserve const&) = delete;
    BlockReserve& operator=(BlockReserve const&) = delete;
    /// Gives all blocks back to the heap.
    ~BlockReserve()
    {
        for (Blocks& blocks : m_blocks)
            while (blocks.count > 0) ::operator delete(blocks.kept[--blocks.count]);
    }
    /// A block of just that size; null when there is none.
    void* Take(std::size_t size) noexcept
    {
        Blocks& blocks = m_blocks[StepOf(size)];
        return blocks.count > 0 ? blocks.kept[--blocks.count] : nullptr;
    }
    /// Keeps a block of ::operator new that has just that size; false when there are enough.
    [[nodiscard]] bool Keep(void* block, std::size_t size) noexcept
    {
        Blocks& blocks = m_blocks[StepOf(size)];
        if (blocks.count == kOfEach) return false;
        blocks.kept[blocks.count++] = block;
        return true;
    }
    /// Whether blocks of the size are kept at all.
    static constexpr bool IsFor(std::size_t size) noexcept { return StepOf(size) < kSteps; }

private:
    struct Blocks {
        std::size_t count = 0;
        void* kept[kOfEach];
    };
    static constexpr std::size_t StepOf(std::size_t size) noexcept { return (size - kLeast) / kStep; }
    Blocks m_blocks[kSteps];
};

/// The calling thread's reserve, which ends with the thread. Null where there is none: at the end of a thread or of the
/// process, without memory, and throughout with XC_NO_RESERVE in the environment, which lets heap checks see every block.
/// The thread's last error stays as it is.
BlockReserve* OwnReserve() noexcept;

} // namespace xc::win32
