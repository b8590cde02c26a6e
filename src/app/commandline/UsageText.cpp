// The option lines of a usage screen: names in a column of 20 units, descriptions wrapped at 54.
//
// A description is cut into pieces, each up to the last blank within the width, so that words stay whole; a word that is
// longer than a line is cut. Pieces are views, padded while they are appended: linear in the text.
#include "app/commandline/UsageText.h"

#include <algorithm>

std::wstring_view xc::commandline::TakePiece(std::wstring_view& text, std::size_t width) noexcept
{
    if (text.size() <= width) return std::exchange(text, {});
    // A blank just past the width still ends a full line: it is dropped, not shown.
    std::size_t const blank = text.rfind(L' ', width);
    bool const hard = blank == std::wstring_view::npos;
    std::wstring_view const piece = text.substr(0, hard ? width : blank);
    text.remove_prefix(hard ? width : blank + 1);
    return piece;
}

void xc::commandline::AppendPadded(XCString& out, std::wstring_view text, std::size_t width)
{
    out.Append(text);
    if (text.size() < width) out += XCString(L' ', width - text.size());
}

namespace {

using namespace xc::commandline;

constexpr std::size_t kNameWidth = 20;
constexpr std::size_t kTextWidth = 54;

/// "   /%s", or "   /%-20s %-54s" with the first piece; then "    %20s %-54s" for each further piece.
void AppendOption(XCString& out, std::wstring_view name, std::wstring_view description)
{
    out += L"   /";
    // A long name keeps its line to itself, so that the column of descriptions stays straight below it.
    AppendPadded(out, name, name.size() > kNameWidth ? 0 : kNameWidth);
    if (name.size() <= kNameWidth) {
        out += L' ';
        AppendPadded(out, TakePiece(description, kTextWidth), kTextWidth);
    }
    out += L'\n';
    while (!description.empty()) {
        AppendPadded(out, L"    ", 4 + kNameWidth + 1);
        AppendPadded(out, TakePiece(description, kTextWidth), kTextWidth);
        out += L'\n';
    }
}

} // namespace

XCString xc::commandline::FormatUsage(XCUsageInfo const& usage)
{
    XCString lines, name, description;
    bool flag = false;
    for (std::size_t i = 0; usage.GetCmdLineArgDesc(i, name, description, flag); ++i)
        AppendOption(lines, name, description);
    return lines;
}
