// XCLog.h - log channels, their streams, and the subscribers that receive what is flushed.
//
// WHAT     A channel is a name and a wide stream. The stream collects text and, at a flush, hands it as one
//          block to every subscriber of the manager. The process has one manager (XCLogManager::Get).
// LEVELS   A channel's stream has a level (a new one: 1); a subscriber has a desired level (a new one: 1) and is
//          interested in levels up to it. When nobody is interested in a level, text written at it is dropped unit by
//          unit and nothing is collected. A flushed block goes to every subscriber; those that shipped with the library
//          ignore levels they did not ask for (IsInterested); a program's own should do the same.
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
#include <XelbrinCore/XCLogChannel.h>
#include <XelbrinCore/XCLogField.h>
#include <XelbrinCore/XCLogFile.h>
#include <XelbrinCore/XCLogLevel.h>
#include <XelbrinCore/XCLogPattern.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

namespace xc::log {
class SubscriberList;
struct RecordExtras;

/// What has an operator<< of XCLogRecord of its own.
template <class T>
concept PlainRecordValue =
    (std::is_arithmetic_v<T> && !std::same_as<T, long double>) || std::convertible_to<T const&, std::wstring_view> ||
    std::convertible_to<T const&, std::string_view> || std::convertible_to<T const&, wchar_t const*> ||
    std::convertible_to<T const&, char const*>;
/// As what an integer goes through a stream: a number in any case, with the digits of its width.
template <class T>
using StreamedInteger = std::conditional_t<xc::text::PlainInteger<T> && (sizeof(T) > 1), T, decltype(+T())>;
template <class T>
concept Streamable = requires(std::wostream& out, T const& value)
{
    out << value;
};
} // namespace xc::log

/// Builds one record and delivers it as one block at the end of its life. Does nothing when nobody is interested. A
/// record ends its line: a line feed is added where the text has none at its end. One without text and fields is not
/// delivered.
///     XCLogRecord(*channel, 1) << L"accepted " << count << L" connections";
/// Besides the values below it takes what has AsString() (errors, dates, durations), enumerations as numbers, pointers as
/// addresses, what a std::wostream takes, and manipulators (std::hex, std::setw), which hold for this record alone.
class XC_API XCLogRecord {
public:
    /// Begins a record of this level; it is delivered at its end.
    XCLogRecord(XCLogChannel& channel, int level) noexcept
        : m_channel(channel.IsInterested(level) ? &channel : nullptr), m_level(level)
    {
    }
    ~XCLogRecord()
    {
        if (m_channel && (m_extras || !m_text.IsNull())) Deliver();
    }
    XCLogRecord(XCLogRecord const&) = delete;
    XCLogRecord& operator=(XCLogRecord const&) = delete;

    /// Whether anybody will receive the record.
    explicit operator bool() const noexcept { return m_channel != nullptr; }

    /// Also XCString and std::wstring.
    XCLogRecord& operator<<(std::wstring_view text)
    {
        if (m_out)
            PutStreamed(text);
        else if (m_channel)
            Put(text);
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
        if (m_out)
            PutStreamed(static_cast<xc::log::StreamedInteger<T>>(value));
        else if (m_channel)
            PutNumber(static_cast<std::uint64_t>(value), std::is_signed_v<T>);
        return *this;
    }
    /// The shortest text of at most 6 significant digits ("%g").
    XCLogRecord& operator<<(double value)
    {
        if (m_out)
            PutStreamed(value);
        else if (m_channel)
            PutDouble(value);
        return *this;
    }
    /// Everything else (see above).
    template <class T>
    requires(!xc::log::PlainRecordValue<T>) XCLogRecord& operator<<(T const& value)
    {
        if (!m_channel) return *this;
        if constexpr (xc::text::HasOwnText<T>) {
            *this << value.AsString().View();
        } else if constexpr (std::is_enum_v<T> && (std::is_convertible_v<T, int> || !xc::log::Streamable<T>)) {
            *this << +static_cast<std::underlying_type_t<T>>(value);
        } else if constexpr (std::is_pointer_v<T>) {
            PutPointer(xc::text::CarryPointer(static_cast<std::remove_pointer_t<T> const*>(value)).pointer);
        } else {
            static_assert(xc::log::Streamable<T>, "a log record takes texts, numbers, enumerations, pointers, what has "
                                                  "AsString() and what a std::wostream takes; this is none of them");
            MakeStream();
            PutStreamed(value);
        }
        return *this;
    }
    /// std::hex and its like.
    XCLogRecord& operator<<(std::ios_base& (*manipulator)(std::ios_base&));
    /// std::endl and its like. A flush has no effect: a record is delivered as a whole.
    XCLogRecord& operator<<(std::wostream& (*manipulator)(std::wostream&));

    /// Adds a field (XCLogField.h); one of a name that is there takes its place.
    XCLogRecord& operator<<(XCLogField field);
    /// The same; the field is made only when somebody is interested.
    template <class T>
    XCLogRecord& Field(std::wstring_view name, T const& value)
    {
        return m_channel ? *this << XCLogField(name, value) : *this;
    }

private:
    /// Room for the usual record at its first piece: growing with each would copy it several times.
    void Put(std::wstring_view text)
    {
        if (m_text.Capacity() == 0) m_text.Reserve(kUsualUnits);
        m_text.Append(text);
    }
    template <class T>
    void PutStreamed(T const& value)
    {
        *m_out << value;
        TakeStreamed();
    }
    void MakeStream();
    void TakeStreamed();
    void PutPointer(void const* pointer);
    xc::log::RecordExtras& Extras();
    void Deliver(); // by the destructor: throws nothing but what the channel throws
    void PutBytes(std::string_view text);
    void PutNumber(std::uint64_t bits, bool isSigned);
    void PutDouble(double value);

    static constexpr std::size_t kUsualUnits = 120;

    XCLogChannel* m_channel;
    int m_level;
    XCString m_text;
    std::wostream* m_out = nullptr;            // made by the first value that needs a stream
    xc::log::RecordExtras* m_extras = nullptr; // owned: the stream and the fields
};

/// The level of one channel in a table of levels (XCLogManager::SetChannelLevels).
struct XCLogChannelLevel {
    XCString channel; ///< a name without regard to case; with a '*' at its end it stands for all that begin so
    int level;        ///< the highest that is delivered
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

    /// Sets the highest level of channels, those that are made later too, in place of all levels set before; records above
    /// are dropped as if nobody wanted them. An exact name counts before one with a '*', and of those the longest. A
    /// channel that the table does not name has no limit. May be called at any time.
    XC_API void SetChannelLevels(std::vector<XCLogChannelLevel> levels);

    /// Attaches a subscriber at the end of the list; null changes nothing. Attached twice, it is served twice.
    XC_API void AddSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber);
    /// Detaches it from the manager and from its channels; false when it was not attached. When the call returns
    /// OnFlush is not running on another thread.
    XC_API bool RemoveSubscriber(XCLogSubscriberI const* subscriber);
    /// How many subscribers are registered.
    [[nodiscard]] XC_API std::size_t GetSubscriberCount() const;
    /// Those attached to the manager or to one of its channels, in the order of attachment.
    [[nodiscard]] XC_API XCSmartPtrVector<XCLogSubscriberI> GetSubscribers() const;

    /// Delivers the pending text of the streams of all channels and flushes the subscribers.
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
