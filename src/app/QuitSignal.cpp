#include "app/QuitSignal.h"

#include <XelbrinCore/XCException.h>

#include <atomic>
#include <windows.h>

namespace xc::app {

namespace {

std::atomic<int> g_handlers{0};

/// Manual reset, made once and never closed: signals may come at any moment, also while the process ends.
HANDLE QuitEvent() noexcept
{
    static HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

BOOL WINAPI OnConsoleSignal(DWORD) noexcept
{
    RequestQuit();
    return TRUE; // the process goes on and ends by itself
}

void CALLBACK OnQuit(void* function, BOOLEAN) noexcept
{
    (*static_cast<std::function<void()>*>(function))();
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

QuitWatch::QuitWatch(std::function<void()> onQuit) : m_onQuit(std::move(onQuit))
{
    if (!::RegisterWaitForSingleObject(&m_wait, QuitEvent(), OnQuit, &m_onQuit, INFINITE,
                                       WT_EXECUTEONLYONCE | WT_EXECUTELONGFUNCTION))
        throw XCWindowsLastErrorException();
}

QuitWatch::~QuitWatch()
{
    ::UnregisterWaitEx(m_wait, INVALID_HANDLE_VALUE); // waits for a call under way
}

} // namespace xc::app
