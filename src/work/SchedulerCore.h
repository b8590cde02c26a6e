// SchedulerCore.h - the jobs of a scheduler and its thread.
#pragma once

#include <XelbrinCore/XCScheduler.h>

#include "work/OwnThread.h"

#include <map>
#include <memory>
#include <mutex>

namespace xc::work {

class SchedulerCore final : public XCRefCount {
public:
    using Callback = XCScheduler::Callback;

    SchedulerCore(XCSmartPtr<XCExecutor> const& executor, XCString const& name, XCTimeSourceI& clocks);

    std::uint64_t Add(XCSmartPtr<XCScheduleI> const& schedule, Callback callback, XCJobOptions const& options);
    bool Remove(std::uint64_t id) noexcept;
    [[nodiscard]] std::vector<XCJobInfo> List();
    XCErrorID Stop(std::uint32_t timeoutMs);
    [[nodiscard]] std::uint64_t WakeUps() noexcept;

private:
    static constexpr std::int64_t kNever = INT64_MAX;
    struct Job {
        std::uint64_t id;
        XCSmartPtr<XCScheduleI> schedule;
        Callback callback;
        XCJobOptions options;
        XCString description; ///< of the schedule
        bool byInterval = false;
        std::int64_t next = kNever, last = kNever;
        std::uint64_t runs = 0, missed = 0, untold = 0, failures = 0; // untold: missed since the last call
        XCErrorID failure;
        bool removed = false, inFlight = false, running = false;
        bool asked = false; ///< the scheduler's thread is in code of the schedule
        unsigned long threadId = 0;
    };
    using JobRef = std::shared_ptr<Job>;
    struct Walk { ///< from the due times of a job that have come to the next one that has not
        JobRef job;
        bool anew; ///< the clock was set back: its next time no longer counts
        std::int64_t next;
        std::uint64_t count = 0;
        std::vector<std::int64_t> due = {}; ///< the last of them, as many as may be served
    };
    struct Run { // calls of one job
        JobRef job;
        std::vector<XCJobCall> calls;
    };
    friend class HandedOut<SchedulerCore, Run>;

    void Loop() noexcept;
    void Look(std::unique_lock<win32::SlimLock>& hold, std::vector<Run>& runs);
    [[nodiscard]] std::int64_t FollowClock(std::int64_t now) noexcept;
    void GoOn(Walk& walk, std::int64_t now) const;
    void Serve(Walk const& walk, std::int64_t now, std::vector<Run>& runs);
    void Sleep(std::unique_lock<win32::SlimLock>& hold) noexcept;
    void HandOut(Run run) noexcept;
    void Invoke(Run const& run) noexcept;
    void NoteDropped(Run const& run) noexcept;
    bool Begin(Job& job) noexcept;
    void End(Job& job, XCErrorID const& failure) noexcept;
    void Retire(Job& job) noexcept;
    [[nodiscard]] std::int64_t NextOf(Job const& job, std::int64_t after) const noexcept;
    [[nodiscard]] bool IsOver(unsigned long self) const noexcept;

    XCSmartPtr<XCExecutor> const m_executor;
    XCString const m_name;
    XCTimeSourceI& m_clocks;
    std::unique_ptr<XCTimeWaitI> const m_wait;

    win32::SlimLock m_lock; // guards all that follows
    win32::SlimSignal m_change;
    std::map<std::uint64_t, JobRef> m_jobs;
    std::vector<JobRef> m_active; // handed out
    std::uint64_t m_lastId = 0, m_wakeUps = 0, m_seenElapsed = 0;
    std::int64_t m_seenUtc = 0;
    OwnThread m_thread;
    bool m_stopping = false;
};

} // namespace xc::work
