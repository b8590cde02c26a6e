// XCStopWatch.h - three stopwatches: wall-clock seconds, processor-clock ticks, both at once.
//
// SHAPE    Each reading is a triple of 32-bit values: paused flag, start, accumulated.
// RULES    Start zeroes the accumulated value and takes a new start; it does not end a pause. Pause adds the time since
//          the start, each time it is called. Resume ends the pause and takes a new start. A reading of a running watch
//          adds the time since the start, takes a new start and returns the sum; a paused one returns the sum.
//          A watch that was never started counts from the clock's own zero.
// THREADS  One watch belongs to one thread at a time.
#pragma once

#include <XelbrinCore/XCExport.h>

#include <cstdint>

namespace xc::sync {

/// The arithmetic of one watch; whoever owns it tells the time. Values wrap at 32 bits.
struct StopWatchFields {
    std::uint32_t paused = 0;
    std::uint32_t start = 0;
    std::uint32_t accumulated = 0;

    void Start(std::uint32_t now) noexcept
    {
        accumulated = 0;
        start = now;
    }
    void Pause(std::uint32_t now) noexcept
    {
        paused = 1;
        accumulated += now - start;
    }
    void Resume(std::uint32_t now) noexcept
    {
        paused = 0;
        start = now;
    }
    std::int32_t Elapsed(std::uint32_t now) noexcept
    {
        if (!paused) {
            accumulated += now - start;
            start = now;
        }
        return static_cast<std::int32_t>(accumulated);
    }
};

} // namespace xc::sync

/// Counts seconds of wall-clock time.
class XC_API XCRealStopWatch {
public:
    /// @param startNow whether it runs at once.
    explicit XCRealStopWatch(bool startNow = false) noexcept;
    /// Begins at 0 and runs.
    void Start() noexcept;
    /// Stands still; the time up to now counts.
    void Pause() noexcept;
    /// Runs on from now.
    void Resume() noexcept;
    /// Whole seconds.
    long Elapsed() noexcept;

private:
    xc::sync::StopWatchFields m_real;
};

/// Counts ticks of the C library's clock().
class XC_API XCCPUStopWatch {
public:
    /// @param startNow whether it runs at once.
    explicit XCCPUStopWatch(bool startNow = false) noexcept;
    /// Begins at 0 and runs.
    void Start() noexcept;
    /// Stands still; the time up to now counts.
    void Pause() noexcept;
    /// Runs on from now.
    void Resume() noexcept;
    /// Seconds: the ticks divided by CLOCKS_PER_SEC.
    double Elapsed() noexcept;
    /// Ticks.
    long ElapsedClock() noexcept;

private:
    xc::sync::StopWatchFields m_clock;
};

/// Counts both; Start, Pause and Resume act on both.
class XC_API XCStopWatch {
public:
    /// @param startNow whether both run at once.
    explicit XCStopWatch(bool startNow = false) noexcept : m_real(startNow), m_cpu(startNow) {}
    /// Both begin at 0 and run.
    void Start() noexcept;
    /// Both stand still until Resume.
    void Pause() noexcept;
    /// Both run on.
    void Resume() noexcept;
    /// Whole seconds of wall-clock time.
    long ElapsedReal() noexcept { return m_real.Elapsed(); }
    /// Ticks of clock().
    long ElapsedCPUClock() noexcept { return m_cpu.ElapsedClock(); }
    /// Seconds by clock().
    double ElapsedCPU() noexcept { return m_cpu.Elapsed(); }

private:
    XCRealStopWatch m_real;
    XCCPUStopWatch m_cpu;
};
