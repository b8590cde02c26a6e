// A host in a process of its own, whose modules may do to it what they want.
#pragma once

#include "child_process.h"
#include "host/host_tools.h"

namespace xc_test {

/// How it ended, its log at level 2, and its error log.
struct Ended {
    DWORD code;
    std::string log, errors;
};

inline Ended RunHostile(ModuleFolder const& folder, wchar_t const* options)
{
    ::SetEnvironmentVariableW(L"XC_HOST_CHILD", folder.Path().AsWChar());
    ::SetEnvironmentVariableW(L"XC_HOST_OPTIONS", options);
    DWORD const code = ChildProcess(ChildProcess::OfTest(L"DISABLED_HostileChild.Runs")).Wait();
    return {code, ReadFile(folder.path / "host.log"), ReadFile(folder.path / "error.log")};
}

} // namespace xc_test
