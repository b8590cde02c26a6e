// Message and string tables of modules, and the messages of the system.
//
// Inserts are never filled by the system, since its own rules for them are not ours; texts come out raw. The languages
// of a table are enumerated from the resources: asking for a message in each language would ask thousands of times.
#include "win32/Messages.h"

#include "win32/LastError.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr DWORD kFromModule = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_HMODULE;
constexpr DWORD kFromSystem = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
static_assert((FORMAT_MESSAGE_ALLOCATE_BUFFER | kFromModule) == 0xB00);
static_assert((FORMAT_MESSAGE_ALLOCATE_BUFFER | kFromSystem) == 0x1300);

constexpr int kStringUnits = 500;

DWORD SourceFlags(void* module) noexcept
{
    return module ? kFromModule : kFromSystem;
}

struct LocalFreer {
    void operator()(wchar_t* text) const noexcept { ::LocalFree(text); }
};

struct Languages {
    std::vector<long> found;

    void Add(long language)
    {
        if (std::find(found.begin(), found.end(), language) == found.end()) found.push_back(language);
    }
    static BOOL CALLBACK OnLanguage(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR self)
    {
        reinterpret_cast<Languages*>(self)->Add(language);
        return TRUE;
    }
    static BOOL CALLBACK OnName(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR self)
    {
        // A table is one resource a block of texts; each may have languages of its own.
        ::EnumResourceLanguagesW(module, type, name, OnLanguage, self);
        return TRUE;
    }
};

} // namespace

bool LoadMessage(std::wstring& text, void* module, unsigned long id, unsigned long language)
{
    wchar_t* buffer = nullptr;
    DWORD const length = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | SourceFlags(module), module, id, language,
                                          reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    if (length == 0) return false;
    // The system's memory goes back to the heap that it came from, also when the copy finds none.
    std::unique_ptr<wchar_t, LocalFreer> const owner(buffer);
    text.assign(buffer, length);
    return true;
}

bool HasMessage(void* module, unsigned long id, unsigned long language) noexcept
{
    // A buffer that is too small for any text: the system then says so instead of "not found".
    KeepLastError const keep;
    wchar_t unit[1];
    return ::FormatMessageW(SourceFlags(module), module, id, language, unit, 1, nullptr) != 0 ||
           ::GetLastError() == ERROR_INSUFFICIENT_BUFFER;
}

// Read here, where the system would need its library of windows: a process that loads it no longer hears of log-off and
// shutdown through its console.
std::wstring LoadStringText(void* module, unsigned int id)
{
    auto const handle = static_cast<HMODULE>(module);
    HRSRC const place = ::FindResourceW(handle, MAKEINTRESOURCEW(((id >> 4) & 0xFFF) + 1), RT_STRING);
    HGLOBAL const loaded = place ? ::LoadResource(handle, place) : nullptr;
    if (!loaded) return {};
    auto const* at = static_cast<wchar_t const*>(::LockResource(loaded));
    wchar_t const* const end = at + ::SizeofResource(handle, place) / sizeof(wchar_t);
    // A block holds sixteen texts, each with its length before it.
    for (unsigned int skip = id & 15; skip > 0 && at < end; --skip) at += 1 + *at;
    if (at >= end) return {};
    std::size_t const length = std::min<std::size_t>(*at, static_cast<std::size_t>(end - at) - 1);
    return std::wstring(at + 1, std::min<std::size_t>(length, kStringUnits - 1));
}

std::vector<long> ResourceLanguages(void* module, ResourceKind kind)
{
    LPCWSTR const type = kind == ResourceKind::StringTable ? RT_STRING : RT_MESSAGETABLE;
    Languages languages;
    LONG_PTR const self = reinterpret_cast<LONG_PTR>(&languages);
    if (module || kind == ResourceKind::StringTable) {
        ::EnumResourceNamesW(static_cast<HMODULE>(module), type, Languages::OnName, self);
    } else { // in which of its base libraries the system keeps its messages depends on the release
        for (LPCWSTR const name : {L"kernel32.dll", L"kernelbase.dll", L"ntdll.dll"})
            ::EnumResourceNamesW(::GetModuleHandleW(name), type, Languages::OnName, self);
    }
    return std::move(languages.found);
}

} // namespace xc::win32
