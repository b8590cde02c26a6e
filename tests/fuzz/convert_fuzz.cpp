// UTF-8 both ways against an obvious reference that reads one character at a time; code pages must read back what they
// wrote.
#include "input.h"

#include "text/Utf8.h"

/// Decodes by the definition: returns false and the position of the first malformed sequence.
bool DecodeByHand(std::string const& bytes, std::wstring& out, std::size_t& errorAt)
{
    for (std::size_t i = 0; i < bytes.size();) {
        auto const at = [&](std::size_t k) { return static_cast<unsigned char>(k < bytes.size() ? bytes[k] : 0); };
        unsigned int const lead = at(i);
        std::size_t const length = lead < 0x80   ? 1
                                   : lead < 0xC0 ? 0
                                   : lead < 0xE0 ? 2
                                   : lead < 0xF0 ? 3
                                   : lead < 0xF8 ? 4
                                                 : 0;
        std::uint32_t code = length == 1 ? lead : length == 0 ? 0 : lead & (0xFFu >> (length + 1));
        bool good = length != 0 && i + length <= bytes.size();
        for (std::size_t k = 1; k < length && good; ++k) {
            good = (at(i + k) & 0xC0) == 0x80;
            code = code << 6 | (at(i + k) & 0x3Fu);
        }
        std::uint32_t const least[] = {0, 0, 0x80, 0x800, 0x10000};
        good = good && code >= least[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        if (!good) {
            errorAt = i;
            return false;
        }
        if (code >= 0x10000) {
            out += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
            code = 0xDC00 + ((code - 0x10000) & 0x3FF);
        }
        out += static_cast<wchar_t>(code);
        i += length;
    }
    return true;
}

void CheckDecoding(std::string const& bytes)
{
    std::wstring expected;
    std::size_t expectedError = 0;
    bool const good = DecodeByHand(bytes, expected, expectedError);
    XCString text(L"before");
    std::size_t errorAt = 0;
    Require(xc::text::DecodeUtf8(text, bytes, &errorAt) == good);
    if (!good) {
        Require(errorAt == expectedError && text == L"before");
        return;
    }
    Require(text.View() == expected && xc::text::CountUtf16Units(bytes) == expected.size());
    Require(text.AsUTF8() == bytes);
}

void CheckEncoding(std::wstring const& units)
{
    std::string lenient;
    xc::text::AppendUtf8(lenient, units);
    Require(lenient.size() == xc::text::CountUtf8Bytes(units));
    XCString back;
    Require(xc::text::DecodeUtf8(back, lenient) && back.Length() == units.size());
    bool const whole = xc::text::FindUnpairedSurrogate(units) == units.size();
    Require((back.View() == units) == whole || units.find(L'\xFFFD') != std::wstring::npos);
    std::vector<wchar_t> decoded(lenient.size() + 1);
    Require(xc::text::DecodeUtf8Leniently(decoded.data(), lenient) == units.size());
}

void CheckPage(std::string const& bytes, unsigned int page)
{
    XCSmartPtr<XCStringConverter> const converter(new XCCodePageConverter(page));
    XCString text;
    if (converter->ToUnicode(text, bytes).Bad()) return;
    std::string back;
    Require(converter->FromUnicode(back, text).Good());
    XCString again;
    Require(converter->ToUnicode(again, back).Good() && again.View() == text.View());
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    if (size == 0) return;
    std::string const narrow(reinterpret_cast<char const*>(bytes) + 1, size - 1);
    switch (bytes[0] % 4) {
    case 0: CheckEncoding(Units(bytes + 1, size - 1)); break;
    case 1: CheckPage(narrow, bytes[0] & 4 ? 932 : 1252); break;
    default: CheckDecoding(narrow);
    }
}
