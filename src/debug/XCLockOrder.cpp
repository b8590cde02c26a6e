// Reports on locks in opposite orders.
//
// The thread that closes a cycle may be about to wait for ever, and holds locks that the log or the names of functions
// could need. So it only sets an event; the reporter, which holds nothing, takes the cycle, names the frames, and writes
// error log and log. Locks that it takes on its way are watched, too, and told in the same way. Each step of a cycle is
// a paragraph: the thread, the lock that it held with the place where it was taken, and the lock that it asked for.
//
// The finding itself is elsewhere (sync/LockOrder.h): locks need it, and know no log. One reporter serves the process,
// started with the detector and joined at its stop; what was found until then is told before Stop returns. Cost: nothing
// but a waiting thread until something is found; a report takes milliseconds, for the names of its frames. Invariant: a
// cycle is taken from the list once, so that each is told once and counted once, also when its telling fails.
#include <XelbrinCore/XCLockOrder.h>

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCStringParts.h>

#include "errors/CoreError.h"
#include "errors/ErrorLog.h"
#include "errors/Sealed.h"
#include "sync/LockOrder.h"
#include "text/Visible.h"
#include "win32/HelperThread.h"
#include "win32/Process.h"
#include "win32/StackTrace.h"
#include "win32/UniqueHandle.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace xc::debug {

namespace {

using sync::HeldLock;
using sync::LockCycle;
using sync::LockStep;

constexpr std::wstring_view kTitle = L"locks are taken in opposite orders: threads that do so at once wait for ever";

XCString NameOf(HeldLock const& lock)
{
    constexpr wchar_t const* kKinds[] = {L"critical section", L"mutex", L"baton"};
    XCString name;
    name.Format(L"%ls %p", kKinds[static_cast<int>(lock.kind)], lock.lock);
    return name;
}

/// Names are looked up here, not where the lock was taken: a lock must not wait for symbols.
XCString FramesOf(sync::LockPlace const& place)
{
    XCString text;
    for (std::size_t i = 0; i < place.count; ++i) {
        std::wstring const frame = win32::DescribeAddress(place.frames[i], true);
        if (!frame.empty()) text += L"\n        " + text::Visible(frame);
    }
    return text;
}

XCString TextOf(LockStep const& step)
{
    XCString head;
    head.Format(L"\n    thread %lu holds the %s, taken at", step.thread, NameOf(step.held));
    return head + FramesOf(step.held.taken) + L"\n    and asks for the " + NameOf(step.wanted) + L" at" +
           FramesOf(step.wanted.taken);
}

XCString TextOf(LockCycle const& cycle)
{
    XCString text(kTitle);
    for (LockStep const& step : cycle) text += TextOf(step);
    return text;
}

void WriteToLogs(XCString const& report)
{
    std::wstring_view const lines = report.View().substr(kTitle.size());
    errors::AppendToErrorLog(XCString(kTitle), XCString(lines.substr(lines.empty() ? 0 : 1)));
    XCLogChannel& channel = XCLogManager::Get().GetOrAddChannel(L"XCLockOrder");
    // Each line is a record: a subscriber's limit could cut the whole.
    for (std::wstring_view const line : XCSplitViews(report.View(), L"\n")) channel.Write(1, XCString(line) + L"\n");
}

/// The one of the process.
class Reporter {
public:
    static Reporter& Get()
    {
        static Reporter* const reporter = new Reporter; // never destroyed: locks of static objects end late
        return *reporter;
    }

    XCErrorID Start(XCLockOrder::Handler handler);
    void Stop();
    [[nodiscard]] std::uint64_t Count() const noexcept { return m_count; }

private:
    static unsigned int __stdcall Body(void* self);
    static void Wake() noexcept { ::SetEvent(Get().m_wake.Get()); }
    void ReportAll() noexcept;

    std::mutex m_lock; ///< of Start and Stop
    XCLockOrder::Handler m_handler;
    // Wakes once, however many cycles were found meanwhile: the reporter takes all that are there.
    win32::UniqueKernelObject m_wake{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    win32::UniqueKernelObject m_stop{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    win32::UniqueKernelObject m_thread;
    std::atomic<std::uint64_t> m_count{0};
};

XCErrorID Reporter::Start(XCLockOrder::Handler handler)
{
    std::lock_guard const hold(m_lock);
    if (m_thread) return XCErrorID::Success; // the first handler stays: its owner relies on it
    (void)win32::PinLibrary();               // the reporter may run to the end of the process
    m_handler = std::move(handler);
    m_count = 0;
    if (m_wake && m_stop) m_thread = win32::StartHelperThread(Body, this);
    if (!m_thread) return XCSmartPtr<XCWinLastError>(new XCWinLastError);
    // Last: a start that has failed watches nothing.
    sync::WatchLocks(Wake);
    return XCErrorID::Success;
}

void Reporter::Stop()
{
    std::lock_guard const hold(m_lock);
    if (!m_thread) return;
    // Off first: what the reporter itself locks would come back to it.
    sync::StopWatchingLocks();
    ::SetEvent(m_stop.Get());
    ::WaitForSingleObject(m_thread.Get(), INFINITE);
    m_thread.Reset();
    m_handler = nullptr;
}

unsigned int __stdcall Reporter::Body(void* self)
{
    auto& reporter = *static_cast<Reporter*>(self);
    HANDLE const events[] = {reporter.m_stop.Get(), reporter.m_wake.Get()};
    for (bool goesOn = true; goesOn;) {
        goesOn = ::WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0;
        reporter.ReportAll(); // also at the end: what was found is told
    }
    return 0;
}

void Reporter::ReportAll() noexcept
{
    // An exception of the handler, or no memory: that cycle is lost, the next may be told.
    for (bool isMore = true; isMore;)
        errors::SayIfPossible([&] {
            LockCycle const cycle = sync::TakeLockCycle();
            isMore = !cycle.empty();
            if (!isMore) return;
            ++m_count;
            XCString const report = TextOf(cycle);
            m_handler ? m_handler(report) : WriteToLogs(report);
        });
}

} // namespace

} // namespace xc::debug

XCErrorID XCLockOrder::Start(Handler handler)
{
    return xc::debug::Reporter::Get().Start(std::move(handler));
}

void XCLockOrder::Stop()
{
    xc::debug::Reporter::Get().Stop();
}

bool XCLockOrder::IsOn() noexcept
{
    return xc::sync::WatchesLocks();
}

std::uint64_t XCLockOrder::GetInversionCount() noexcept
{
    return xc::debug::Reporter::Get().Count();
}
