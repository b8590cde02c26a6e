// Identities as text. The text shows 16 bytes in reading order, while the first three fields are numbers: they are
// joined from and split into bytes by shifts, so that the order of bytes of the processor never matters. A text is an
// identity from end to end, with or without braces, or none at all.
//
// Upper-case digits in braces are the form that the system writes; both cases, and the form without braces, are read.
// The digits count the bytes: where a minus must stand is asked of the pattern, so one loop reads and one writes.
#include <XelbrinCore/XCGuid.h>

#include "text/HexText.h"
#include "text/Units.h"

namespace {

/// The digits of an identity in reading order; a minus stands where the text form has one.
constexpr char kPattern[] = "00000000-0000-0000-0000-000000000000";
constexpr std::size_t kPatternLength = sizeof kPattern - 1;

int HexValue(wchar_t unit) noexcept
{
    if (xc::text::IsDigit(unit)) return unit - L'0';
    if (unit >= L'a' && unit <= L'f') return unit - L'a' + 10;
    if (unit >= L'A' && unit <= L'F') return unit - L'A' + 10;
    return -1;
}

/// 16 bytes in reading order; false when the text is no identity.
bool ReadBytes(std::wstring_view text, std::array<std::uint8_t, 16>& bytes)
{
    if (text.size() == kPatternLength + 2 && text.front() == L'{' && text.back() == L'}')
        text = text.substr(1, kPatternLength);
    if (text.size() != kPatternLength) return false;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < kPatternLength; ++i) {
        if (kPattern[i] == '-') {
            if (text[i] != L'-') return false;
            continue;
        }
        int const value = HexValue(text[i]);
        if (value < 0) return false;
        // Two digits shift through one byte: the first of them leaves room for the second.
        bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] * 16 + value);
        ++digits;
    }
    return true;
}

} // namespace

XCGuid::XCGuid(XCString const& text, bool* ok)
{
    std::array<std::uint8_t, 16> bytes{};
    bool const good = ReadBytes(text.View(), bytes);
    if (ok) *ok = good;
    // A text that is none leaves the null identity: half-read fields would name something that nobody has.
    if (!good) return;
    auto const join = [&bytes](std::size_t from, std::size_t count) {
        std::uint32_t value = 0;
        for (std::size_t i = from; i < from + count; ++i) value = value << 8 | bytes[i];
        return value;
    };
    m_data1 = join(0, 4);
    m_data2 = static_cast<std::uint16_t>(join(4, 2));
    m_data3 = static_cast<std::uint16_t>(join(6, 2));
    for (std::size_t i = 0; i < m_data4.size(); ++i) m_data4[i] = bytes[8 + i];
}

XCString XCGuid::AsString() const
{
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(m_data1 >> (24 - 8 * i));
    for (std::size_t i = 0; i < 2; ++i) bytes[4 + i] = static_cast<std::uint8_t>(m_data2 >> (8 - 8 * i));
    for (std::size_t i = 0; i < 2; ++i) bytes[6 + i] = static_cast<std::uint8_t>(m_data3 >> (8 - 8 * i));
    for (std::size_t i = 0; i < m_data4.size(); ++i) bytes[8 + i] = m_data4[i];

    XCString text(L"{");
    std::size_t digits = 0;
    for (char const place : std::string_view(kPattern, kPatternLength)) {
        if (place == '-') {
            text += L'-';
            continue;
        }
        unsigned int const value = digits % 2 == 0 ? bytes[digits / 2] >> 4 : bytes[digits / 2] & 0xFu;
        text += static_cast<wchar_t>(xc::text::kUpperHex[value]);
        ++digits;
    }
    return text += L'}';
}
