// Date and time in two words, kept in UTC and shown in a zone.
//
// A value may hold a date alone or a time alone; such a part means the same everywhere and is never moved by a zone.
// Only a whole value is an instant. Seeing one in a zone adds the offset of that instant, which is less than a day, and
// so moves the date by one at most. Arithmetic in units up to the hour counts milliseconds of the instant in 64 bits;
// months and years move the calendar in UTC. A result that cannot be stored leaves the value unchanged. Reading a text
// takes the offset that stands in it; without one the text is the wall clock of the zone given. Invariant: m_time is
// null or a count of milliseconds of one day, unless FromInt64 has brought something else, which IsValid tells.
#include <XelbrinCore/XCDateTime.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/DateText.h"
#include "datetime/Zone.h"
#include "errors/CoreError.h"

#include <algorithm>

using namespace xc::datetime;
using xc::errors::MakeCoreError;

constinit XCDateTimeEx const XCDateTimeEx::null{};
constinit XCDateTimeEx const XCDateTimeEx::minimum{XCTimeEx(0), XCDateEx(1, 1, 1)};
constinit XCDateTimeEx const XCDateTimeEx::maximum{XCTimeEx(86399999), XCDateEx(9999, 12, 31)};
constinit XCTimeZone const XCDateTimeEx::localTimeZone_{XCTimeZone::Local()};
constinit XCTimeZone const XCDateTimeEx::utcTimeZone_{};

namespace xc::datetime {

namespace {

/// Both words moved by less than a day; false, and nothing changed, when the date cannot be stored.
bool Shift(XCDateEx& date, XCTimeEx& time, std::int64_t milliseconds) noexcept
{
    std::int64_t const sum = time.AsInt() + milliseconds;
    std::int64_t const days = FloorDiv(sum, kDayMs);
    if (days != 0) {
        XCDateEx const moved = date + static_cast<long>(days);
        // The date has said by not moving that the day before or after cannot be stored.
        if (moved == date) return false;
        date = moved;
    }
    time = XCTimeEx(static_cast<int>(sum - days * kDayMs));
    return true;
}

/// The words of a date-time as a zone's clocks show them, with the offset.
ShownTime ShownIn(XCDateEx const& date, XCTimeEx const& time, XCTimeZone const& zone) noexcept
{
    ShownTime shown{date, time, 0};
    // A part alone is shown as it stands.
    ZoneRecord const* const record = RecordUnlessUTC(zone);
    if (!record || time.IsNull() || !date.IsValid()) return shown;
    ZoneOffset const offset = record->OffsetAt(ToEpochMs(date, time), date.GetYear());
    // At the two ends of the range a zone would lead out of it: such a value is shown in UTC, and says so by its
    // offset.
    if (Shift(shown.date, shown.time, offset.Ms())) shown.offsetMinutes = offset.minutes;
    return shown;
}

} // namespace

} // namespace xc::datetime

XCDateTimeEx::XCDateTimeEx(XCDateEx const& date, XCTimeEx const& time, XCTimeZone const& zone) noexcept
    : m_time(time), m_date(date)
{
    ConvertToUTC(zone);
}

XCDateTimeEx::XCDateTimeEx(int year, unsigned int month, unsigned int day, unsigned int hour, unsigned int minute,
                           unsigned int second, unsigned int millisecond, XCTimeZone const& zone) noexcept
    : XCDateTimeEx(XCDateEx(year, month, day), XCTimeEx(hour, minute, second, millisecond), zone)
{
}

std::int64_t XCDateTimeEx::AsInt64() const noexcept
{
    // The date in the upper half, so that the numbers have the order of the values, up to years that no text shows.
    return static_cast<std::int64_t>((std::uint64_t{m_date.AsInt()} << 32) | m_time.AsUInt());
}

void XCDateTimeEx::FromInt64(std::int64_t value) noexcept
{
    m_date.FromInt(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value) >> 32));
    m_time.FromInt(static_cast<std::int32_t>(value & 0xFFFFFFFF));
}

// Seen in a zone ------------------------------------------------------------------------------------------------

XCDateEx XCDateTimeEx::GetDate(XCTimeZone const& zone) const noexcept
{
    return ShownIn(m_date, m_time, zone).date;
}

XCTimeEx XCDateTimeEx::GetTime(XCTimeZone const& zone) const noexcept
{
    return ShownIn(m_date, m_time, zone).time;
}

unsigned int XCDateTimeEx::GetWeekDay(XCTimeZone const& zone) const noexcept
{
    ZoneRecord const* const record = RecordUnlessUTC(zone);
    if (!record || m_time.IsNull() || !m_date.IsValid()) return m_date.GetWeekDay();
    // In the last years a zone could lead out of the range.
    constexpr int kLastYears = 9999;
    if (m_date.GetYear() >= kLastYears) return GetDate(zone).GetWeekDay();
    // The count of days tells the day of the week: no date has to be made of it.
    std::int64_t const utcMs = ToEpochMs(m_date, m_time);
    std::int64_t const wallMs = utcMs + record->OffsetAt(utcMs, m_date.GetYear()).Ms();
    constexpr std::uint64_t kFirstDay = 4; // 1970 began on a Thursday
    return wallMs < 0 ? 0 : static_cast<unsigned int>((static_cast<std::uint64_t>(wallMs / kDayMs) + kFirstDay) % 7);
}

unsigned int XCDateTimeEx::GetYearDay(XCTimeZone const& zone) const noexcept
{
    return GetDate(zone).GetYearDay();
}

unsigned int XCDateTimeEx::GetYearWeek(XCTimeZone const& zone) const noexcept
{
    return GetDate(zone).GetYearWeek();
}

int XCDateTimeEx::GetOffset(XCTimeZone const& zone) const noexcept
{
    return ShownIn(m_date, m_time, zone).offsetMinutes;
}

void XCDateTimeEx::GetDateAndTime(XCDateAndTime& fields, XCTimeZone const& zone) const noexcept
{
    ShownTime const shown = ShownIn(m_date, m_time, zone);
    // The time first: it sets all fields, and those of the date are put over its zeros.
    shown.time.GetDateAndTime(fields);
    XCDateAndTime dateFields;
    shown.date.GetDateAndTime(dateFields);
    fields.year = dateFields.year;
    fields.month = dateFields.month;
    fields.day = dateFields.day;
    fields.weekDay = dateFields.weekDay;
    fields.zone = zone;
}

bool XCDateTimeEx::SetDateAndTime(XCDateAndTime const& fields) noexcept
{
    *this = XCDateTimeEx(XCDateEx(fields), XCTimeEx(fields), fields.zone);
    return IsValid();
}

void XCDateTimeEx::ConvertToUTC(XCTimeZone const& zone) noexcept
{
    ZoneRecord const* const record = RecordUnlessUTC(zone);
    if (!record || m_time.IsNull() || !m_date.IsValid()) return;
    Shift(m_date, m_time, -OffsetOfWall(*record, ToEpochMs(m_date, m_time), m_date.GetYear()).offset.Ms());
}

void XCDateTimeEx::ConvertFromUTCTo(XCTimeZone const& zone) noexcept
{
    ShownTime const shown = ShownIn(m_date, m_time, zone);
    m_date = shown.date;
    m_time = shown.time;
}

XCDateTimeEx XCDateTimeEx::GetCurrentDateTime() noexcept
{
    // One look at the clock: a date and a time asked for one after the other may stand on two sides of midnight.
    XCDateTimeEx now;
    SplitEpochMs(xc::win32::UtcTicks() / 10000 - kFileTimeEpochMs, now.m_date, now.m_time);
    return now;
}

// Arithmetic ----------------------------------------------------------------------------------------------------

XCDateTimeEx& XCDateTimeEx::AddMilliseconds(std::int64_t milliseconds) noexcept
{
    if (m_time.IsNull()) return *this;
    if (IsOnlyTime()) {
        // Whole days change nothing, and their milliseconds might not fit a duration.
        m_time += XCDurationEx(static_cast<long>(milliseconds % kDayMs), XCDurationEx::Millisecond);
        return *this;
    }
    if (!m_date.IsValid()) return *this;
    XCDateEx date;
    XCTimeEx time;
    if (SplitEpochMs(ToEpochMs(m_date, m_time) + milliseconds, date, time)) {
        m_date = date;
        m_time = time;
    }
    return *this;
}

XCDateTimeEx& XCDateTimeEx::AddOrSubstract(XCDurationEx const& duration, bool add) noexcept
{
    XCDurationEx const signedDuration = add ? duration : -duration;
    if (signedDuration.GetUnit() < XCDurationEx::Hour) {
        m_date += signedDuration;
        return *this;
    }
    return AddMilliseconds(signedDuration.AsMilliSeconds());
}

XCDateTimeEx XCDateTimeEx::operator++(int) noexcept
{
    XCDateTimeEx const before = *this;
    ++*this;
    return before;
}

XCDateTimeEx XCDateTimeEx::operator--(int) noexcept
{
    XCDateTimeEx const before = *this;
    --*this;
    return before;
}

XCDurationEx XCDateTimeEx::Since(XCDateTimeEx const& other) const
{
    // Two times of day differ within a day; a time and a date have no common origin.
    if (IsOnlyTime() && other.IsOnlyTime()) return m_time - other.m_time;
    if (!m_date.IsValid() || !other.m_date.IsValid()) return XCDurationEx::invalid_;
    std::int64_t const difference = ToEpochMs(m_date, m_time) - ToEpochMs(other.m_date, other.m_time);
    // Milliseconds as long as they fit 32 bits, which is for about 24 days; then seconds.
    bool const fits = difference >= XCDurationEx::minimum_ && difference <= XCDurationEx::maximum_;
    return fits ? CheckedDuration(difference, XCDurationEx::Millisecond)
                : CheckedDuration(difference / 1000, XCDurationEx::Second);
}

// Text ----------------------------------------------------------------------------------------------------------

wchar_t const* XCDateTimeEx::GetDefaultFormat(bool full, bool withMilliseconds) const noexcept
{
    if (full) return kDateSecondsFormat;
    if (IsDateAndTime()) return withMilliseconds ? kDateTimeFormat : kDateSecondsFormat;
    if (HasDate()) return kDateFormat;
    if (HasTime()) return withMilliseconds ? kTimeFormat : kSecondsFormat;
    return L"";
}

XCString XCDateTimeEx::AsString(XCTimeZone const& zone) const
{
    XCString text;
    (void)AsString(text, nullptr, zone);
    return text;
}

XCString XCDateTimeEx::AsString(wchar_t const* format, XCTimeZone const& zone) const
{
    XCString text;
    (void)AsString(text, format, zone); // a value that is no date stays empty
    return text;
}

XCErrorID XCDateTimeEx::AsString(XCString& text, wchar_t const* format, XCTimeZone const& zone) const
{
    // Nothing is an empty text and no error; a value that is no date has no text that could be read back.
    text.Clear();
    if (IsNull()) return XCErrorID::Success;
    if (!IsValid()) return MakeCoreError(XCErrInvalidDateTime);
    wchar_t const* const used = format ? format : GetDefaultFormat(false, true);
    AssignFormat(text, used, ShownIn(m_date, m_time, zone), kAllLetters);
    return XCErrorID::Success;
}

XCErrorID XCDateTimeEx::AsString(wchar_t* buffer, std::size_t capacity, wchar_t const* format,
                                 XCTimeZone const& zone) const
{
    bool const shows = IsValid();
    wchar_t const* const used = !shows ? L"" : format ? format : GetDefaultFormat(false, true);
    WriteFormat(buffer, capacity, used, ShownIn(m_date, m_time, zone), kAllLetters);
    if (shows || IsNull()) return XCErrorID::Success;
    return MakeCoreError(XCErrInvalidDateTime);
}

XCErrorID XCDateTimeEx::FromString(XCString const& text, XCTimeZone const& zone)
{
    // A text without a format tells by its separators what it holds.
    bool const onlyTime = text.Find(L'/') == XCString::npos && text.Find(L':') != XCString::npos;
    return FromString(text, onlyTime ? kTimeFormat : kDateTimeFormat, zone);
}

XCErrorID XCDateTimeEx::FromString(XCString const& text, wchar_t const* format, XCTimeZone const& zone)
{
    if (!format) return FromString(text, zone);
    SetNull();
    if (IsKeyword(text, L"SYSDATE")) {
        m_date = XCDateEx::GetCurrentDate(true);
        return XCErrorID::Success;
    }
    if (IsKeyword(text, L"SYSTIME")) {
        m_time = XCTimeEx::GetTheCurrentTime(true);
        return XCErrorID::Success;
    }
    wchar_t const* const place = SkipBlanks(text.AsWChar());
    if (*place == L'\0') return XCErrorID::Success;
    ReadFields const fields = ReadFormat(place, format, kAllLetters);
    // A format that names neither a date nor a time reads nothing, whatever the text.
    bool good = fields.wantsDate || fields.hasTime;
    if (fields.wantsDate) good = fields.hasDate && fields.GetDate(m_date) && m_date.IsValid();
    // Read even when the date was bad, so that the value is cleared in one place.
    if (fields.hasTime) good = fields.GetTime(m_time) && good;
    if (!good) {
        SetNull();
        return MakeCoreError(XCErrNoDateTime, text);
    }
    if (!fields.offsetMinutes) ConvertToUTC(zone);
    // An offset in the text makes the zone of the call irrelevant; a part alone has no instant that it could move.
    else if (IsDateAndTime())
        Shift(m_date, m_time, -std::int64_t{*fields.offsetMinutes} * 60000);
    return XCErrorID::Success;
}

// Conversions ---------------------------------------------------------------------------------------------------

bool XCDateTimeEx::AsStructTM(std::tm& time, XCTimeZone const& zone) const noexcept
{
    if (!IsValid()) return false;
    ShownTime const shown = ShownIn(m_date, m_time, zone);
    // The mark for daylight time is -1, unknown, for a date or a time alone.
    FillStructTM(time, shown.date, shown.time, IsDateAndTime() ? (zone.IsDaylight(*this) ? 1 : 0) : -1);
    return true;
}

bool XCDateTimeEx::FromStructTM(std::tm const& time, XCTimeZone const& zone) noexcept
{
    *this = XCDateTimeEx(XCDateEx(time), XCTimeEx(time), zone);
    return IsDateAndTime() && IsValid();
}

XCDateTimeEx::XCDateTimeEx(std::tm const& time, XCTimeZone const& zone) noexcept
{
    FromStructTM(time, zone);
}

XCDateTimeEx::XCDateTimeEx(double oleDate, XCTimeZone const& zone) noexcept
{
    SplitOleDate(oleDate, m_date, &m_time);
    ConvertToUTC(zone);
}

XCDateTime XCDateTimeEx::AsXCDateTime(XCTimeZone const& zone) const noexcept
{
    if (!m_date.IsValid()) return XCDateTime();
    std::int64_t const ms = ToEpochMs(m_date, m_time);
    return XCDateTime(FloorDiv(HasTime() ? ms : ms - OffsetMsOfWall(zone, ms), 1000));
}

bool XCDateTimeEx::FromXCDateTime(XCDateTime const& value, bool) noexcept
{
    return SplitOldDateTime(value, false, m_date, m_time);
}
