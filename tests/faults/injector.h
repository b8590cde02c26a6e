// injector.h - lets the n-th call of a replaced function fail, on the thread that asked for it.
//
// A scenario is a function that makes one Attempt. It is run again and again, each time with a later call failing, until
// an attempt comes to its end without reaching the fault. Once: that call alone fails. Lasting: it and all after it, so
// that the cleaning up has no memory either.
#pragma once

#include "prelude.h"
#include "repetitions.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace faults {

enum class Mode { Once, Lasting };

/// The fault that is planned, and what became of it.
struct Plan {
    long at = 0; ///< so many calls go well before
    Mode mode = Mode::Once;
    long calls = 0;
    bool fired = false;
};

inline Plan g_plan;
inline std::atomic<std::size_t> g_thread{0}; ///< whose calls are counted; 0: nobody's

inline std::size_t ThisThread() noexcept
{
#if defined(_WIN32)
    return ::GetCurrentThreadId();
#else
    return static_cast<std::size_t>(::pthread_self());
#endif
}

/// Whether the heap takes part; else it neither fails nor counts.
inline bool g_heapFails = true;

/// What a replaced function asks first.
inline bool Fails() noexcept
{
    if (g_thread.load(std::memory_order_relaxed) != ThisThread()) return false;
    long const call = g_plan.calls++;
    bool const fails = g_plan.mode == Mode::Once ? call == g_plan.at : call >= g_plan.at;
    g_plan.fired = g_plan.fired || fails;
    return fails;
}

/// Counts the calls of this thread as long as it lives.
struct Armed {
    Armed() noexcept { g_thread = ThisThread(); }
    ~Armed() { g_thread = 0; }
    Armed(Armed const&) = delete;
    Armed& operator=(Armed const&) = delete;
};

/// Runs `work` with the planned fault. False when it threw for want of memory, or an exception of the library that tells
/// what went wrong.
template <class Work>
bool Attempt(Work const& work)
try {
    Armed const armed;
    work();
    return true;
} catch (std::bad_alloc const&) {
    return false;
} catch (XCException const& failure) {
    EXPECT_FALSE(failure.What().IsNull());
    return false;
}

struct Scenario {
    char const* name;
    std::function<void()> run;
};

/// Blocks of the heap in use, and where g_countsHandles a number that grows with the open handles of the process.
std::size_t Held();
inline bool g_countsHandles = false;

/// Storage that is kept for the next time is no leak: it does not grow from run to run.
inline void ExpectNoLeak(Scenario const& scenario, Plan const& plan, std::size_t before)
{
    std::size_t grown = 0;
    for (int again = 0; again < 3 && Held() > before; ++again) {
        before = Held();
        g_plan = plan;
        scenario.run();
        if (Held() > before) ++grown;
    }
    EXPECT_LT(grown, 3u) << "something is left behind";
}

/// Every one of the first calls fails, then every `kStep`th. Returns the number of faults.
inline long FailEach(Scenario const& scenario, Mode mode)
{
    static long const all = Times(1000) > 1 ? 400 : 5;
    constexpr long kStep = 29;
    long count = 0;
    for (long at = 0;; at += at < all ? 1 : kStep) {
        SCOPED_TRACE(testing::Message() << scenario.name << (mode == Mode::Once ? ", fault " : ", lasting fault ")
                                        << at);
        Plan const plan{at, mode};
        std::size_t const before = Held();
        g_plan = plan;
        scenario.run();
        if (!g_plan.fired || testing::Test::HasFatalFailure()) return count;
        ++count;
        ExpectNoLeak(scenario, plan, before);
    }
}

/// Runs every scenario, once for what is made at the first use, and prints how many faults each has seen.
template <class Scenarios>
void FailEverywhere(Scenarios const& scenarios)
{
    for (Scenario const& scenario : scenarios) {
        g_plan = {-1, Mode::Once};
        scenario.run();
        long const once = FailEach(scenario, Mode::Once);
        long const lasting = FailEach(scenario, Mode::Lasting);
        std::printf("%-28s %4ld + %4ld faults\n", scenario.name, once, lasting);
        EXPECT_GT(once, 0) << scenario.name << " never reaches a fault";
    }
}

} // namespace faults
