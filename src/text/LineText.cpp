// Text that must stay on its lines: units that could begin a line, move a cursor or turn the direction of writing are
// written out as escapes.
//
// Logs, traces and consoles show texts that came from outside. The list of dangerous units is short and fixed: the
// controls of ASCII and Latin-1, the separators of lines and paragraphs, and the marks of direction. Most texts hold
// none of them and are passed on without a copy. Cost: O(text).
//
// Letters of all scripts stay readable: only what changes the line as a whole is escaped, the backslash itself only
// where a reader must be able to undo the escapes.
#include "text/LineText.h"

#include "text/HexText.h"
#include "text/Units.h"
#include "text/Utf8.h"

#include <algorithm>

namespace xc::text {

namespace {

template <class Escapes>
void AppendWith(std::string& to, std::wstring_view text, Escapes escapes)
{
    if (std::none_of(text.begin(), text.end(), escapes)) return AppendUtf8(to, text);
    std::wstring written;
    for (wchar_t const unit : text) {
        if (escapes(unit))
            AppendEscape(written, unit);
        else
            written.push_back(unit);
    }
    AppendUtf8(to, written);
}

std::wstring_view WithoutCarriageReturn(std::wstring_view line) noexcept
{
    if (!line.empty() && line.back() == L'\r') line.remove_suffix(1);
    return line;
}

} // namespace

bool ShapesLines(wchar_t unit) noexcept
{
    std::uint32_t const u = ToUint(unit);
    // Controls of both halves of Latin-1, line and paragraph separators with the embeddings and overrides of
    // direction, the isolates, and the three marks of direction.
    return u < 0x20 || (u >= 0x7F && u < 0xA0) || (u >= 0x2028 && u <= 0x202E) || (u >= 0x2066 && u <= 0x2069) ||
           u == 0x200E || u == 0x200F || u == 0x061C;
}

void AppendEscape(std::wstring& to, wchar_t unit)
{
    std::uint32_t const u = ToUint(unit);
    to.push_back(L'\\');
    if (unit == L'\\') return to.push_back(L'\\');
    if (unit == L'\n') return to.push_back(L'n');
    if (unit == L'\r') return to.push_back(L'r');
    if (unit == L'\t') return to.push_back(L't');
    to.push_back(u < 0x100 ? L'x' : L'u');
    AppendHex(to, u, u < 0x100 ? 2 : 4);
}

void AppendOneLine(std::string& to, std::wstring_view text, wchar_t separator)
{
    AppendWith(to, text, [separator](wchar_t unit) { return ShapesLines(unit) || (unit == separator && unit != 0); });
}

void AppendIndented(std::string& to, std::wstring_view text, std::string_view lineEnd)
{
    // An empty text is one empty line.
    for (bool first = true; !text.empty() || first; first = false) {
        std::size_t const end = std::min(text.find(L'\n'), text.size());
        if (!first) to.append(lineEnd).append("    ");
        std::wstring_view const line = text.substr(0, end);
        AppendWith(to, end < text.size() ? WithoutCarriageReturn(line) : line,
                   [](wchar_t unit) { return unit != L'\t' && ShapesLines(unit); });
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

} // namespace xc::text
