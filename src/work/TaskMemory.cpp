// The memory of tasks.
//
// Most tasks are made by one thread and destroyed by another, the worst case of a general heap, and an allocation costs
// more than the whole rest of a submission. So freed blocks of the usual size are kept: whoever destroys a task pushes
// its block onto a stack by one exchange, and who makes one takes blocks from a list of its own, which is refilled by
// taking the whole stack at once. Nobody pops a single block from the stack, so no block can come back unseen in between.
//
// The stack keeps at most kMost blocks, about 1 MB, and the list what the stack has held; more goes back to the heap.
// Larger tasks come from the heap, and all of them where a sanitizer watches it. Nothing is freed at the process's end.
#include <XelbrinCore/XCTask.h>

#include "win32/SlimLock.h"

#include <mutex>
#include <new>

namespace xc::work {

namespace {

constexpr std::size_t kBlockBytes = 256;
constexpr std::size_t kMost = 4096;
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeeps = false;
#else
constexpr bool kKeeps = true;
#endif

struct Block {
    Block* next;
};

class Blocks {
public:
    void* Take()
    {
        {
            std::lock_guard const hold(m_lock);
            if (!m_ready) {
                m_ready = m_freed.exchange(nullptr, std::memory_order_acquire);
                m_count.store(0, std::memory_order_relaxed);
            }
            if (Block* const block = m_ready) {
                m_ready = block->next;
                return block;
            }
        }
        return ::operator new(kBlockBytes);
    }
    void Give(void* memory) noexcept
    {
        if (m_count.load(std::memory_order_relaxed) >= kMost) {
            ::operator delete(memory);
            return;
        }
        auto* const block = ::new (memory) Block{m_freed.load(std::memory_order_relaxed)};
        while (!m_freed.compare_exchange_weak(block->next, block, std::memory_order_release, std::memory_order_relaxed))
        {
        }
        m_count.fetch_add(1, std::memory_order_relaxed); // roughly: a refill of this moment may be counted
    }

private:
    alignas(64) std::atomic<Block*> m_freed{nullptr};
    std::atomic<std::size_t> m_count{0};
    alignas(64) win32::SlimLock m_lock;
    Block* m_ready = nullptr; // with the lock
};

constinit Blocks theBlocks;

} // namespace

} // namespace xc::work

void* XCTask::operator new(std::size_t size)
{
    using namespace xc::work;
    return kKeeps && size <= kBlockBytes ? theBlocks.Take() : ::operator new(size);
}

void XCTask::operator delete(void* memory, std::size_t size) noexcept
{
    using namespace xc::work;
    if (kKeeps && size <= kBlockBytes)
        theBlocks.Give(memory);
    else
        ::operator delete(memory);
}
