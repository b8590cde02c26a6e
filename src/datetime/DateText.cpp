// Writes dates and times by a format, and reads them back.
//
// Writing walks the format once and appends digits to a buffer of fixed size; TextOut drops what does not fit and never
// writes past the end, so no caller computes lengths beforehand.
//
// Reading follows the format's specifiers, not its literals: each specifier reads an integer, then everything up to the
// next number is skipped. When neither the end nor the format's next unit follows a number, the text steps back to where
// the number began and the next specifier reads it again: a text that lacks the separators of its format fails, rather
// than being split by guess. docs/dates.md has the steps and examples.
//
// COST      One pass over format and text; nothing is allocated when the text fits the first buffer.
// INVARIANT Numbers are held one past the limits of 32 bits, so that any overflow is out of every field's range.
#include "datetime/DateText.h"

#include "text/NumberText.h"
#include "text/Units.h"

#include <cstdlib>
#include <cwchar>
#include <memory>

using xc::text::IsDigit;

namespace xc::datetime {

// Writing -------------------------------------------------------------------------------------------------------

void TextOut::Digits(std::uint64_t value, unsigned width) noexcept
{
    text::Digits const digits(value);
    for (std::size_t i = digits.View().size(); i < width; ++i) Unit(L'0');
    Text(digits.View());
}

void TextOut::Number(std::int64_t value) noexcept
{
    if (value < 0) Unit(L'-');
    Digits(value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value), 1);
}

namespace {

/// "+05:30", or "Z" for UTC. The sign is that of the hours, so that less than an hour behind UTC reads "+00:30".
void WriteOffset(TextOut& out, int minutes) noexcept
{
    if (minutes == 0) return out.Unit(L'Z');
    out.Unit(minutes <= -60 ? L'-' : L'+');
    out.TwoDigits(static_cast<std::uint32_t>(std::abs(minutes / 60)));
    out.Unit(L':');
    out.TwoDigits(static_cast<std::uint32_t>(std::abs(minutes % 60)));
}

bool WriteDateField(TextOut& out, wchar_t letter, XCDateEx const& date) noexcept
{
    switch (letter) {
    case L'Y': out.Number(date.GetYear()); return true;
    case L'y': out.TwoDigits(static_cast<std::uint32_t>(date.GetYear()) % 100); return true;
    case L'm': out.TwoDigits(date.GetMonth()); return true;
    case L'd': out.TwoDigits(date.GetDay()); return true;
    case L'W': out.TwoDigits(date.GetYearWeek()); return true;
    default: return false;
    }
}

bool WriteTimeField(TextOut& out, wchar_t letter, std::uint32_t milliseconds) noexcept
{
    switch (letter) {
    case L'H': out.TwoDigits(milliseconds / 3600000); return true;
    case L'M': out.TwoDigits(milliseconds / 60000 % 60); return true;
    case L'S': out.TwoDigits(milliseconds / 1000 % 60); return true;
    case L'L': out.Padded(milliseconds % 1000, 3); return true;
    default: return false;
    }
}

} // namespace

std::size_t WriteFormat(wchar_t* buffer, std::size_t capacity, wchar_t const* format, ShownTime const& shown,
                        Letters letters) noexcept
{
    TextOut out(buffer, capacity);
    std::uint32_t const milliseconds = shown.time.AsMilliseconds();
    for (; *format != L'\0' && !out.Full(); ++format) {
        wchar_t unit = *format;
        if (unit == L'%') {
            unit = *++format;
            // A lone "%" at the end writes nothing.
            if (unit == L'\0') break;
            if ((letters & kDateLetters) && WriteDateField(out, unit, shown.date)) continue;
            if ((letters & kTimeLetters) && WriteTimeField(out, unit, milliseconds)) continue;
            if (letters == kAllLetters && (unit == L'Z' || unit == L'z')) {
                WriteOffset(out, shown.offsetMinutes);
                continue;
            }
        }
        out.Unit(unit);
    }
    return out.Finish();
}

void AssignFormat(XCString& text, wchar_t const* format, ShownTime const& shown, Letters letters)
{
    // A specifier is two units and gives at most eight.
    std::size_t const capacity = 4 * std::wcslen(format) + 16;
    wchar_t local[256];
    std::unique_ptr<wchar_t[]> large;
    if (capacity > 256) large.reset(new wchar_t[capacity]);
    wchar_t* const buffer = large ? large.get() : local;
    std::size_t const length = WriteFormat(buffer, capacity, format, shown, letters);
    // Gives the storage back, as an empty text always does.
    if (length == 0) return text.Clear();
    text.Assign(buffer, length);
}

// Reading -------------------------------------------------------------------------------------------------------

wchar_t const* SkipBlanks(wchar_t const* text) noexcept
{
    while (*text == L' ') ++text;
    return text;
}

ReadNumber ReadInteger(wchar_t const*& place, NumberSigns signs) noexcept
{
    constexpr std::int64_t kPast = std::int64_t{INT32_MAX} + 2; // past either end of the range
    bool const minus = *place == L'-';
    if (minus || (*place == L'+' && signs == NumberSigns::Both)) ++place;
    wchar_t const* const first = place;
    std::int64_t value = 0;
    for (; IsDigit(*place); ++place) {
        value = value * 10 + (*place - L'0');
        // Held in each step: the next one multiplies by ten and still fits.
        if (value > kPast) value = kPast;
    }
    return {minus ? -value : value, place != first};
}

namespace {

/// The offset at or after a place: "Z", "+hh:mm", "-hhmm", "+hh". Nothing when there is none.
std::optional<int> ReadOffset(wchar_t const*& place) noexcept
{
    wchar_t const* p = place;
    while (*p != L'\0' && *p != L'Z' && *p != L'z' && *p != L'+' && *p != L'-') ++p;
    if (*p == L'\0') return std::nullopt;
    wchar_t const sign = *p++;
    place = p;
    if (sign == L'Z' || sign == L'z') return 0;
    int digits[4] = {};
    int count = 0;
    for (; count < 4 && (IsDigit(*p) || (*p == L':' && count == 2)); ++p)
        if (IsDigit(*p)) digits[count++] = *p - L'0';
    int const hours = digits[0] * 10 + digits[1];
    int const minutes = digits[2] * 10 + digits[3];
    // One digit or three are no offset that anybody writes; the place stays after the sign, and the text has none.
    if ((count != 2 && count != 4) || hours > 23 || minutes > 59) return std::nullopt;
    place = p;
    return (sign == L'-' ? -1 : 1) * (hours * 60 + minutes);
}

/// What a specifier's letter stands for; null places for a letter that is no specifier of the format.
struct Specifier {
    std::int64_t* field;
    bool* seen;
};

Specifier SpecifierOf(ReadFields& fields, wchar_t letter, Letters letters, std::int64_t& ignored, bool& unseen) noexcept
{
    Specifier const none{nullptr, nullptr};
    bool const dates = (letters & kDateLetters) != 0;
    bool const times = (letters & kTimeLetters) != 0;
    switch (letter) {
    case L'Y':
    case L'y': return dates ? Specifier{&fields.year, &fields.hasDate} : none;
    case L'm': return dates ? Specifier{&fields.month, &fields.hasDate} : none;
    case L'd': return dates ? Specifier{&fields.day, &fields.hasDate} : none;
    case L'W': return dates ? Specifier{&ignored, &unseen} : none;
    case L'H': return times ? Specifier{&fields.hour, &fields.hasTime} : none;
    case L'M': return times ? Specifier{&fields.minute, &fields.hasTime} : none;
    case L'S': return times ? Specifier{&fields.second, &fields.hasTime} : none;
    case L'L': return times ? Specifier{&fields.millisecond, &fields.hasTime} : none;
    default: return none;
    }
}

/// Goes on to the next number; a "-" that is not the first unit belongs to it.
void SkipToNumber(wchar_t const*& place) noexcept
{
    while (*place != L'\0' && !IsDigit(*place))
        if (*++place == L'-') break;
}

} // namespace

ReadFields ReadFormat(wchar_t const* text, wchar_t const* format, Letters letters) noexcept
{
    ReadFields fields;
    std::int64_t ignored = 0;
    bool unseen = false;
    wchar_t const* place = text;
    wchar_t const* afterNumber = text;
    for (; *format != L'\0'; ++format) {
        if (*format != L'%') continue;
        wchar_t const letter = *++format;
        if (letter == L'\0') break;
        if (letters == kAllLetters && (letter == L'Z' || letter == L'z')) {
            fields.offsetMinutes = ReadOffset(afterNumber);
            if (place < afterNumber) SkipToNumber(place = afterNumber);
            continue;
        }
        Specifier const specifier = SpecifierOf(fields, letter, letters, ignored, unseen);
        if (!specifier.field) continue;
        wchar_t const* const start = place;
        ReadNumber const number = ReadInteger(place, NumberSigns::Minus);
        *specifier.field = number.value;
        if (number.anyDigit) *specifier.seen = true;
        if (specifier.seen == &fields.hasDate) fields.wantsDate = true;
        // Two digits name the years 1970 to 2069; more are taken as they stand.
        if (letter == L'y' && fields.year < 100) fields.year += fields.year < 70 ? 2000 : 1900;
        afterNumber = place;
        // A number that the format does not end here is left for the next specifier.
        if (*place != L'\0' && *place != format[1]) {
            place = start;
            continue;
        }
        SkipToNumber(place);
    }
    return fields;
}

namespace {

bool IsBelow(std::int64_t value, std::int64_t limit) noexcept
{
    return value >= 0 && value < limit;
}

} // namespace

bool ReadFields::GetDate(XCDateEx& date) const noexcept
{
    date.SetNull();
    // The date checks the ranges itself; here a number only has to pass on unchanged.
    return IsBelow(year, INT32_MAX) && IsBelow(month, 100) && IsBelow(day, 100) &&
           date.SetDate(static_cast<int>(year), static_cast<unsigned>(month), static_cast<unsigned>(day));
}

bool ReadFields::GetTime(XCTimeEx& time) const noexcept
{
    time.SetNull();
    if (!IsBelow(hour, 24) || !IsBelow(minute, 60) || !IsBelow(second, 60) || !IsBelow(millisecond, 1000)) return false;
    time = XCTimeEx(static_cast<unsigned>(hour), static_cast<unsigned>(minute), static_cast<unsigned>(second),
                    static_cast<unsigned>(millisecond));
    return true;
}

} // namespace xc::datetime
