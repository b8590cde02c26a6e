// The positional template and the printed durations.
//
// A place of the template reaches from "%" to the first letter that names a kind, whatever stands between: translators
// move places about and make typing errors, and a text should still come out. A "%" without such a letter ends the
// search, and the rest is copied as it is. An index past the arguments throws, since that is a fault of the program.
// Amounts are written with a point in every locale. Durations count in integers: a double is split into seconds and
// microseconds once, and rounding up to a whole second carries.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCString.h>

#include "datetime/Calendar.h"
#include "datetime/DateText.h"
#include "text/NumberText.h"
#include "text/Units.h"

#include <algorithm>
#include <cmath>

namespace xc::datetime {

namespace {

/// "2 days, 3:04:05" with `microseconds` as fraction of the seconds.
XCString PrintSeconds(bool negative, std::uint64_t seconds, std::uint32_t microseconds)
{
    wchar_t buffer[64];
    TextOut out(buffer, 64);
    if (negative) out.Unit(L'-');
    std::uint64_t const days = seconds / 86400;
    if (days > 0) {
        out.Number(static_cast<std::int64_t>(days));
        out.Text(L" days, ");
    }
    auto const rest = static_cast<std::uint32_t>(seconds % 86400);
    // One digit where one is enough: the hour leads the text, or follows the days as a number of its own.
    out.Number(rest / 3600);
    out.Unit(L':');
    out.TwoDigits(rest / 60 % 60);
    out.Unit(L':');
    out.TwoDigits(rest % 60);
    if (microseconds > 0) {
        unsigned digits = 6;
        // Ends, because it is entered for a number above zero alone.
        for (; microseconds % 10 == 0; microseconds /= 10) --digits;
        out.Unit(L'.');
        out.Padded(microseconds, digits);
    }
    return XCString(std::wstring_view(buffer, out.Finish()));
}

/// "%6.2f", the point a point whatever the locale.
XCString PrintAmount(double amount)
{
    XCString const digits = xc::text::FixedText(amount, 2);
    return XCString(L' ', digits.Length() < 6 ? 6 - digits.Length() : 0) + digits;
}

/// One place of a pattern, from its "%" to its letter.
struct Place {
    std::wstring_view specifier;

    [[nodiscard]] wchar_t Letter() const noexcept { return specifier.back(); }
    // Never before the start: a place has a "%" and a letter at least.
    [[nodiscard]] bool IsLong() const noexcept { return specifier[specifier.size() - 2] == L'l'; }
    /// The number before ":", else 0.
    [[nodiscard]] std::size_t Index() const
    {
        std::size_t const colon = specifier.find(L':');
        if (colon == std::wstring_view::npos) return 0;
        std::wstring_view const number = specifier.substr(1, colon - 1);
        // A place mostly has one or two plain digits, which need no text of their own.
        bool const isPlain = number.size() <= 9 && std::all_of(number.begin(), number.end(), xc::text::IsDigit);
        // What is no number counts as 0, as a missing one does: the first argument is shown, which a reader of the
        // text will notice sooner than an exception in a message that is hardly ever written.
        if (!isPlain) return XCString(number).AsUint();
        std::size_t index = 0;
        for (wchar_t const digit : number) index = index * 10 + static_cast<std::size_t>(digit - L'0');
        return index;
    }
};

XCString Render(Place const& place, XCString const& argument)
{
    switch (place.Letter()) {
    case L'u': return XCPrintDuration(argument.AsXCDuration());
    case L'a': return argument.AsXCDateTime().AsString(place.IsLong() ? L"%B %d, %Y" : L"%x");
    case L't': return argument.AsXCDateTime().AsString(place.IsLong() ? L"%X" : L"%H:%M:%S");
    case L'm': return PrintAmount(argument.AsDouble());
    default: return argument; // s, d, f
    }
}

} // namespace

} // namespace xc::datetime

using namespace xc::datetime;

XCString XCPrintf(XCString const& pattern, std::vector<XCString> const& arguments)
{
    XCString result;
    result.Reserve(16);
    std::wstring_view rest = pattern.View();
    for (;;) {
        std::size_t const percent = rest.find(L'%');
        result.Append(rest.substr(0, percent));
        if (percent == std::wstring_view::npos) return result;
        rest.remove_prefix(percent);
        if (rest.size() > 1 && rest[1] == L'%') {
            result += L'%';
            rest.remove_prefix(2);
            continue;
        }
        std::size_t const letter = rest.find_first_of(L"sdfuatm");
        if (letter == std::wstring_view::npos) return result.Append(rest);
        Place const place{rest.substr(0, letter + 1)};
        result.Append(Render(place, arguments.at(place.Index())));
        rest.remove_prefix(letter + 1);
    }
}

XCString XCPrintDuration(long const& seconds)
{
    std::int64_t const value = seconds;
    // As unsigned: the magnitude of the smallest number fits there and nowhere else.
    auto const magnitude = static_cast<std::uint64_t>(value);
    return PrintSeconds(value < 0, value < 0 ? 0 - magnitude : magnitude, 0);
}

XCString XCPrintDuration(double const& seconds)
{
    // Just below two to the 63rd, so that the conversion below is defined for every double, infinity with it.
    constexpr double kMost = 9.2e18;
    double const magnitude = std::isnan(seconds) ? 0.0 : std::min(std::fabs(seconds), kMost);
    double const whole = std::floor(magnitude);
    auto count = static_cast<std::uint64_t>(whole);
    // The subtraction is exact, since both are of the same size; only the product rounds.
    auto microseconds = static_cast<std::uint32_t>((magnitude - whole) * 1e6 + 0.5);
    if (microseconds == 1000000) {
        microseconds = 0;
        ++count;
    }
    return PrintSeconds(seconds < 0, count, microseconds);
}
