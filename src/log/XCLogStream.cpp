#include <XelbrinCore/XCLog.h>

#include "log/SubscriberList.h"
#include "win32/Process.h"

#include <exception>
#include <mutex>
#include <utility>

namespace {

/// Text that is never flushed is delivered when it has grown to this.
constexpr std::size_t kMostPendingUnits = 4 * 1024 * 1024;
/// Storage of a delivered text that is kept for the next one.
constexpr std::size_t kMostKeptUnits = 64 * 1024;

} // namespace

XCLogStreamBuf::XCLogStreamBuf(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString channelName,
                               XCLogStreamBuf const* main)
    : m_subscribers(std::move(subscribers)), m_name(std::move(channelName)), m_main(main ? main : this), m_highest(0)
{
    m_subscribers->Register(*this);
}

XCLogStreamBuf::~XCLogStreamBuf()
{
    FlushAll();
    m_subscribers->Unregister(*this);
}

void XCLogStreamBuf::SetLevel(int level)
{
    if (GetLevel() == level) return;
    sync();
    m_subscribers->SetLevel(*this, level);
}

void XCLogStreamBuf::OnDeletedSubscriber()
{
    m_subscribers->RefreshInterest();
}

XCLogStreamBuf::int_type XCLogStreamBuf::overflow(int_type unit)
{
    if (!traits_type::eq_int_type(unit, traits_type::eof()) && IsInterested()) {
        wchar_t const one = traits_type::to_char_type(unit);
        Append(&one, 1);
    }
    return traits_type::not_eof(unit);
}

std::streamsize XCLogStreamBuf::xsputn(wchar_t const* text, std::streamsize count)
{
    if (count > 0 && IsInterested()) Append(text, static_cast<std::size_t>(count));
    return count;
}

int XCLogStreamBuf::sync()
{
    if (HasPending()) FlushThread(xc::win32::ThreadId());
    return 0;
}

/// The calling thread's place, taken now when it has none. The section is held.
XCLogStreamBuf::Pending& XCLogStreamBuf::PendingOf(unsigned long thread)
{
    Pending* free = nullptr;
    for (Pending& pending : m_pending) {
        if (pending.thread == thread) return pending;
        if (pending.thread == 0) free = &pending;
    }
    if (!free) free = &m_pending.emplace_back();
    free->thread = thread;
    free->level = GetLevel();
    ++m_pendingCount;
    return *free;
}

void XCLogStreamBuf::Append(wchar_t const* text, std::size_t count) noexcept
try {
    std::size_t length = 0;
    {
        std::lock_guard const hold(m_section);
        Pending& pending = PendingOf(xc::win32::ThreadId());
        pending.text.Append(std::wstring_view(text, count));
        length = pending.text.Length();
    }
    if (length >= kMostPendingUnits) sync();
} catch (std::exception const&) {
    m_subscribers->GetFailures().Note(XCString());
}

bool XCLogStreamBuf::TakePending(unsigned long thread, Pending& taken) noexcept
{
    std::lock_guard const hold(m_section);
    for (Pending& pending : m_pending) {
        if (pending.thread != thread) continue;
        taken = std::exchange(pending, Pending{}); // thread 0: a free place
        --m_pendingCount;
        return true;
    }
    return false;
}

/// Delivers what a thread has pending. The section is not held meanwhile, and the storage is kept for the next text.
void XCLogStreamBuf::FlushThread(unsigned long thread) noexcept
{
    Pending taken;
    if (!TakePending(thread, taken)) return;
    Deliver(taken.level, taken.text.View());
    if (taken.text.IsNull() || taken.text.Capacity() > kMostKeptUnits) return; // null: its text found no memory
    taken.text.Assign(L"", 0, 1);
    std::lock_guard const hold(m_section);
    for (Pending& pending : m_pending)
        if (pending.thread == 0) std::swap(pending.text, taken.text);
}

void XCLogStreamBuf::Deliver(int level, std::wstring_view text) noexcept
try {
    m_subscribers->Deliver(*m_main, level, text);
} catch (std::exception const&) {
    m_subscribers->GetFailures().Note(XCString());
}

void XCLogStreamBuf::FlushAll() noexcept
{
    for (std::size_t place = 0;; ++place) { // each once: a subscriber may write, unflushed, whenever it is served
        unsigned long thread = 0;
        {
            std::lock_guard const hold(m_section);
            if (place >= m_pending.size()) return;
            thread = m_pending[place].thread;
        }
        if (thread != 0) FlushThread(thread);
    }
}

XCLogStream::XCLogStream(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString channelName,
                         XCLogStreamBuf const* main)
    : std::wostream(nullptr), m_buffer(std::move(subscribers), std::move(channelName), main)
{
    rdbuf(&m_buffer);
}

XCLogStream::~XCLogStream() = default;
