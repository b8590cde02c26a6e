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
