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

constexpr std::size_t kMostUnits = 499; // of a text from a string table

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

// The system's own call for this is the only one that the library would need of the library of windows, which every
// program that uses texts of errors would then load: a quarter of the time that its start takes.
std::wstring LoadStringText(void* module, unsigned int id)
{
    // Sixteen texts make a resource: each a length and its units, without a zero.
    auto* const place = static_cast<HMODULE>(module);
    id &= 0xFFFF;
    HRSRC const table = ::FindResourceW(place, MAKEINTRESOURCEW(id / 16 + 1), RT_STRING);
    HGLOBAL const loaded = table ? ::LoadResource(place, table) : nullptr;
    auto const* at = loaded ? static_cast<wchar_t const*>(::LockResource(loaded)) : nullptr;
    if (!at) return {};
    wchar_t const* const end = at + ::SizeofResource(place, table) / sizeof(wchar_t);
    for (unsigned int before = id % 16; before > 0 && at < end; --before) at += 1 + *at;
    if (at >= end) return {};
    std::size_t const length = std::min<std::size_t>({*at, static_cast<std::size_t>(end - at) - 1, kMostUnits});
    return std::wstring(at + 1, length);
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
