// Services, and what remote shells start, run on desktops that nobody sees; only the library of windows knows. A library
// beside the program is loaded from there alone: one of that name in the current folder or on PATH may be anybody's.
#include "win32/Audience.h"

#include "win32/Module.h"
#include "win32/Process.h"
#include "win32/SystemFunction.h"

#include <windows.h>

namespace xc::win32 {

bool HasVisibleDesktop() noexcept
{
    HMODULE const user = LoadSystemLibrary(L"user32.dll");
    auto const station = SystemFunction<decltype(&::GetProcessWindowStation)>(user, "GetProcessWindowStation");
    auto const facts = SystemFunction<decltype(&::GetUserObjectInformationW)>(user, "GetUserObjectInformationW");
    if (!station || !facts) return false;
    USEROBJECTFLAGS flags{};
    DWORD needed = 0;
    return facts(station(), UOI_FLAGS, &flags, sizeof flags, &needed) && (flags.dwFlags & WSF_VISIBLE) != 0;
}

bool HasConsole() noexcept
{
    return ::GetConsoleCP() != 0;
}

bool HasDebugger() noexcept
{
    return ::IsDebuggerPresent() != 0;
}

void BreakIntoDebugger() noexcept
{
    ::DebugBreak();
}

void* FunctionBesideProgram(wchar_t const* library, char const* function)
{
    Module module = Module::Load(SystemPath(ModulePath()).Folder().Child(library));
    void* const found = module ? module.Find(function) : nullptr;
    if (found) module.KeepLoaded();
    return found;
}

} // namespace xc::win32
