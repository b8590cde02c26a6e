// Running what is ready, and asking it to end.
//
// Plain plug-ins run on the host's thread, one after the other; threaded ones get a thread each and are waited for. A
// thread is looked at every 200 ms at the latest: it has ended when Run has returned, or when the thread itself is gone,
// because Run may have ended it. From the first start on nothing here fails for want of memory: messages are dropped.
// What runs on a plug-in's thread uses nothing of the host, since a plug-in that ignores the request outlives it.
#include <XelbrinCore/XCService.h>
#include <XelbrinCore/XCUnitTest.h>

#include "app/host/Host.h"
#include "app/host/HostLines.h"
#include "app/host/QuitSignal.h"
#include "app/host/ThreadedState.h"
#include "win32/Clock.h"
#include "win32/Process.h"

#include <iostream>

using xc::errors::PlugInFailure;
using xc::errors::SayIfPossible;
using xc::errors::Sealed;
using xc::host::CallModule;
using xc::host::PlugInAccess;
using xc::host::PlugInRef;
using xc::host::ThreadedState;

namespace {

constexpr int kExitRunFailed = 2;

/// What one plug-in's Run needs, on whichever thread.
struct RunOrder {
    XCRunPlugIn* plugIn;
    XCString name;
    XCString path;
    std::shared_ptr<std::atomic<int>> exitCode;

    void Fail(XCErrorID const& failure) const noexcept
    {
        xc::host::PrintFailure(name, failure);
        // The first failure decides the exit code of the process; an exit code that a plug-in has set stays.
        int none = 0;
        exitCode->compare_exchange_strong(none, kExitRunFailed);
    }
    void Run() const noexcept
    {
        PlugInAccess::SetStatus(*plugIn, XCPlugIn::StatusRunning);
        XCErrorID const ran = CallModule(L"Run", name, path, [this] { plugIn->Run(); });
        PlugInAccess::SetStatus(*plugIn, XCPlugIn::StatusFinished);
        if (ran.Bad()) Fail(ran);
    }
};

void StartThread(ThreadedState& state, RunOrder const& order)
{
    XCErrorID const started = Sealed([&] {
        state.thread = new XCThread(XCMakeCallback([&state, order] {
            state.SetStarted();
            order.Run();
            state.SetEnded();
        }));
        state.thread->SetName(order.name);
        return state.thread->Start();
    });
    if (started.Good()) {
        // Until the thread is inside Run: a request to exit that comes now finds a thread that it can ask.
        (void)state.startedEvent.wait(XCInfinite);
        return;
    }
    state.thread.Clear(); // there is no end to wait for
    order.Fail(started);
}

void RunOne(PlugInRef const& ref, RunOrder const& order)
{
    bool const isReady = xc::errors::SealedValue(
        [&] { return ref.plugIn->GetStatus() == XCPlugIn::StatusReady && ref.plugIn->IsRunningPlugIn(); }, false);
    // Asked before each: a request that came while the one before was running starts nothing more.
    if (!isReady || !ref.runs || XCApplication::IsExitRequested()) return;
    wchar_t const* const how = ref.threaded ? L">...(threaded)\n" : L">...\n";
    SayIfPossible([&] { xc::host::Print(L"RUN> Running <" + ref.name + how); });
    if (ref.threaded)
        StartThread(*ref.threaded, order);
    else
        order.Run();
}

/// Its Run has ended the thread: what was noted there is taken back here.
void NoteVanished(ThreadedState& state, RunOrder const& order)
{
    state.SetEnded();
    xc::errors::ForgetCallsOf(state.threadId);
    xc::host::RunJournal::Get().End(L"Run", order.path.View());
    PlugInAccess::SetStatus(*order.plugIn, XCPlugIn::StatusFinished);
    order.Fail(Sealed([] { return PlugInFailure(L"Run has ended its thread instead of returning"); }));
}

/// Whether a plug-in that was asked to exit has used up its patience.
// It begins with the request, not with the wait: several plug-ins use it up together.
bool IsPatienceOver(ThreadedState const& state) noexcept
{
    std::uint64_t const askedAt = state.askedAt;
    unsigned int const patience = state.patienceMs;
    return askedAt != 0 && patience != XCInfinite && xc::win32::TickMs() - askedAt >= patience;
}

/// Waits for a threaded plug-in; once it was asked to exit no longer than its patience, and than the deadline of the
/// host; then it is named.
template <class IsOver>
void WaitForEnd(ThreadedState& state, RunOrder const& order, IsOver isDeadlineOver)
{
    if (state.thread.IsNull()) return;
    while (!state.WaitForEnd()) {
        if (!IsPatienceOver(state) && !isDeadlineOver()) continue;
        SayIfPossible([&] { xc::host::PrintError(L"<" + order.name + L"> ignores the request to exit"); });
        return;
    }
    if (state.HasVanished()) NoteVanished(state, order);
    state.Join();
}

/// An earlier request was taken back: what has not run yet may run now.
void ForgetExitRequest(std::vector<PlugInRef> const& list)
{
    for (PlugInRef const& ref : list) {
        if (!ref.threaded) continue;
        ref.threaded->askedAt = 0;
        ref.threaded->exitRequested.reset();
    }
}

} // namespace

int XCApplicationWithPlugIns::Run()
{
    std::vector<PlugInRef> const list = m_host->list.InOrderOfDependency();
    XCService::SetRunning(); // what was to be loaded is there
    if (!IsExitRequested()) {
        m_host->exitAsked = false;
        ForgetExitRequest(list);
    }
    {
        auto const onQuit = [this] {
            m_host->askingThread = xc::win32::ThreadId();
            if (!m_host->exitAsked) (void)Sealed([this] { RequestExit(false); });
        };
        xc::host::QuitWatch const quit(onQuit,
                                       [this] { return m_host->deadline && m_host->deadline->HoldsAskingThread(); });
        for (PlugInRef const& ref : list) {
            if (ref.threaded) ref.threaded->patienceMs = m_host->exitPatienceMs.load();
            if (ref.threaded) ref.threaded->askMs = m_host->AskPatienceMs();
            RunOne(ref, {ref.runs, ref.name, ref.path, m_exitCode});
        }
        for (PlugInRef const& ref : list)
            if (ref.threaded)
                WaitForEnd(*ref.threaded, {ref.runs, ref.name, ref.path, m_exitCode},
                           [this] { return m_host->IsDeadlineOver(); });
    }
    m_host->askingThread = 0;
    if (m_runWithMenu) m_mainMenu->RunMenu(std::wcin, GetCout());
    return m_exitCode->load();
}

void XCApplicationWithPlugIns::RequestExit(bool immediately)
{
    m_host->exitAsked = true; // before the flag: the watch would ask once more
    XCApplication::RequestExit(immediately);
    SayIfPossible([] { Print(L">>>> Quit signal received. Requesting exit to all plug-ins...\n"); });
    // All threads learn it at once: one that is slow to end does not delay the others.
    PlugInRef ref;
    for (std::uint64_t at = 0; m_host->list.Next(at, ref);)
        if (ref.threaded) {
            ref.threaded->askedAt = xc::win32::TickMs();
            ref.threaded->exitRequested.post();
        }
    m_host->Ask(0, immediately);
}

void XCApplicationWithPlugIns::Host::Ask(std::uint64_t after, bool immediately) noexcept
{
    PlugInRef ref;
    for (std::uint64_t at = after; list.Next(at, ref);) {
        lastAsked = at;
        XCErrorID const asked =
            CallModule(L"RequestExit", ref.name, ref.path, [&] { ref.plugIn->RequestExit(immediately); });
        if (asked.Bad()) xc::host::PrintFailure(ref.name, asked);
    }
}
