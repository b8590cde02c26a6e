// Bytes as hexadecimal digits and as base64 (RFC 4648), and back. Reading is strict: what no writer gives is an error
// with its position, so that two texts never stand for the same bytes unnoticed.
//
// The alphabet of URLs may leave out the "=" at the end, as RFC 4648 section 3.2 allows; the standard one may not. The
// bits of the last digit that belong to no byte must be 0, else "AA==" and "AB==" would both be one byte of zero.
//
// Writing and reading are O(n) with one allocation. The digits are computed, not looked up: such texts are keys and
// signatures, tens of bytes long, and two tables of 64 KiB units would cost more than they save.
#include <XelbrinCore/XCBuffer.h>

#include "data/DataErrors.h"
#include "text/HexText.h"
#include "text/StringAccess.h"

#include <array>

namespace {

constexpr std::uint32_t kNoDigit = 64;

wchar_t Digit64(std::uint32_t value, XCBase64 alphabet) noexcept
{
    if (value < 26) return static_cast<wchar_t>(L'A' + value);
    if (value < 52) return static_cast<wchar_t>(L'a' + value - 26);
    if (value < 62) return static_cast<wchar_t>(L'0' + value - 52);
    bool const url = alphabet == XCBase64::Url;
    return value == 62 ? (url ? L'-' : L'+') : (url ? L'_' : L'/');
}

std::uint32_t Value64(wchar_t unit, XCBase64 alphabet) noexcept
{
    // The same five runs that Digit64 knows, asked from their first digits, so that the alphabet is written down once.
    for (std::uint32_t const base : {0u, 26u, 52u, 62u, 63u}) {
        wchar_t const first = Digit64(base, alphabet);
        std::uint32_t const span = base < 52 ? 26 : base == 52 ? 10 : 1;
        if (unit >= first && unit < first + static_cast<int>(span))
            return base + static_cast<std::uint32_t>(unit - first);
    }
    return kNoDigit;
}

std::uint32_t HexValue(wchar_t unit) noexcept
{
    if (unit >= L'0' && unit <= L'9') return static_cast<std::uint32_t>(unit - L'0');
    // The bit that tells small ASCII letters from capitals; no unit outside a-f reaches that range by it.
    wchar_t const lower = static_cast<wchar_t>(unit | 0x20);
    return lower >= L'a' && lower <= L'f' ? static_cast<std::uint32_t>(lower - L'a') + 10 : kNoDigit;
}

XCErrorID NoBytes(std::size_t position)
{
    return xc::data::DataError(XCErrDataText, position);
}

/// The digits without the "=" at the end; npos when the length is none of base64.
std::size_t CountDigits(XCString const& text, XCBase64 alphabet) noexcept
{
    std::size_t digits = text.Length();
    while (digits > 0 && text.Length() - digits < 2 && text[digits - 1] == L'=') --digits;
    bool const filled = text.Length() % 4 == 0;
    bool const open = alphabet == XCBase64::Url && digits == text.Length();
    return (filled || open) && digits % 4 != 1 ? digits : XCString::npos;
}

} // namespace

XCString XCBytes::AsHex() const
{
    XCString text;
    if (m_size == 0) return text;
    wchar_t* to = xc::text::StringAccess::Extend(text, 2 * m_size);
    for (std::uint8_t const byte : *this) to = xc::text::PutHex(to, byte, 2, xc::text::kLowerHex);
    return text;
}

XCString XCBytes::AsBase64(XCBase64 alphabet) const
{
    XCString text;
    text.Reserve((m_size + 2) / 3 * 4 + 2);
    for (std::size_t i = 0; i < m_size; i += 3) {
        XCBytes const three = Slice(i, 3);
        // Reading past the end gives 0, so a last group of one or two bytes needs no case of its own.
        std::uint32_t const bits = static_cast<std::uint32_t>(three[0] << 16 | three[1] << 8 | three[2]);
        // n bytes need n + 1 digits of six bits.
        for (std::size_t k = 0; k <= three.m_size; ++k) text += Digit64(bits >> (18 - 6 * k) & 63, alphabet);
        for (std::size_t k = three.m_size; alphabet == XCBase64::Standard && k < 3; ++k) text += L'=';
    }
    return text;
}

XCErrorID XCBuffer::FromHex(XCBuffer& result, XCString const& text)
{
    XCBuffer bytes;
    bytes.Reserve(text.Length() / 2);
    for (std::size_t i = 0; i < text.Length(); i += 2) {
        std::uint32_t const high = HexValue(text[i]);
        std::uint32_t const low = HexValue(text[i + 1]); // 0 past the end is no digit
        if (high == kNoDigit || low == kNoDigit) return NoBytes(high == kNoDigit ? i : i + 1);
        bytes.Append(static_cast<std::uint8_t>(high << 4 | low));
    }
    // Only now, so that a refused text leaves the target as it was.
    result.Swap(bytes);
    return {};
}

XCErrorID XCBuffer::FromBase64(XCBuffer& result, XCString const& text, XCBase64 alphabet)
{
    std::size_t const digits = CountDigits(text, alphabet);
    if (digits == XCString::npos) return NoBytes(text.Length());
    XCBuffer bytes;
    bytes.Reserve(digits / 4 * 3 + 3);
    std::uint32_t bits = 0;
    unsigned int held = 0; // bits that form no byte yet
    for (std::size_t i = 0; i < digits; ++i) {
        std::uint32_t const value = Value64(text[i], alphabet);
        if (value == kNoDigit) return NoBytes(i);
        bits = bits << 6 | value;
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes.Append(static_cast<std::uint8_t>(bits >> held));
        }
    }
    if ((bits & ((1u << held) - 1)) != 0) return NoBytes(digits - 1);
    result.Swap(bytes);
    return {};
}
