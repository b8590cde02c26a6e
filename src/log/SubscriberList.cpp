#include "log/SubscriberList.h"

#include <XelbrinCore/XCTrace.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <mutex>
#include <utility>

namespace xc::log {

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
    std::lock_guard const hold(m_section);
    m_entries.push_back({subscriber, only});
    RefreshInterest();
}

bool SubscriberList::Remove(XCLogSubscriberI const* subscriber)
{
    std::vector<Entry> removed; // released after the section, by the end of this scope
    std::lock_guard const hold(m_section);
    for (Entry& entry : m_entries)
        if (entry.subscriber == subscriber && subscriber) removed.push_back(std::exchange(entry, {{}, nullptr}));
    if (!m_current) Compact();
    RefreshInterest();
    return !removed.empty();
}

std::size_t SubscriberList::Count() const
{
    std::lock_guard const hold(m_section);
    return static_cast<std::size_t>(
        std::count_if(m_entries.begin(), m_entries.end(), [](Entry const& e) { return !e.subscriber.IsNull(); }));
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
        if (entry.only == &buffer) entry = {{}, nullptr};
    if (!m_current) Compact();
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
        if (!entry.subscriber.IsNull() && (!entry.only || entry.only == &buffer))
            highest = std::max<std::int64_t>(highest, entry.subscriber->GetDesiredLevel());
    buffer.m_highest.store(highest, std::memory_order_relaxed);
    buffer.m_interested.store(buffer.GetLevel() <= highest, std::memory_order_relaxed);
}

void SubscriberList::Compact() noexcept
{
    std::erase_if(m_entries, [](Entry const& entry) { return entry.subscriber.IsNull(); });
}

void SubscriberList::Deliver(XCLogStreamBuf const& from, int level, XCString text)
{
    std::lock_guard const hold(m_section);
    Record record{&from, level, std::move(text), {}};
    if (m_current) return Queue(std::move(record));
    Serve(record);
    while (!m_queue.empty()) {
        record = std::move(m_queue.front());
        m_queue.pop_front();
        Serve(record);
    }
    Compact();
}

void SubscriberList::Queue(Record record)
{
    record.authors = m_current->authors;
    if (m_busy) record.authors.push_back(m_busy);
    m_queue.push_back(std::move(record));
}

void SubscriberList::Serve(Record const& record)
{
    m_current = &record;
    std::size_t const count = m_entries.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (m_entries[i].only && m_entries[i].only != record.from) continue;
        XCSmartPtr<XCLogSubscriberI> const subscriber = m_entries[i].subscriber; // it may detach itself
        if (subscriber.IsNull()) continue;
        if (std::find(record.authors.begin(), record.authors.end(), subscriber.GetPtr()) != record.authors.end())
            continue;
        m_busy = subscriber;
        Guarded([&] { subscriber->OnChannelFlush(record.from->GetChannelName(), record.level, record.text); });
        m_busy = nullptr;
    }
    m_current = nullptr;
}

void SubscriberList::FlushSubscribers() noexcept
{
    std::lock_guard const hold(m_section);
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        XCSmartPtr<XCLogSubscriberI> const subscriber = m_entries[i].subscriber;
        if (!subscriber.IsNull()) Guarded([&] { subscriber->Flush(); });
    }
}

/// A subscriber that throws is noted; the caller goes on.
template <class Call>
void SubscriberList::Guarded(Call const& call) noexcept
{
    XCString what;
    try {
        call();
        return;
    } catch (std::exception const& error) {
        try {
            for (char const* c = error.what(); *c != 0; ++c)
                what += static_cast<wchar_t>(static_cast<unsigned char>(*c));
        } catch (...) { // the failure counts without its text
            what = XCString();
        }
    } catch (...) {
        what = XCString();
    }
    try {
        m_failures.Note(XCString(L"A log subscriber failed: ") + what);
        XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceLog, L"XCLogManager", L"a log subscriber failed: %s",
                     what.AsWChar());
    } catch (...) {
        m_failures.Note(XCString());
    }
}

} // namespace xc::log
