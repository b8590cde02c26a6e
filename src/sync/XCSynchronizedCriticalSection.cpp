// A section with a meeting point: one side leaves it and waits, the other leaves it and posts.
//
// The event is reset by hand and is reset inside the section, before the waiter leaves it. A post needs the section,
// too, so it comes after that reset and cannot be lost. The second reset makes the event fresh for the next meeting.
// The section is left on every path, also when a call of the system fails.
#include <XelbrinCore/XCSync.h>

namespace {

/// Leaves a section that the caller entered.
class LeaveAtEnd {
public:
    explicit LeaveAtEnd(XCCriticalSection& section) noexcept : m_section(section) {}
    ~LeaveAtEnd() { m_section.Unlock(); }
    LeaveAtEnd(LeaveAtEnd const&) = delete;
    LeaveAtEnd& operator=(LeaveAtEnd const&) = delete;

private:
    XCCriticalSection& m_section;
};

} // namespace

void XCSynchronizedCriticalSection::PostUnlock()
{
    LeaveAtEnd const leave(m_section);
    m_event.Post();
}

void XCSynchronizedCriticalSection::UnlockWait()
{
    {
        LeaveAtEnd const leave(m_section);
        m_event.Reset();
    }
    m_event.Wait();
    m_event.Reset();
}
