// Facts of a thread as the system tells them at one moment. The clock of a thread that has ended stands still: the
// elapsed time then comes from its end. The list of all threads copies the handles under the registry's mutex and asks
// afterwards, so that a slow question holds nobody up.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCThread.h>

#include "sync/ThreadRegistry.h"
#include "win32/Clock.h"

#include <algorithm>
#include <utility>
#include <windows.h>

namespace {

struct NamedValue {
    unsigned long value;
    wchar_t const* name;
};

constexpr NamedValue kPriorities[] = {
    {static_cast<unsigned long>(THREAD_PRIORITY_IDLE), L"THREAD_PRIORITY_IDLE"},
    {static_cast<unsigned long>(THREAD_PRIORITY_BELOW_NORMAL), L"THREAD_PRIORITY_BELOW_NORMAL"},
    {THREAD_PRIORITY_NORMAL, L"THREAD_PRIORITY_NORMAL"},
    {THREAD_PRIORITY_ABOVE_NORMAL, L"THREAD_PRIORITY_ABOVE_NORMAL"},
    {THREAD_PRIORITY_HIGHEST, L"THREAD_PRIORITY_HIGHEST"},
    {THREAD_PRIORITY_TIME_CRITICAL, L"THREAD_PRIORITY_TIME_CRITICAL"},
};

constexpr NamedValue kPriorityClasses[] = {
    {IDLE_PRIORITY_CLASS, L"IDLE_PRIORITY_CLASS"},     {BELOW_NORMAL_PRIORITY_CLASS, L"BELOW_NORMAL_PRIORITY_CLASS"},
    {NORMAL_PRIORITY_CLASS, L"NORMAL_PRIORITY_CLASS"}, {ABOVE_NORMAL_PRIORITY_CLASS, L"ABOVE_NORMAL_PRIORITY_CLASS"},
    {HIGH_PRIORITY_CLASS, L"HIGH_PRIORITY_CLASS"},     {REALTIME_PRIORITY_CLASS, L"REALTIME_PRIORITY_CLASS"},
};

template <std::size_t n>
// A value that the system may add one day shows as its number rather than as nothing.
XCString NameOf(NamedValue const (&names)[n], unsigned long value)
{
    auto const* const found = std::ranges::find(names, value, &NamedValue::value);
    if (found != std::end(names)) return found->name;
    XCString number;
    number.Format(L"%ld", static_cast<long>(value));
    return number;
}

std::int64_t Steps(FILETIME const& time) noexcept
{
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

XCString ClockText(std::int64_t steps)
{
    // A step is 100 nanoseconds. Hours are not folded into days, so that lines of a list stay below each other.
    std::int64_t const milliseconds = steps / 10000;
    XCString text;
    text.Format(L"%I64d:%02d:%02d.%03d", milliseconds / 3600000, static_cast<int>(milliseconds / 60000 % 60),
                static_cast<int>(milliseconds / 1000 % 60), static_cast<int>(milliseconds % 1000));
    return text;
}

} // namespace

XCThreadInfo::XCThreadInfo(void* handle, unsigned long id)
    : m_id(id), m_priority(::GetThreadPriority(handle)), m_priorityClass(::GetPriorityClass(::GetCurrentProcess()))
{
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    // The one question that can fail and matters: without times there is nothing to report. The end is meaningless
    // while the thread runs, so it is looked at only after the handle has been found signalled.
    if (!::GetThreadTimes(handle, &created, &ended, &kernel, &user)) throw XCWindowsLastErrorException();
    m_created = XCDateTimeEx(created);
    m_kernel = Steps(kernel);
    m_user = Steps(user);
    bool const over = ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
    // Not below zero: the clock of the wall may have been set back since the thread began.
    m_elapsed = std::max<std::int64_t>((over ? Steps(ended) : xc::win32::UtcTicks()) - Steps(created), 0);
}

XCString XCThreadInfo::GetKernelTimeAsString() const
{
    return ClockText(m_kernel);
}

XCString XCThreadInfo::GetUserTimeAsString() const
{
    return ClockText(m_user);
}

XCString XCThreadInfo::GetElapsedTimeAsString() const
{
    return ClockText(m_elapsed);
}

XCString XCThreadInfo::GetThreadPriority() const
{
    return NameOf(kPriorities, static_cast<unsigned long>(m_priority));
}

XCString XCThreadInfo::GetPriorityClass() const
{
    return NameOf(kPriorityClasses, m_priorityClass);
}

XCString XCThreadInfo::AsString() const
{
    XCString text;
    text.Format(L"thread %lu: created %s, elapsed %s, user %s, kernel %s, %s, %s", m_id,
                GetCreationTimeAsString().AsWChar(), GetElapsedTimeAsString().AsWChar(),
                GetUserTimeAsString().AsWChar(), GetKernelTimeAsString().AsWChar(), GetThreadPriority().AsWChar(),
                GetPriorityClass().AsWChar());
    return text;
}

std::vector<XCThreadInfo> XCThread::GetAllThreadsInfo()
{
    std::vector<std::pair<unsigned long, xc::sync::SharedHandle>> threads;
    {
        xc::sync::RegistryAccess const registry;
        for (auto const& [id, entry] : registry.Threads()) threads.emplace_back(id, entry.handle);
    }
    std::vector<XCThreadInfo> infos;
    infos.reserve(threads.size());
    // The shared handle keeps the thread's record in the system, so a thread that ends now is still answered for.
    for (auto const& [id, handle] : threads) infos.emplace_back(handle->value, id);
    return infos;
}
