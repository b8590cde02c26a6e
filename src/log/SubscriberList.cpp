#include "log/SubscriberList.h"

#include <XelbrinCore/XCTrace.h>

#include "errors/ExceptionText.h"
#include "win32/Module.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <typeinfo>
#include <utility>

namespace xc::log {

namespace {

/// Storage of a delivered text that is kept for the next one.
constexpr std::size_t kMostKeptUnits = 64 * 1024;

} // namespace

void SubscriberList::Add(XCSmartPtr<XCLogSubscriberI> const& subscriber, XCLogStreamBuf const* only)
{
    if (subscriber.IsNull()) return;
    {
        std::lock_guard const hold(subscriber->m_section);
        std::erase_if(subscriber->m_lists, [this](auto const& list) {
            auto const held = list.lock();
            return !held || held.get() == this;
        });
        subscriber->m_lists.push_back(weak_from_this());
    }
    XCLogSubscriberI const& object = *subscriber;
    void const* const module = win32::ModuleAt(&typeid(object)); // asked before the section: the loader has a lock
    std::lock_guard const hold(m_section);
    m_entries.push_back({subscriber, only, module});
    RefreshInterest();
}

/// Needs no memory: destructors detach what they have attached.
bool SubscriberList::Remove(XCLogSubscriberI const* subscriber)
{
    for (bool found = false;; found = true) {
        XCSmartPtr<XCLogSubscriberI> released; // after the section
        std::lock_guard const hold(m_section);
        auto const entry = std::find_if(m_entries.begin(), m_entries.end(),
                                        [&](Entry const& e) { return subscriber && e.subscriber == subscriber; });
        if (entry != m_entries.end()) {
            released = std::exchange(entry->subscriber, {});
            continue;
        }
        if (!m_delivering) Compact();
        RefreshInterest();
        return found;
    }
}

XCSmartPtrVector<XCLogSubscriberI> SubscriberList::All() const
{
    std::lock_guard const hold(m_section);
    XCSmartPtrVector<XCLogSubscriberI> all;
    for (Entry const& entry : m_entries)
        if (!entry.subscriber.IsNull()) all.push_back(entry.subscriber);
    return all;
}

bool SubscriberList::IsAnyFrom(void const* module) const noexcept
{
    std::lock_guard const hold(m_section);
    return std::ranges::any_of(
        m_entries, [module](Entry const& entry) { return !entry.subscriber.IsNull() && entry.module == module; });
}

void SubscriberList::Register(XCLogStreamBuf& buffer)
{
    std::lock_guard const hold(m_section);
    m_buffers.push_back(&buffer);
    Refresh(buffer);
}

void SubscriberList::Unregister(XCLogStreamBuf& buffer) noexcept
{
    std::lock_guard const hold(m_section);
    std::erase(m_buffers, &buffer);
    for (Entry& entry : m_entries)
        if (entry.only == &buffer) entry = {{}, nullptr, nullptr};
    if (!m_delivering) Compact();
}

void SubscriberList::RefreshInterest() noexcept
{
    std::lock_guard const hold(m_section);
    for (XCLogStreamBuf* const buffer : m_buffers) Refresh(*buffer);
}

void SubscriberList::SetLevel(XCLogStreamBuf& buffer, int level) noexcept
{
    std::lock_guard const hold(m_section);
    buffer.m_level.store(level, std::memory_order_relaxed);
    Refresh(buffer);
}

void SubscriberList::Refresh(XCLogStreamBuf& buffer) noexcept
{
    std::int64_t highest = std::numeric_limits<std::int64_t>::min();
    for (Entry const& entry : m_entries)
        if (!entry.subscriber.IsNull() && (!entry.only || entry.only == buffer.m_main))
            highest = std::max<std::int64_t>(highest, entry.subscriber->GetDesiredLevel());
    buffer.m_highest.store(highest, std::memory_order_relaxed);
    buffer.m_interested.store(buffer.GetLevel() <= highest, std::memory_order_relaxed);
}

void SubscriberList::Compact() noexcept
{
    std::erase_if(m_entries, [](Entry const& entry) { return entry.subscriber.IsNull(); });
}

void SubscriberList::Deliver(XCLogStreamBuf const& from, int level, std::wstring_view text)
{
    std::lock_guard const hold(m_section);
    if (m_delivering) return Queue(from, level, text);
    m_record.from = &from;
    m_record.level = level;
    m_record.text.Assign(text);
    Serve();
    while (!m_queue.empty()) {
        m_record = std::move(m_queue.front());
        m_queue.pop_front();
        Serve();
    }
    m_record.authors.clear();
    if (m_record.text.Capacity() > kMostKeptUnits) m_record.text = XCString();
    Compact();
}

/// A record that the subscriber being served has logged.
void SubscriberList::Queue(XCLogStreamBuf const& from, int level, std::wstring_view text)
{
    Record record{&from, level, XCString(text), m_record.authors};
    if (m_busy) record.authors.push_back(m_busy);
    m_queue.push_back(std::move(record));
}

void SubscriberList::Serve() noexcept
{
    m_delivering = true;
    std::size_t const count = m_entries.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (m_entries[i].only && m_entries[i].only != m_record.from) continue;
        XCSmartPtr<XCLogSubscriberI> const subscriber = m_entries[i].subscriber; // it may detach itself
        if (subscriber.IsNull() || IsAuthor(subscriber)) continue;
        m_busy = subscriber;
        Guarded([&] { subscriber->OnChannelFlush(m_record.from->GetChannelName(), m_record.level, m_record.text); });
        m_busy = nullptr;
    }
    m_delivering = false;
}

bool SubscriberList::IsAuthor(XCLogSubscriberI const* subscriber) const noexcept
{
    return std::find(m_record.authors.begin(), m_record.authors.end(), subscriber) != m_record.authors.end();
}

void SubscriberList::FlushSubscribers() noexcept
{
    std::lock_guard const hold(m_section);
    for (std::size_t i = 0; i < m_entries.size();) {
        XCSmartPtr<XCLogSubscriberI> const subscriber = m_entries[i].subscriber;
        if (!subscriber.IsNull()) Guarded([&] { subscriber->Flush(); });
        if (i < m_entries.size() && m_entries[i].subscriber == subscriber) ++i; // else it has detached itself
    }
}

/// A subscriber that throws is noted; the caller goes on.
template <class Call>
void SubscriberList::Guarded(Call const& call) noexcept
{
    try {
        call();
    } catch (...) {
        NoteFailure(errors::TextOfException());
    }
}

void SubscriberList::NoteFailure(XCString const& what) noexcept
try {
    m_failures.Note(XCString(L"A log subscriber failed: ") + what);
    XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceLog, L"XCLogManager", L"a log subscriber failed: %s",
                 what.AsWChar());
} catch (...) {
    m_failures.Note(XCString());
}

} // namespace xc::log
