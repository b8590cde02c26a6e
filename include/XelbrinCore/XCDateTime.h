// XCDateTime.h - calendar dates, times of day, date-times and durations as small values.
//
// WHAT     XCDateEx a calendar date, XCTimeEx a time of day in milliseconds, XCDateTimeEx both of them (or one) in UTC,
//          XCDurationEx a count of one unit. All are copied freely; none owns anything.
// NULL     Every class has a null value. Null values compare, copy and format (as "") without harm; arithmetic leaves
//          them as they are.
// VALID    Setters and arithmetic may store a date that no calendar has (February 30); IsValid() tells, and conversions
//          refuse it. Fields are stored when the year is 0 to 8388607, the month at most 12, the day at most 31; years
//          from 4194304 on read back negative, because the year is read with a signed shift.
// TEXT     Formats: %Y %y %m %d %W of a date, %H %M %S %L of a time, %Z (%z) the zone's offset. docs/dates.md has the
//          whole table, how texts are read, and the deliberate oddities. A "%" at the end of a format writes nothing.
// BUFFER   AsString into a buffer stops once it has written capacity - 5 units, always terminates, and never writes past
//          the capacity (with capacity 0 nothing at all). A last piece that is longer than the room left is cut.
// COST     Nothing allocates in arithmetic, comparison and formatting into a buffer.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCTimeZone.h>

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iosfwd>

struct _FILETIME;
struct _SYSTEMTIME;
struct tagVARIANT;
class XCTimeEx;

/// A broken-down date and time with the zone it is seen in. A date without a time reads as midnight; a time without a
/// date has year, month and day 0, and is taken back as such.
struct XCDateAndTime {
    int year = 0;                 ///< The year, negative before year 0.
    unsigned int month = 0;       ///< 1 to 12.
    unsigned int day = 0;         ///< 1 to 31.
    unsigned int hour = 0;        ///< 0 to 23.
    unsigned int minute = 0;      ///< 0 to 59.
    unsigned int second = 0;      ///< 0 to 59.
    unsigned int millisecond = 0; ///< 0 to 999.
    unsigned int weekDay = 0;     ///< as XCDateEx::GetWeekDay gives it; not looked at when a value takes the aggregate
    XCTimeZone zone;              ///< The zone that the fields are meant in.
};

// Durations -----------------------------------------------------------------------------------------------------

/// A signed 32-bit count of one unit. The count -2147483648 is never stored: what would give it, or any other count
/// that does not fit, throws XCDurationExceptionEx and changes nothing. Calendar units are approximations between each
/// other: a year is 12 months, 52 weeks or 365 days, a month 4 weeks or 30 days.
class XC_API XCDurationEx {
public:
    /// What a duration counts.
    enum Unit : std::uint32_t { Year, Month, Week, Day, Hour, Minute, Second, Millisecond, InvalidUnit };

    /// The smallest count.
    static constexpr long minimum_ = -2147483647L;
    static constexpr long maximum_ = 2147483647L; ///< The largest count.
    /// No unit, count 0.
    static XCDurationEx const invalid_;

    /// Zero seconds.
    constexpr XCDurationEx() noexcept = default;
    /// A bare count means seconds.
    XCDurationEx(long count, Unit unit = Second) { SetDuration(count, unit); }
    /// @param unitName a unit as FromString reads it: "days", "d"; an unknown one gives a duration with no unit.
    XCDurationEx(long count, XCString const& unitName);
    /// Read by FromString.
    explicit XCDurationEx(XCString const& text, Unit defaultUnit = Second) { FromString(text, defaultUnit); }

    /// What the duration counts.
    [[nodiscard]] Unit GetUnit() const noexcept { return m_unit; }
    /// Keeps the count. @param unit 8 or more: no unit.
    void SetUnit(Unit unit) noexcept { m_unit = unit < InvalidUnit ? unit : InvalidUnit; }
    /// The count, in GetUnit.
    [[nodiscard]] long GetDuration() const noexcept { return m_count; }
    /// Replaces the count and keeps the unit.
    void SetDuration(long count);
    void SetDuration(long count, Unit unit);
    /// Whether the unit is one of the eight.
    [[nodiscard]] bool IsValid() const noexcept { return m_unit < InvalidUnit; }
    /// Both fields: the count in the high half, the unit in the low one.
    [[nodiscard]] std::int64_t AsInt64() const noexcept;
    /// Takes what AsInt64 gave.
    void FromInt64(std::int64_t value);
    /// The older duration: a number of seconds, cut toward zero. 0 for no unit.
    /// @throws XCDurationExceptionEx when the seconds do not fit.
    [[nodiscard]] long AsXCDuration() const;
    /// 0 for no unit; held at the limits of 64 bits (a count of 292,471,208 years and more).
    [[nodiscard]] std::int64_t AsMilliSeconds() const noexcept;

    /// A copy in another unit, cut toward zero; invalid_ when the pair cannot be converted (years or months and
    /// milliseconds, no unit), whatever the count.
    [[nodiscard]] XCDurationEx As(Unit unit) const;
    /// Changes the unit. A target of 8 or more, or a count of 0, gives count 0. A pair that cannot be converted takes
    /// the new unit, keeps the count and answers false.
    /// @param truncate false: a positive count that does not divide goes up to the next whole unit.
    bool ConvertTo(Unit target, bool truncate = true);
    /// Climbs to the largest unit that divides the count: milliseconds up to weeks, months to years. 120 minutes are
    /// 2 hours, 14 days 2 weeks, 24 months 2 years; weeks never become months, days never become years.
    XCDurationEx& Normalize() noexcept;
    /// Whether both last equally long: 60 minutes and 1 hour. (== compares unit and count.)
    [[nodiscard]] bool IsEquivalent(XCDurationEx const& other) const noexcept;

    /// Different units meet in the smaller one; a pair that cannot be converted throws XCDurationExceptionEx.
    XCDurationEx& operator+=(XCDurationEx const& other);
    XCDurationEx& operator-=(XCDurationEx const& other);
    XCDurationEx& operator*=(int factor);
    /// The integer quotient; when it would be 0 the duration goes down to smaller units first, down to milliseconds:
    /// 1 hour / 2 is 30 minutes. A divisor of 0 throws XCDurationExceptionEx.
    XCDurationEx& operator/=(int divisor);
    /// The same span in the other direction.
    XCDurationEx operator-() const noexcept;
    XCDurationEx& operator++() { return StepBy(1); }
    XCDurationEx& operator--() { return StepBy(-1); }
    XCDurationEx operator++(int);
    XCDurationEx operator--(int);

    friend XCDurationEx operator+(XCDurationEx a, XCDurationEx const& b) { return a += b; }
    friend XCDurationEx operator-(XCDurationEx a, XCDurationEx const& b) { return a -= b; }
    friend XCDurationEx operator*(XCDurationEx a, int factor) { return a *= factor; }
    friend XCDurationEx operator*(int factor, XCDurationEx a) { return a *= factor; }
    friend XCDurationEx operator/(XCDurationEx a, int divisor) { return a /= divisor; }
    friend bool operator==(XCDurationEx const&, XCDurationEx const&) noexcept = default;
    /// Orders by length, in the smaller unit of the two, every pair included; never throws. No unit comes before every
    /// unit. The approximations do not agree with each other (52 weeks are a year, and 364 days, of which a year has
    /// 365): sort years, months or weeks together with smaller units by AsMilliSeconds instead.
    friend std::weak_ordering operator<=>(XCDurationEx const& a, XCDurationEx const& b) noexcept { return a.Order(b); }

    /// "3 days", "-2 hours", "1 day"; short "3d", "5ms". "0" for a count of 0, "" for no unit.
    [[nodiscard]] XCString AsString(bool longForm = true) const;
    void AsString(XCString& text, bool longForm = true) const;
    /// Cut at the capacity alone. @return the units written, without the terminator.
    std::size_t AsString(wchar_t* buffer, std::size_t capacity, bool longForm = true) const noexcept;
    /// A number and a unit name ("year" "y" "month" "mo" "week" "w" "day" "d" "hour" "h" "minute" "m" "second" "s"
    /// "millisecond" "ms", plurals too); without a name the default unit, with an unknown one no unit.
    /// @return whether there was a number and the unit is known.
    /// @throws XCDurationExceptionEx when the number does not fit.
    bool FromString(XCString const& text, Unit defaultUnit = Second);

private:
    constexpr XCDurationEx(Unit unit, std::int32_t count) noexcept : m_unit(unit), m_count(count) {}
    void Store(std::int64_t count, Unit unit);
    XCDurationEx& Add(XCDurationEx const& other, int sign);
    XCDurationEx& StepBy(int step);
    [[nodiscard]] std::weak_ordering Order(XCDurationEx const& other) const noexcept;

    Unit m_unit = Second;
    std::int32_t m_count = 0;
};

// Dates ---------------------------------------------------------------------------------------------------------

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

// Times of day --------------------------------------------------------------------------------------------------

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

// Date-times ----------------------------------------------------------------------------------------------------

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
    explicit XCDateTimeEx(XCString const& text, XCTimeZone const& zone = localTimeZone_) { FromString(text, zone); }
    /// Null when the text cannot be read in this format.
    XCDateTimeEx(XCString const& text, wchar_t const* format, XCTimeZone const& zone = localTimeZone_)
    {
        FromString(text, format, zone);
    }
    /// Null when the text cannot be read in this format.
    XCDateTimeEx(XCString const& text, XCString const& format, XCTimeZone const& zone = localTimeZone_)
    {
        FromString(text, format, zone);
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

// Free functions ------------------------------------------------------------------------------------------------

XC_API bool XCIsLeapYear(unsigned int year) noexcept;

/// The 64-bit time of a broken-down time in a zone. Fields outside their range are carried (month 13, day 40), then
/// `time` is filled in anew, weekday and day of year included. -1, and `time` untouched, outside 0 to 32535244799.
XC_API std::int64_t XCMkTime(std::tm& time, XCTimeZone const& zone) noexcept;
/// Breaks a 64-bit time down in a zone. False, and `time` untouched, outside 0 to 32535244799.
XC_API bool XCLocalTime(std::tm& time, std::int64_t seconds, XCTimeZone const& zone) noexcept;
/// Copies all fields.
XC_API void XCCopyStructTM(std::tm const& from, std::tm& to) noexcept;
/// a - b in milliseconds, held at the limits of int (24.8 days). A structure without a valid date counts as 0.
XC_API int XCSystemTimeDifference(_SYSTEMTIME const& a, _SYSTEMTIME const& b) noexcept;

/// Seconds as "2 days, 3:04:05"; the days only when there are any, "-" before a negative value.
XC_API XCString XCPrintDuration(long const& seconds);
/// The same with the fraction of the seconds, up to microseconds, zeros at its end dropped: "0:00:01.5". A value that
/// is no number reads as 0; values past 64 bits are held at the limit.
XC_API XCString XCPrintDuration(double const& seconds);
/// The same for other kinds of whole numbers; above what a long holds it is written as the double.
template <std::integral T>
XCString XCPrintDuration(T seconds)
{
    return std::in_range<long>(seconds) ? XCPrintDuration(static_cast<long>(seconds))
                                        : XCPrintDuration(static_cast<double>(seconds));
}

// The default text of each class; XCDurationEx in the short form, date-times in the local zone. Reading takes one word
// (a date-time takes a second one when a blank and a digit follow the date) and sets failbit when it is no such value.
XC_API std::wostream& operator<<(std::wostream& out, XCDateEx const& value);
XC_API std::wostream& operator<<(std::wostream& out, XCTimeEx const& value);
XC_API std::wostream& operator<<(std::wostream& out, XCDateTimeEx const& value);
XC_API std::wostream& operator<<(std::wostream& out, XCDurationEx const& value);
XC_API std::wistream& operator>>(std::wistream& in, XCDateEx& value);
XC_API std::wistream& operator>>(std::wistream& in, XCTimeEx& value);
XC_API std::wistream& operator>>(std::wistream& in, XCDateTimeEx& value);
XC_API std::wistream& operator>>(std::wistream& in, XCDurationEx& value);
