// OwnThread.h - threads that nobody joins, and the one thread of a core that sleeps until something is due.
//
// The thread starts with the first thing that needs it. Who comes while another caller starts it waits for the outcome,
// so that each caller knows whether a thread will look after what it has brought: a start that fails is told to all of
// them, and the next caller tries again.
#pragma once

#include <XelbrinCore/XCThread.h>

#include "win32/Process.h"
#include "work/Executor.h"

namespace xc::work {

/// Starts a thread that nobody joins. @return XCErrNoThread; XCErrTaskFailed when there is no memory to say so.
XCErrorID StartThread(XCString const& name, XCSmartPtr<XCCallback> const& body, int priority,
                      XCComModel comModel) noexcept;
/// The exception being handled, as XCErrNoThread with its text.
XCErrorID FailureToStart(XCString const& name) noexcept;

/// Starts a thread that keeps its core alive and runs a member of it.
template <class Core>
XCErrorID StartThreadOf(Core& core, void (Core::*loop)() noexcept, XCString const& name, int priority = 0,
                        XCComModel comModel = XCComNone) noexcept
try {
    XCSmartPtr<Core> const self(&core);
    return StartThread(name, XCMakeCallback([self, loop] { ((*self).*loop)(); }), priority, comModel);
} catch (...) {
    return FailureToStart(name);
}

/// The owner of a core goes: the core stops without waiting and loses the owner's reference. Nothing happens while the
/// process ends: there are no threads any more, and a lock may be held for ever.
template <class Core>
void Abandon(Core& core) noexcept
{
    if (win32::IsProcessEnding()) return;
    try {
        (void)core.Stop(0);
    } catch (...) { // no memory to tell that a callback still runs
    }
    core.Release();
}

/// A core's one thread. Everything with the core's lock.
class OwnThread {
public:
    /// Whether Ensure has something to do.
    [[nodiscard]] bool IsNeeded() const noexcept { return m_state != State::Runs; }
    /// Starts the thread unless it runs; the lock is given back meanwhile. @return why it does not run.
    template <class Core>
    XCErrorID Ensure(Core& core, void (Core::*loop)() noexcept, XCString const& name,
                     std::unique_lock<win32::SlimLock>& hold, win32::SlimSignal& change) noexcept
    {
        auto const known = [this] { return m_state != State::Starts; };
        if (!WaitUntil(change, *hold.mutex(), Deadline(XCInfinite), known) || m_state == State::Runs) return {};
        m_state = State::Starts;
        hold.unlock();
        XCErrorID const failure = StartThreadOf(core, loop, name);
        hold.lock();
        if (failure.Bad()) End(change);
        return failure;
    }
    /// On the thread: its begin and its end.
    void Begin(win32::SlimSignal& change) noexcept
    {
        m_state = State::Runs;
        m_id = win32::ThreadId();
        change.WakeAll();
    }
    void End(win32::SlimSignal& change) noexcept
    {
        m_state = State::None;
        change.WakeAll();
    }
    /// Whether it has ended, or is this one.
    [[nodiscard]] bool IsOver(unsigned long self) const noexcept
    {
        return m_state == State::None || (m_state == State::Runs && m_id == self);
    }

private:
    enum class State : unsigned char { None, Starts, Runs };

    State m_state = State::None;
    unsigned long m_id = 0;
};

/// A call on its way through an executor. One that the executor drops is told to the core.
template <class Core, class Call>
class HandedOut {
public:
    HandedOut(Core& core, Call call) : m_core(&core), m_call(std::move(call)) {}
    HandedOut(HandedOut&&) noexcept = default;
    HandedOut(HandedOut const&) = delete;
    HandedOut& operator=(HandedOut const&) = delete;
    ~HandedOut()
    {
        if (!m_core.IsNull()) m_core->NoteDropped(m_call);
    }
    void operator()()
    {
        XCSmartPtr<Core> const core = std::move(m_core);
        core->Invoke(std::move(m_call));
    }

private:
    XCSmartPtr<Core> m_core; // null: called, or moved from
    Call m_call;
};

} // namespace xc::work
