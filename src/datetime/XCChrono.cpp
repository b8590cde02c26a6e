// Dates as counts of milliseconds since 1970 in UTC, for std::chrono and for files of other programs. Counting needs a
// date, so that a value without one throws; a count outside the calendar gives a null value, which can be asked for.
#include <XelbrinCore/XCChrono.h>
#include <XelbrinCore/XCException.h>

#include "datetime/Conversions.h"

std::int64_t XCToUnixMs(XCDateTimeEx const& value)
{
    XCDateEx const date = value.GetDate(XCTimeZone::UTC());
    if (!date.IsValid()) throw XCDateExceptionEx(L"No valid date to count from 1970", value);
    return xc::datetime::ToEpochMs(date, value.GetTime(XCTimeZone::UTC()));
}

XCDateTimeEx XCFromUnixMs(std::int64_t milliseconds) noexcept
{
    XCDateEx date;
    XCTimeEx time;
    if (!xc::datetime::SplitEpochMs(milliseconds, date, time)) return {};
    return {date, time, XCTimeZone::UTC()};
}
