// AppendTurn.h - processes that append to one file take turns.
//
// A handle that may only append is enough where the system moves to the end and writes in one step. Layers that stand
// in for such a system, and some network file systems, look the end up first and write there afterwards: two processes
// then write over one another. One word of shared memory, named after the file's identity, keeps them apart; taking it
// costs one atomic exchange.
#pragma once

#include <atomic>
#include <cstdint>

namespace xc::win32 {

/// The turn of one open file. One thread at a time uses an object.
class AppendTurn {
public:
    AppendTurn() noexcept = default;
    ~AppendTurn() { Close(); }
    AppendTurn(AppendTurn const&) = delete;
    AppendTurn& operator=(AppendTurn const&) = delete;

    /// Joins those who append to this file. When the system refuses, taking turns does nothing.
    void Open(void* file) noexcept;
    void Close() noexcept;

    /// Waits for the turn. A holder that does not change for a second is taken for dead, and its turn taken over.
    void Take() noexcept;
    void Give() noexcept;

private:
    bool TryTake(std::uint64_t& holder) noexcept;

    void* m_section = nullptr;
    std::atomic<std::uint64_t>* m_holder = nullptr; ///< the ticket of who has the turn; 0 when nobody has
    std::uint64_t m_ticket = 0;                     ///< process, handle and a number that each turn changes
};

} // namespace xc::win32
