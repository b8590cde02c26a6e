// QuitSignal.h - the quit flag of the process and the console signals that set it.
#pragma once

#include <functional>
#include <memory>

namespace xc::host {

/// The exit code of a process that had to be ended before its end.
inline constexpr unsigned int kExitTooLate = 124;

void RequestQuit() noexcept;
void ClearQuit() noexcept;
bool IsQuitRequested() noexcept;

/// Ctrl-C, Ctrl-Break, a closed console, log-off and shutdown set the quit flag as long as one of these lives.
class QuitOnConsoleSignal {
public:
    QuitOnConsoleSignal();
    ~QuitOnConsoleSignal();
    QuitOnConsoleSignal(QuitOnConsoleSignal const&) = delete;
    QuitOnConsoleSignal& operator=(QuitOnConsoleSignal const&) = delete;
};

/// Calls a function once, on a thread of its own, when the quit flag is or becomes set. The function throws nothing. The
/// end of the watch waits for a call that is under way.
class QuitWatch {
public:
    /// @param givesUp asked while the end waits: true when the call will never end, and its thread touches nothing more.
    explicit QuitWatch(std::function<void()> onQuit, std::function<bool()> givesUp = {});
    ~QuitWatch();
    QuitWatch(QuitWatch const&) = delete;
    QuitWatch& operator=(QuitWatch const&) = delete;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace xc::host
