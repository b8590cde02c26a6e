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

inline ChildProcess StartHostile(ModuleFolder const& folder, std::wstring const& options)
{
    ::SetEnvironmentVariableW(L"XC_HOST_CHILD", folder.Path().AsWChar());
    ::SetEnvironmentVariableW(L"XC_HOST_OPTIONS", options.c_str());
    return ChildProcess(ChildProcess::OfTest(L"DISABLED_HostileChild.Runs"));
}

inline Ended RunHostile(ModuleFolder const& folder, std::wstring const& options)
{
    DWORD const code = StartHostile(folder, options).Wait();
    return {code, ReadFile(folder.path / "host.log"), ReadFile(folder.path / "error.log")};
}

} // namespace xc_test
