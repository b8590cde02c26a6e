// An event that a thread waits for while its windows stay alive.
//
// A thread that owns windows must not sleep: the system sends messages to it and senders wait for the answers. The wait
// therefore ends at a message, too; the messages are dispatched here, and the caller waits again. The library of
// windows is loaded at the first wait, since servers have no windows; without it the wait is an ordinary one.
#include "win32/MessageEvent.h"

#include "win32/SystemFunction.h"

#include <windows.h>

namespace xc::win32 {

namespace {

/// The library of windows and messages, loaded by the first thread that needs it, so that programs without windows
/// never load it; it stays.
struct UserLibrary {
    HMODULE module = LoadSystemLibrary(L"user32.dll");
    decltype(&::MsgWaitForMultipleObjectsEx) wait =
        SystemFunction<decltype(wait)>(module, "MsgWaitForMultipleObjectsEx");
    decltype(&::PeekMessageW) peek = SystemFunction<decltype(peek)>(module, "PeekMessageW");
    decltype(&::TranslateMessage) translate = SystemFunction<decltype(translate)>(module, "TranslateMessage");
    decltype(&::DispatchMessageW) dispatch = SystemFunction<decltype(dispatch)>(module, "DispatchMessageW");

    [[nodiscard]] bool IsWhole() const noexcept { return wait && peek && translate && dispatch; }
};

UserLibrary const& User() noexcept
{
    static UserLibrary const library;
    return library;
}

void ServeMessages() noexcept
{
    for (MSG message; User().peek(&message, nullptr, 0, 0, PM_REMOVE);) {
        User().translate(&message);
        User().dispatch(&message);
    }
}

} // namespace

MessageEvent::MessageEvent() : m_event(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

MessageEvent::~MessageEvent()
{
    if (m_event) ::CloseHandle(m_event);
}

void MessageEvent::Set() noexcept
{
    ::SetEvent(m_event);
}

void MessageEvent::Wait(std::uint32_t timeoutMs) noexcept
{
    if (!User().IsWhole()) {
        ::WaitForSingleObject(m_event, timeoutMs);
        return;
    }
    DWORD const result = User().wait(1, &m_event, timeoutMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (result == WAIT_OBJECT_0 + 1) ServeMessages();
}

} // namespace xc::win32
