// XCDurationEx.h - durations: a signed count of one unit.
//
// WHAT     A count of years, months, weeks, days, hours, minutes, seconds or milliseconds. It is copied freely and owns
//          nothing. docs/dates.md has the conversion table and the deliberate oddities.
// VALID    A duration with no unit (InvalidUnit) is not valid and prints as "". Counts run from -2147483647 to
//          2147483647.
// COST     Arithmetic, comparison and AsString into a buffer allocate nothing.
// ERRORS   A count that does not fit throws XCDurationExceptionEx and changes nothing.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <utility>

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

/// Equal values have equal hashes.
template <>
struct std::hash<XCDurationEx> {
    std::size_t operator()(XCDurationEx const& value) const noexcept
    {
        return std::hash<std::int64_t>{}(value.AsInt64());
    }
};

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

/// Writes the short form: "3d".
XC_API std::wostream& operator<<(std::wostream& out, XCDurationEx const& value);
/// Reads one word; failbit when it is no duration.
XC_API std::wistream& operator>>(std::wistream& in, XCDurationEx& value);
