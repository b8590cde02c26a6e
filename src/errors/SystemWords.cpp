// The system's texts are made for a message box: they end in a stop and a line end, some are broken into lines, and some
// have places (%1, %2, ...) for values that only the failing call knew. A text inside another message needs one line
// and no open place. The platform is asked not to fill the places, because it would read arguments that are not there;
// they are filled here: the first one by the name of the object, the others, of which nothing is known, by "...".
#include "errors/SystemWords.h"

#include "text/NumberText.h"
#include "text/Units.h"
#include "win32/Messages.h"

#include <string>

namespace xc::errors {

namespace {

/// The user's default language, then the order in which the system itself looks.
constexpr unsigned long kLanguages[] = {1024, 0};

std::wstring RawWords(unsigned long error)
{
    std::wstring words;
    for (unsigned long const language : kLanguages)
        if (win32::LoadMessage(words, nullptr, error, language)) break;
    return words;
}

/// The text with its places filled; "%%" and other escapes of message tables stand for themselves.
std::wstring Filled(std::wstring_view words, std::wstring_view name)
{
    std::wstring filled;
    for (std::size_t i = 0; i < words.size(); ++i) {
        bool const isPlace = words[i] == L'%' && i + 1 < words.size() && text::IsDigit(words[i + 1]);
        if (!isPlace) {
            filled += words[i];
            continue;
        }
        ++i;
        filled += words[i] == L'1' && !name.empty() ? name : std::wstring_view(L"...");
    }
    return filled;
}

/// Runs of white space become one blank; none, and no stop, is left at the end.
std::wstring OnOneLine(std::wstring_view words)
{
    std::wstring line;
    for (wchar_t const unit : words) {
        bool const space = text::IsSpace(unit);
        if (!space)
            line += unit;
        else if (!line.empty() && line.back() != L' ')
            line += L' ';
    }
    while (!line.empty() && (line.back() == L' ' || line.back() == L'.')) line.pop_back();
    return line;
}

} // namespace

XCString SystemWords(unsigned long error, std::wstring_view name)
{
    std::wstring const words = OnOneLine(Filled(RawWords(error), name));
    return words.empty() ? XCString(L"unknown error") : XCString(words);
}

XCString SystemFailure(std::wstring_view path, unsigned long error)
{
    XCString const words = SystemWords(error, path);
    XCString text;
    if (path.empty() || words.View().find(path) == std::wstring_view::npos) {
        text.Append(path);
        if (!path.empty()) text += L": ";
    }
    text.Append(words);
    text += L" (system error ";
    text.Append(text::NumberText(error));
    text += L")";
    return text;
}

} // namespace xc::errors
