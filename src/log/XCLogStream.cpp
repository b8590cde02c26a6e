// The stream of a channel. Text waits, apart for each thread, until it is flushed, and then goes out as one record.
//
// A buffer without interest takes the text and drops it at once, so that writing to a log that nobody reads costs one
// relaxed load a call. m_pendingCount tells whether any thread has text here: a flush that finds none takes no lock.
// Text that is never flushed is delivered when it reaches kMostPendingUnits, so that memory stays bounded. A change of
// the level delivers what was written before it at the old level. Invariant: the text that a thread leaves when it ends
// is delivered by the register of lists, and is never inherited by a later thread.
#include <XelbrinCore/XCLog.h>

#include "log/PendingTexts.h"
#include "log/SubscriberList.h"
#include "text/Kernels.h"
#include "win32/ThreadEnd.h"

#include <exception>
#include <span>
#include <string_view>
#include <utility>

namespace {

/// Text that is never flushed is delivered when it has grown to this.
constexpr std::size_t kMostPendingUnits = 4 * 1024 * 1024;
/// Storage of a delivered text that is kept for the next one.
constexpr std::size_t kMostKeptUnits = 64 * 1024;

} // namespace

XCLogStreamBuf::XCLogStreamBuf(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString channelName,
                               XCLogStreamBuf const* main)
    : m_subscribers(std::move(subscribers)), m_name(std::move(channelName)), m_main(main ? main : this), m_highest(0),
      m_limit(XCLogEverything), m_pending(std::make_unique<xc::log::PendingTexts>())
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
    if (HasPending()) FlushThread(xc::win32::ThreadSerial());
    return 0;
}

void XCLogStreamBuf::Append(wchar_t const* text, std::size_t count) noexcept
try {
    std::uint64_t const thread = xc::win32::ThreadSerial();
    auto const added = m_pending->Append(thread, GetLevel(), std::wstring_view(text, count));
    if (added.isNew) ++m_pendingCount;
    if (added.length >= kMostPendingUnits) FlushThread(thread);
} catch (std::exception const&) {
    m_subscribers->GetFailures().Note(XCString());
}

/// Delivers a thread's text. No lock is held meanwhile, and the storage is kept for the next text.
void XCLogStreamBuf::FlushThread(std::uint64_t thread) noexcept
{
    xc::log::PendingTexts::Text taken;
    if (!m_pending->Take(thread, taken)) return;
    --m_pendingCount;
    Deliver(taken.level, taken.text.View());
    if (taken.text.IsNull() || taken.text.Capacity() > kMostKeptUnits) return; // null: its text found no memory
    taken.text.Assign(L"", 0, 1);
    m_pending->Recycle(taken.text);
}

namespace {

using NoFields = std::span<XCLogField const>;

/// What finds no memory is noted; who logs goes on.
template <class... Record>
void DeliverTo(xc::log::SubscriberList& list, Record const&... record) noexcept
try {
    list.Deliver(record...);
} catch (std::exception const&) {
    list.GetFailures().Note(XCString());
}

} // namespace

void XCLogStreamBuf::Deliver(int level, std::wstring_view text) noexcept
{
    DeliverTo(*m_subscribers, *m_main, level, text, NoFields());
}

// Its length is found here, by vectors: the runtime library reads unit by unit, which takes longer than the record.
void XCLogStreamBuf::Deliver(int level, wchar_t const* text) noexcept
{
    std::wstring_view const whole(text ? text : L"", xc::text::TextLength(text));
    DeliverTo(*m_subscribers, *m_main, level, whole, NoFields());
}

void XCLogStreamBuf::Deliver(int level, std::wstring_view text, std::span<XCLogField const> fields) noexcept
{
    DeliverTo(*m_subscribers, *m_main, level, text, fields);
}

void XCLogStreamBuf::FlushAll() noexcept
{
    // Each place once: a subscriber may write, unflushed, whenever it is served.
    std::uint64_t thread = 0;
    for (std::size_t place = 0; m_pending->At(place, thread); ++place)
        if (thread != 0) FlushThread(thread);
}

XCLogStream::XCLogStream(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString channelName,
                         XCLogStreamBuf const* main)
    : std::wostream(nullptr), m_buffer(std::move(subscribers), std::move(channelName), main)
{
    rdbuf(&m_buffer);
}

XCLogStream::~XCLogStream() = default;
