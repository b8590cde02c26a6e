// The older date classes, kept for programs that store their counts: days since 1900-01-01 in an unsigned word, and
// seconds since 1970. They share the calendar, the zones and the format engine with the current classes; only their own
// letters are spelled out here before the engine sees a format. Their limits are those of the counts: a day count
// wraps, a second count stops at its ends.
//
// Stored counts and printed texts depend on these classes, so their habits are kept with them: a day or month that
// does not exist gives the day number that the arithmetic gives, and a letter that XCDate does not know leaves nothing
// in its text.
#include <XelbrinCore/XCOldDateTime.h>

#include <XelbrinCore/XCDateTime.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/DateText.h"
#include "datetime/Zone.h"

#include "win32/Clock.h"

#include <string_view>

using namespace xc::datetime;

namespace xc::datetime {

namespace {

Civil CivilOfOld(std::uint32_t days) noexcept
{
    return CivilOf(kReferenceDay + days);
}

// English on every system, as the programs that read these texts expect.
constexpr wchar_t const* kMonthNames[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                          L"July",    L"August",   L"September", L"October", L"November", L"December"};

/// A format with %B, %x and %X spelled out, so that the ordinary specifiers are left.
XCString Expanded(wchar_t const* format, unsigned int month)
{
    XCString result;
    for (; *format != L'\0'; ++format) {
        if (*format != L'%' || format[1] == L'\0') {
            result += *format;
            continue;
        }
        switch (*++format) {
        // A name goes in as it stands: it holds no percent sign.
        case L'B': result += kMonthNames[month - 1]; break;
        case L'x': result += L"%m/%d/%y"; break;
        case L'X': result += L"%H:%M:%S"; break;
        default: result += L'%'; result += *format;
        }
    }
    return result;
}

} // namespace

} // namespace xc::datetime

// XCDate --------------------------------------------------------------------------------------------------------

XCDate::XCDate(unsigned int day, unsigned int month, unsigned int year) noexcept
    : m_days(static_cast<std::uint32_t>(DayNumber(year, month, day) - kReferenceDay))
{
}

unsigned int XCDate::year() const noexcept
{
    return static_cast<unsigned int>(CivilOfOld(m_days).year);
}

unsigned int XCDate::month() const noexcept
{
    return CivilOfOld(m_days).month;
}

unsigned int XCDate::day() const noexcept
{
    return CivilOfOld(m_days).day;
}

unsigned int XCDate::days_in_month(unsigned int month, unsigned int year) noexcept
{
    // Unsigned: month 0 wraps and is none either.
    return month - 1 < 12 ? MonthLength(year, month) : 31;
}

XCDate& XCDate::operator+=(long days) noexcept
{
    m_days += static_cast<std::uint32_t>(days);
    return *this;
}

XCDate& XCDate::operator-=(long days) noexcept
{
    m_days -= static_cast<std::uint32_t>(days);
    return *this;
}

XCString XCDate::AsString(wchar_t const* format) const
{
    Civil const date = CivilOfOld(m_days);
    auto const year = static_cast<std::uint32_t>(date.year);
    XCString text;
    wchar_t piece[16];
    for (; format && *format != L'\0'; ++format) {
        if (*format != L'%') {
            text += *format;
            continue;
        }
        TextOut out(piece, 16);
        switch (*++format) {
        case L'Y': out.Padded(year, 4); break;
        case L'y': out.TwoDigits(year % 100); break;
        case L'm': out.TwoDigits(date.month); break;
        case L'd': out.TwoDigits(date.day); break;
        case L'%': out.Unit(L'%'); break;
        case L'\0': return text;
        default: break;
        }
        text.Append(std::wstring_view(piece, out.Finish()));
    }
    return text;
}

// XCDateTime ----------------------------------------------------------------------------------------------------

XCDateTime XCDateTime::GetCurrentDateTime() noexcept
{
    return XCDateTime(xc::win32::UtcTicks() / 10000000 - kFileTimeEpochMs / 1000);
}

XCDateTime& XCDateTime::operator+=(std::int64_t seconds) noexcept
{
    if (IsNull()) return *this;
    // Asked before the sum, which could overflow. Null is the least number, so that the lower end lies one above it.
    if (seconds > 0 && m_seconds > INT64_MAX - seconds)
        m_seconds = INT64_MAX;
    else if (seconds < 0 && m_seconds <= kNull - seconds)
        m_seconds = kNull + 1;
    else
        m_seconds += seconds;
    return *this;
}

XCString XCDateTime::AsString(wchar_t const* format, XCTimeZone const& zone) const
{
    // The years 0 to 9999.
    constexpr std::int64_t kFirst = EpochMs(0, 1, 1, 0) / 1000;
    constexpr std::int64_t kPastLast = EpochMs(10000, 1, 1, 0) / 1000;
    if (!format || m_seconds < kFirst || m_seconds >= kPastLast) return XCString();
    std::int64_t const utc = m_seconds * 1000;
    ShownTime shown;
    shown.offsetMinutes = OffsetAt(zone, utc).minutes;
    if (!SplitEpochMs(utc + std::int64_t{shown.offsetMinutes} * 60000, shown.date, shown.time)) return XCString();
    XCString const plain = Expanded(format, shown.date.GetMonth());
    XCString text;
    AssignFormat(text, plain.AsWChar(), shown, kAllLetters);
    return text;
}

bool XCDateTime::FromString(XCString const& text, wchar_t const* format, XCTimeZone const& zone)
{
    SetNull();
    if (IsKeyword(text, L"SYSDATE")) {
        *this = GetCurrentDateTime();
        return true;
    }
    XCDateTimeEx value;
    if (value.FromString(text, format, zone).Bad() || value.IsOnlyTime()) return false;
    *this = value.AsXCDateTime(zone);
    return true;
}
