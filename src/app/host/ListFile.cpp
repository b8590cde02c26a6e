// List files of modules: one name a line, blank lines and lines that start with ";" skipped.
//
// A list may name modules in its own folder and below, and nothing else: it is a file that others than the
// administrator may be able to write, and what it names becomes code of the process. The names are judged as the system
// would resolve them. It drops dots and blanks at the end of a part, takes both slashes, ends a name at U+0000, gives
// device names meaning in every folder and with any extension, and reads a colon as a drive or as a stream of a file.
// Whatever is not plainly inside is refused and reported; the other names are loaded. Cost: O(text). Invariant: no name
// in `names` leads out of the folder.
#include "app/host/ListFile.h"

#include "text/Units.h"

#include <algorithm>

namespace xc::host {

namespace {

std::wstring_view TrimBlanks(std::wstring_view text)
{
    while (!text.empty() && text::IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && text::IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

/// @param upper in upper case.
bool IsName(std::wstring_view text, std::wstring_view upper)
{
    return std::equal(text.begin(), text.end(), upper.begin(), upper.end(),
                      [](wchar_t a, wchar_t b) { return XCtowupper(a) == b; });
}

/// The number of COM and LPT: a digit, also in superscript.
bool IsPortNumber(std::wstring_view text)
{
    return text.size() == 1 && ((text[0] >= L'0' && text[0] <= L'9') || text[0] == L'\u00B9' || text[0] == L'\u00B2' ||
                                text[0] == L'\u00B3');
}

/// A name that the system gives to a device in every folder, whatever its case and extension: "nul", "Con .txt".
bool IsDevice(std::wstring_view part)
{
    std::wstring_view base = part.substr(0, part.find(L'.'));
    while (base.ends_with(L' ')) base.remove_suffix(1);
    for (std::wstring_view const name : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$", L"CLOCK$"})
        if (IsName(base, name)) return true;
    bool const isPort = IsName(base.substr(0, 3), L"COM") || IsName(base.substr(0, 3), L"LPT");
    return isPort && IsPortNumber(base.substr(3));
}

} // namespace

bool StaysInside(std::wstring_view name)
{
    if (name.empty() || name.front() == L'\\' || name.front() == L'/') return false;
    // A colon names a drive or a stream of a file; at a NUL the system would take the name to end.
    if (std::any_of(name.begin(), name.end(), [](wchar_t unit) { return unit == L':' || unit < L' '; })) return false;
    while (!name.empty()) {
        std::size_t const end = std::min(name.find_first_of(L"\\/"), name.size());
        // The system drops trailing dots and blanks of a name: ".. " leads out as well.
        std::wstring_view part = name.substr(0, end);
        bool const dots = part.find_first_not_of(L". ") == std::wstring_view::npos;
        if ((dots && part.size() > 1) || IsDevice(part)) return false;
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return true;
}

ModuleList ReadModuleList(std::wstring_view text)
{
    ModuleList list;
    while (!text.empty()) {
        std::size_t const end = std::min(text.find_first_of(L"\r\n"), text.size());
        std::wstring_view const name = TrimBlanks(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (name.empty() || name.front() == L';') continue;
        (StaysInside(name) ? list.names : list.refused).emplace_back(name);
    }
    return list;
}

} // namespace xc::host
