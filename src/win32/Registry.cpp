// Settings of the machine. A value may grow between the question for its size and the one for its text: the text is
// asked for at once, with more room each time that it does not fit.
#include "win32/Registry.h"

#include <windows.h>

namespace xc::win32 {

std::optional<std::wstring> ReadMachineSetting(wchar_t const* key, wchar_t const* value)
{
    std::wstring text(128, L'\0');
    for (;;) {
        auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        LSTATUS const status =
            ::RegGetValueW(HKEY_LOCAL_MACHINE, key, value, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
        if (status == ERROR_MORE_DATA) {
            text.resize(text.size() * 2);
            continue;
        }
        if (status != ERROR_SUCCESS) return std::nullopt;
        text.resize(bytes / sizeof(wchar_t));
        // A writer may have counted the terminator or not.
        while (!text.empty() && text.back() == L'\0') text.pop_back();
        return text;
    }
}

bool MachineKeyExists(wchar_t const* key) noexcept
{
    HKEY handle = nullptr;
    // A key that may not be read is as good as none.
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, &handle) != ERROR_SUCCESS) return false;
    ::RegCloseKey(handle);
    return true;
}

} // namespace xc::win32
