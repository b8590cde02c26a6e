// The request to end the program: one event of the process, set by console signals and by the program itself.
//
// The event is reset by hand, so that a request stays visible to everybody who asks later, and it is never closed,
// since a signal may arrive at any moment. The system runs a handler of console signals on a thread of its own; what it
// answers stands in EndSignal.cpp. Where the process has windows the system tells the end of the session to a window
// instead. Several applications may want signals; the handler is installed with the first and removed with the last,
// and so is the window.
//
// A QuitWatch calls back once when the event is set. Its destructor returns only after the callback has ended. Cost:
// one waiting thread for each watch. Invariant: the events exist for as long as anything waits for them.
#include "app/host/QuitSignal.h"

#include <XelbrinCore/XCException.h>

#include "app/host/EndSignal.h"
#include "app/host/HangReport.h"
#include "errors/Sealed.h"
#include "log/AtExit.h"
#include "win32/HelperThread.h"
#include "win32/Process.h"
#include "win32/ServiceManager.h"
#include "win32/SessionEnd.h"
#include "win32/UniqueHandle.h"

#include <mutex>
#include <new>
#include <utility>
#include <windows.h>

namespace xc::host {

namespace {

std::mutex g_lock;
int g_handlers = 0;                       ///< guarded by the lock
win32::SessionWindow* g_window = nullptr; ///< as long as there are handlers; null in a service

/// Manual reset, made once and never closed: signals may come at any moment, also while the process ends.
HANDLE QuitEvent() noexcept
{
    static HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

/// The answers of the process itself.
class SystemSteps final : public EndSteps {
public:
    bool IsService() const noexcept override { return win32::IsService(); }
    void RequestQuit() noexcept override { xc::host::RequestQuit(); }
    unsigned int AllowedMs(EndCause cause) const noexcept override
    {
        return cause == EndCause::Close ? win32::ConsoleCloseMs() : win32::SessionEndMs();
    }
    void AwaitEnd(unsigned int milliseconds) noexcept override { ::Sleep(milliseconds); }
    void SayLate(EndCause cause, unsigned int milliseconds) noexcept override
    {
        constexpr wchar_t const* kCauses[] = {L"", L"", L"the console is closed", L"the user logs off",
                                              L"the machine goes down"};
        NameLate(kCauses[static_cast<int>(cause)], milliseconds);
        log::AtExit::WriteOut();
    }
    void EndProcess() noexcept override { win32::EndProcessNow(kExitTooLate); }
};

void Answer(EndCause cause) noexcept
{
    SystemSteps steps;
    AnswerEndSignal(cause, steps);
}

BOOL WINAPI OnConsoleSignal(DWORD signal) noexcept
{
    switch (signal) {
    case CTRL_C_EVENT: Answer(EndCause::CtrlC); break;
    case CTRL_BREAK_EVENT: Answer(EndCause::CtrlBreak); break;
    case CTRL_CLOSE_EVENT: Answer(EndCause::Close); break;
    case CTRL_LOGOFF_EVENT: Answer(EndCause::LogOff); break;
    case CTRL_SHUTDOWN_EVENT: Answer(EndCause::Shutdown); break;
    default: return FALSE;
    }
    return TRUE; // the process goes on and ends by itself
}

void OnSessionEnd(bool isLogOff) noexcept
{
    Answer(isLogOff ? EndCause::LogOff : EndCause::Shutdown);
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
    std::lock_guard const hold(g_lock);
    if (g_handlers++ > 0) return;
    ::SetConsoleCtrlHandler(OnConsoleSignal, TRUE);
    // A service has no session that could end. Without memory the console may still tell.
    if (!win32::IsService()) g_window = new (std::nothrow) win32::SessionWindow(OnSessionEnd);
}

QuitOnConsoleSignal::~QuitOnConsoleSignal()
{
    std::lock_guard const hold(g_lock);
    if (--g_handlers > 0) return;
    delete std::exchange(g_window, nullptr);
    ::SetConsoleCtrlHandler(OnConsoleSignal, FALSE);
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
