// The value classes to and from the structures of the system: SYSTEMTIME, FILETIME, VARIANT.
//
// Fields of a SYSTEMTIME are packed as they stand and judged afterwards, so that a value can tell what was wrong with
// it. FILETIMEs are split by the system, which refuses those that it cannot show, and made by own arithmetic, since the
// system's call takes February 29 of any year. Years outside what a structure can hold make the conversion fail and
// leave the target as it was. Local and universal time are converted by the rules of the library's own zones, which
// know the rules of each year.
#include <XelbrinCore/XCDateTime.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/Zone.h"

#include <algorithm>
#include <windows.h>

#include <oaidl.h>

using namespace xc::datetime;

namespace xc::datetime {

namespace {

constexpr std::int64_t kTicksPerMs = 10000;

// The years that both SYSTEMTIME and FILETIME can hold.
bool IsSystemYear(XCDateEx const& date) noexcept
{
    return date.IsValid() && date.GetYear() >= 1601 && date.GetYear() <= 9999;
}

WORD Word(unsigned int value) noexcept
{
    return static_cast<WORD>(value);
}

void FillSystemTime(SYSTEMTIME& result, XCDateEx const& date, XCTimeEx const& time) noexcept
{
    result = SYSTEMTIME{};
    if (!date.IsNull()) {
        result.wYear = Word(static_cast<unsigned int>(date.GetYear()));
        result.wMonth = Word(date.GetMonth());
        result.wDay = Word(date.GetDay());
        // The system's calls ignore it, but programs that get the structure read it.
        result.wDayOfWeek = Word(WeekDayOf(DayNumber(date.GetYear(), date.GetMonth(), date.GetDay())));
    }
    result.wHour = Word(time.GetHour());
    result.wMinute = Word(time.GetMinute());
    result.wSecond = Word(time.GetSecond());
    result.wMilliseconds = Word(time.GetMillisecond());
}

/// The fields of a structure packed as they stand.
XCDateEx PackedDate(SYSTEMTIME const& time) noexcept
{
    XCDateEx date;
    date.FromInt((static_cast<std::uint32_t>(time.wYear) << 9) | (static_cast<std::uint32_t>(time.wMonth) << 5) |
                 time.wDay);
    return date;
}

XCTimeEx PackedTime(SYSTEMTIME const& time) noexcept
{
    return XCTimeEx(time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
}

FILETIME FileTimeOf(std::int64_t ticks) noexcept
{
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

/// Null parts on failure.
void SplitFileTime(FILETIME const& time, XCDateEx& date, XCTimeEx& clock) noexcept
{
    SYSTEMTIME parts;
    date.SetNull();
    clock.SetNull();
    if (!::FileTimeToSystemTime(&time, &parts)) return;
    date = PackedDate(parts);
    clock = PackedTime(parts);
}

/// False, and the variant untouched, for a year outside 100 to 9999.
bool SetVariantDate(VARIANT& value, XCDateEx const& date, XCTimeEx const& time) noexcept
{
    // Before anything is written: the caller's variant may hold what only the caller may release.
    if (!date.IsNull() && (!date.IsValid() || date.GetYear() < 100 || date.GetYear() > 9999)) return false;
    bool const any = !date.IsNull() || !time.IsNull();
    V_VT(&value) = any ? VT_DATE : VT_NULL;
    // The number is cleared in a null variant: a program that looks at it without the type finds the same each time.
    V_DATE(&value) = any ? ToOleDate(date, time) : 0.0;
    return true;
}

enum class VariantKind { Date, Null, Other };

VariantKind ReadVariant(VARIANT const& value, double& date) noexcept
{
    switch (V_VT(&value)) {
    // Only dates are taken: a number in a variant is a number, whatever it would mean as a date.
    case VT_DATE: date = V_DATE(&value); return VariantKind::Date;
    // Scripting languages pass variables by reference; null references come from empty ones.
    case VT_DATE | VT_BYREF:
        if (!V_DATEREF(&value)) return VariantKind::Null;
        date = *V_DATEREF(&value);
        return VariantKind::Date;
    case VT_EMPTY:
    case VT_NULL: return VariantKind::Null;
    default: return VariantKind::Other;
    }
}

/// Milliseconds since 1970 of a structure with a date of the calendar and a time of the day.
bool EpochOf(SYSTEMTIME const& time, std::int64_t& epochMs) noexcept
{
    if (!IsDate(time.wYear, time.wMonth, time.wDay) || PackedTime(time).IsNull()) return false;
    epochMs = EpochMs(time.wYear, time.wMonth, time.wDay, PackedTime(time).AsInt());
    return true;
}

bool FillFromEpoch(SYSTEMTIME& result, std::int64_t epochMs) noexcept
{
    XCDateEx date;
    XCTimeEx time;
    // The largest year that the system's own calls accept.
    if (!SplitEpochMs(epochMs, date, time) || date.GetYear() < 1601 || date.GetYear() > 30827) return false;
    FillSystemTime(result, date, time);
    return true;
}

} // namespace

} // namespace xc::datetime

// XCDateEx ------------------------------------------------------------------------------------------------------

XCDateEx::XCDateEx(SYSTEMTIME const& time) noexcept : XCDateEx(PackedDate(time)) {}

XCDateEx::XCDateEx(FILETIME const& time) noexcept
{
    XCTimeEx clock;
    SplitFileTime(time, *this, clock);
}

XCDateEx::XCDateEx(VARIANT const& value) noexcept
{
    FromVariant(value);
}

bool XCDateEx::FromSystemTime(SYSTEMTIME const& time) noexcept
{
    *this = PackedDate(time);
    return IsValid();
}

bool XCDateEx::AsSystemTime(SYSTEMTIME& time) const noexcept
{
    if (!IsSystemYear(*this)) return false;
    FillSystemTime(time, *this, XCTimeEx::null);
    return true;
}

bool XCDateEx::AsFileTime(FILETIME& time) const noexcept
{
    if (!IsSystemYear(*this)) return false;
    time = FileTimeOf((ToEpochMs(*this, XCTimeEx::null) + kFileTimeEpochMs) * kTicksPerMs);
    return true;
}

bool XCDateEx::AsVariant(VARIANT& value) const noexcept
{
    return SetVariantDate(value, *this, XCTimeEx::null);
}

bool XCDateEx::FromVariant(VARIANT const& value) noexcept
{
    double date = 0;
    SetNull();
    VariantKind const kind = ReadVariant(value, date);
    return kind == VariantKind::Null || (kind == VariantKind::Date && SplitOleDate(date, *this, nullptr));
}

// XCTimeEx ------------------------------------------------------------------------------------------------------

XCTimeEx::XCTimeEx(SYSTEMTIME const& time) noexcept : XCTimeEx(PackedTime(time)) {}

XCTimeEx::XCTimeEx(FILETIME const& time) noexcept
{
    XCDateEx date;
    SplitFileTime(time, date, *this);
}

XCTimeEx::XCTimeEx(VARIANT const& value) noexcept
{
    FromVariant(value);
}

bool XCTimeEx::FromSystemTime(SYSTEMTIME const& time) noexcept
{
    *this = PackedTime(time);
    return IsValid();
}

bool XCTimeEx::AsSystemTime(SYSTEMTIME& time) const noexcept
{
    if (!IsValid()) return false;
    FillSystemTime(time, XCDateEx::null, *this);
    return true;
}

bool XCTimeEx::AsFileTime(FILETIME& time) const noexcept
{
    if (!IsValid()) return false;
    // A time alone counts from the beginning of the count, which is midnight of its first day.
    time = FileTimeOf(m_count * kTicksPerMs);
    return true;
}

bool XCTimeEx::AsVariant(VARIANT& value) const noexcept
{
    return (IsNull() || IsValid()) && SetVariantDate(value, XCDateEx::null, *this);
}

bool XCTimeEx::FromVariant(VARIANT const& value) noexcept
{
    double oleDate = 0;
    XCDateEx date;
    SetNull();
    VariantKind const kind = ReadVariant(value, oleDate);
    return kind == VariantKind::Null || (kind == VariantKind::Date && SplitOleDate(oleDate, date, this));
}

// XCDateTimeEx --------------------------------------------------------------------------------------------------

XCDateTimeEx::XCDateTimeEx(SYSTEMTIME const& time, XCTimeZone const& zone) noexcept
{
    FromSystemTime(time, zone);
}

XCDateTimeEx::XCDateTimeEx(VARIANT const& value, XCTimeZone const& zone) noexcept
{
    FromVariant(value, zone);
}

XCDateTimeEx::XCDateTimeEx(FILETIME const& time) noexcept
{
    SplitFileTime(time, m_date, m_time);
}

bool XCDateTimeEx::FromSystemTime(SYSTEMTIME const& time, XCTimeZone const& zone) noexcept
{
    *this = XCDateTimeEx(PackedDate(time), PackedTime(time), zone);
    return IsValid() && HasTime();
}

bool XCDateTimeEx::AsSystemTime(SYSTEMTIME& time, XCTimeZone const& zone) const noexcept
{
    XCDateEx const date = GetDate(zone);
    if (!IsOnlyTime() && !IsSystemYear(date)) return false;
    FillSystemTime(time, date, GetTime(zone));
    return true;
}

bool XCDateTimeEx::AsFileTime(FILETIME& time) const noexcept
{
    if (!IsSystemYear(m_date)) return false;
    time = FileTimeOf((ToEpochMs(m_date, m_time) + kFileTimeEpochMs) * kTicksPerMs);
    return true;
}

bool XCDateTimeEx::AsVariant(VARIANT& value, XCTimeZone const& zone) const noexcept
{
    return SetVariantDate(value, GetDate(zone), GetTime(zone));
}

bool XCDateTimeEx::FromVariant(VARIANT const& value, XCTimeZone const& zone) noexcept
{
    double oleDate = 0;
    SetNull();
    VariantKind const kind = ReadVariant(value, oleDate);
    if (kind != VariantKind::Date) return kind == VariantKind::Null;
    *this = XCDateTimeEx(oleDate, zone);
    return !IsNull();
}

// Zones and structures ------------------------------------------------------------------------------------------

bool XCTimeZone::FromUTC(SYSTEMTIME const& utc, SYSTEMTIME& local) const noexcept
{
    std::int64_t epochMs = 0;
    return EpochOf(utc, epochMs) && FillFromEpoch(local, epochMs + OffsetMsAt(*this, epochMs));
}

bool XCTimeZone::ToUTC(SYSTEMTIME const& local, SYSTEMTIME& utc) const noexcept
{
    std::int64_t epochMs = 0;
    return EpochOf(local, epochMs) && FillFromEpoch(utc, epochMs - OffsetMsOfWall(*this, epochMs));
}

int XCSystemTimeDifference(SYSTEMTIME const& a, SYSTEMTIME const& b) noexcept
{
    std::int64_t first = 0, second = 0;
    // A structure that is no instant counts as 1970, so that the difference of two bad ones is 0.
    EpochOf(a, first);
    EpochOf(b, second);
    return static_cast<int>(std::clamp<std::int64_t>(first - second, INT32_MIN, INT32_MAX));
}
