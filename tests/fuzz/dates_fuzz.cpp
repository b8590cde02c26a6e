// Dates, times and durations read and written by any format: values stay in range, buffers are kept to.
#include "input.h"

/// Bytes as units, as many as the first of them says.
XCString TakeText(Input& input)
{
    std::vector<std::uint8_t> const bytes = input.TakeMany<std::uint8_t>(input.Take<std::uint8_t>() % 64);
    std::wstring units(bytes.begin(), bytes.end());
    std::replace(units.begin(), units.end(), L'\xFF', L'\x660');
    return Text(units);
}

template <class Value>
void CheckBuffer(Value const& value, wchar_t const* format)
{
    for (std::size_t const capacity : {0u, 1u, 5u, 6u, 9u, 40u}) {
        std::unique_ptr<wchar_t[]> const buffer(new wchar_t[capacity + (capacity == 0 ? 1 : 0)]);
        (void)value.AsString(buffer.get(), capacity, format);
    }
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    Input input(bytes, size);
    XCString const text = TakeText(input), format = TakeText(input);
    auto const raw = input.Take<std::int64_t>();
    XCTimeZone const zone = XCTimeZone::FromName(L"Eastern Standard Time");

    XCDateEx date;
    Require(!date.FromString(text, format) || date.IsNull() || date.IsValid());
    XCTimeEx time;
    Require(!time.FromString(text, format) || time.IsNull() || time.IsValid());
    XCDateTimeEx both;
    XCErrorID const error = both.FromString(text, format.AsWChar(), zone);
    Require(error.Bad() ? both.IsNull() : both.IsNull() || both.IsValid());
    bool const read = both.FromString(text, zone).Good();
    Require(both.IsNull() || (read && both.AsString(zone).Length() > 0));
    CheckBuffer(date, format.AsWChar());
    CheckBuffer(time, format.AsWChar());
    CheckBuffer(both, format.AsWChar());

    // Raw words of any kind: arithmetic and conversions are defined for all of them.
    both.FromInt64(raw);
    date.FromInt(static_cast<std::uint32_t>(raw));
    XCDateTimeEx const moved =
        both + XCDurationEx(static_cast<std::int32_t>(raw >> 7) | 1, static_cast<XCDurationEx::Unit>(raw & 15));
    Require(!both.IsDateAndTime() || !both.IsValid() || moved.IsValid());
    (void)moved.AsString(zone);
    (void)(date + static_cast<long>(raw)).GetYearWeek();
    (void)both.AsXCDateTime(zone).AsString(format.AsWChar(), zone);
    std::tm broken{};
    (void)both.AsStructTM(broken, zone);
    (void)XCMkTime(broken, zone);

    try {
        XCDurationEx duration;
        if (duration.FromString(text)) {
            XCDurationEx back;
            Require(back.FromString(duration.AsString()) && back.GetDuration() == duration.GetDuration());
        }
        Require(duration.Normalize().IsEquivalent(duration));
        duration.FromInt64(raw);
        duration /= static_cast<int>(raw >> 33);
        (void)(moved - both);
    } catch (XCDurationExceptionEx const&) {
    }
    try {
        (void)XCPrintf(format, {text, text});
    } catch (std::out_of_range const&) {
    }
}
