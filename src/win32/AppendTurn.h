// AppendTurn.h - processes that append to one file take turns.
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

    /// Waits for the turn, as long as its holder lives. True when the file may end inside a record: the last holder said
    /// so, or died in its turn.
    bool Take() noexcept;
    /// @param cut the file ends inside a record.
    void Give(bool cut) noexcept;

private:
    bool TryTake(std::uint64_t& holder) noexcept;

    void* m_section = nullptr;
    std::atomic<std::uint64_t>* m_holder = nullptr; ///< the ticket of who has the turn, or a mark when nobody has
    std::uint64_t m_ticket = 0;
    std::uint16_t m_turns = 0;
};

} // namespace xc::win32
