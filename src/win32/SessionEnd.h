// SessionEnd.h - the end of the user's session, and how long the system waits for programs.
#pragma once

#include <memory>

namespace xc::win32 {

/// What the system waits for before it ends a program, in milliseconds, as the machine or the user has set it.
unsigned int ConsoleCloseMs() noexcept;
unsigned int SessionEndMs() noexcept;
unsigned int ServiceShutdownMs() noexcept;

/// A window that nobody sees, on a thread of its own. In a process that has the library of windows loaded the system
/// tells log-off and shutdown to windows, and no longer to handlers of the console.
class SessionWindow {
public:
    /// Called on the thread of the window when the session ends, once. It may stay inside until the process has ended.
    using OnEnd = void (*)(bool isLogOff) noexcept;

    /// Does nothing where windows are not loaded, or cannot be made: then the console tells.
    explicit SessionWindow(OnEnd onEnd) noexcept;
    /// Waits for the thread, unless it is in the call.
    ~SessionWindow();
    SessionWindow(SessionWindow const&) = delete;
    SessionWindow& operator=(SessionWindow const&) = delete;

    /// The window's handle (HWND); null: there is none.
    [[nodiscard]] void* Handle() const noexcept;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace xc::win32
