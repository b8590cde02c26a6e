// XCTimeEx.h - times of day as small values.
//
// WHAT     A time of day in milliseconds since midnight. It is copied freely and owns nothing.
// NULL     The null value compares, copies and formats (as "") without harm; arithmetic leaves it as it is.
// TEXT     Formats: %H %M %S %L. docs/dates.md has the whole table, how texts are read, and the deliberate
//          oddities. A "%" at the end of a format writes nothing.
// BUFFER   AsString into a buffer stops once it has written capacity - 5 units, always terminates, and never writes past
//          the capacity (with capacity 0 nothing at all). A last piece that is longer than the room left is cut.
// COST     Arithmetic, comparison and formatting into a buffer allocate nothing.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCDateAndTime.h>
#include <XelbrinCore/XCDurationEx.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCString.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <iosfwd>

struct _FILETIME;
struct _SYSTEMTIME;
struct tagVARIANT;

/// Milliseconds since midnight, 0 to 86,399,999; any negative count is null. Arithmetic wraps at 24 hours.
class XC_API XCTimeEx {
public:
    /// The count that stands for "no time".
    static constexpr std::int32_t NULL_TIME = -1;
    static XCTimeEx const null;    ///< No time.
    static XCTimeEx const minimum; ///< midnight
    static XCTimeEx const maximum; ///< 23:59:59.999

    constexpr XCTimeEx() noexcept = default;
    /// Null when the time is 24 hours or more.
    constexpr XCTimeEx(unsigned int hour, unsigned int minute, unsigned int second,
                       unsigned int millisecond = 0) noexcept
    {
        std::uint64_t const seconds = (std::uint64_t{hour} * 60 + minute) * 60 + second;
        std::uint64_t const count = seconds * 1000 + millisecond;
        if (count < 86400000) m_count = static_cast<std::int32_t>(count);
    }
    /// Milliseconds; null when negative, or 24 hours or more.
    constexpr explicit XCTimeEx(int milliseconds) noexcept : XCTimeEx(static_cast<unsigned int>(milliseconds)) {}
    /// Milliseconds; null for 24 hours or more.
    constexpr explicit XCTimeEx(unsigned int milliseconds) noexcept : XCTimeEx(0, 0, 0, milliseconds) {}
    explicit XCTimeEx(XCDateTime const& value, bool local = true) { FromXCDateTime(value, local); }
    explicit XCTimeEx(XCDateAndTime const& fields) noexcept { SetDateAndTime(fields); }
    explicit XCTimeEx(std::tm const& time) noexcept { FromStructTM(time); }
    /// The time of a system time; null when it is none.
    explicit XCTimeEx(_SYSTEMTIME const& time) noexcept;
    /// The time of a file time; null when it is none.
    explicit XCTimeEx(_FILETIME const& time) noexcept;
    /// The time of a variant; null when it holds none.
    explicit XCTimeEx(tagVARIANT const& value) noexcept;
    /// The time of day of an OLE date.
    explicit XCTimeEx(double oleDate) noexcept;
    explicit XCTimeEx(XCString const& text) { FromString(text); }
    XCTimeEx(XCString const& text, wchar_t const* format) { FromString(text, format); }
    XCTimeEx(XCString const& text, XCString const& format) { FromString(text, format); }

    /// Whether there is no time.
    [[nodiscard]] bool IsNull() const noexcept { return m_count < 0; }
    /// Becomes "no time".
    void SetNull() noexcept { m_count = NULL_TIME; }
    /// Whether the count is inside one day, 0 to 86,399,999 milliseconds.
    [[nodiscard]] bool IsValid() const noexcept { return m_count >= 0 && m_count < 86400000; }
    /// The raw count.
    [[nodiscard]] std::int32_t AsInt() const noexcept { return m_count; }
    /// The raw count without a sign.
    [[nodiscard]] std::uint32_t AsUInt() const noexcept { return static_cast<std::uint32_t>(m_count); }
    /// Takes a raw count; nothing is checked.
    void FromInt(std::int32_t count) noexcept { m_count = count; }
    /// 0 for null.
    [[nodiscard]] unsigned int AsMilliseconds() const noexcept { return m_count > 0 ? AsUInt() : 0u; }
    /// Whole seconds since midnight.
    [[nodiscard]] unsigned int AsSeconds() const noexcept { return AsMilliseconds() / 1000u; }
    /// 0 to 23.
    [[nodiscard]] unsigned int GetHour() const noexcept { return AsMilliseconds() / 3600000u; }
    /// 0 to 59.
    [[nodiscard]] unsigned int GetMinute() const noexcept { return AsMilliseconds() / 60000u % 60u; }
    /// 0 to 59.
    [[nodiscard]] unsigned int GetSecond() const noexcept { return AsMilliseconds() / 1000u % 60u; }
    /// 0 to 999.
    [[nodiscard]] unsigned int GetMillisecond() const noexcept { return AsMilliseconds() % 1000u; }
    /// Fills every field; those of the date are 0.
    void GetDateAndTime(XCDateAndTime& fields) const noexcept;
    /// The time fields. @return whether they are less than 24 hours; null otherwise.
    bool SetDateAndTime(XCDateAndTime const& fields) noexcept;

    /// @param local the time by the local clock rather than in UTC.
    [[nodiscard]] static XCTimeEx GetTheCurrentTime(bool local = true) noexcept;

    /// Null stays null; days and larger units change nothing.
    XCTimeEx& operator+=(XCDurationEx const& duration) noexcept;
    XCTimeEx& operator-=(XCDurationEx const& duration) noexcept;
    /// One second.
    XCTimeEx& operator++() noexcept { return Wrap(1000); }
    XCTimeEx& operator--() noexcept { return Wrap(-1000); }
    XCTimeEx operator++(int) noexcept;
    XCTimeEx operator--(int) noexcept;
    friend XCTimeEx operator+(XCTimeEx a, XCDurationEx const& duration) noexcept { return a += duration; }
    friend XCTimeEx operator-(XCTimeEx a, XCDurationEx const& duration) noexcept { return a -= duration; }
    /// Milliseconds; invalid_ when one of the times is null.
    friend XCDurationEx operator-(XCTimeEx const& a, XCTimeEx const& b) { return a.Since(b); }
    friend auto operator<=>(XCTimeEx const&, XCTimeEx const&) noexcept = default;

    /// "%H:%M:%S.%L".
    [[nodiscard]] XCString AsString() const;
    [[nodiscard]] XCString AsString(wchar_t const* format) const;
    [[nodiscard]] XCString AsString(XCString const& format) const { return AsString(format.AsWChar()); }
    void AsString(XCString& text, wchar_t const* format) const;
    void AsString(XCString& text, XCString const& format) const { AsString(text, format.AsWChar()); }
    /// @return the units written, without the terminator. A null format is the default one.
    std::size_t AsString(wchar_t* buffer, std::size_t capacity, wchar_t const* format) const noexcept;
    /// Reads "%H:%M:%S.%L", of which the end may be missing. "SYSTIME" is now; blank text is null, and a success.
    bool FromString(XCString const& text) { return FromString(text, nullptr); }
    /// False and null: no number where the format wants one, or a field out of range (hours 0 to 23 and so on).
    bool FromString(XCString const& text, wchar_t const* format);
    bool FromString(XCString const& text, XCString const& format) { return FromString(text, format.AsWChar()); }

    /// False: null. The date fields of a structure are those of a missing date: 0 (in a FILETIME 1601-01-01, in an
    /// XCDateTime 1970-01-01, in a VARIANT 1899-12-30).
    bool AsStructTM(std::tm& time) const noexcept;
    /// As AsStructTM.
    bool AsSystemTime(_SYSTEMTIME& time) const noexcept;
    /// As AsStructTM.
    bool AsFileTime(_FILETIME& time) const noexcept;
    /// As AsStructTM.
    bool AsVariant(tagVARIANT& value) const noexcept;
    /// As AsStructTM.
    [[nodiscard]] XCDateTime AsXCDateTime() const noexcept;
    /// @return whether the time is valid. A null XCDateTime gives null and true.
    bool FromStructTM(std::tm const& time) noexcept;
    /// The time of day of a system time. @return whether it is valid.
    bool FromSystemTime(_SYSTEMTIME const& time) noexcept;
    /// The time of day of a variant. @return whether it is valid.
    bool FromVariant(tagVARIANT const& value) noexcept;
    /// The time of day of the instant, in the local zone or in UTC.
    bool FromXCDateTime(XCDateTime const& value, bool local) noexcept;

private:
    XCTimeEx& Wrap(std::int64_t milliseconds) noexcept;
    [[nodiscard]] XCDurationEx Since(XCTimeEx const& other) const;

    std::int32_t m_count = NULL_TIME;
};

/// Equal values have equal hashes.
template <>
struct std::hash<XCTimeEx> {
    std::size_t operator()(XCTimeEx const& value) const noexcept { return std::hash<std::int32_t>{}(value.AsInt()); }
};

/// Writes "%H:%M:%S.%L".
XC_API std::wostream& operator<<(std::wostream& out, XCTimeEx const& value);
/// Reads one word; failbit when it is no time.
XC_API std::wistream& operator>>(std::wistream& in, XCTimeEx& value);
