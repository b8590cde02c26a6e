// Code is freed only when nothing can reach it. What is registered with the library remembers the module that its class
// comes from, so that one question answers for it. Other threads are looked for in the process (ModuleThreads.h), for
// up to 64 modules in one pass, since a pass costs some system calls a thread. References of the set are counted here:
// the system counts as well, but does not tell. Unloading needs no memory: what is told is dropped without it.
#include "app/host/ModuleSet.h"

#include "app/host/HostLines.h"
#include "win32/ModuleThreads.h"

#include <algorithm>

namespace xc::host {

namespace {

constexpr std::size_t kModulesAtATime = 64;

} // namespace

void ModuleSet::Open(std::wstring const& path, Loaded& one)
{
    RunJournal::Get().Enter(one.path.View());
    ModuleCall const noted(L"LoadLibrary", {}, one.path);
    win32::Module module = win32::Module::Load(win32::SystemPath(path), m_isRestricted);
    if (module) ++m_shares[module.Get()];
    if (module) RunJournal::Get().SetImage(one.path.View(), module.Get());
    one.module = std::move(module);
}

bool ModuleSet::IsLast(Loaded const& one) const noexcept
{
    auto const shares = m_shares.find(one.module.Get());
    return shares != m_shares.end() && shares->second == 1;
}

void ModuleSet::Close(Loaded& one) noexcept
{
    win32::ModuleThread found{one.module.Get()};
    if (one.module && IsLast(one)) win32::FindThreadsIn(&found, 1);
    Free(one, found.thread);
}

/// @param thread one that was found in the module; 0: none.
void ModuleSet::Free(Loaded& one, unsigned long thread) noexcept
{
    auto const shares = m_shares.find(one.module.Get());
    if (shares == m_shares.end()) return;
    wchar_t const* left = nullptr;
    bool const isLast = --shares->second == 0;
    if (isLast) {
        m_shares.erase(shares);
        left = thread != 0 ? L"a thread" : m_leftBehind(one.module.Get());
    }
    if (!left) {
        {
            ModuleCall const noted(L"FreeLibrary", {}, one.path);
            one.module.Free();
        }
        if (isLast) RunJournal::Get().SetImage(one.path.View(), nullptr);
        return;
    }
    errors::SayIfPossible([&] { PrintError(one.path + L" has left " + left + L" behind and stays loaded"); });
    one.module.KeepLoaded();
}

void ModuleSet::CloseAll() noexcept
{
    while (!m_kept.empty()) {
        win32::ModuleThread found[kModulesAtATime];
        std::size_t const count = std::min(m_kept.size(), kModulesAtATime);
        auto next = m_kept.rbegin();
        for (std::size_t i = 0; i < count; ++i, ++next) found[i] = {next->module.Get()};
        win32::FindThreadsIn(found, count);
        for (std::size_t i = 0; i < count; ++i, m_kept.pop_back()) Free(m_kept.back(), found[i].thread);
    }
}

} // namespace xc::host
