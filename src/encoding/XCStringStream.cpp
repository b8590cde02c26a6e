// Values to text and back over one string.
//
// A plain integer without a locale, the usual case, is counted first and then written where it stays, two digits a
// division. All other digits are made on the stack by the invariant conversions and leave in one append; the sign, the
// groups and the decimal mark of a locale are put in on the way, from the parts of the finished digits. Reading spells the number
// in the invariant way first (NumberScan.h) and converts it as a whole, so that both directions know one form of numbers.
//
// Invariant: m_position is at most the length of the text; a read that fails leaves it at the beginning of its value and
// sets m_error, and no read does anything while m_error is set.
#include <XelbrinCore/XCStringStream.h>

#include "encoding/NumberScan.h"
#include "encoding/TextErrors.h"
#include "errors/CoreError.h"
#include "text/NumberText.h"
#include "text/Units.h"

#include <algorithm>
#include <charconv>
#include <limits>

using xc::text::StringAccess;

namespace {

// More decimals than any double has that somebody will compare; a bound keeps the digits on the stack.
constexpr int kMostDecimals = 50;
constexpr std::size_t kMostDigits = 400; // the largest number has 309 digits before the point

/// The parts of a number in digits, such as "-", "1234", "5", "e+20".
struct NumberParts {
    std::string_view sign, whole, decimals, rest;
    bool hasMark = false;

    explicit NumberParts(std::string_view digits)
    {
        auto const take = [&digits](std::size_t n) {
            std::string_view const taken = digits.substr(0, n);
            digits.remove_prefix(taken.size());
            return taken;
        };
        sign = take(digits.starts_with('-') ? 1 : 0);
        whole = take(std::min(digits.find_first_not_of("0123456789"), digits.size()));
        hasMark = digits.starts_with('.');
        if (hasMark) {
            take(1);
            decimals = take(std::min(digits.find_first_not_of("0123456789"), digits.size()));
        }
        rest = digits;
    }
};

void AppendAscii(std::wstring& to, std::string_view ascii)
{
    to.append(ascii.begin(), ascii.end());
}

/// The whole digits with the separators of the locale.
void AppendGrouped(std::wstring& to, std::string_view digits, XCLocale const& locale)
{
    // Counted from the right, because that is where the groups of every locale begin; written from the left.
    std::vector<std::size_t> ends; // of the groups, from the right
    std::size_t left = digits.size();
    // Strictly more: a group that fills its size needs no separator before it.
    for (std::size_t i = 0; locale.GetGroupSize(i) != 0 && left > locale.GetGroupSize(i); ++i) {
        left -= locale.GetGroupSize(i);
        ends.push_back(left);
    }
    AppendAscii(to, digits.substr(0, left));
    for (std::size_t i = ends.size(); i-- > 0;) {
        to += locale.GetThousands().View();
        AppendAscii(to, digits.substr(ends[i], (i == 0 ? digits.size() : ends[i - 1]) - ends[i]));
    }
}

std::wstring InLocale(std::string_view digits, XCLocale const& locale)
{
    NumberParts const parts(digits);
    std::wstring text;
    AppendAscii(text, parts.sign);
    AppendGrouped(text, parts.whole, locale);
    if (parts.hasMark) text += locale.GetDecimal().View();
    AppendAscii(text, parts.decimals);
    AppendAscii(text, parts.rest);
    return text;
}

/// Appends digits with the fill up to their width: zeros go between sign and digits.
template <class Digits>
void AppendPadded(XCString& to, Digits digits, XCNumberFormat const& format)
{
    std::size_t const fill = format.width - std::min(format.width, digits.size());
    // Zeros belong to the number, blanks stand before it.
    std::size_t const sign = fill != 0 && format.fill == L'0' && digits.starts_with('-') ? 1 : 0;
    wchar_t* place = StringAccess::Extend(to, fill + digits.size());
    place = std::copy_n(digits.begin(), sign, place);
    place = std::fill_n(place, fill, format.fill);
    std::copy(digits.begin() + static_cast<std::ptrdiff_t>(sign), digits.end(), place);
}

} // namespace

XCStringStream::XCStringStream(XCString text, XCLocale const& locale) : m_text(std::move(text))
{
    if (!locale.GetName().IsNull()) m_locale = locale; // every other locale has a name
}

XCStringStream& XCStringStream::operator<<(std::wstring_view text)
{
    m_text.Append(text);
    return *this;
}

XCStringStream& XCStringStream::operator<<(wchar_t unit)
{
    m_text += unit;
    return *this;
}

XCString XCStringStream::Take()
{
    m_position = 0;
    m_error = XCErrorID::Success;
    // The text leaves without a copy, and the stream is as new: nothing of it is shared with what was taken.
    XCString taken;
    taken.Swap(m_text);
    return taken;
}

void XCStringStream::Clear() noexcept
{
    m_position = 0;
    m_error = XCErrorID::Success;
    // A stream that is filled again and again keeps its memory, unless somebody shares it.
    if (StringAccess::CanWrite(m_text, 1))
        m_text.Assign(nullptr, 0, m_text.Capacity()); // in place
    else
        m_text.Clear();
}

/// Appends finished digits with what their format asks for.
void XCStringStream::AppendNumber(std::string_view digits, XCNumberFormat const& format, bool isLocal)
{
    if (isLocal && m_locale)
        AppendPadded(m_text, std::wstring_view(InLocale(digits, *m_locale)), format);
    else
        AppendPadded(m_text, digits, format);
}

/// An integer of the format that numbers have unless they say otherwise: its digits are written where they stay.
bool XCStringStream::AppendPlain(std::uint64_t magnitude, bool isNegative, XCNumberFormat const& format)
{
    if (format.base != 10 || format.width != 0 || m_locale) return false;
    std::size_t const units = xc::text::CountDigits(magnitude) + (isNegative ? 1 : 0);
    wchar_t* const place = StringAccess::Extend(m_text, units);
    *place = L'-'; // of a positive one the first digit takes this place
    xc::text::PutDecimal(place + units, magnitude);
    return true;
}

XCStringStream& XCStringStream::Write(std::int64_t value, XCNumberFormat const& format)
{
    std::uint64_t const bits = static_cast<std::uint64_t>(value);
    // Negated as an unsigned number, since the smallest value has no positive one.
    if (AppendPlain(value < 0 ? 0 - bits : bits, value < 0, format)) return *this;
    char digits[kMostDigits];
    AppendNumber(xc::text::PutInteger(digits, value, format.base), format, format.base == 10);
    return *this;
}

XCStringStream& XCStringStream::Write(std::uint64_t value, XCNumberFormat const& format)
{
    if (AppendPlain(value, false, format)) return *this;
    char digits[kMostDigits];
    AppendNumber(xc::text::PutInteger(digits, value, format.base), format, format.base == 10);
    return *this;
}

XCStringStream& XCStringStream::Write(double value, XCNumberFormat const& format)
{
    using Form = XCNumberFormat::Form;
    char digits[kMostDigits];
    char* const last = digits + kMostDigits;
    // A format may come from outside: the digits below have room for what is asked here, and no more.
    int const decimals = std::clamp(format.decimals, 0, kMostDecimals);
    auto const how = format.form == Form::Fixed ? std::chars_format::fixed : std::chars_format::scientific;
    std::to_chars_result const written = format.form == Form::Shortest
                                             ? std::to_chars(digits, last, value)
                                             : std::to_chars(digits, last, value, how, decimals);
    AppendNumber({digits, static_cast<std::size_t>(written.ptr - digits)}, format, true);
    return *this;
}

void XCStringStream::SetPosition(std::size_t position) noexcept
{
    m_position = std::min(position, m_text.Length());
    m_error = XCErrorID::Success;
}

/// Blanks at the end hold no value: a loop of reads asks here whether another one can succeed.
bool XCStringStream::AtEnd() const noexcept
{
    std::wstring_view const left = m_text.View().substr(m_position);
    return std::all_of(left.begin(), left.end(), xc::text::IsSpace);
}

void XCStringStream::Fail(long code, std::size_t position)
{
    m_error = xc::errors::MakeCoreError(static_cast<XCCoreError>(code), xc::encoding::PositionParameter(position));
}

/// Goes to the next value. @return false when there is none, or after a failure.
bool XCStringStream::Begin()
{
    if (!Good()) return false;
    while (m_position < m_text.Length() && xc::text::IsSpace(m_text[m_position])) ++m_position;
    if (m_position == m_text.Length()) Fail(XCErrTextEnds, m_position);
    return Good();
}

/// @param base 0: a floating-point number.
template <class Number>
bool XCStringStream::ReadNumber(Number& value, int base)
{
    if (!Begin()) return false;
    xc::encoding::ScannedNumber const scanned =
        xc::encoding::ScanNumber(m_text.View(), m_position, base, m_locale ? *m_locale : XCLocale::Invariant());
    char const* const begin = scanned.spelled.data();
    char const* const end = begin + scanned.spelled.size();
    // The caller's value is set at the end alone: a failed read leaves it as it was.
    Number read{};
    std::from_chars_result result{};
    if constexpr (std::is_floating_point_v<Number>)
        result = std::from_chars(begin, end, read);
    else
        result = std::from_chars(begin, end, read, base);
    if (scanned.spelled.empty())
        Fail(XCErrNoNumber, scanned.fault);
    else if (result.ec != std::errc() || result.ptr != end) // such as a minus before a number without sign
        Fail(XCErrNumberRange, m_position);
    if (!Good()) return false;
    value = read;
    m_position = scanned.end;
    return true;
}

/// An integer of so many bytes.
template <class Number>
bool XCStringStream::ReadWithin(Number& value, int base, std::size_t bytes)
{
    using Limits = std::numeric_limits<Number>;
    std::size_t const before = m_position;
    Number read = 0;
    if (!ReadNumber(read, base)) return false;
    // Shifting the limits of 64 bits gives those of the smaller type, with and without sign.
    if (read > Limits::max() >> (64 - 8 * bytes) || read < Limits::min() >> (64 - 8 * bytes)) {
        m_position = before;
        // The position of the number, after the blanks before it.
        if (Begin()) Fail(XCErrNumberRange, m_position);
        return false;
    }
    value = read;
    return true;
}

bool XCStringStream::ReadSigned(std::int64_t& value, int base, std::size_t bytes)
{
    return ReadWithin(value, base, bytes);
}

bool XCStringStream::ReadUnsigned(std::uint64_t& value, int base, std::size_t bytes)
{
    return ReadWithin(value, base, bytes);
}

XCStringStream& XCStringStream::operator>>(double& value)
{
    ReadNumber(value, 0);
    return *this;
}

XCStringStream& XCStringStream::operator>>(XCString& word)
{
    if (!Begin()) return *this;
    std::wstring_view const left = m_text.View().substr(m_position);
    auto const end = std::find_if(left.begin(), left.end(), xc::text::IsSpace);
    // Before the position moves: out of memory leaves the stream where it was.
    word = XCString(std::wstring_view(left.begin(), end));
    m_position += static_cast<std::size_t>(end - left.begin());
    return *this;
}

XCStringStream& XCStringStream::ReadLine(XCString& line)
{
    if (Good() && m_position == m_text.Length()) Fail(XCErrTextEnds, m_position);
    if (!Good()) return *this;
    std::wstring_view read = m_text.View().substr(m_position);
    std::size_t const feed = read.find(L'\n');
    read = read.substr(0, feed);
    // A last line without a feed counts as a line, as files often end.
    m_position += read.size() + (feed == std::wstring_view::npos ? 0 : 1);
    // A return without a feed is part of the text.
    if (feed != std::wstring_view::npos && read.ends_with(L'\r')) read.remove_suffix(1);
    line = XCString(read);
    return *this;
}
