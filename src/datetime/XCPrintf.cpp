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
#include "text/Kernels.h"
#include "text/NumberText.h"
#include "text/PrintFormatTerms.h"
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
    /// Whether the argument stands there as it is.
    [[nodiscard]] bool IsText() const noexcept { return Letter() == L's' || Letter() == L'd' || Letter() == L'f'; }
    // Never before the start: a place has a "%" and a letter at least.
    [[nodiscard]] bool IsLong() const noexcept { return specifier[specifier.size() - 2] == L'l'; }
    /// The number before ":", else 0.
    [[nodiscard]] std::size_t Index() const
    {
        auto const colon =
            static_cast<std::size_t>(std::find(specifier.begin(), specifier.end(), L':') - specifier.begin());
        if (colon == specifier.size()) return 0;
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
    default: return argument;
    }
}

bool IsKind(wchar_t unit) noexcept
{
    constexpr std::uint64_t kLetters = xc::text::BitsOfLetters("sdfuatm");
    return unit >= L'@' && unit < L'@' + 64 && (kLetters >> (unit - L'@') & 1) != 0;
}

/// Collects a text on the stack, and in a string from where it grows longer than that.
// The string that comes out has the room that one filled piece by piece would have: a caller may append to it.
class Collector {
public:
    void Put(std::wstring_view text)
    {
        if (text.empty()) return;
        std::size_t const sum = m_length + text.size();
        if (sum + 1 > m_room) m_room = std::max(sum + 1, m_room + m_room / 2);
        if (sum > kOnStack) return Spill(text);
        xc::text::CopyUnits(m_buffer + m_length, text.data(), text.size());
        m_length = sum;
    }
    [[nodiscard]] XCString Take()
    {
        Spill({});
        return std::move(m_text);
    }

private:
    static constexpr std::size_t kOnStack = 256;

    /// What stands on the stack, and then the text, go into the string.
    void Spill(std::wstring_view text)
    {
        if (m_text.Capacity() == 0) {
            m_text.Reserve(m_room);
            m_text.Append(std::wstring_view(m_buffer, m_length));
        }
        m_text.Append(text);
        m_length += text.size();
    }

    XCString m_text;
    std::size_t m_length = 0;
    std::size_t m_room = 16; ///< as the algorithm begins
    wchar_t m_buffer[kOnStack];
};

} // namespace

} // namespace xc::datetime

using namespace xc::datetime;

XCString XCPrintf(XCString const& pattern, std::vector<XCString> const& arguments)
{
    Collector result;
    std::wstring_view rest = pattern.View();
    for (;;) {
        std::size_t const percent = xc::text::FindUnit(rest.data(), rest.size(), L'%');
        result.Put(rest.substr(0, percent));
        rest.remove_prefix(percent);
        if (rest.empty()) return result.Take();
        if (rest.size() > 1 && rest[1] == L'%') {
            result.Put(L"%");
            rest.remove_prefix(2);
            continue;
        }
        // Places are short: the letter is a few units away.
        auto const letter = std::find_if(rest.begin(), rest.end(), IsKind);
        if (letter == rest.end()) {
            result.Put(rest);
            return result.Take();
        }
        Place const place{{rest.begin(), letter + 1}};
        XCString const& argument = arguments.at(place.Index());
        if (place.IsText())
            result.Put(argument.View());
        else
            result.Put(Render(place, argument).View());
        rest.remove_prefix(place.specifier.size());
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
