// Comparing the conversions of a translation with those of its original.
//
// A format decides which arguments a program is asked for, so a translator's slip can read memory that is not there. The
// two texts are therefore read by the engine that will fill them: a source of values that hands out nothing and notes
// each request. What it notes is, by construction, what would be pulled, whatever flags, widths and odd spellings stand
// in the text. Flags, widths and the precision of numbers belong to the language and may differ; the precision of a text
// may not, because it can be all that ends the text.
//
// Numbered inserts ("%1", "%2!d!", "%0:s") are no conversions of that engine: programs fill them with the system's
// formatter or XCPrintf. Their numbers say which value is meant, so their order is free; number and type must agree.
//
// Nearly all translations spell their conversions as the original does. One pass over the bytes of both finds that out
// without decoding either.
#include "encoding/MessageConversions.h"

#include "text/NumberText.h"
#include "text/PrintFormat.h"
#include "text/PrintFormatTerms.h"
#include "text/Units.h"

#include <algorithm>
#include <vector>

namespace xc::encoding {

namespace {

using text::Conversion;
using text::FormatSize;

/// The letters that differ in looks alone become one.
wchar_t LetterClass(Conversion const& wanted) noexcept
{
    switch (wanted.letter) {
    case L'i': return L'd';
    case L'X': return L'x';
    case L'E': return L'e';
    case L'G': return L'g';
    case L'A': return L'a';
    case L's':
    case L'S': return text::IsWideConversion(wanted.letter, wanted.size) ? L's' : L'S';
    case L'c':
    case L'C': return text::IsWideConversion(wanted.letter, wanted.size) ? L'c' : L'C';
    default: return wanted.letter;
    }
}

bool IsText(wchar_t letter) noexcept
{
    return letter == L's' || letter == L'S';
}

/// The size where it changes what is pulled; "%ld" and "%d" are one here.
std::wstring_view SizeName(Conversion const& wanted) noexcept
{
    if (std::wstring_view(L"sScCp*n").find(wanted.letter) != std::wstring_view::npos) return {};
    switch (wanted.size) {
    case FormatSize::Byte: return L"hh";
    case FormatSize::Short: return L"h";
    case FormatSize::Bits64: return L"ll";
    default: return {};
    }
}

/// Hands out nothing and spells each request.
class Recorder final : public text::FormatSource {
public:
    text::FormatValue Next(Conversion const& wanted) override
    {
        if (!m_spelled.IsNull()) m_spelled += L' ';
        m_spelled += L'%';
        wchar_t const letter = LetterClass(wanted);
        if (IsText(letter) && wanted.limit != XCString::npos) {
            m_spelled += L'.';
            m_spelled += text::NumberText(wanted.limit);
        }
        m_spelled += XCString(SizeName(wanted));
        m_spelled += letter;
        return {};
    }
    [[nodiscard]] XCString const& Spelled() const noexcept { return m_spelled; }

private:
    XCString m_spelled;
};

XCString Conversions(XCString const& message)
{
    Recorder recorder;
    text::FormatPlan const plan(message.AsWChar(), recorder, text::kFormatLimitOfData);
    return recorder.Spelled();
}

/// The insert that begins at a percent sign, spelled "%1", "%1!d!" or "%1:s"; empty when none does. `at` moves past it.
std::wstring_view TakeInsert(std::wstring_view message, std::size_t& at) noexcept
{
    std::size_t const begin = at++;
    while (at < message.size() && text::IsDigit(message[at])) ++at;
    if (at == begin + 1) return {};
    wchar_t const after = at < message.size() ? message[at] : L'\0';
    std::size_t const end = after == L'!'   ? message.find(L'!', at + 1)
                            : after == L':' ? message.find_first_of(L"sdfuatm", at + 1)
                                            : std::wstring_view::npos;
    if (end != std::wstring_view::npos) {
        at = end + 1;
        return message.substr(begin, at - begin);
    }
    // With a letter of printf behind it, it is a conversion of that width; else the digits are a number.
    std::size_t const letter = message.find_first_not_of(L"0123456789.*hlwjztIFLN", at);
    bool const isConversion =
        letter != std::wstring_view::npos &&
        std::wstring_view(L"diuoxXcCsSpeEfgGaAn").find(message[letter]) != std::wstring_view::npos;
    return isConversion ? std::wstring_view() : message.substr(begin, at - begin);
}

/// The inserts, each once, in the order of their spelling.
XCString Inserts(XCString const& message)
{
    std::vector<std::wstring_view> found;
    std::wstring_view const view = message.View();
    for (std::size_t at = view.find(L'%'); at < view.size(); at = view.find(L'%', at)) {
        if (at + 1 < view.size() && view[at + 1] == L'%') {
            at += 2;
            continue;
        }
        std::wstring_view const insert = TakeInsert(view, at);
        if (!insert.empty()) found.push_back(insert);
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    XCString spelled;
    for (std::wstring_view const insert : found) {
        if (!spelled.IsNull()) spelled += L' ';
        spelled += XCString(insert);
    }
    return spelled;
}

bool AreSame(wchar_t const* what, XCString const& original, XCString const& translation, XCString& reason)
{
    if (original == translation) return true;
    auto const named = [](XCString const& list) { return list.IsNull() ? XCString(L"none") : list; };
    reason = XCString(what) + L": the original has " + named(original) + L", the translation " + named(translation);
    return false;
}

/// Where the conversion or insert at a percent sign ends, by its spelling.
std::size_t SpellingEnd(std::string_view text, std::size_t at) noexcept
{
    std::size_t const end = text.find_first_not_of("0123456789.*#-+ hlwjztIFLN", at + 1);
    return end == std::string_view::npos ? text.size() : end;
}

/// The next percent sign that is not doubled.
std::size_t NextConversion(std::string_view text, std::size_t at) noexcept
{
    for (at = text.find('%', at); at != std::string_view::npos; at = text.find('%', at + 2))
        if (at + 1 == text.size() || text[at + 1] != '%') break;
    return at;
}

} // namespace

bool SpellSameConversions(std::string_view a, std::string_view b) noexcept
{
    std::size_t left = NextConversion(a, 0);
    std::size_t right = NextConversion(b, 0);
    while (left != std::string_view::npos && right != std::string_view::npos) {
        std::size_t const end = SpellingEnd(a, left);
        std::size_t const length = end - left;
        // What ends an insert may be anything, so only a letter decides that both spellings are whole.
        bool const isLetter =
            end < a.size() && std::string_view("diuoxXcCsSpeEfgGaA").find(a[end]) != std::string_view::npos;
        if (!isLetter || a.substr(left, length + 1) != b.substr(right, length + 1)) return false;
        left = NextConversion(a, end + 1);
        right = NextConversion(b, right + length + 1);
    }
    return left == right; // both are npos
}

bool TakeSameParameters(XCString const& original, XCString const& translation, XCString& reason)
{
    return AreSame(L"conversions", Conversions(original), Conversions(translation), reason) &&
           AreSame(L"inserts", Inserts(original), Inserts(translation), reason);
}

} // namespace xc::encoding
