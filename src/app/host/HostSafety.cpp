// The host's side of its quarantine, its probe and its policy: who sets them, and which modules they keep out.
//
// The options are read in the constructor, before the program can load anything. A module is judged by its path, before
// any of its code can run. A refusal is one line and one failure, as for a module that the system does not load.
#include "app/host/Host.h"
#include "errors/Sealed.h"
#include "errors/SystemWords.h"
#include "win32/Module.h"

XCErrorID XCApplicationWithPlugIns::SetQuarantine(XCString const& file)
{
    xc::win32::SystemPath path(file.View());
    if (file.IsNull())
        path = xc::win32::SystemPath(GetTmpDirectory().View())
                   .Child((GetAppName(false, false) + L"-QUARANTINE.TXT").View());
    // What was loaded under the first file has not failed until now.
    if (m_host->quarantine) m_host->quarantine->EndWell(); // of another file
    m_host->quarantine.reset();
    m_host->quarantine = std::make_unique<xc::host::Quarantine>(path);
    XCErrorID started = m_host->quarantine->Start();
    if (started.Bad()) PrintError(started.AsString());
    return started;
}

std::vector<XCModuleVerdict> XCApplicationWithPlugIns::GetQuarantine() const
{
    return m_host->quarantine ? m_host->quarantine->List() : std::vector<XCModuleVerdict>();
}

XCErrorID XCApplicationWithPlugIns::ClearQuarantine(XCString const& module)
{
    return m_host->quarantine ? m_host->quarantine->Clear(module) : XCErrorID();
}

void XCApplicationWithPlugIns::SetQuarantineAsAsked()
{
    bool const clears = GetCmdLine().ArgPresent(L"quarantineClear");
    if (!clears && !GetCmdLine().ArgPresent(L"quarantineList") && !GetCmdLine().ArgPresent(L"quarantine")) return;
    // Printed there; a program whose folder cannot be written goes on.
    (void)SetQuarantine(GetCmdLine().GetArg(L"quarantine"));
    XCErrorID const cleared = clears ? ClearQuarantine(GetCmdLine().GetArg(L"quarantineClear")) : XCErrorID();
    if (cleared.Bad()) PrintError(cleared.AsString());
}

/// One line a module. @return false when nobody has asked.
bool XCApplicationWithPlugIns::ShowQuarantineIfAsked() const
{
    if (!GetCmdLine().ArgPresent(L"quarantineList")) return false;
    std::vector<XCModuleVerdict> const list = GetQuarantine();
    if (list.empty()) Print(L"The quarantine is empty.\n");
    for (XCModuleVerdict const& verdict : list) {
        XCString count;
        count.Format(L"suspected (%u)", verdict.suspicions);
        Print(verdict.path + L": " + (verdict.confirmed ? XCString(L"confirmed") : count) + L", " +
              (verdict.skipped ? L"skipped" : L"loaded") + L"; " + verdict.when + L" " + verdict.fault + L"\n");
    }
    return true;
}

void XCApplicationWithPlugIns::SetProbe(XCProbeOptions const& options)
{
    m_host->probe = options;
}

void XCApplicationWithPlugIns::SetProbeAsAsked()
{
    if (!GetCmdLine().ArgPresent(L"probe")) return;
    XCProbeOptions options;
    int const milliseconds = GetCmdLine().GetArg(L"probe", static_cast<int>(options.timeoutMs));
    if (milliseconds > 0) options.timeoutMs = static_cast<unsigned int>(milliseconds);
    // On all the same: who asks for a probe wants its protection more than this number.
    else if (!GetCmdLine().GetArg(L"probe").IsNull())
        PrintError(L"/probe names no number of milliseconds");
    SetProbe(options);
}

XCErrorID XCApplicationWithPlugIns::SetLoadPolicy(XCLoadPolicy const& policy)
{
    std::unique_ptr<xc::host::TrustSteps> trust = xc::host::SystemTrustSteps();
    auto checked = std::make_unique<xc::host::LoadPolicy>(policy, *trust);
    xc::win32::SystemPath failed;
    if (unsigned long const error = xc::win32::RestrictSearch(checked->Folders(), failed); error != 0)
        return xc::errors::PlugInFailure(xc::errors::SystemFailure(failed.Text(), error));
    // After the system has agreed: a policy that holds by half would promise too much.
    m_host->policy = std::move(checked);
    m_host->trust = std::move(trust);
    m_host->modules.RestrictSearch();
    return XCErrorID::Success;
}

/// Bad, and printed, when a module must not be loaded.
XCErrorID XCApplicationWithPlugIns::CheckAllowed(std::wstring const& path, XCString const& shown,
                                                 XCString const& entryName)
{
    // The cheapest first, and nothing that runs code before all that does not.
    XCString why = m_host->quarantine ? m_host->quarantine->WhySkipped(shown) : XCString();
    // Before the probe, which runs code of the module.
    if (why.IsNull() && m_host->policy) {
        why = m_host->policy->WhyRefused(xc::win32::SystemPath(path));
        if (!why.IsNull()) why = L"is refused by the policy of the host: it " + why;
    }
    if (why.IsNull() && m_host->probe) {
        std::unique_ptr<xc::host::ProbeSteps> const steps = xc::host::SystemProbeSteps();
        std::vector<xc::win32::SystemPath> folders;
        if (m_host->policy) folders = m_host->policy->Folders();
        why = xc::host::WhyRefused(xc::host::Probe(path, entryName, *m_host->probe, *steps, folders), *m_host->probe);
        if (!why.IsNull()) why = L"is refused by its probe: " + why;
    }
    if (why.IsNull()) return XCErrorID::Success;
    XCErrorID const refused = xc::errors::PlugInFailure(shown + L" " + why);
    PrintError(refused.AsString());
    return refused;
}
