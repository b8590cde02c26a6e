// XCLogChannel.h - a log channel with its streams.
//
// WHAT     A channel is a name and a wide stream; XCLog.h tells how records travel and holds the manager.
// COST     A text that nobody wants: one load and one branch. A wanted unit is copied under the lock of the stream buffer.
// LIFETIME Channels belong to their manager; a stream lives as long as its channel.
// ERRORS   Writing never fails; what finds no memory is dropped and counted by the manager.
// THREADS  Any thread. The buffer keeps each thread's text apart and delivers it at that thread's flush; what a thread
//          leaves unflushed when it ends goes out then as a record of its own.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <streambuf>
#include <string_view>

namespace xc::log {
class PendingTexts;
class SubscriberList;
} // namespace xc::log

class XCLogField;

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
    /// @param text null counts as empty.
    void Deliver(int level, wchar_t const* text) noexcept;
    /// The same with fields, which stand after the text and are kept apart for layouts that write them otherwise.
    void Deliver(int level, std::wstring_view text, std::span<XCLogField const> fields) noexcept;
    /// Delivers the pending text of all threads. Text that subscribers write meanwhile, unflushed, may stay pending.
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
    void Append(wchar_t const* text, std::size_t count) noexcept;
    void FlushThread(std::uint64_t thread) noexcept;

    std::shared_ptr<xc::log::SubscriberList> m_subscribers;
    XCString m_name;
    XCLogStreamBuf const* m_main; ///< stands for the channel
    std::atomic<int> m_level{1};
    std::atomic<bool> m_interested{false};
    std::atomic<std::int64_t> m_highest; ///< the highest level that somebody wants
    int m_limit;                         ///< the highest that the channel may have; guarded by the list
    std::atomic<unsigned int> m_pendingCount{0};
    std::unique_ptr<xc::log::PendingTexts> m_pending;
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
    /// The end of a record: the text of the calling thread is delivered as it stands.
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
    /// levels do not disturb each other, as they would with SetLoggingLevel. Text that the calling thread has
    /// pending in the channel's other streams is delivered first, so that its records keep their order. Made at the first call for a
    /// level, lives as long as the channel. Any thread.
    [[nodiscard]] XCLogStream& GetStream(int level);
    /// Delivers the pending text of all threads in all streams of the channel.
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
        if (IsInterested(level)) m_stream.GetBuffer().Deliver(level, text);
    }
    /// The same with fields (XCLogField.h).
    void Write(int level, std::wstring_view text, std::span<XCLogField const> fields)
    {
        if (IsInterested(level)) m_stream.GetBuffer().Deliver(level, text, fields);
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
