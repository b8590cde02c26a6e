// AtExit.h - log files write out what they hold when the program exits.
//
// After main, and at exit(), while the other threads still run: first the channels hand over what is pending, then every
// log file that lives writes out and closes. A file that is written to later opens again.
#pragma once

namespace xc::log {

/// Has a log file called at the exit of the program, as long as this lives. The last member of its owner, so that it goes
/// first.
class AtExit {
public:
    AtExit(void (*function)(void* owner), void* owner) noexcept;
    ~AtExit();
    AtExit(AtExit const&) = delete;
    AtExit& operator=(AtExit const&) = delete;

    /// Has a function called before the files; one function.
    static void BeforeFiles(void (*function)()) noexcept;

    /// What happens at the exit of the program, now: for a process that is ended without it.
    static void WriteOut();

private:
    void (*m_function)(void*);
    void* m_owner;
    AtExit* m_previous = nullptr;
    AtExit* m_next = nullptr;
};

} // namespace xc::log
