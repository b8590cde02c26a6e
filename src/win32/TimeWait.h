// TimeWait.h - the clocks of the system, and a wait for two of them at once.
#pragma once

#include <cstdint>

namespace xc::win32 {

/// Microseconds that the system has been awake since its start; never set back, and without the steps of its clock.
std::uint64_t AwakeUs() noexcept;
/// At least AwakeUs, and less than FineClock::kStep more, for a tenth of the cost.
std::uint64_t AwakeUsAtMost() noexcept;
/// The same clock going on while the system sleeps.
std::uint64_t ElapsedUs() noexcept;

/// Waits for a span of awake time and for an instant of the wall clock, whichever comes first.
///
/// The first kind of wait stands still while the system sleeps; the second one ends with the sleep, and follows a clock
/// that is set forward. Together they end neither late nor without a cause.
class TimeWait {
public:
    static constexpr std::int64_t kNever = INT64_MAX;

    /// Without handles the system has none left: waits then end at once.
    TimeWait();
    ~TimeWait();
    TimeWait(TimeWait const&) = delete;
    TimeWait& operator=(TimeWait const&) = delete;

    /// @param awakeMs 0xFFFFFFFF: no limit.  @param utcMs milliseconds since 1970; kNever: no instant.
    void Wait(std::uint32_t awakeMs, std::int64_t utcMs) noexcept;
    /// Ends the wait of this moment, or the next one.
    void Wake() noexcept;

private:
    void* m_event;
    void* m_timer;
};

} // namespace xc::win32
