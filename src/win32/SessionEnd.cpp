// A top-level window without a face. Windows for messages alone do not hear of the end of a session.
//
// The question whether the session may end is answered with yes at once: it is asked before other programs have agreed,
// and the end may still be called off. The message that follows, with the word that it ends, is the one that counts; the
// system waits for its answer and ends the process after it. The library of windows is taken as the process has it: a
// program without windows gets the console's events, and loads nothing. The thread keeps the state alive, for the owner
// goes when the process ends, which is what the call waits for.
#include "win32/SessionEnd.h"

#include "win32/HelperThread.h"
#include "win32/SystemFunction.h"
#include "win32/UniqueHandle.h"

#include <atomic>
#include <cwchar>
#include <new>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr wchar_t kClassName[] = L"XelbrinCoreSessionEnd";
constexpr wchar_t kDesktopKey[] = L"Control Panel\\Desktop";
constexpr wchar_t kControlKey[] = L"SYSTEM\\CurrentControlSet\\Control";
constexpr unsigned int kDefaultMs = 5000;

/// A time that the system keeps as digits; its default when there is none, or none that makes sense.
unsigned int ReadMs(HKEY root, wchar_t const* key, wchar_t const* value) noexcept
{
    wchar_t digits[16] = L"";
    DWORD bytes = sizeof digits;
    if (::RegGetValueW(root, key, value, RRF_RT_REG_SZ, nullptr, digits, &bytes) != ERROR_SUCCESS) return kDefaultMs;
    unsigned long const milliseconds = std::wcstoul(digits, nullptr, 10);
    return milliseconds == 0 || milliseconds > 3600000 ? kDefaultMs : static_cast<unsigned int>(milliseconds);
}

} // namespace

/// Of the library of windows, when the process has it.
struct WindowCalls {
    HMODULE module = ::GetModuleHandleW(L"user32.dll");
    decltype(&::RegisterClassW) registerClass = SystemFunction<decltype(registerClass)>(module, "RegisterClassW");
    decltype(&::CreateWindowExW) create = SystemFunction<decltype(create)>(module, "CreateWindowExW");
    decltype(&::DestroyWindow) destroy = SystemFunction<decltype(destroy)>(module, "DestroyWindow");
    decltype(&::GetMessageW) get = SystemFunction<decltype(get)>(module, "GetMessageW");
    decltype(&::DispatchMessageW) dispatch = SystemFunction<decltype(dispatch)>(module, "DispatchMessageW");
    decltype(&::DefWindowProcW) defaultProc = SystemFunction<decltype(defaultProc)>(module, "DefWindowProcW");
    decltype(&::PostMessageW) post = SystemFunction<decltype(post)>(module, "PostMessageW");
    decltype(&::PostQuitMessage) postQuit = SystemFunction<decltype(postQuit)>(module, "PostQuitMessage");

    [[nodiscard]] bool IsWhole() const noexcept
    {
        return registerClass && create && destroy && get && dispatch && defaultProc && post && postQuit;
    }
};

struct SessionWindow::State {
    explicit State(OnEnd onEnd_) noexcept : onEnd(onEnd_) {}

    static unsigned int __stdcall Body(void* share);
    static LRESULT CALLBACK Answer(HWND window, UINT message, WPARAM first, LPARAM second);
    void Make() noexcept;
    void Serve() const noexcept;

    /// One window of this kind a process: the console's handler is one, too.
    static inline std::atomic<State*> current{nullptr};

    OnEnd const onEnd;
    WindowCalls const calls;
    UniqueKernelObject made{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    UniqueKernelObject ending{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    UniqueKernelObject thread;
    std::atomic<HWND> window{nullptr};
};

LRESULT CALLBACK SessionWindow::State::Answer(HWND window, UINT message, WPARAM first, LPARAM second)
{
    State* const self = current;
    if (message == WM_QUERYENDSESSION) return TRUE;
    if (message == WM_ENDSESSION && first != 0 && self) {
        ::SetEvent(self->ending.Get());
        self->onEnd((static_cast<DWORD>(second) & ENDSESSION_LOGOFF) != 0);
        return 0;
    }
    if (message == WM_CLOSE && self) return self->calls.destroy(window), 0;
    if (message == WM_DESTROY && self) return self->calls.postQuit(0), 0;
    return self ? self->calls.defaultProc(window, message, first, second) : 0;
}

void SessionWindow::State::Make() noexcept
{
    WNDCLASSW kind{};
    kind.lpfnWndProc = Answer;
    kind.hInstance = ::GetModuleHandleW(nullptr);
    kind.lpszClassName = kClassName;
    calls.registerClass(&kind); // fails when it is there from the last time, which is as good
    window = calls.create(0, kClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, kind.hInstance, nullptr);
}

void SessionWindow::State::Serve() const noexcept
{
    for (MSG message; calls.get(&message, nullptr, 0, 0) > 0;) calls.dispatch(&message);
}

unsigned int __stdcall SessionWindow::State::Body(void* share)
{
    std::unique_ptr<std::shared_ptr<State>> const self(static_cast<std::shared_ptr<State>*>(share));
    (*self)->Make();
    ::SetEvent((*self)->made.Get());
    if ((*self)->window) (*self)->Serve();
    return 0;
}

SessionWindow::SessionWindow(OnEnd onEnd) noexcept
{
    try {
        m_state = std::make_shared<State>(onEnd);
        auto share = std::make_unique<std::shared_ptr<State>>(m_state);
        State* none = nullptr;
        if (!m_state->calls.IsWhole() || !m_state->made || !m_state->ending) return;
        if (!State::current.compare_exchange_strong(none, m_state.get())) return;
        m_state->thread = StartHelperThread(State::Body, share.get());
        if (m_state->thread)
            (void)share.release(); // the thread owns it
        else
            State::current = nullptr;
    } catch (std::bad_alloc const&) { // the console may still tell
    }
}

SessionWindow::~SessionWindow()
{
    if (!m_state || !m_state->thread) return;
    ::WaitForSingleObject(m_state->made.Get(), INFINITE);
    HANDLE const either[] = {m_state->ending.Get(), m_state->thread.Get()};
    if (m_state->window) m_state->calls.post(m_state->window, WM_CLOSE, 0, 0);
    // In the call it stays there until the process has ended: the end that it waits for is this one.
    if (::WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0) return;
    State::current = nullptr;
}

void* SessionWindow::Handle() const noexcept
{
    if (!m_state || !m_state->thread) return nullptr;
    ::WaitForSingleObject(m_state->made.Get(), INFINITE);
    return m_state->window;
}

unsigned int ConsoleCloseMs() noexcept
{
    return ReadMs(HKEY_CURRENT_USER, kDesktopKey, L"HungAppTimeout");
}

unsigned int SessionEndMs() noexcept
{
    return ReadMs(HKEY_CURRENT_USER, kDesktopKey, L"WaitToKillAppTimeout");
}

unsigned int ServiceShutdownMs() noexcept
{
    return ReadMs(HKEY_LOCAL_MACHINE, kControlKey, L"WaitToKillServiceTimeout");
}

} // namespace xc::win32
