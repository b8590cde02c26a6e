// XCDateEx.h - calendar dates as small values.
//
// WHAT     A date of the Gregorian calendar in one word. It is copied freely and owns nothing.
// NULL     The null value compares, copies and formats (as "") without harm; arithmetic leaves it as it is.
// VALID    Setters and arithmetic may store a date that no calendar has (February 30); IsValid() tells, and conversions
//          refuse it. Fields are stored when the year is 0 to 8388607, the month at most 12, the day at most 31; years
//          from 4194304 on read back negative, because the year is read with a signed shift.
// TEXT     Formats: %Y %y %m %d %W. docs/dates.md has the whole table, how texts are read, and the deliberate
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

/// A date of the Gregorian calendar, packed into one word: day (5 bits), month (4), year (23). Words order as dates do.
class XC_API XCDateEx {
public:
    static XCDateEx const null;    ///< No date.
    static XCDateEx const minimum; ///< 0001-01-01
    static XCDateEx const maximum; ///< 9999-12-31

    constexpr XCDateEx() noexcept = default;
    /// Null when the fields cannot be stored.
    constexpr XCDateEx(int year, unsigned int month, unsigned int day) noexcept { SetDate(year, month, day); }
    explicit XCDateEx(XCDateTime const& value, bool local = true) { FromXCDateTime(value, local); }
    /// Null for a count past the storable years.
    explicit XCDateEx(XCDate const& value) noexcept;
    /// Null when the fields cannot be stored.
    explicit XCDateEx(XCDateAndTime const& fields) noexcept { SetDateAndTime(fields); }
    explicit XCDateEx(std::tm const& time) noexcept { FromStructTM(time); }
    /// The date of a system time; null when it is none.
    explicit XCDateEx(_SYSTEMTIME const& time) noexcept;
    /// The date of a file time; null when it is none.
    explicit XCDateEx(_FILETIME const& time) noexcept;
    /// The date of a variant; null when it holds none.
    explicit XCDateEx(tagVARIANT const& value) noexcept;
    /// An OLE date: days since 1899-12-30; null outside the years 100 to 9999.
    explicit XCDateEx(double oleDate) noexcept;
    explicit XCDateEx(XCString const& text) { FromString(text); }
    XCDateEx(XCString const& text, wchar_t const* format) { FromString(text, format); }
    XCDateEx(XCString const& text, XCString const& format) { FromString(text, format); }

    /// Whether there is no date.
    [[nodiscard]] bool IsNull() const noexcept { return m_word == 0; }
    /// Becomes "no date".
    void SetNull() noexcept { m_word = 0; }
    /// Whether the calendar has this date; false for null.
    [[nodiscard]] bool IsValid() const noexcept;
    /// The raw word.
    [[nodiscard]] std::uint32_t AsInt() const noexcept { return m_word; }
    /// Takes a word that AsInt has made; nothing is checked.
    void FromInt(std::uint32_t word) noexcept { m_word = word; }

    /// The year; 0 for no date.
    [[nodiscard]] int GetYear() const noexcept { return static_cast<std::int32_t>(m_word) >> 9; }
    /// 1 to 12; 0 for no date.
    [[nodiscard]] unsigned int GetMonth() const noexcept { return (m_word >> 5) & 15u; }
    /// 1 to 31; 0 for no date.
    [[nodiscard]] unsigned int GetDay() const noexcept { return m_word & 31u; }
    /// False, and nothing stored, when the fields are out of the storable range (VALID above); the date need not exist.
    constexpr bool SetDate(int year, unsigned int month, unsigned int day) noexcept
    {
        auto const unsignedYear = static_cast<std::uint32_t>(year);
        if (unsignedYear >= 8388608 || month >= 13 || day >= 32) return false;
        m_word = (unsignedYear << 9) | (month << 5) | day;
        return true;
    }
    /// Fills every field; those of the time are 0.
    void GetDateAndTime(XCDateAndTime& fields) const noexcept;
    /// The date fields. @return whether the date is valid.
    bool SetDateAndTime(XCDateAndTime const& fields) noexcept;

    /// 0 Sunday to 6 Saturday; 0 for null and for every year before 1970.
    [[nodiscard]] unsigned int GetWeekDay() const noexcept;
    /// 1 to 366; 0 for an invalid date.
    [[nodiscard]] unsigned int GetYearDay() const noexcept;
    /// Weeks start on Monday, days before the first Monday are week 0; 0 for an invalid date. Built on GetWeekDay: a
    /// year before 1970 is numbered as if each of its days were a Sunday.
    [[nodiscard]] unsigned int GetYearWeek() const noexcept;
    /// 0 for a month outside 1 to 12.
    [[nodiscard]] static unsigned int GetDaysInMonth(int year, unsigned int month) noexcept;

    /// @param local today's date by the local clock rather than in UTC.
    [[nodiscard]] static XCDateEx GetCurrentDate(bool local = true) noexcept;

    /// Moves by days. An invalid date stays, and so does one whose result could not be stored.
    XCDateEx& operator+=(long days) noexcept;
    XCDateEx& operator-=(long days) noexcept;
    /// Moves by years and months (the day is cut to the month's length), weeks and days; hours and smaller units never
    /// move a date.
    XCDateEx& operator+=(XCDurationEx const& duration) noexcept { return AddOrSubstract(duration, true); }
    XCDateEx& operator-=(XCDurationEx const& duration) noexcept { return AddOrSubstract(duration, false); }
    XCDateEx& operator++() noexcept { return *this += 1L; }
    XCDateEx& operator--() noexcept { return *this -= 1L; }
    XCDateEx operator++(int) noexcept;
    XCDateEx operator--(int) noexcept;
    friend XCDateEx operator+(XCDateEx a, long days) noexcept { return a += days; }
    friend XCDateEx operator-(XCDateEx a, long days) noexcept { return a -= days; }
    friend XCDateEx operator+(XCDateEx a, XCDurationEx const& duration) noexcept { return a += duration; }
    friend XCDateEx operator-(XCDateEx a, XCDurationEx const& duration) noexcept { return a -= duration; }
    /// Days; invalid_ when one of the dates is not valid. @throws XCDurationExceptionEx when they do not fit.
    friend XCDurationEx operator-(XCDateEx const& a, XCDateEx const& b) { return a.DaysSince(b); }
    friend auto operator<=>(XCDateEx const&, XCDateEx const&) noexcept = default;

    /// "%Y/%m/%d".
    [[nodiscard]] XCString AsString() const;
    [[nodiscard]] XCString AsString(wchar_t const* format) const;
    [[nodiscard]] XCString AsString(XCString const& format) const { return AsString(format.AsWChar()); }
    void AsString(XCString& text, wchar_t const* format) const;
    void AsString(XCString& text, XCString const& format) const { AsString(text, format.AsWChar()); }
    /// @return the units written, without the terminator. A null format is the default one.
    std::size_t AsString(wchar_t* buffer, std::size_t capacity, wchar_t const* format) const noexcept;
    /// Reads "%Y/%m/%d". "SYSDATE" is today; blank text is null, and a success.
    bool FromString(XCString const& text) { return FromString(text, nullptr); }
    bool FromString(XCString const& text, wchar_t const* format);
    bool FromString(XCString const& text, XCString const& format) { return FromString(text, format.AsWChar()); }

    /// False, with an empty or untouched result: no valid date. The two system forms want a year of 1601 to 9999.
    bool AsStructTM(std::tm& time) const noexcept;
    /// As AsStructTM.
    bool AsSystemTime(_SYSTEMTIME& time) const noexcept;
    /// As AsStructTM.
    bool AsFileTime(_FILETIME& time) const noexcept;
    /// Overwrites the variant (what it held is not released): a date of the years 100 to 9999, or VT_NULL for null.
    bool AsVariant(tagVARIANT& value) const noexcept;
    /// Midnight of the date. @param local in the local zone rather than in UTC.
    [[nodiscard]] XCDateTime AsXCDateTime(bool local = true) const noexcept;
    /// The older day count; 1899-01-01 when the date is not valid or earlier.
    [[nodiscard]] XCDate AsXCDate() const noexcept;
    /// @return whether the date is valid. A null XCDateTime gives null and true.
    bool FromStructTM(std::tm const& time) noexcept;
    /// Year, month and day are packed as they stand.
    bool FromSystemTime(_SYSTEMTIME const& time) noexcept;
    /// Takes a date; an empty or null variant gives null and true, another kind null and false.
    bool FromVariant(tagVARIANT const& value) noexcept;
    /// The date of the instant, in the local zone or in UTC.
    bool FromXCDateTime(XCDateTime const& value, bool local) noexcept;

private:
    XCDateEx& AddDays(std::int64_t days) noexcept;
    XCDateEx& AddMonths(std::int64_t months) noexcept;
    XCDateEx& AddOrSubstract(XCDurationEx const& duration, bool add) noexcept;
    [[nodiscard]] XCDurationEx DaysSince(XCDateEx const& other) const;

    std::uint32_t m_word = 0;
};

/// Equal values have equal hashes.
template <>
struct std::hash<XCDateEx> {
    std::size_t operator()(XCDateEx const& value) const noexcept { return std::hash<std::uint32_t>{}(value.AsInt()); }
};

/// Whether the Gregorian calendar gives this year a February 29.
XC_API bool XCIsLeapYear(unsigned int year) noexcept;

/// Writes "%Y/%m/%d".
XC_API std::wostream& operator<<(std::wostream& out, XCDateEx const& value);
/// Reads one word; failbit when it is no date.
XC_API std::wistream& operator>>(std::wistream& in, XCDateEx& value);
