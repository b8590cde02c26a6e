// Dates, times and durations read and written by any format: values stay in range, buffers are kept to.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

void Check(bool good)
{
    if (!good) std::abort();
}

/// The bytes as units, up to a limit of the input's own choice.
XCString Take(std::uint8_t const*& bytes, std::size_t& size)
{
    if (size < 2) return XCString();
    std::size_t const count = std::min<std::size_t>(bytes[0] % 64, (size - 1));
    std::vector<wchar_t> units;
    for (std::size_t i = 0; i < count; ++i)
        units.push_back(static_cast<wchar_t>(bytes[1 + i] == 0xFF ? 0x660 : bytes[1 + i]));
    bytes += 1 + count;
    size -= 1 + count;
    XCString text;
    text.Assign(units.data(), units.size());
    return text;
}

template <class Value>
void CheckBuffer(Value const& value, wchar_t const* format)
{
    for (std::size_t const capacity : {0u, 1u, 5u, 6u, 9u, 40u}) {
        std::unique_ptr<wchar_t[]> const buffer(new wchar_t[capacity + (capacity == 0 ? 1 : 0)]);
        value.AsString(buffer.get(), capacity, format);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    XCString const text = Take(bytes, size);
    XCString const format = Take(bytes, size);
    std::int64_t raw = 0;
    std::memcpy(&raw, bytes, std::min<std::size_t>(size, 8));
    XCTimeZone const zone = XCTimeZone::FromName(L"Eastern Standard Time");

    XCDateEx date;
    Check(!date.FromString(text, format) || date.IsNull() || date.IsValid());
    XCTimeEx time;
    Check(!time.FromString(text, format) || time.IsNull() || time.IsValid());
    XCDateTimeEx both;
    XCErrorID const error = both.FromString(text, format.AsWChar(), zone);
    Check(error.Bad() ? both.IsNull() : both.IsNull() || both.IsValid());
    bool const read = both.FromString(text, zone).Good();
    Check(both.IsNull() || (read && both.AsString(zone).Length() > 0));
    CheckBuffer(date, format.AsWChar());
    CheckBuffer(time, format.AsWChar());
    CheckBuffer(both, format.AsWChar());

    // Raw words of any kind: arithmetic and conversions are defined for all of them.
    both.FromInt64(raw);
    date.FromInt(static_cast<std::uint32_t>(raw));
    XCDateTimeEx const moved =
        both + XCDurationEx(static_cast<std::int32_t>(raw >> 7) | 1, static_cast<XCDurationEx::Unit>(raw & 15));
    Check(!both.IsDateAndTime() || !both.IsValid() || moved.IsValid());
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
            Check(back.FromString(duration.AsString()) && back.GetDuration() == duration.GetDuration());
        }
        Check(duration.Normalize().IsEquivalent(duration));
        duration.FromInt64(raw);
        duration /= static_cast<int>(raw >> 33);
        (void)(moved - both);
    } catch (XCDurationExceptionEx const&) {
    }
    try {
        (void)XCPrintf(format, {text, text});
    } catch (std::out_of_range const&) {
    }
    return 0;
}
