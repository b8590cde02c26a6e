#include "errors/ParameterText.h"

#include <XelbrinCore/XCOldDateTime.h>

#include <charconv>
#include <cstdio>
#include <iterator>

namespace xc::errors {

namespace {

XCString WideText(char const* begin, char const* end)
{
    std::wstring const wide(begin, end);
    return XCString(wide);
}

template <class Number>
XCString NumberText(Number value)
{
    char digits[32];
    return WideText(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
}

struct CivilDate {
    std::int64_t year;
    int month, day;
};

/// The calendar date of a count of days since 1970-01-01.
CivilDate CivilFromDays(std::int64_t days) noexcept
{
    // Years start in March and go in cycles of 400, so that leap days stand at the end.
    constexpr std::int64_t kDaysPerCycle = 146097, kDaysTo1970 = 719468;
    std::int64_t const shifted = days + kDaysTo1970;
    std::int64_t const cycle = (shifted >= 0 ? shifted : shifted - (kDaysPerCycle - 1)) / kDaysPerCycle;
    std::int64_t const dayOfCycle = shifted - cycle * kDaysPerCycle;
    std::int64_t const yearOfCycle =
        (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / (kDaysPerCycle - 1)) / 365;
    std::int64_t const dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
    std::int64_t const march = (5 * dayOfYear + 2) / 153;
    int const day = static_cast<int>(dayOfYear - (153 * march + 2) / 5 + 1);
    int const month = static_cast<int>(march < 10 ? march + 3 : march - 9);
    return {yearOfCycle + cycle * 400 + (month <= 2 ? 1 : 0), month, day};
}

} // namespace

XCString ParameterText(double value, XCFormatContext const&)
{
    return NumberText(value);
}
XCString ParameterText(int value, XCFormatContext const&)
{
    return NumberText(value);
}
XCString ParameterText(long value, XCFormatContext const&)
{
    return NumberText(value);
}
XCString ParameterText(XCString const& value, XCFormatContext const&)
{
    return value;
}
XCString ParameterText(XCDateTime const& value, XCFormatContext const&)
{
    if (value.IsNull()) return {};
    constexpr std::int64_t kSecondsPerDay = 86400;
    std::int64_t const seconds = value.AsTime();
    std::int64_t const days = (seconds >= 0 ? seconds : seconds - (kSecondsPerDay - 1)) / kSecondsPerDay;
    int const second = static_cast<int>(seconds - days * kSecondsPerDay);
    CivilDate const date = CivilFromDays(days);
    char text[64];
    int const length =
        std::snprintf(text, sizeof text, "%04lld/%02d/%02d %02d:%02d:%02d", static_cast<long long>(date.year),
                      date.month, date.day, second / 3600, second / 60 % 60, second % 60);
    return WideText(text, text + length);
}
XCString ParameterText(XCDouble const& value, XCFormatContext const&)
{
    return value.AsString();
}

} // namespace xc::errors
