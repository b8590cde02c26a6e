// ModuleSet.h - the modules that a host has loaded, and when their code may go.
#pragma once

#include <XelbrinCore/XCString.h>

#include "win32/Module.h"

#include <list>
#include <map>
#include <typeinfo>

namespace xc::host {

/// The code of an object stays loaded until the process ends.
template <class T>
void PinCodeOf(T const& object)
{
    win32::Module::OfAddress(&typeid(object)).KeepLoaded();
}

/// One thread: the host's.
class ModuleSet {
public:
    /// What of a module is still registered in the process: "a log subscriber"; null when nothing was found.
    using LeftBehind = wchar_t const* (*)(void const* module);
    explicit ModuleSet(LeftBehind leftBehind) noexcept : m_leftBehind(leftBehind) {}

    /// One reference to a module, from its loading to Close.
    struct Loaded {
        win32::Module module;
        XCString path; ///< visible
    };
    /// One module; it moves from list to list without memory.
    using List = std::list<Loaded>;

    /// Loads the module of an absolute path into `one`. Empty on failure, with the thread's last error.
    void Open(std::wstring const& path, Loaded& one);
    /// From here on what modules link to is looked for as win32::RestrictSearch says.
    void RestrictSearch() noexcept { m_isRestricted = true; }
    /// Whether `one` holds the only reference of this set to its module.
    [[nodiscard]] bool IsLast(Loaded const& one) const noexcept;
    /// Gives one reference back. A module that something in the process still needs stays loaded until the process ends,
    /// and is named. Nothing when `one` is empty.
    void Close(Loaded& one) noexcept;
    /// Keeps a module until CloseAll.
    void Keep(List& one) noexcept { m_kept.splice(m_kept.end(), one); }
    /// Closes what was kept, the last first.
    void CloseAll() noexcept;

private:
    void Free(Loaded& one, unsigned long thread) noexcept;

    LeftBehind m_leftBehind;
    bool m_isRestricted = false;
    std::map<void*, std::size_t> m_shares; ///< references of this set, by the system's handle
    List m_kept;
};

} // namespace xc::host
