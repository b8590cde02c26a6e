// Three threads that a module cannot hold.
//
// The first, the watch, waits for the request to end and for requests of a report. When the deadline has passed it looks
// every few milliseconds for calls into modules that are older than the deadline, names each once with its stack, and
// goes on without it. How depends on the thread that is in the call:
//
//   a plug-in's own      the host stops waiting for it (IsOver)
//   the asking one       it is held, and the helper asks the plug-ins that are left
//   the host's           it is held, and the helper unloads in its place; then the process ends
//
// A held thread stops at the border of the call if it comes back after all (RunningCalls.h). A plain Run belongs to the
// host's thread by contract, so nothing but the end of the process can follow when it never returns: the log is
// written out, and the process ends with the exit code of a late host, without the loader, which may be what hangs.
//
// The second, the helper, calls modules; so it may hang itself, and its call is then late like any other. The third, the
// last resort, calls nothing: while the first two are at work on a late host it ends the process when they take longer
// than they may, as when a lock of the log is never released.
//
// Invariant: from the request on, each step takes at most one deadline: the call, the helper's next call, the end.
#include "app/host/StopDeadline.h"

#include <XelbrinCore/XCApplicationWithPlugIns.h>
#include <XelbrinCore/XCException.h>

#include "app/host/HangReport.h"
#include "app/host/QuitSignal.h"
#include "log/AtExit.h"
#include "win32/Clock.h"
#include "win32/HelperThread.h"
#include "win32/Process.h"
#include "win32/ThreadStacks.h"
#include "win32/UniqueHandle.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <set>

namespace xc::host {

namespace {

constexpr std::size_t kMostCalls = 256;
constexpr unsigned int kReportMs = 10000; // for writing a report, on top of the deadline

std::wstring ReportEventName(unsigned long process)
{
    return L"Local\\XelbrinCore-report-" + std::to_wstring(process);
}

win32::UniqueKernelObject NewEvent(bool manualReset, wchar_t const* name = nullptr)
{
    win32::UniqueKernelObject event(::CreateEventW(nullptr, manualReset, FALSE, name));
    if (!event) throw XCWindowsLastErrorException();
    return event;
}

bool IsWaitOver(HANDLE event, unsigned int ms) noexcept
{
    return ::WaitForSingleObject(event, ms) == WAIT_OBJECT_0;
}

} // namespace

struct StopDeadline::State {
    enum Task : int { Nothing, Ask, End };

    State(unsigned int deadlineMs_, StopActions& actions_)
        : deadlineMs(deadlineMs_), stepMs(std::clamp(deadlineMs_ / 16, 10u, 200u)), actions(actions_),
          hostThread(win32::ThreadId()), stop(NewEvent(true)), helperWake(NewEvent(false)), helperDone(NewEvent(true)),
          report(NewEvent(false, ReportEventName(win32::ProcessId()).c_str())), notes(kMostCalls)
    {
    }

    template <void (State::*body)()>
    static unsigned int __stdcall Body(void* share)
    {
        std::unique_ptr<std::shared_ptr<State>> const self(static_cast<std::shared_ptr<State>*>(share));
        ((**self).*body)();
        return 0;
    }
    template <void (State::*body)()>
    static win32::UniqueKernelObject Start(std::shared_ptr<State> const& self)
    {
        auto share = std::make_unique<std::shared_ptr<State>>(self);
        win32::UniqueKernelObject thread = win32::StartHelperThread(Body<body>, share.get());
        if (!thread) throw XCWindowsLastErrorException();
        (void)share.release(); // the thread owns it
        return thread;
    }

    void Watch();
    bool IsRequestOld();
    void LookForLate();
    void GoOnWithout(errors::CallNote const& note);
    void Give(Task next) noexcept;
    [[noreturn]] void EndProcess() noexcept;
    void Help();
    void Guard();
    void Expect(unsigned int ms) noexcept { mustEndBy = win32::TickMs() + ms; }

    unsigned int const deadlineMs;
    unsigned int const stepMs;
    StopActions& actions;
    unsigned long const hostThread;
    win32::UniqueKernelObject stop, helperWake, helperDone, report;
    win32::UniqueKernelObject watch, helper, guard;

    // The watch's own:
    std::vector<errors::CallNote> notes;
    std::set<std::uint64_t> named; ///< the calls that were reported, by their order
    std::uint64_t askedAt = 0;     ///< the tick at which the request was seen; 0: none

    std::atomic<std::uint64_t> endBegan{0};  ///< the tick at which the host began to unload
    std::atomic<std::uint64_t> mustEndBy{0}; ///< the tick of the last resort; 0: none
    std::atomic<int> task{Nothing};
    std::atomic<bool> over{false}, askerHeld{false}, helperBusy{false};
};

void StopDeadline::State::Watch()
{
    HANDLE const events[] = {stop.Get(), report.Get()};
    for (;;) {
        bool const watches = deadlineMs != XCInfinite;
        DWORD const woken = ::WaitForMultipleObjects(2, events, FALSE, watches ? stepMs : INFINITE);
        if (woken == WAIT_OBJECT_0) return;
        if (woken == WAIT_OBJECT_0 + 1) ReportAll();
        if (watches && IsRequestOld()) LookForLate();
    }
}

/// Whether the host should have ended, or have got on, by now.
bool StopDeadline::State::IsRequestOld()
{
    std::uint64_t const now = win32::TickMs();
    if (!IsQuitRequested()) askedAt = 0; // taken back, or never there
    if (IsQuitRequested() && askedAt == 0) askedAt = now;
    std::uint64_t const began = askedAt != 0 ? askedAt : endBegan.load();
    bool const isOld = began != 0 && now - began >= deadlineMs;
    if (!isOld) over = false; // the next request has a deadline of its own
    return isOld;
}

void StopDeadline::State::LookForLate()
{
    std::vector<errors::CallNote> const late = LateCalls(notes, deadlineMs);
    for (errors::CallNote const& note : late) {
        Expect(deadlineMs + kReportMs);
        if (named.insert(note.order).second) ReportLate(note);
        actions.SayLate();
        GoOnWithout(note);
    }
    mustEndBy = 0;
    over = true; // after the report: who waits goes on now
}

void StopDeadline::State::GoOnWithout(errors::CallNote const& note)
{
    if (note.thread == actions.AskingThread() && !askerHeld && errors::HoldCallsOf(note.thread)) {
        actions.KeepLoaded(note);
        askerHeld = true;
        Give(Ask);
    }
    if (note.thread != hostThread || !errors::HoldCallsOf(hostThread)) return;
    actions.KeepLoaded(note);
    // A helper that hangs itself cannot end the host either.
    Expect(2 * deadlineMs + kReportMs);
    if (!helperBusy) {
        Give(End);
        if (!IsWaitOver(helperDone.Get(), deadlineMs))
            for (errors::CallNote const& next : LateCalls(notes, deadlineMs / 2))
                if (named.insert(next.order).second) ReportLate(next);
    }
    EndProcess();
}

void StopDeadline::State::Give(Task next) noexcept
{
    helperBusy = true;
    ::ResetEvent(helperDone.Get());
    task = next;
    ::SetEvent(helperWake.Get());
}

void StopDeadline::State::EndProcess() noexcept
{
    log::AtExit::WriteOut();
    std::fflush(nullptr);
    win32::EndProcessNow(XCApplicationWithPlugIns::kExitLate);
}

void StopDeadline::State::Help()
{
    HANDLE const events[] = {stop.Get(), helperWake.Get()};
    while (::WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        if (task == Ask) actions.AskRest();
        if (task == End) actions.EndInstead();
        helperBusy = false;
        ::SetEvent(helperDone.Get());
    }
}

void StopDeadline::State::Guard()
{
    DWORD const step = deadlineMs == XCInfinite ? INFINITE : 100;
    // Also while the host waits for a watch that is at a report: the report may be what hangs.
    while (!IsWaitOver(stop.Get(), step) || mustEndBy != 0) {
        std::uint64_t const end = mustEndBy;
        if (end != 0 && win32::TickMs() > end) win32::EndProcessNow(XCApplicationWithPlugIns::kExitLate);
        if (end != 0) ::Sleep(10);
    }
}

StopDeadline::StopDeadline(unsigned int deadlineMs, StopActions& actions)
    : m_state(std::make_shared<State>(deadlineMs, actions))
{
    win32::PrepareThreadStacks();
    try {
        m_state->watch = State::Start<&State::Watch>(m_state);
        m_state->helper = State::Start<&State::Help>(m_state);
        m_state->guard = State::Start<&State::Guard>(m_state);
    } catch (...) { // those that have begun end, and keep the state until then
        ::SetEvent(m_state->stop.Get());
        throw;
    }
}

StopDeadline::~StopDeadline()
{
    ::SetEvent(m_state->stop.Get());
    // The watch calls no module. It may be at a report, and it may be about to end the process in place of this thread.
    ::WaitForSingleObject(m_state->watch.Get(), INFINITE);
    ::WaitForSingleObject(m_state->guard.Get(), INFINITE);
    // A helper that hangs in a module stays there: its call is held, so that it touches the host no more.
    while (!IsWaitOver(m_state->helper.Get(), 50))
        if (m_state->askerHeld && errors::HoldCallsOf(::GetThreadId(m_state->helper.Get()))) return;
}

unsigned int StopDeadline::Milliseconds() const noexcept
{
    return m_state->deadlineMs;
}

void StopDeadline::BeginEnd() noexcept
{
    m_state->endBegan = win32::TickMs();
}

bool StopDeadline::IsOver() const noexcept
{
    return m_state->over;
}

bool StopDeadline::HoldsAskingThread() const noexcept
{
    return m_state->askerHeld;
}

unsigned long StopDeadline::AskForReport(unsigned long process)
{
    win32::UniqueKernelObject const event(::OpenEventW(EVENT_MODIFY_STATE, FALSE, ReportEventName(process).c_str()));
    return event && ::SetEvent(event.Get()) ? 0 : ::GetLastError();
}

} // namespace xc::host
