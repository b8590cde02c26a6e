// Searching, replacing and trimming against the standard string, on texts of few different units.
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void Require(bool condition)
{
    if (!condition) std::abort();
}

std::wstring Replaced(std::wstring text, std::wstring const& from, std::wstring const& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != std::wstring::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    if (size < 4) return 0;
    std::size_t const start = bytes[0];
    std::size_t const wantedLength = bytes[1] % (size - 3);
    unsigned int const kinds = 1 + bytes[2] % 3;
    std::wstring all;
    for (std::size_t i = 3; i < size; ++i) all += static_cast<wchar_t>(L'a' + bytes[i] % kinds);
    std::wstring const wanted = all.substr(0, wantedLength);
    std::wstring const text = all.substr(wantedLength);
    XCString const ours(text);
    wchar_t const* const w = wanted.c_str();
    Require(ours.Find(w, start) == text.find(wanted, start));
    Require(ours.RFind(w, start) == text.rfind(wanted, start));
    Require(ours.FindFirstOf(w, start) == text.find_first_of(wanted, start));
    Require(ours.FindLastNotOf(w, start) == text.find_last_not_of(wanted, start));
    Require(ours.Compare(w) == (text < wanted ? -1 : text > wanted ? 1 : 0));
    if (!wanted.empty()) {
        XCString copy(ours);
        copy.Replace(w, L"bc");
        Require(copy.View() == Replaced(text, wanted, L"bc"));
        copy = ours;
        copy.RTrim(w);
        std::size_t const last = text.find_last_not_of(wanted);
        Require(copy.View() == text.substr(0, last == std::wstring::npos ? 0 : last + 1));
    }
    return 0;
}
