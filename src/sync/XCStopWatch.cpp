// Stopwatches over the two clocks of the runtime: seconds of the wall and ticks of the processor. The arithmetic is
// that of StopWatchFields, in 32 bits that wrap, so that a clock that overflows gives right differences.
//
// The fields are part of the classes' layout, which modules of former releases were compiled with; hence 32 bits, and
// the three sizes that are asserted below. Seconds of the wall follow the clock when it is set; whoever measures for
// its own sake takes ticks.
#include <XelbrinCore/XCStopWatch.h>

#include <ctime>

static_assert(sizeof(XCRealStopWatch) == 12 && sizeof(XCCPUStopWatch) == 12 && sizeof(XCStopWatch) == 24);

namespace {

std::uint32_t SecondsNow() noexcept
{
#if defined(_WIN32)
    // The call with its width in its name: the plain one depends on a macro of the program that includes the header.
    return static_cast<std::uint32_t>(::_time64(nullptr));
#else
    return static_cast<std::uint32_t>(std::time(nullptr));
#endif
}

std::uint32_t TicksNow() noexcept
{
    return static_cast<std::uint32_t>(std::clock());
}

} // namespace

XCRealStopWatch::XCRealStopWatch(bool startNow) noexcept
{
    if (startNow) Start();
}

void XCRealStopWatch::Start() noexcept
{
    m_real.Start(SecondsNow());
}

void XCRealStopWatch::Pause() noexcept
{
    m_real.Pause(SecondsNow());
}

void XCRealStopWatch::Resume() noexcept
{
    m_real.Resume(SecondsNow());
}

long XCRealStopWatch::Elapsed() noexcept
{
    return m_real.Elapsed(SecondsNow());
}

XCCPUStopWatch::XCCPUStopWatch(bool startNow) noexcept
{
    if (startNow) Start();
}

void XCCPUStopWatch::Start() noexcept
{
    m_clock.Start(TicksNow());
}

void XCCPUStopWatch::Pause() noexcept
{
    m_clock.Pause(TicksNow());
}

void XCCPUStopWatch::Resume() noexcept
{
    m_clock.Resume(TicksNow());
}

long XCCPUStopWatch::ElapsedClock() noexcept
{
    return m_clock.Elapsed(TicksNow());
}

double XCCPUStopWatch::Elapsed() noexcept
{
    return static_cast<double>(ElapsedClock()) / static_cast<double>(CLOCKS_PER_SEC);
}

void XCStopWatch::Start() noexcept
{
    m_real.Start();
    m_cpu.Start();
}

void XCStopWatch::Pause() noexcept
{
    m_real.Pause();
    m_cpu.Pause();
}

void XCStopWatch::Resume() noexcept
{
    m_real.Resume();
    m_cpu.Resume();
}
