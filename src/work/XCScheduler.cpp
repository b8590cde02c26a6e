// The scheduler's thread.
//
// It keeps the next due instant of each job and sleeps until the smallest. A clock that was set shows as a difference
// between the wall clock and the clock that nobody sets, from one look to the next; a sleep of the system shows in both
// and so as nothing. Only a clock set back needs a decision (see CLOCK in the header); forward, due times lie in the
// past and are treated as any others that were missed.
//
// Jobs are walked in order of their numbers at each look. A scheduler has tens of jobs that are due seldom; a heap
// would save nothing, and would have to be built anew whenever the clock was set.
//
// Schedules are asked without the lock, since they may be code of the program: a look notes which jobs are due, asks
// their schedules, and serves those that are still there. What a schedule says of itself is kept from Add on.
//
// REFERENCES A job is shared by the table, by its run and by m_active. Removal takes it out of the table and marks it:
// a run on its way finds the mark and ends without a call. It waits for a schedule that is being asked. Callbacks and
// schedules are destroyed without the lock.
#include "work/SchedulerCore.h"

#include "errors/CoreError.h"
#include "win32/Process.h"
#include "work/Executor.h"
#include "work/Instants.h"

#include <algorithm>

namespace xc::work {

namespace {

/// A clock set back further than this begins a new time.
constexpr std::int64_t kShortJumpMs = 3 * 3600000;
/// Differences below this, and below a thousandth of the span, are the clocks' own.
constexpr std::int64_t kDriftMs = 1000;
/// Due times that are counted one by one; beyond, the count is a lower bound.
constexpr std::uint64_t kMaxCounted = 10000;

} // namespace

SchedulerCore::SchedulerCore(XCSmartPtr<XCExecutor> const& executor, XCString const& name, XCTimeSourceI& clocks)
    : m_executor(executor), m_name(name), m_clocks(clocks), m_wait(clocks.NewWait()),
      m_seenElapsed(clocks.GetElapsedUs() / 1000), m_seenUtc(clocks.GetUtcMs())
{
}

std::int64_t SchedulerCore::NextOf(Job const& job, std::int64_t after) const noexcept
try {
    XCDateTimeEx const next = job.schedule->GetNext(DateTimeOf(after), job.options.zone);
    return InstantOf(next);
} catch (...) { // a schedule of the program's own that throws is never due again
    return kNever;
}

std::uint64_t SchedulerCore::Add(XCSmartPtr<XCScheduleI> const& schedule, Callback callback,
                                 XCJobOptions const& options)
{
    auto const job = std::make_shared<Job>();
    job->schedule = schedule;
    job->callback = std::move(callback);
    job->options = options;
    job->description = schedule->AsString();
    job->byInterval = schedule->IsByInterval();
    // Without the lock: the schedule may be code of the program, and a cron line may walk over years.
    job->next = NextOf(*job, InstantOf(options.since, m_clocks.GetUtcMs()));
    std::unique_lock hold(m_lock);
    if (m_stopping) throw XCException(errors::MakeCoreError(XCErrExecutorStopped, m_name));
    job->id = ++m_lastId;
    // Entered before the thread starts, which then finds it at its first look.
    m_jobs.emplace(job->id, job);
    // The new job may be the earliest; the thread looks at all of them and sleeps anew.
    m_wait->Wake();
    XCErrorID failure;
    if (m_thread.IsNeeded()) failure = m_thread.Ensure(*this, &SchedulerCore::Loop, m_name, hold, m_change);
    if (failure.Good()) return job->id;
    m_jobs.erase(job->id); // nobody has learnt its number
    hold.unlock();
    throw XCException(failure);
}

void SchedulerCore::Loop() noexcept
{
    std::unique_lock hold(m_lock);
    m_thread.Begin(m_change);
    while (!m_stopping) {
        std::vector<Run> runs;
        try {
            Look(hold, runs);
        } catch (...) { // no memory: what is in the list runs, the rest at the next look
        }
        if (runs.empty()) {
            Sleep(hold);
            continue;
        }
        hold.unlock();
        for (Run& run : runs) HandOut(std::move(run));
        hold.lock();
    }
    m_thread.End(m_change);
}

/// With the lock, which is given back meanwhile.
void SchedulerCore::Sleep(std::unique_lock<win32::SlimLock>& hold) noexcept
{
    std::int64_t next = kNever;
    for (auto const& [id, job] : m_jobs) next = std::min(next, job->next);
    std::int64_t const left = next == kNever ? kNever : std::max<std::int64_t>(next - m_clocks.GetUtcMs(), 0);
    hold.unlock();
    // The instant ends the wait when the clock is set forward or the system wakes up, the span when the clock was set
    // back. A span beyond the system's count is left out, since the instant ends that wait.
    m_wait->Wait(left > INT32_MAX ? XCInfinite : static_cast<unsigned int>(left), next);
    hold.lock();
    ++m_wakeUps;
}

/// With the lock, which is given back while schedules are asked: they may be code of the program and call back.
void SchedulerCore::Look(std::unique_lock<win32::SlimLock>& hold, std::vector<Run>& runs)
{
    std::int64_t const now = m_clocks.GetUtcMs(), back = FollowClock(now);
    std::vector<Walk> walks;
    for (auto const& [id, job] : m_jobs) {
        // A short step back repeats some hours: calendar jobs keep their next time and do not run again. A rhythm would
        // pause for that time, and after a long step all jobs would, for days perhaps.
        bool const anew = back >= kShortJumpMs || (back > 0 && job->byInterval);
        if (anew || job->next <= now) walks.push_back({job, anew, job->next});
    }
    if (walks.empty()) return;
    // Set when nothing can fail any more: Remove waits for it.
    for (Walk const& walk : walks) walk.job->asked = true;
    hold.unlock();
    bool enoughMemory = true;
    try {
        for (Walk& walk : walks) GoOn(walk, now);
    } catch (...) {
        enoughMemory = false;
    }
    hold.lock();
    for (Walk& walk : walks) {
        try {
            if (enoughMemory && !walk.job->removed) Serve(walk, now, runs);
        } catch (...) { // it stays due; those that were served run
            enoughMemory = false;
        }
        walk.job->asked = false;
        // A call that took the job out of the table waits here and has the last reference, unless it ran out of time.
        if (walk.job.use_count() > 1) walk.job.reset();
    }
    m_change.WakeAll();
    hold.unlock();
    walks.clear();
    hold.lock();
}

/// With the lock. @return how far the clock was set back since the last look; 0 when it was not.
std::int64_t SchedulerCore::FollowClock(std::int64_t now) noexcept
{
    std::uint64_t const elapsed = m_clocks.GetElapsedUs() / 1000;
    auto const span = static_cast<std::int64_t>(elapsed - m_seenElapsed);
    std::int64_t const back = span - (now - m_seenUtc);
    m_seenElapsed = elapsed;
    m_seenUtc = now;
    // Set forward, or as good as not set: the usual look sees all that is due.
    return back < kDriftMs + span / 1000 ? 0 : back;
}

/// Without the lock: asks the schedule for the due times up to now and for the one after them.
void SchedulerCore::GoOn(Walk& walk, std::int64_t now) const
{
    Job const& job = *walk.job;
    std::size_t const most = job.options.missed == XCMissedRuns::All ? std::max(job.options.missedLimit, 1u) : 1;
    if (walk.anew) walk.next = NextOf(job, now - 1);
    for (; walk.next <= now; walk.next = NextOf(job, walk.count < kMaxCounted ? walk.next : now)) {
        // The latest ones are kept: they tell of the state of now, and the limit is small.
        if (walk.due.size() == most) walk.due.erase(walk.due.begin());
        walk.due.push_back(walk.next);
        ++walk.count;
    }
}

/// With the lock.
void SchedulerCore::Serve(Walk const& walk, std::int64_t now, std::vector<Run>& runs)
{
    JobRef const& job = walk.job;
    std::vector<std::int64_t> const& due = walk.due;
    bool const skip =
        job->options.missed == XCMissedRuns::Skip && !due.empty() && now - due.back() > job->options.graceMs;
    std::uint64_t const served = skip || job->inFlight ? 0 : due.size();
    std::uint64_t const untold = job->untold + (walk.count - served);
    if (served > 0) {
        Run run{job, {}};
        for (std::int64_t const instant : due) run.calls.push_back({job->id, DateTimeOf(instant), 0});
        // The first call of a run tells of all that got none; the others follow without a gap.
        run.calls.front().missed = untold;
        // Everything that needs memory comes before the first change, so that a failure leaves the job due.
        m_active.reserve(m_active.size() + 1);
        runs.push_back(run);
        m_active.push_back(job);
        // Until End: a job that is due again meanwhile misses that time.
        job->inFlight = true;
        job->last = due.back();
    }
    job->next = walk.next;
    job->missed += walk.count - served;
    job->untold = served > 0 ? 0 : untold;
}

void SchedulerCore::HandOut(Run run) noexcept
{
    if (m_executor.IsNull()) {
        Invoke(run);
        return;
    }
    JobRef const job = run.job;
    XCErrorID refused;
    try {
        refused = m_executor->Submit(HandedOut(*this, std::move(run)))->GetError();
    } catch (...) {
        refused = FailureOfTask();
    }
    if (refused.Good()) return;
    std::lock_guard const hold(m_lock);
    // HandedOut has told of the dropped run; here the reason is kept for the list.
    ++job->failures;
    job->failure = refused;
}

/// The executor has refused or cancelled the run: its due times are missed.
void SchedulerCore::NoteDropped(Run const& run) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        run.job->missed += run.calls.size();
        run.job->untold += run.calls.size() + run.calls.front().missed;
    }
    End(*run.job, XCErrorID());
}

void SchedulerCore::Invoke(Run const& run) noexcept
{
    XCErrorID failure;
    for (XCJobCall const& call : run.calls) {
        // Asked before each call of a run: the job may remove itself in the first.
        if (!Begin(*run.job)) break;
        try {
            run.job->callback(call);
        } catch (...) {
            failure = FailureOfTask();
            NoteFailure(m_name + L", " + run.job->options.name, failure);
        }
    }
    End(*run.job, failure);
}

bool SchedulerCore::Begin(Job& job) noexcept
{
    std::lock_guard const hold(m_lock);
    if (job.removed) return false;
    job.running = true;
    job.threadId = win32::ThreadId();
    ++job.runs;
    return true;
}

void SchedulerCore::End(Job& job, XCErrorID const& failure) noexcept
{
    std::lock_guard const hold(m_lock);
    if (failure.Bad()) {
        ++job.failures;
        job.failure = failure;
    }
    job.running = job.inFlight = false;
    std::erase_if(m_active, [&job](JobRef const& active) { return active.get() == &job; });
    m_change.WakeAll();
}

bool SchedulerCore::Remove(std::uint64_t id) noexcept
{
    JobRef job; // may be the last reference: it goes without the lock
    {
        std::lock_guard const hold(m_lock);
        auto const found = m_jobs.find(id);
        if (found == m_jobs.end()) return false;
        job = std::move(found->second);
        m_jobs.erase(found);
        job->removed = true;
        // A job may remove itself, by its callback or by its schedule, and cannot wait for its own end.
        unsigned long const self = win32::ThreadId();
        auto const isOver = [&] {
            return (!job->running || job->threadId == self) && (!job->asked || m_thread.IsOver(self));
        };
        (void)WaitUntil(m_change, m_lock, Deadline(XCInfinite), isOver);
    }
    Retire(*job);
    return true;
}

/// Destroys the code of the program that a removed job refers to. A run that waits in an executor holds the job for
/// longer than its owner knows, and the code may be a module's that is unloaded now. One that is running goes later, with
/// the caller's own call.
void SchedulerCore::Retire(Job& job) noexcept
{
    Callback callback;
    XCSmartPtr<XCScheduleI> schedule;
    std::lock_guard const hold(m_lock);
    if (job.running || job.asked) return;
    callback.swap(job.callback);
    schedule = std::move(job.schedule);
}

std::vector<XCJobInfo> SchedulerCore::List()
{
    std::vector<XCJobInfo> list;
    std::lock_guard const hold(m_lock);
    for (auto const& [id, job] : m_jobs)
        list.push_back({id, job->options.name, job->description, DateTimeOf(job->next), DateTimeOf(job->last),
                        job->runs, job->missed, job->failures, job->failure});
    return list;
}

/// With the lock. Whether nothing of this scheduler runs on other threads.
bool SchedulerCore::IsOver(unsigned long self) const noexcept
{
    bool const busy =
        std::ranges::any_of(m_active, [self](JobRef const& job) { return job->running && job->threadId != self; });
    return !busy && m_thread.IsOver(self);
}

XCErrorID SchedulerCore::Stop(std::uint32_t timeoutMs)
{
    Deadline const deadline(timeoutMs);
    std::map<std::uint64_t, JobRef> jobs; // go without the lock
    XCString names;
    bool over = false;
    {
        std::lock_guard const hold(m_lock);
        m_stopping = true;
        jobs.swap(m_jobs);
        // Runs that wait in the executor see this and end without a call.
        for (auto const& [id, job] : jobs) job->removed = true;
        m_wait->Wake();
        unsigned long const self = win32::ThreadId();
        over = WaitUntil(m_change, m_lock, deadline, [this, self] { return IsOver(self); });
        for (JobRef const& job : m_active) names += names.IsNull() ? job->options.name : L", " + job->options.name;
    }
    for (auto const& [id, job] : jobs) Retire(*job);
    return over ? XCErrorID() : errors::MakeCoreError(XCErrStillRunning, m_name, names);
}

std::uint64_t SchedulerCore::WakeUps() noexcept
{
    std::lock_guard const hold(m_lock);
    return m_wakeUps;
}

} // namespace xc::work

XCScheduler::XCScheduler(XCSmartPtr<XCExecutor> const& executor, XCString const& name, XCTimeSourceI& clocks)
    : m_core(new xc::work::SchedulerCore(executor, name, clocks))
{
    m_core->AddRef();
}

XCScheduler::~XCScheduler()
{
    xc::work::Abandon(*m_core);
}

std::uint64_t XCScheduler::Add(XCSmartPtr<XCScheduleI> const& schedule, Callback callback, XCJobOptions const& options)
{
    return m_core->Add(schedule, std::move(callback), options);
}

bool XCScheduler::Remove(std::uint64_t id) noexcept
{
    return m_core->Remove(id);
}

std::vector<XCJobInfo> XCScheduler::List() const
{
    return m_core->List();
}

XCErrorID XCScheduler::Stop(unsigned int timeoutMs)
{
    return m_core->Stop(timeoutMs);
}

std::uint64_t XCScheduler::GetWakeUps() const
{
    return m_core->WakeUps();
}
