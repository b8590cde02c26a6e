// XCScheduler.h - runs jobs when their schedules are due.
//
// WHAT     A job is a schedule (XCSchedule.h), a zone and a function. The scheduler's thread sleeps until the first job
//          is due, by the wall clock; it wakes for nothing else.
// CLOCK    The wait ends at the due instant by the wall clock or after the span by the clock of awake time, whichever
//          comes first; so clocks that are set and sleeps are seen at the latest then. Set forward: due times that were
//          jumped over count as missed. Set back by less than three hours: calendar schedules do not repeat what has
//          run; those by a rhythm (XCScheduleI::IsByInterval) go on at once. Set back further: all go by the new time.
// MISSED   Due times that have passed in a sleep, in a jump or before the job was added run once together (default),
//          not at all when they are late, or each, up to a limit. A job that still runs when it is due again misses
//          that time. The call tells how many were missed.
// REMOVE   When Remove (or Stop) has returned, no call of the job runs or will run: it waits for one that runs on
//          another thread. Called inside the job it does not wait for itself.
// CALLS    Run on the scheduler's thread or on its executor, never under a lock of the library. What one throws is
//          counted, kept as text and written to the error log.
// THREADS  Everything here may be called from any thread.
#pragma once

#include <XelbrinCore/XCSchedule.h>
#include <XelbrinCore/XCTimer.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace xc::work {
class SchedulerCore;
}

/// What becomes of due times that have passed.
enum class XCMissedRuns {
    RunOnce, ///< one call for all of them
    Skip,    ///< none that is later than the grace
    All      ///< one call each, the latest ones up to the limit
};

/// The less common settings of a job.
struct XCJobOptions {
    XCString name;                               ///< shown in lists and failures
    XCTimeZone zone = XCTimeZone::Local();       ///< whose wall times the schedule means
    XCMissedRuns missed = XCMissedRuns::RunOnce; ///< what becomes of due times that have passed
    unsigned int missedLimit = 100;              ///< calls at most, with All
    unsigned int graceMs = 60000;                ///< how late a call may be, with Skip
    XCDateTimeEx since; ///< due times after this count, as the last run before a restart; null: now
};

/// What a call knows.
struct XCJobCall {
    std::uint64_t id = 0;     ///< of the job
    XCDateTimeEx due;         ///< the due time that is served
    std::uint64_t missed = 0; ///< due times since the last call that got none of their own
};

/// A job as List shows it.
struct XCJobInfo {
    std::uint64_t id = 0;       ///< as Add gave it
    XCString name;              ///< of the options
    XCString schedule;          ///< in words, as XCScheduleI::AsString gives them
    XCDateTimeEx next;          ///< null: never again
    XCDateTimeEx last;          ///< the due time that was served last; null: none
    std::uint64_t runs = 0;     ///< calls that have begun
    std::uint64_t missed = 0;   ///< due times without a call
    std::uint64_t failures = 0; ///< calls that an exception has left
    XCErrorID failure;          ///< the last one
};

/// Jobs and the thread that waits for them (see the head of this file).
class XC_API XCScheduler : public XCRefCount {
public:
    /// What is called.
    using Callback = std::function<void(XCJobCall const&)>;

    /// @param executor where jobs run; null: on the scheduler's own thread. It is kept alive.
    /// @param clocks   must outlive the scheduler's thread.
    explicit XCScheduler(XCSmartPtr<XCExecutor> const& executor = {}, XCString const& name = L"scheduler",
                         XCTimeSourceI& clocks = XCTimeSourceI::System());
    /// Stops without waiting.
    ~XCScheduler() override;

    /// Adds a job. The schedule must not change any more.
    /// @return its number, above 0. @throws XCException when the scheduler has stopped or no thread can be started.
    std::uint64_t Add(XCSmartPtr<XCScheduleI> const& schedule, Callback callback, XCJobOptions const& options = {});
    /// See REMOVE above. @return false when there is no such job.
    bool Remove(std::uint64_t id) noexcept;
    /// All jobs by number.
    [[nodiscard]] std::vector<XCJobInfo> List() const;
    /// Removes all jobs and waits for the thread and for calls that run, unless one is the caller.
    /// @return XCErrStillRunning (the names of the jobs) when the deadline has passed.
    XCErrorID Stop(unsigned int timeoutMs = XCInfinite);
    /// How often the thread has woken up.
    [[nodiscard]] std::uint64_t GetWakeUps() const;

private:
    xc::work::SchedulerCore* m_core; // a counted reference
};
