// Values to text and back over one string.
//
// Digits are made on the stack by the invariant conversions of NumberText.h and leave in one append; the sign, the groups and
// the decimal mark of a locale are put in on the way, from the parts of the finished digits. Reading spells the number
// in the invariant way first (NumberScan.h) and converts it as a whole, so that both directions know one form of numbers.
//
// Invariant: m_position is at most the length of the text; a read that fails leaves it at the beginning of its value and
// sets m_error, and no read does anything while m_error is set.
#include <XelbrinCore/XCStringStream.h>

#include "encoding/NumberScan.h"
#include "errors/CoreError.h"
#include "text/NumberText.h"
#include "text/Units.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

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
    std::vector<std::size_t> ends; // of the groups, from the right
    std::size_t left = digits.size();
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

long PositionParameter(std::size_t position) noexcept
{
    return static_cast<long>(std::min<std::size_t>(position, INT32_MAX));
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
    XCString taken;
    taken.Swap(m_text);
    return taken;
}

/// Appends finished digits with what their format asks for.
void XCStringStream::AppendNumber(std::string_view digits, XCNumberFormat const& format, bool isLocal)
{
    wchar_t wide[kMostDigits];
    std::wstring local;
    std::wstring_view text(wide, digits.size());
    if (isLocal && m_locale) {
        local = InLocale(digits, *m_locale);
        text = local;
    } else {
        std::copy(digits.begin(), digits.end(), wide);
    }
    if (text.size() < format.width) {
        std::size_t const sign = format.fill == L'0' && text.starts_with(L'-') ? 1 : 0;
        m_text.Append(text.substr(0, sign));
        m_text.Append(XCString(format.fill, format.width - text.size()));
        text.remove_prefix(sign);
    }
    m_text.Append(text);
}

XCStringStream& XCStringStream::Write(std::int64_t value, XCNumberFormat const& format)
{
    char digits[kMostDigits];
    AppendNumber(xc::text::PutInteger(digits, value, format.base), format, format.base == 10);
    return *this;
}

XCStringStream& XCStringStream::Write(std::uint64_t value, XCNumberFormat const& format)
{
    char digits[kMostDigits];
    AppendNumber(xc::text::PutInteger(digits, value, format.base), format, format.base == 10);
    return *this;
}

XCStringStream& XCStringStream::Write(double value, XCNumberFormat const& format)
{
    char digits[kMostDigits];
    int const decimals = std::clamp(format.decimals, 0, kMostDecimals);
    char* end = nullptr;
    if (format.form == XCNumberFormat::Form::Shortest)
        end = std::to_chars(digits, digits + kMostDigits, value).ptr;
    else
        end = std::to_chars(digits, digits + kMostDigits, value,
                            format.form == XCNumberFormat::Form::Fixed ? std::chars_format::fixed
                                                                       : std::chars_format::scientific,
                            decimals)
                  .ptr;
    AppendNumber({digits, static_cast<std::size_t>(end - digits)}, format, true);
    return *this;
}

void XCStringStream::SetPosition(std::size_t position) noexcept
{
    m_position = std::min(position, m_text.Length());
    m_error = XCErrorID::Success;
}

bool XCStringStream::AtEnd() const noexcept
{
    std::wstring_view const left = m_text.View().substr(m_position);
    return std::all_of(left.begin(), left.end(), xc::text::IsSpace);
}

void XCStringStream::Fail(long code, std::size_t position)
{
    m_error = xc::errors::MakeCoreError(static_cast<XCCoreError>(code), PositionParameter(position));
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
    if (read > Limits::max() >> (64 - 8 * bytes) || read < Limits::min() >> (64 - 8 * bytes)) {
        m_position = before;
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
    m_position += read.size() + (feed == std::wstring_view::npos ? 0 : 1);
    if (feed != std::wstring_view::npos && read.ends_with(L'\r')) read.remove_suffix(1);
    line = XCString(read);
    return *this;
}
