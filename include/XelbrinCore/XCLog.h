// XCLog.h - log channels, their streams, and the subscribers that receive what is flushed.
//
// WHAT     A channel is a name and a wide stream. What is written to the stream is collected and, at a flush, handed as
//          one block to every subscriber of the manager. The process has one manager (XCLogManager::Get).
// LEVELS   A channel's stream has a level (a new one: 1); a subscriber has a desired level (a new one: 1) and is
//          interested in levels up to it. When nobody is interested in a level, text written at it is dropped unit by
//          unit and nothing is collected. A flushed block goes to every subscriber; those that shipped with the library
//          ignore levels they did not ask for, and own ones should too (IsInterested).
// COST     A text nobody wants: one load and one branch with XCLogChannel::Write, XCLogRecord and operator<< of
//          XCLogStream. Through a std::wostream& the standard library's own work is added.
// THREADS  Any thread may use the manager, channels, subscribers and XCLogRecord. The stream of a channel keeps the text
//          of each thread apart and delivers it at that thread's flush, so records never mix; its formatting state
//          (width, base, ...) is one for all, as in any stream: threads that format use XCLogRecord.
// ORDER    Subscribers are served in the order of their attachment, under the critical section of the list. Inside
//          OnFlush a subscriber may log (the record is served after the present one, and not to its author), attach,
//          detach itself or others (a newcomer is served from the next record on), change levels, and throw: the rest
//          are served, and the failure is counted (GetFailureCount, GetLastFailure) and traced.
// EXIT     Files are flushed after each block unless asked otherwise. At the end of the program the manager, which is
//          never destroyed, flushes what is left, before threads end; a buffered file that is written to later, by
//          destructors of static objects, must be closed by its user.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLogFile.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <type_traits>
#include <vector>

namespace xc::log {
class SubscriberList;
}

/// The stream buffer of one channel. Writing never fails.
class XC_API XCLogStreamBuf : public std::wstreambuf {
public:
    /// Made by the channel. @param subscribers the list that it delivers to, shared.
    /// @param main the buffer of the channel's own stream, when this one is another of the channel; null: this is it.
    XCLogStreamBuf(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString channelName,
                   XCLogStreamBuf const* main = nullptr);
    ~XCLogStreamBuf() override;

    /// Delivers the calling thread's text at the old level, then changes the level. Nothing when it is the same. Text
    /// that another thread has pending is delivered at the level at which it was begun.
    void SetLevel(int level);
    /// The level of the text that is written now.
    [[nodiscard]] int GetLevel() const noexcept { return m_level.load(std::memory_order_relaxed); }
    /// Whether some subscriber wants the current level.
    [[nodiscard]] bool IsInterested() const noexcept { return m_interested.load(std::memory_order_relaxed); }
    /// Whether some subscriber wants this level.
    [[nodiscard]] bool IsInterested(int level) const noexcept
    {
        return level <= m_highest.load(std::memory_order_relaxed);
    }
    /// Whether some thread has text that is not flushed yet.
    [[nodiscard]] bool HasPending() const noexcept { return m_pendingCount.load(std::memory_order_relaxed) != 0; }
    /// A subscriber has left: the interest is found anew.
    void OnDeletedSubscriber();
    /// Hands a text to the subscribers as a block of its own.
    void Deliver(int level, std::wstring_view text) noexcept;
    /// Delivers what all threads have pending. What subscribers write meanwhile, unflushed, may stay pending.
    void FlushAll() noexcept;

    /// The name of the channel that it belongs to.
    [[nodiscard]] XCString const& GetChannelName() const noexcept { return m_name; }

protected:
    /// Takes one unit; delivers when the buffer is full.
    int_type overflow(int_type unit) override;
    /// Takes a run of units.
    std::streamsize xsputn(wchar_t const* text, std::streamsize count) override;
    /// Delivers what has been collected.
    int sync() override;

private:
    friend class xc::log::SubscriberList;
    struct Pending {
        unsigned long thread; ///< 0: free
        int level;
        XCString text;
    };
    void Append(wchar_t const* text, std::size_t count) noexcept;
    Pending& PendingOf(unsigned long thread);
    bool TakePending(unsigned long thread, Pending& taken) noexcept;
    void FlushThread(unsigned long thread) noexcept;

    std::shared_ptr<xc::log::SubscriberList> m_subscribers;
    XCString m_name;
    XCLogStreamBuf const* m_main; ///< stands for the channel
    std::atomic<int> m_level{1};
    std::atomic<bool> m_interested{false};
    std::atomic<std::int64_t> m_highest; ///< the highest level that somebody wants
    std::atomic<unsigned int> m_pendingCount{0};
    XCCriticalSection m_section; ///< guards m_pending; never held while subscribers run
    std::vector<Pending> m_pending;
};

/// The stream of one channel. Its own operator<< does no work when nobody is interested, and clears the state that a
/// value which could not be written (a null text) has left; as a std::wostream it behaves like any other.
class XC_API XCLogStream : public std::wostream {
public:
    /// Made by the channel. @param main as for XCLogStreamBuf.
    XCLogStream(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString channelName,
                XCLogStreamBuf const* main = nullptr);
    ~XCLogStream() override;

    /// Sets the level of what is written from now on.
    void SetLoggingLevel(int level) { m_buffer.SetLevel(level); }
    /// The level of what is written now.
    [[nodiscard]] int GetLoggingLevel() const noexcept { return m_buffer.GetLevel(); }
    /// Whether a subscriber wants text of the present level.
    [[nodiscard]] bool IsInterested() const noexcept { return m_buffer.IsInterested(); }
    /// The end of a record: what the calling thread has written is delivered as it stands.
    void OnEOL() { m_buffer.pubsync(); }
    /// A subscriber has left: the interest is found anew.
    void OnDeletedSubscriber() { m_buffer.OnDeletedSubscriber(); }
    /// The buffer, which lives as long as the stream.
    [[nodiscard]] XCLogStreamBuf& GetBuffer() noexcept { return m_buffer; }
    [[nodiscard]] XCLogStreamBuf const& GetBuffer() const noexcept { return m_buffer; }

    /// Writes a value as std::wostream does; nothing when nobody is interested.
    template <class T>
    requires requires(std::wostream& out, T const& value) { out << value; }
    XCLogStream& operator<<(T const& value)
    {
        if (IsInterested()) Cleared() << value;
        return *this;
    }
    /// std::endl, std::flush and their like; skipped when nobody is interested and nothing is pending.
    XCLogStream& operator<<(std::wostream& (*manipulator)(std::wostream&))
    {
        if (IsInterested() || m_buffer.HasPending()) manipulator(Cleared());
        return *this;
    }
    /// std::hex and its like.
    XCLogStream& operator<<(std::ios_base& (*manipulator)(std::ios_base&))
    {
        manipulator(*this);
        return *this;
    }

private:
    std::wostream& Cleared()
    {
        if (!good()) clear();
        return *this;
    }
    XCLogStreamBuf m_buffer;
};

/// A named channel. Channels belong to their manager and live as long as it does.
class XC_API XCLogChannel {
public:
    /// Made by the log manager. @param subscribers the list that it delivers to, shared.
    XCLogChannel(std::shared_ptr<xc::log::SubscriberList> subscribers, XCString name);
    ~XCLogChannel();
    XCLogChannel(XCLogChannel const&) = delete;
    XCLogChannel& operator=(XCLogChannel const&) = delete;

    /// The name that the channel is found by.
    [[nodiscard]] XCString const& name() const noexcept { return m_name; }
    /// The stream of the channel; lives as long as it.
    [[nodiscard]] XCLogStream& GetStream() noexcept { return m_stream; }
    /// A further stream of the channel whose level is this one and is not to be changed: threads that write at different
    /// levels do not disturb each other, as they would with SetLoggingLevel. What the calling thread has pending in the
    /// channel's other streams is delivered first, so that its records keep their order. Made at the first call for a
    /// level, lives as long as the channel. Any thread.
    [[nodiscard]] XCLogStream& GetStream(int level);
    /// Delivers what all threads have pending in all streams of the channel.
    void FlushStreams() noexcept;
    /// Whether a subscriber wants text of this level.
    [[nodiscard]] bool IsInterested(int level) const noexcept { return m_stream.GetBuffer().IsInterested(level); }
    /// Delivers one record at this level, whatever the stream's level is. Any thread.
    void Write(int level, std::wstring_view text)
    {
        if (IsInterested(level)) m_stream.GetBuffer().Deliver(level, text);
    }
    /// @param text null counts as empty; its length is found only when somebody listens.
    void Write(int level, wchar_t const* text)
    {
        if (IsInterested(level)) m_stream.GetBuffer().Deliver(level, text ? text : L"");
    }
    /// Attaches a subscriber for the blocks of this channel alone; the manager's AddSubscriber is for all channels.
    void AddSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber);

private:
    struct LevelStream;

    std::shared_ptr<xc::log::SubscriberList> m_subscribers;
    XCString m_name;
    XCLogStream m_stream;
    std::atomic<LevelStream*> m_levelStreams{nullptr}; ///< a list that only grows
};

/// Builds one record and delivers it as one block at the end of its life. Does nothing when nobody is interested.
///     XCLogRecord(*channel, 1) << L"accepted " << count << L" connections\n";
class XC_API XCLogRecord {
public:
    /// Begins a record of this level; it is delivered at its end.
    XCLogRecord(XCLogChannel& channel, int level) noexcept
        : m_channel(channel.IsInterested(level) ? &channel : nullptr), m_level(level)
    {
    }
    ~XCLogRecord()
    {
        if (m_channel) m_channel->Write(m_level, m_text.View());
    }
    XCLogRecord(XCLogRecord const&) = delete;
    XCLogRecord& operator=(XCLogRecord const&) = delete;

    /// Whether anybody will receive the record.
    explicit operator bool() const noexcept { return m_channel != nullptr; }

    /// Also XCString and std::wstring.
    XCLogRecord& operator<<(std::wstring_view text)
    {
        if (m_channel) m_text.Append(text);
        return *this;
    }
    XCLogRecord& operator<<(wchar_t const* text)
    {
        return m_channel ? *this << std::wstring_view(text ? text : L"(null)") : *this;
    }
    XCLogRecord& operator<<(wchar_t unit) { return *this << std::wstring_view(&unit, 1); }
    /// UTF-8; a byte that is none becomes the unit of its value.
    XCLogRecord& operator<<(std::string_view text)
    {
        if (m_channel) PutBytes(text);
        return *this;
    }
    XCLogRecord& operator<<(char const* text) { return *this << std::string_view(text ? text : "(null)"); }
    XCLogRecord& operator<<(char unit) { return *this << std::string_view(&unit, 1); }
    /// Integers as decimal digits; bool as "true" or "false". No pointer is taken for one.
    template <std::integral T>
    XCLogRecord& operator<<(T value)
    {
        if constexpr (std::is_same_v<T, bool>) return *this << (value ? L"true" : L"false");
        if (m_channel) PutNumber(static_cast<std::uint64_t>(value), std::is_signed_v<T>);
        return *this;
    }
    /// The shortest text of at most 6 significant digits ("%g").
    XCLogRecord& operator<<(double value)
    {
        if (m_channel) PutDouble(value);
        return *this;
    }

private:
    void PutBytes(std::string_view text);
    void PutNumber(std::uint64_t bits, bool isSigned);
    void PutDouble(double value);

    XCLogChannel* m_channel;
    int m_level;
    XCString m_text;
};

/// The channels and the subscribers. The process has one; others may be built where logs must not mix.
class XCLogManager {
public:
    /// Walks over the channels in the order of their making.
    using ChannelItr = std::vector<std::unique_ptr<XCLogChannel>>::const_iterator;

    XC_API XCLogManager();
    XC_API ~XCLogManager();
    XCLogManager(XCLogManager const&) = delete;
    XCLogManager& operator=(XCLogManager const&) = delete;

    /// The manager of the process: built on first use, from any thread, and never destroyed. From then on the library stays
    /// loaded until the process ends.
    XC_API static XCLogManager& Get();
    /// Makes the manager ready. It may be called any number of times; channels and subscribers stay.
    XC_API void Init();

    /// Always creates a new channel, also when the name is in use; returns its index.
    XC_API std::size_t AddChannel(XCString const& name);
    /// Null when there is no such channel. Names are compared exactly; of equal ones the oldest answers.
    [[nodiscard]] XC_API XCLogChannel* GetChannel(std::size_t index) const;
    [[nodiscard]] XC_API XCLogChannel* GetChannel(XCString const& name) const;
    /// The channel of this name, created when missing; threads that ask at once get one channel.
    XC_API XCLogChannel& GetOrAddChannel(XCString const& name);
    /// The names of the channels, in the order of creation.
    [[nodiscard]] XC_API std::vector<XCString> GetAvailableChannels() const;
    /// The range of the channels (the second is past the end), valid until a channel is added.
    [[nodiscard]] XC_API ChannelItr GetFirstChannelItr() const;
    /// Behind the last channel; valid until a channel is added.
    [[nodiscard]] XC_API ChannelItr GetLastChannelItr() const;

    /// Attaches a subscriber at the end of the list; null changes nothing. Attached twice, it is served twice.
    XC_API void AddSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber);
    /// Detaches it from the manager and from its channels; false when it was not attached. When the call returns
    /// OnFlush is not running on another thread.
    XC_API bool RemoveSubscriber(XCLogSubscriberI const* subscriber);
    /// How many subscribers are registered.
    [[nodiscard]] XC_API std::size_t GetSubscriberCount() const;
    /// Those attached to the manager or to one of its channels, in the order of attachment.
    [[nodiscard]] XC_API XCSmartPtrVector<XCLogSubscriberI> GetSubscribers() const;

    /// Delivers what the streams of all channels have pending and flushes the subscribers.
    XC_API void Flush();

    /// Subscribers that threw, and records that could not be handed over.
    [[nodiscard]] XC_API std::uint64_t GetFailureCount() const noexcept;
    /// The text of the last failure of a subscriber; empty when there was none.
    [[nodiscard]] XC_API XCString GetLastFailure() const;

private:
    friend class xc::log::SubscriberList;

    std::shared_ptr<xc::log::SubscriberList> m_subscribers;
    mutable XCCriticalSection m_section; ///< guards m_channels
    XCPointerVector<XCLogChannel> m_channels;
};
