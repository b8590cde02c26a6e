// The request to end the program: one event of the process, set by console signals and by the program itself.
//
// The event is reset by hand, so that a request stays visible to everybody who asks later, and it is never closed,
// since a signal may arrive at any moment. The system runs a handler of console signals on a thread of its own. Ctrl-C
// and Ctrl-Break are answered with TRUE and the program ends in its own time. After a closed console or a shutdown the
// system kills the process as soon as the handler returns, so the handler sleeps there for as long as the system
// allows. Several applications may want signals; the handler is installed with the first and removed with the last.
//
// A QuitWatch calls back once when the event is set. Its destructor returns only after the callback has ended. Cost:
// one waiting thread for each watch. Invariant: the events exist for as long as anything waits for them.
#include "app/host/QuitSignal.h"

#include <XelbrinCore/XCException.h>

#include "win32/HelperThread.h"
#include "win32/UniqueHandle.h"

#include <atomic>
#include <windows.h>

namespace xc::host {

namespace {

std::atomic<int> g_handlers{0};

/// Manual reset, made once and never closed: signals may come at any moment, also while the process ends.
HANDLE QuitEvent() noexcept
{
    static HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

BOOL WINAPI OnConsoleSignal(DWORD signal) noexcept
{
    if (signal == CTRL_LOGOFF_EVENT) return TRUE; // some user's: only services get it, and they go on
    RequestQuit();
    // When the console closes or the system shuts down, the process is killed as soon as its handlers have returned:
    // this thread waits for the end of the program, as long as the system lets it.
    if (signal == CTRL_CLOSE_EVENT || signal == CTRL_SHUTDOWN_EVENT) ::Sleep(INFINITE);
    return TRUE; // the process goes on and ends by itself
}

} // namespace

void RequestQuit() noexcept
{
    ::SetEvent(QuitEvent());
}

void ClearQuit() noexcept
{
    ::ResetEvent(QuitEvent());
}

bool IsQuitRequested() noexcept
{
    return ::WaitForSingleObject(QuitEvent(), 0) == WAIT_OBJECT_0;
}

QuitOnConsoleSignal::QuitOnConsoleSignal()
{
    QuitEvent();
    if (g_handlers.fetch_add(1) == 0) ::SetConsoleCtrlHandler(OnConsoleSignal, TRUE);
}

QuitOnConsoleSignal::~QuitOnConsoleSignal()
{
    if (g_handlers.fetch_sub(1) == 1) ::SetConsoleCtrlHandler(OnConsoleSignal, FALSE);
}

// A thread of its own: the waits of the system's pool go on for a moment after they were taken back, and what they call
// here may be code of modules.
struct QuitWatch::State {
    State(std::function<void()> onQuit_, std::function<bool()> givesUp_)
        : onQuit(std::move(onQuit_)), givesUp(std::move(givesUp_)), stop(::CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        if (!stop) throw XCWindowsLastErrorException();
    }
    static unsigned int __stdcall Body(void* state)
    {
        auto const& self = *static_cast<State const*>(state);
        HANDLE const events[] = {QuitEvent(), self.stop.Get()}; // a request that is there is handed on in any case
        if (::WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0) self.onQuit();
        return 0;
    }

    std::function<void()> onQuit;
    std::function<bool()> givesUp;
    win32::UniqueKernelObject stop;
    win32::UniqueKernelObject thread;
};

QuitWatch::QuitWatch(std::function<void()> onQuit, std::function<bool()> givesUp)
    : m_state(std::make_unique<State>(std::move(onQuit), std::move(givesUp)))
{
    m_state->thread = win32::StartHelperThread(State::Body, m_state.get());
    if (!m_state->thread) throw XCWindowsLastErrorException();
}

QuitWatch::~QuitWatch()
{
    ::SetEvent(m_state->stop.Get());
    DWORD const step = m_state->givesUp ? 50 : INFINITE;
    while (::WaitForSingleObject(m_state->thread.Get(), step) == WAIT_TIMEOUT)
        if (m_state->givesUp()) {
            (void)m_state.release(); // the thread is in it for ever
            return;
        }
}

} // namespace xc::host
