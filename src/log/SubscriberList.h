// SubscriberList.h - the subscribers of a manager, shared by its stream buffers, with their critical section.
//
// One delivery runs at a time, under the section. The section is recursive, so what a subscriber does inside OnFlush
// comes back here on the same thread: a record it logs is queued and served after the present one, to all but the
// subscribers that brought it about (so a chain of subscribers that log when they are served ends); one that leaves
// becomes an empty place until the delivery is over; one that comes is appended and not served before the next record.
#pragma once

#include <XelbrinCore/XCLog.h>

#include "log/Failures.h"
#include "log/RecordFields.h"

#include <deque>
#include <memory>
#include <vector>

namespace xc::log {

class SubscriberList : public std::enable_shared_from_this<SubscriberList> {
public:
    /// A list whose buffers deliver what a thread leaves pending when it ends.
    static std::shared_ptr<SubscriberList> Make();

    SubscriberList() = default;
    SubscriberList(SubscriberList const&) = delete;
    SubscriberList& operator=(SubscriberList const&) = delete;
    ~SubscriberList() = default;

    /// @param only the buffer whose blocks the subscriber wants; null for all.
    void Add(XCSmartPtr<XCLogSubscriberI> const& subscriber, XCLogStreamBuf const* only);
    bool Remove(XCLogSubscriberI const* subscriber);
    [[nodiscard]] XCSmartPtrVector<XCLogSubscriberI> All() const;
    /// Whether a subscriber is attached whose class comes from this module.
    [[nodiscard]] bool IsAnyFrom(void const* module) const noexcept;
    /// The list of a manager.
    static SubscriberList& Of(XCLogManager& manager) noexcept { return *manager.m_subscribers; }

    /// Buffers are told of every change of interest between these two.
    void Register(XCLogStreamBuf& buffer);
    void Unregister(XCLogStreamBuf& buffer) noexcept;
    /// Finds the interest of all buffers, of one buffer after a change of its level.
    void RefreshInterest() noexcept;
    void SetLevel(XCLogStreamBuf& buffer, int level) noexcept;

    /// The highest levels of channels, by name; the first of two equal entries counts.
    void SetChannelLevels(std::vector<XCLogChannelLevel> levels);

    /// By reference: a view that was just written in halves and is copied whole waits for the cache, in every record.
    void Deliver(XCLogStreamBuf const& from, int level, std::wstring_view const& text,
                 std::span<XCLogField const> const& fields);
    /// Asks each subscriber to write out what it holds.
    void FlushSubscribers() noexcept;

    Failures& GetFailures() noexcept { return m_failures; }

private:
    struct Entry {
        XCSmartPtr<XCLogSubscriberI> subscriber; ///< null: left during a delivery
        XCLogStreamBuf const* only;
        void const* module = nullptr; ///< that its class comes from
    };
    struct Record {
        XCLogStreamBuf const* from = nullptr;
        int level = 0;
        XCString text;                                  ///< with the fields, if any, in plain form
        std::vector<XCLogSubscriberI const*> authors{}; ///< whose OnFlush brought it about
        std::vector<XCLogField> fields{};
        std::size_t messageUnits = 0; ///< of the text without fields and line end; of a record with fields
        std::size_t endUnits = 0;     ///< of the line end

        void Set(std::wstring_view const& content, std::span<XCLogField const> const& given);
        [[nodiscard]] ServedText Parts() const noexcept;
    };

    static void OnThreadEnd(std::uint64_t thread) noexcept;
    void FlushThread(std::uint64_t thread) noexcept;
    void Serve() noexcept;
    void ServeEach() noexcept;
    template <class Call>
    void Guarded(Call const& call) noexcept;
    void NoteFailure(XCString const& what) noexcept;
    [[nodiscard]] bool IsAuthor(XCLogSubscriberI const* subscriber) const noexcept;
    void Refresh(XCLogStreamBuf& buffer) noexcept;
    void Compact() noexcept;
    void KeepWhileBusy(Entry const& entry) noexcept;
    void Queue(XCLogStreamBuf const& from, int level, std::wstring_view text, std::span<XCLogField const> fields);
    [[nodiscard]] int LimitOf(std::wstring_view channel) const noexcept;

    mutable XCCriticalSection m_section;
    std::vector<Entry> m_entries;
    std::vector<XCLogStreamBuf*> m_buffers;
    std::vector<XCLogChannelLevel> m_levels;
    std::deque<Record> m_queue;
    Record m_record; ///< the one being served; keeps its storage for the next
    bool m_delivering = false;
    bool m_hasGaps = false;                 ///< entries without a subscriber
    XCLogSubscriberI* m_busy = nullptr;     ///< the subscriber being served
    XCSmartPtr<XCLogSubscriberI> m_leaving; ///< the same, when it was detached meanwhile
    Failures m_failures;
};

} // namespace xc::log
