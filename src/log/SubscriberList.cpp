// The subscribers of one log manager: who wants a record, and the delivery of each record to them in order.
//
// Interest comes first. Each buffer keeps, in two atomics, the highest level that any of its subscribers wants and
// whether its own level is within it; they are computed anew whenever a subscriber, a desired level or a buffer's level
// changes. A record that nobody wants then costs one relaxed load.
//
// Delivery runs under the section, so that all subscribers see all records in one order. A subscriber may do anything
// while it is served: log, attach, detach, ask for channels. What it logs is queued and delivered after the present
// record, to everybody but those whose serving brought it about; the list of these authors travels with the record, so
// that two subscribers that answer each other come to an end. Whoever detaches leaves an empty entry, and the list is
// compacted only when no delivery runs. Cost: O(subscribers) a record. Invariants: while m_delivering, entries are
// neither moved nor removed; a subscriber that has left is not served again, and one that came is served from the next
// record on.
#include "log/SubscriberList.h"

#include <XelbrinCore/XCTrace.h>

#include "errors/ExceptionText.h"
#include "log/RecordText.h"
#include "text/Names.h"
#include "win32/Module.h"
#include "win32/ThreadEnd.h"

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

// Every list, so that the end of a thread finds the buffers it wrote to. Places of lists that are gone are used again;
// nothing is moved, so that the walk needs no lock while subscribers run.
namespace {

struct ListRegister {
    XCCriticalSection section;
    std::vector<std::weak_ptr<SubscriberList>> lists;
};

ListRegister& AllLists()
{
    // Never destroyed: threads end after the static objects of the library.
    static ListRegister& lists = *new ListRegister;
    return lists;
}

} // namespace

std::shared_ptr<SubscriberList> SubscriberList::Make()
{
    auto list = std::make_shared<SubscriberList>();
    ListRegister& known = AllLists();
    std::lock_guard const hold(known.section);
    // Lists are few, but managers may come and go for as long as the process lives.
    auto const place = std::find_if(known.lists.begin(), known.lists.end(), [](auto const& l) { return l.expired(); });
    if (place != known.lists.end())
        *place = list;
    else
        known.lists.push_back(list);
    win32::CallAtThreadEnd(&SubscriberList::OnThreadEnd);
    return list;
}

void SubscriberList::OnThreadEnd(std::uint64_t thread) noexcept
{
    ListRegister& known = AllLists();
    for (std::size_t i = 0;; ++i) {
        std::shared_ptr<SubscriberList> list;
        {
            std::lock_guard const hold(known.section);
            if (i >= known.lists.size()) return;
            list = known.lists[i].lock();
        }
        // Outside the register's section: a subscriber that is served now may make a list of its own.
        if (list) list->FlushThread(thread);
    }
}

void SubscriberList::FlushThread(std::uint64_t thread) noexcept
{
    std::lock_guard const hold(m_section);
    for (std::size_t i = 0; i < m_buffers.size(); ++i)
        // By index: a subscriber may make a stream meanwhile, and the list of buffers grows.
        if (m_buffers[i]->HasPending()) m_buffers[i]->FlushThread(thread);
}

void SubscriberList::Add(XCSmartPtr<XCLogSubscriberI> const& subscriber, XCLogStreamBuf const* only)
{
    if (subscriber.IsNull()) return;
    {
        std::lock_guard const hold(subscriber->m_section);
        // The way back, by which a change of the desired level refreshes the interest here.
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
            // The entry stays until no delivery walks over it; it is empty from now on.
            KeepWhileBusy(*entry);
            released = std::exchange(entry->subscriber, {});
            continue;
        }
        m_hasGaps = true;
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
    buffer.m_limit = LimitOf(buffer.GetChannelName().View());
    Refresh(buffer);
}

void SubscriberList::Unregister(XCLogStreamBuf& buffer) noexcept
{
    std::lock_guard const hold(m_section);
    std::erase(m_buffers, &buffer);
    for (Entry& entry : m_entries)
        // The address may be used again for another stream, which must not inherit the subscribers of this one.
        if (entry.only == &buffer) {
            KeepWhileBusy(entry);
            entry = {{}, nullptr, nullptr};
            m_hasGaps = true;
        }
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
    highest = std::min<std::int64_t>(highest, buffer.m_limit);
    buffer.m_highest.store(highest, std::memory_order_relaxed);
    // Kept in the stream itself, so that a text nobody wants costs one load and no lock.
    buffer.m_interested.store(buffer.GetLevel() <= highest, std::memory_order_relaxed);
}

/// Levels come from people: names match without regard to case, as the keys of a configuration do.
int SubscriberList::LimitOf(std::wstring_view channel) const noexcept
{
    XCLogChannelLevel const* best = nullptr;
    for (XCLogChannelLevel const& entry : m_levels) {
        std::wstring_view name = entry.channel.View();
        if (text::IsSameNameFolded(name, channel)) return entry.level;
        // The table is short and read when channels are made; a search by prefix needs no order then.
        if (!name.ends_with(L'*') || (best && best->channel.Length() >= name.size())) continue;
        name.remove_suffix(1);
        if (text::IsSameNameFolded(name, channel.substr(0, name.size()))) best = &entry;
    }
    return best ? best->level : XCLogEverything;
}

void SubscriberList::SetChannelLevels(std::vector<XCLogChannelLevel> levels)
{
    std::lock_guard const hold(m_section);
    // Interest is what a record asks for, so that a limit costs nothing when records are written.
    m_levels.swap(levels);
    for (XCLogStreamBuf* const buffer : m_buffers) {
        buffer->m_limit = LimitOf(buffer->GetChannelName().View());
        Refresh(*buffer);
    }
}

/// A subscriber that is detached while it is served lives until it returns.
void SubscriberList::KeepWhileBusy(Entry const& entry) noexcept
{
    if (m_busy && entry.subscriber == m_busy) m_leaving = entry.subscriber;
}

void SubscriberList::Compact() noexcept
{
    if (!std::exchange(m_hasGaps, false)) return;
    std::erase_if(m_entries, [](Entry const& entry) { return entry.subscriber.IsNull(); });
}

/// Everybody gets the fields as plain text; who can do better asks for them (RecordFields.h).
void SubscriberList::Record::Set(std::wstring_view const& content, std::span<XCLogField const> const& given)
{
    if (!fields.empty() || !given.empty()) fields.assign(given.begin(), given.end());
    if (given.empty()) {
        text.Assign(content.data(), content.size());
        return;
    }
    std::wstring_view const body = WithoutLineEnd(content);
    std::wstring whole(body);
    AppendFields(whole, given);
    if (body.empty()) whole.erase(0, 1); // the blank before the first field
    whole += content.substr(body.size());
    text.Assign(std::wstring_view(whole));
    messageUnits = body.size();
    endUnits = content.size() - body.size();
}

ServedText SubscriberList::Record::Parts() const noexcept
{
    std::wstring_view const whole = text.View();
    std::size_t const end = whole.size() - endUnits;
    return {whole.substr(0, messageUnits), whole.substr(messageUnits, end - messageUnits), whole.substr(end), fields};
}

void SubscriberList::Deliver(XCLogStreamBuf const& from, int level, std::wstring_view const& text,
                             std::span<XCLogField const> const& fields)
{
    std::lock_guard const hold(m_section);
    // The section is recursive: the same thread comes here again from within a subscriber.
    if (m_delivering) return Queue(from, level, text, fields);
    m_record.from = &from;
    m_record.level = level;
    m_record.Set(text, fields);
    Serve();
    while (!m_queue.empty()) {
        // One after the other and not from within Queue: subscribers that answer each other do not nest, whatever they
        // log.
        m_record = std::move(m_queue.front());
        m_queue.pop_front();
        Serve();
    }
    m_record.authors.clear();
    m_record.fields.clear();
    // One large record must not cost its size for ever.
    if (m_record.text.Capacity() > kMostKeptUnits) m_record.text = XCString();
    Compact();
}

/// A record that the subscriber being served has logged.
void SubscriberList::Queue(XCLogStreamBuf const& from, int level, std::wstring_view text,
                           std::span<XCLogField const> fields)
{
    Record record{&from, level, {}, m_record.authors};
    record.Set(text, fields);
    // With the authors of the record that is being served: a chain of answers never comes back to any of them.
    if (m_busy) record.authors.push_back(m_busy);
    m_queue.push_back(std::move(record));
}

void SubscriberList::Serve() noexcept
{
    // Announcing costs a lock, which a record without fields has no use for.
    if (m_record.fields.empty()) return ServeEach();
    FieldScope const announced(m_record.text.View(), m_record.Parts());
    ServeEach();
}

void SubscriberList::ServeEach() noexcept
{
    m_delivering = true;
    // Counted before: who attaches during the delivery gets the next record first.
    std::size_t const count = m_entries.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (m_entries[i].only && m_entries[i].only != m_record.from) continue;
        // No reference is taken, which would be two interlocked counts a record: who detaches it now keeps one.
        m_busy = m_entries[i].subscriber.GetPtr();
        if (!m_busy || IsAuthor(m_busy)) continue;
        Guarded([&] { m_busy->OnChannelFlush(m_record.from->GetChannelName(), m_record.level, m_record.text); });
        m_busy = nullptr;
        if (!m_leaving.IsNull()) m_leaving = {};
    }
    m_busy = nullptr;
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
    // No memory for the words: the failure is counted at least.
    m_failures.Note(XCString());
}

} // namespace xc::log
