// MessageEvent.h - a signal for a thread that serves the messages of its windows while it waits.
#pragma once

#include <cstdint>

namespace xc::win32 {

/// Set by any thread, waited for by one. A signal that nobody waits for stays for the next wait.
class MessageEvent {
public:
    /// Without handles the system has none left: waits then end at once.
    MessageEvent();
    ~MessageEvent();
    MessageEvent(MessageEvent const&) = delete;
    MessageEvent& operator=(MessageEvent const&) = delete;

    void Set() noexcept;
    /// Returns after the signal, after messages were served, or when the time has run out.
    void Wait(std::uint32_t timeoutMs) noexcept;

private:
    void* m_event;
};

} // namespace xc::win32
