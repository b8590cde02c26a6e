// List files: whatever the bytes, no name leads out of its folder.
#include "app/host/ListFile.h"
#include "encoding/EncodedText.h"
#include "input.h"

/// Where a path of this name ends up, counted in folders below the one it starts in, as the system resolves it.
bool LeadsOut(std::wstring_view name)
{
    int depth = 0;
    while (!name.empty()) {
        std::size_t const end = std::min(name.find_first_of(L"\\/"), name.size());
        std::wstring_view part = name.substr(0, end);
        while (part.size() > 2 && (part.back() == L' ' || part.back() == L'.')) part.remove_suffix(1);
        if (part == L".." && --depth < 0) return true;
        if (part != L".." && part != L"." && !part.empty()) ++depth;
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return false;
}

void CheckList(std::wstring_view text)
{
    for (XCString const& name : xc::host::ReadModuleList(text).names) {
        std::wstring_view const view = name.View();
        if (view.empty() || LeadsOut(view) || view.front() == L'\\' || view.front() == L'/') std::abort();
        for (wchar_t const unit : view)
            if (unit < L' ' || unit == L':') std::abort();
    }
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    XCTextEncoding encoding{};
    auto const text = xc::encoding::DecodeText({reinterpret_cast<char const*>(bytes), size}, encoding);
    if (!text) return;
    CheckList(text->View());
}
