// TimerWheel.h - a hierarchical wheel: linked slots by due tick. Pure data; the owner locks.
#pragma once

#include <XelbrinCore/XCTimer.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace xc::work {

class TimerWheel {
public:
    static constexpr std::uint64_t kNever = UINT64_MAX;

    explicit TimerWheel(std::uint64_t now = 0) noexcept;
    TimerWheel(TimerWheel const&) = delete;
    TimerWheel& operator=(TimerWheel const&) = delete;

    /// A tick that has passed counts as the present one. O(1).
    void Insert(TimerLink& link, std::uint64_t due) noexcept;
    /// O(1).
    void Remove(TimerLink& link) noexcept;
    [[nodiscard]] static bool IsLinked(TimerLink const& link) noexcept { return link.next != nullptr; }
    /// The next tick at which there is something to do; links are due at it, or move nearer. kNever: the wheel is empty.
    [[nodiscard]] std::uint64_t NextTick() const noexcept;
    /// Moves on to a tick. @return a due link, taken out; null when there is none left and the wheel has arrived.
    [[nodiscard]] TimerLink* Advance(std::uint64_t to) noexcept;
    /// Takes some link out; null when the wheel is empty.
    [[nodiscard]] TimerLink* TakeAny() noexcept;
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }

private:
    static constexpr unsigned int kLevels = 4, kBits = 8, kSlots = 256;
    struct Level {
        std::array<TimerLink, kSlots> slots;
        std::array<std::uint64_t, kSlots / 64> used{};
    };

    [[nodiscard]] unsigned int LevelOf(std::uint64_t tick) const noexcept;
    void Place(TimerLink& link) noexcept;
    static void Append(TimerLink& head, TimerLink& link) noexcept;
    void Cascade(TimerLink& head) noexcept;
    void MoveTo(std::uint64_t tick) noexcept;
    [[nodiscard]] static unsigned int FindUsed(Level const& level, unsigned int from) noexcept;

    std::uint64_t m_now;
    std::size_t m_count = 0;
    std::array<Level, kLevels> m_levels;
    TimerLink m_far; // beyond the last level
};

} // namespace xc::work
