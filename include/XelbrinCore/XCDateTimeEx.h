// XCDateTimeEx.h - a date, a time of day or an instant as a small value.
//
// WHAT     A date word and a time word; with both it is an instant, kept in UTC. It is copied freely and owns nothing.
// NULL     The null value compares, copies and formats (as "") without harm; arithmetic leaves it as it is.
// ZONES    A zone tells how the value is read and shown. Without one the local zone of the process is meant.
// TEXT     Formats: those of a date, those of a time, %Z (%z) the offset. docs/dates.md has the whole table, how texts are read, and the deliberate
//          oddities. A "%" at the end of a format writes nothing.
// BUFFER   AsString into a buffer stops once it has written capacity - 5 units, always terminates, and never writes past
//          the capacity (with capacity 0 nothing at all). A last piece that is longer than the room left is cut.
// COST     Arithmetic, comparison and formatting into a buffer allocate nothing.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCDateEx.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCTimeEx.h>
#include <XelbrinCore/XCTimeZone.h>

/// A date, a time of day, or both; with both it is an instant, kept in UTC. A part that stands alone is kept as given:
/// no zone moves it. Where a zone is asked for, the local one is the default.
class XC_API XCDateTimeEx {
public:
    static XCDateTimeEx const null;         ///< Neither date nor time.
    static XCDateTimeEx const minimum;      ///< 0001-01-01 00:00:00.000 UTC
    static XCDateTimeEx const maximum;      ///< 9999-12-31 23:59:59.999 UTC
    static XCTimeZone const localTimeZone_; ///< The zone of the process.
    static XCTimeZone const utcTimeZone_;   ///< UTC.

    constexpr XCDateTimeEx() noexcept = default;
    /// What AsInt64 gave.
    explicit XCDateTimeEx(std::int64_t value) noexcept { FromInt64(value); }
    /// The wall time of a zone.
    XCDateTimeEx(XCDateEx const& date, XCTimeEx const& time, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// A date only.
    XCDateTimeEx(int year, unsigned int month, unsigned int day) noexcept : m_date(year, month, day) {}
    /// A time only.
    XCDateTimeEx(unsigned int hour, unsigned int minute, unsigned int second, unsigned int millisecond) noexcept
        : m_time(hour, minute, second, millisecond)
    {
    }
    /// A date and a time, read as wall time of the zone.
    XCDateTimeEx(int year, unsigned int month, unsigned int day, unsigned int hour, unsigned int minute,
                 unsigned int second, unsigned int millisecond, XCTimeZone const& zone = localTimeZone_) noexcept;
    XCDateTimeEx(XCDateTime const& value, bool local) { FromXCDateTime(value, local); }
    /// Read in the aggregate's own zone.
    explicit XCDateTimeEx(XCDateAndTime const& fields) noexcept { SetDateAndTime(fields); }
    /// The wall time of a zone.
    explicit XCDateTimeEx(_SYSTEMTIME const& time, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// The wall time of a zone.
    explicit XCDateTimeEx(std::tm const& time, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// The wall time of a zone.
    explicit XCDateTimeEx(tagVARIANT const& value, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// An OLE date: days since 1899-12-30 with the time as fraction.
    explicit XCDateTimeEx(double oleDate, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// From a file time, which is in UTC.
    explicit XCDateTimeEx(_FILETIME const& time) noexcept;
    /// Null when the text cannot be read.
    explicit XCDateTimeEx(XCString const& text, XCTimeZone const& zone = localTimeZone_)
    {
        (void)FromString(text, zone);
    }
    /// Null when the text cannot be read in this format.
    XCDateTimeEx(XCString const& text, wchar_t const* format, XCTimeZone const& zone = localTimeZone_)
    {
        (void)FromString(text, format, zone);
    }
    /// Null when the text cannot be read in this format.
    XCDateTimeEx(XCString const& text, XCString const& format, XCTimeZone const& zone = localTimeZone_)
    {
        (void)FromString(text, format, zone);
    }

    /// Whether there is neither date nor time.
    [[nodiscard]] bool IsNull() const noexcept { return !HasDate() && !HasTime(); }
    /// Whether there is a date.
    [[nodiscard]] bool HasDate() const noexcept { return !m_date.IsNull(); }
    /// Whether there is a time.
    [[nodiscard]] bool HasTime() const noexcept { return !m_time.IsNull(); }
    /// Whether there is a date without a time.
    [[nodiscard]] bool IsOnlyDate() const noexcept { return HasDate() && !HasTime(); }
    /// Whether there is a time without a date.
    [[nodiscard]] bool IsOnlyTime() const noexcept { return HasTime() && !HasDate(); }
    /// Whether both are there.
    [[nodiscard]] bool IsDateAndTime() const noexcept { return HasDate() && HasTime(); }
    /// Takes the date out.
    void SetDateNull() noexcept { m_date.SetNull(); }
    /// Takes the time out.
    void SetTimeNull() noexcept { m_time.SetNull(); }
    /// Takes both out.
    void SetNull() noexcept { *this = XCDateTimeEx(); }
    /// A time only, or a date that the calendar has.
    [[nodiscard]] bool IsValid() const noexcept { return IsOnlyTime() || m_date.IsValid(); }
    /// The date word in the high half, the time word in the low one.
    [[nodiscard]] std::int64_t AsInt64() const noexcept;
    /// Takes what AsInt64 gave.
    void FromInt64(std::int64_t value) noexcept;

    /// The value as seen in a zone; a part that is missing reads as its null.
    [[nodiscard]] XCDateEx GetDate(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// The time seen in a zone; null when there is none.
    [[nodiscard]] XCTimeEx GetTime(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// 0 Sunday to 6 Saturday as XCDateEx tells it, for the date seen in the zone.
    [[nodiscard]] unsigned int GetWeekDay(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// The day of the year in the zone, counted as XCDateEx counts it.
    [[nodiscard]] unsigned int GetYearDay(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// The week of the year in the zone, counted as XCDateEx counts it.
    [[nodiscard]] unsigned int GetYearWeek(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// Minutes that the zone is ahead of UTC at this instant; 0 without a date or a time.
    [[nodiscard]] int GetOffset(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// Fills the fields as the zone shows them.
    void GetDateAndTime(XCDateAndTime& fields, XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// Read in the aggregate's own zone. @return IsValid(); fields that cannot be stored give a null part.
    bool SetDateAndTime(XCDateAndTime const& fields) noexcept;
    /// Shifts the words from the zone's wall time to UTC, and from UTC to the zone's wall time.
    void ConvertToUTC(XCTimeZone const& zone) noexcept;
    /// The way back of ConvertToUTC.
    void ConvertFromUTCTo(XCTimeZone const& zone) noexcept;

    /// Now, to the millisecond.
    [[nodiscard]] static XCDateTimeEx GetCurrentDateTime() noexcept;

    /// Units of days and more move the date (in UTC), smaller ones the time, which carries into the date. A part that is
    /// missing or not valid is not moved, and a result that could not be stored changes nothing.
    XCDateTimeEx& operator+=(XCDurationEx const& duration) noexcept { return AddOrSubstract(duration, true); }
    XCDateTimeEx& operator-=(XCDurationEx const& duration) noexcept { return AddOrSubstract(duration, false); }
    /// One second.
    XCDateTimeEx& operator++() noexcept { return AddMilliseconds(1000); }
    XCDateTimeEx& operator--() noexcept { return AddMilliseconds(-1000); }
    XCDateTimeEx operator++(int) noexcept;
    XCDateTimeEx operator--(int) noexcept;
    friend XCDateTimeEx operator+(XCDateTimeEx a, XCDurationEx const& duration) noexcept { return a += duration; }
    friend XCDateTimeEx operator-(XCDateTimeEx a, XCDurationEx const& duration) noexcept { return a -= duration; }
    /// Milliseconds, or seconds (cut toward zero) when those do not fit. A date without time counts from midnight;
    /// invalid_ unless both have a valid date, or both are a time alone.
    /// @throws XCDurationExceptionEx when seconds do not fit either.
    friend XCDurationEx operator-(XCDateTimeEx const& a, XCDateTimeEx const& b) { return a.Since(b); }
    friend bool operator==(XCDateTimeEx const&, XCDateTimeEx const&) noexcept = default;
    /// The date word first, then the signed time word.
    friend std::strong_ordering operator<=>(XCDateTimeEx const& a, XCDateTimeEx const& b) noexcept
    {
        auto const dates = a.m_date <=> b.m_date;
        return dates != 0 ? dates : a.m_time <=> b.m_time;
    }

    /// The format that fits the parts there are. @param full "%Y/%m/%d %H:%M:%S" whatever the parts.
    [[nodiscard]] wchar_t const* GetDefaultFormat(bool full, bool withMilliseconds) const noexcept;
    /// In the default format with milliseconds.
    [[nodiscard]] XCString AsString(XCTimeZone const& zone = localTimeZone_) const;
    /// In a format; empty when the value is neither null nor valid.
    [[nodiscard]] XCString AsString(wchar_t const* format, XCTimeZone const& zone = localTimeZone_) const;
    /// Bad, and the text empty, when the value is neither null nor valid. A null format is the default one with
    /// milliseconds; fields of a missing part are written as zeros.
    XCErrorID AsString(XCString& text, wchar_t const* format, XCTimeZone const& zone = localTimeZone_) const;
    XCErrorID AsString(XCString& text, XCString const& format, XCTimeZone const& zone = localTimeZone_) const
    {
        return AsString(text, format.AsWChar(), zone);
    }
    XCErrorID AsString(wchar_t* buffer, std::size_t capacity, wchar_t const* format,
                       XCTimeZone const& zone = localTimeZone_) const;
    /// Reads "%Y/%m/%d", "%H:%M:%S.%L" or both, whichever the text is. "SYSDATE" is today's local date, "SYSTIME" the
    /// local time; blank text is null, and a success. Bad, and the value null: no date or time in the text.
    XCErrorID FromString(XCString const& text, XCTimeZone const& zone = localTimeZone_);
    /// A format with date specifiers wants a valid date; a time that the text does not have stays missing. An offset
    /// that %Z finds ("Z", "+05:30") is used in place of the zone.
    XCErrorID FromString(XCString const& text, wchar_t const* format, XCTimeZone const& zone = localTimeZone_);
    XCErrorID FromString(XCString const& text, XCString const& format, XCTimeZone const& zone = localTimeZone_)
    {
        return FromString(text, format.AsWChar(), zone);
    }

    /// False: neither a valid date nor a time alone (a FILETIME, an XCDateTime and a date in a VARIANT want a date).
    bool AsStructTM(std::tm& time, XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// As AsStructTM.
    bool AsSystemTime(_SYSTEMTIME& time, XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// As AsStructTM.
    bool AsVariant(tagVARIANT& value, XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// In UTC; a date without time is its midnight. Years 1601 to 9999.
    bool AsFileTime(_FILETIME& time) const noexcept;
    /// The instant, whole seconds; null when there is no valid date. A date without time is its midnight in the zone.
    [[nodiscard]] XCDateTime AsXCDateTime(XCTimeZone const& zone = localTimeZone_) const noexcept;
    /// Read as wall time of a zone. @return whether the value is valid.
    bool FromStructTM(std::tm const& time, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// Read as wall time of a zone. @return whether the value is valid.
    bool FromSystemTime(_SYSTEMTIME const& time, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// Read as wall time of a zone. @return whether the value is valid.
    bool FromVariant(tagVARIANT const& value, XCTimeZone const& zone = localTimeZone_) noexcept;
    /// The instant; the flag tells by which clock it is broken down on the way, which cannot be seen in the result.
    /// False, and null, outside the seconds 0 to 32535244799; a null value gives null and true.
    bool FromXCDateTime(XCDateTime const& value, bool local) noexcept;

private:
    constexpr XCDateTimeEx(XCTimeEx const& utcTime, XCDateEx const& utcDate) noexcept : m_time(utcTime), m_date(utcDate)
    {
    }
    XCDateTimeEx& AddOrSubstract(XCDurationEx const& duration, bool add) noexcept;
    XCDateTimeEx& AddMilliseconds(std::int64_t milliseconds) noexcept;
    [[nodiscard]] XCDurationEx Since(XCDateTimeEx const& other) const;

    XCTimeEx m_time;
    XCDateEx m_date;
};

/// Equal values have equal hashes.
template <>
struct std::hash<XCDateTimeEx> {
    std::size_t operator()(XCDateTimeEx const& value) const noexcept
    {
        return std::hash<std::int64_t>{}(value.AsInt64());
    }
};

/// Writes the default text in the local zone.
XC_API std::wostream& operator<<(std::wostream& out, XCDateTimeEx const& value);
/// Reads one word, and a second one when a blank and a digit follow a date; failbit when they are no date-time.
XC_API std::wistream& operator>>(std::wistream& in, XCDateTimeEx& value);
