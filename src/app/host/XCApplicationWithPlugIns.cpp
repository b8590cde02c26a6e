// The plug-in host: what is loaded, and how it is added. Loading.cpp brings the modules, Running.cpp runs what is
// ready.
//
// A plug-in is added in fixed steps: its facts are asked once, then identity, options and dependencies are looked at,
// then its children are added, then it is initialised, and only then it is in the list. Until that last step nothing of
// it can be found by others, and a failure at any step undoes the ones before. Every call into a module is noted
// (ModuleCall) and sealed: an exception becomes a failure of this plug-in, a crash is reported with the name of the
// module. Invariant: what is in the list is initialised. At the end the order is reversed: what was loaded last is
// unloaded first.
#include <XelbrinCore/XCUnitTest.h>

#include "app/host/Host.h"
#include "app/host/HostLines.h"
#include "app/host/ThreadedState.h"
#include "log/SubscriberList.h"
#include "sync/ThreadRun.h"

using xc::errors::PlugInFailure;
using xc::errors::SayIfPossible;
using xc::errors::Sealed;
using xc::host::CallModule;
using xc::host::Facts;
using xc::host::ModuleCall;
using xc::host::PlugInAccess;
using xc::host::PlugInList;
using xc::host::PlugInRef;

// Construction, destruction -------------------------------------------------------------------------------------

XCApplicationWithPlugIns::XCApplicationWithPlugIns(int argumentCount, wchar_t const* const* arguments,
                                                   XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                                                   void* module)
    : XCApplication(Host::AfterProbe(argumentCount, module), arguments, subscriber, handleSignals, module),
      m_host(std::make_unique<Host>(*this)), m_mainMenu(std::make_unique<XCUnitTest>(GetAppName())),
      m_exitCode(std::make_shared<std::atomic<int>>(0))
{
    SetStopDeadlineAsAsked();
    SetQuarantineAsAsked();
    SetProbeAsAsked();
}

XCApplicationWithPlugIns::XCApplicationWithPlugIns(XCString const& commandLine,
                                                   XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                                                   void* module)
    : XCApplication(Host::AfterProbe(commandLine, module), subscriber, handleSignals, module),
      m_host(std::make_unique<Host>(*this)), m_mainMenu(std::make_unique<XCUnitTest>(GetAppName())),
      m_exitCode(std::make_shared<std::atomic<int>>(0))
{
    SetStopDeadlineAsAsked();
    SetQuarantineAsAsked();
    SetProbeAsAsked();
}

XCApplicationWithPlugIns::~XCApplicationWithPlugIns()
{
    if (m_host->deadline) m_host->deadline->BeginEnd();
    EndPlugIns();
    m_host->deadline.reset(); // its threads use the host
    if (m_host->quarantine) m_host->quarantine->EndWell();
}

/// On the host's thread; on the deadline's when that one never comes back from a module.
void XCApplicationWithPlugIns::EndPlugIns() noexcept
{
    SayIfPossible([] { Print(L"Exiting application...\n"); });
    auto const all = [](XCUnitTest::Function const&) { return true; };
    m_mainMenu->RemoveTestCases(all); // they may be code of modules
    // Threads that did not stop in time still run code of some modules: those are left as they are.
    m_host->list.MarkStaying(!m_host->StopJobs());
    for (PlugInList::Place last; (last = m_host->list.TakeLast());) {
        if (last->stays)
            xc::host::Unloader::Leave(*last);
        else
            m_host->unloader.Unload(std::move(last));
    }
    // Modules may have added test cases while they were unloaded; an empty menu must be left before their code goes.
    m_host->unloader.ReleaseHeld();
    m_mainMenu->RemoveTestCases(all);
    m_host->modules.CloseAll();
}

XCUsageInfo XCApplicationWithPlugIns::GetUsageInfo() const
{
    XCUsageInfo usage = XCApplication::GetUsageInfo();
    usage.AddCmdLineArgDesc(
        L"osxpath:{directory}",
        L"Specify to load the plug-ins (.OSX) from a specific directory. This option can be used more than once to "
        L"specify several directories. If you have a listfile named OSX.LST in the directory specified, then the .OSX "
        L"listed in this file will be loaded. If you want to use a different listfile name (rather than OSX.LST), you "
        L"can specify it at then end of the directory statement (ex: c:\\Harvel\\myosx.lst).",
        false);
    usage.AddCmdLineArgDesc(L"stopDeadline:{milliseconds}",
                            L"After a request to exit, name each plug-in that has not answered in this time and go on "
                            L"without it. The exit code is 124 then.",
                            false);
    usage.AddCmdLineArgDesc(L"quarantine[:filename]",
                            L"Skip the plug-ins that have brought earlier runs down. If no filename is specified, then "
                            L"one in the temporary directory is used.",
                            false);
    usage.AddCmdLineArgDesc(L"quarantineList", L"List the plug-ins in quarantine, and end.", false);
    usage.AddCmdLineArgDesc(L"quarantineClear[:filename]",
                            L"Release the plug-in of this file from quarantine; all when no filename is specified.",
                            false);
    usage.AddCmdLineArgDesc(L"probe[:milliseconds]",
                            L"Load each plug-in in a process of its own first, and refuse it when it fails there.",
                            false);
    return usage;
}

bool XCApplicationWithPlugIns::IsAppWithPlugIn() const
{
    return true;
}

XCApplicationWithPlugIns* XCApplicationWithPlugIns::GetApp()
{
    return dynamic_cast<XCApplicationWithPlugIns*>(XCApplication::GetApp());
}

// A module whose subscriber or thread is still there must stay in memory: the next record or the next instruction would
// otherwise be in code that is gone.
wchar_t const* XCApplicationWithPlugIns::Host::LeftBehindBy(void const* module)
{
    if (xc::log::SubscriberList::Of(GetLogManager()).IsAnyFrom(module)) return L"a log subscriber";
    return xc::sync::ThreadRun::IsAnyFrom(module) ? L"a thread" : nullptr;
}

// Jobs ----------------------------------------------------------------------------------------------------------

XCThreadPool& XCApplicationWithPlugIns::GetJobPool() const
{
    return m_host->JobPool();
}

XCThreadPool& XCApplicationWithPlugIns::Host::JobPool()
{
    XCLockGuard const guard(m_jobSection);
    if (m_jobs.IsNull()) m_jobs = new XCThreadPool(0, 0, L"jobs");
    return *m_jobs;
}

bool XCApplicationWithPlugIns::Host::StopJobs() noexcept
{
    if (m_jobs.IsNull()) return true;
    XCErrorID const stopped = Sealed([this] { return m_jobs->Stop(exitPatienceMs); });
    if (stopped.Bad()) SayIfPossible([&] { PrintError(stopped.AsString()); });
    return stopped.Good();
}

// What is loaded ------------------------------------------------------------------------------------------------

XCSmartPtrVector<XCPlugIn> XCApplicationWithPlugIns::GetLoadedPlugIns() const
{
    return m_host->list.PlugIns();
}

XCSmartPtr<XCPlugIn> XCApplicationWithPlugIns::FindPlugIn(XCGuid const& guid) const
{
    return m_host->list.Find(guid);
}

void XCApplicationWithPlugIns::GetPlugInHier(XCSmartPtrVector<XCPlugIn>& list) const
{
    list.clear();
    for (PlugInRef const& ref : m_host->list.InOrderOfDependency()) list.push_back(ref.plugIn);
}

// Adding --------------------------------------------------------------------------------------------------------

XCErrorID XCApplicationWithPlugIns::CheckDependents(XCPlugIn const& plugIn, bool quiet)
{
    Facts const facts = m_host->FactsOf(plugIn, xc::host::PathOf(plugIn));
    for (PlugInIdEx const& wanted : facts.dependencies) {
        if (m_host->list.Holds(wanted.GetGuid())) continue;
        XCString const name = wanted.GetText().IsNull() ? wanted.GetGuid().AsString() : wanted.GetText();
        XCErrorID const missing = PlugInFailure(L"<" + facts.name + L"> depends on " + name + L", which is not loaded");
        if (!quiet) PrintError(missing.AsString());
        return missing;
    }
    return XCErrorID::Success;
}

XCErrorID XCApplicationWithPlugIns::AddPlugIn(XCSmartPtr<XCPlugIn> plugIn, bool quiet)
{
    if (plugIn.IsNull()) return PlugInFailure(L"no plug-in object");
    XCPlugIn& added = *plugIn;
    PlugInRef ref(std::move(plugIn), xc::host::PathOf(added));
    Facts const facts = m_host->FactsOf(added, ref.path);
    if (facts.failure.Bad()) {
        PrintError(facts.failure.AsString());
        return facts.failure;
    }
    Host::Known const known(*m_host, ref.plugIn, facts);
    ref.name = facts.name;
    ref.guid = facts.guid;
    // Looked at before anything is changed; once more after Init, which may load others.
    if (XCErrorID const present = CheckPresent(ref); present.Bad()) return present;
    TakeUsage(ref);
    if (XCErrorID const missing = CheckDependents(added, false); missing.Bad()) return missing;

    // The number before Init: test cases above it came from this plug-in and go with it when Init fails.
    std::size_t const testCases = m_mainMenu->GetTestCaseCount();
    PlugInList::Place place = PlugInList::Place::New(); // there before it works: then nothing can keep it out any more
    place->dependencies = facts.dependencies;
    place.Fill(ref);
    PlugInAccess::SetStatus(added, XCPlugIn::StatusInitialising);
    XCErrorID const initialised = Sealed([&] { return Initialise(ref, quiet); });
    PlugInAccess::SetStatus(added, initialised.Good() ? XCPlugIn::StatusReady : XCPlugIn::StatusCreated);
    if (initialised.Good()) {
        m_host->list.Add(std::move(place));
        return initialised;
    }
    xc::host::PrintFailure(ref.name, initialised);
    m_mainMenu->RemoveTestCases([](XCUnitTest::Function const&) { return true; }, testCases);
    // The children were added before the container was initialised; without it they are orphans.
    if (ref.container) m_host->unloader.UnloadChildrenOf(m_host->list, ref.guid);
    return initialised;
}

/// Bad when it is loaded, or about to be: a container may offer itself, or be offered by what it has brought.
XCErrorID XCApplicationWithPlugIns::CheckPresent(PlugInRef const& ref) const
{
    bool const isBeingAdded = PlugInAccess::StatusOf(*ref.plugIn) == XCPlugIn::StatusInitialising;
    if (!isBeingAdded && !m_host->list.Holds(ref.plugIn.GetPtr()) && !m_host->list.Holds(ref.guid))
        return XCErrorID::Success;
    XCErrorID const present = PlugInFailure(L"<" + ref.name + L"> is already loaded");
    PrintError(present.AsString());
    return present;
}

/// Of a plug-in that is refused, too: its options may be what was wrong.
void XCApplicationWithPlugIns::TakeUsage(PlugInRef const& ref)
{
    ModuleCall const noted(L"GetUsageInfo", ref.name, ref.path);
    XCUsageInfo const usage = xc::errors::SealedValue([&] { return ref.plugIn->GetUsageInfo(); }, XCUsageInfo());
    if (usage.GetCmdLineArgDescCount() != 0 || !usage.GetGeneralInfo().IsNull()) AddCustomUsageInfo(usage);
}

XCErrorID XCApplicationWithPlugIns::Initialise(PlugInRef const& ref, bool quiet)
{
    XCErrorID const listed = AddChildren(ref, quiet);
    if (listed.Bad()) return listed;
    ModuleCall const noted(L"Init", ref.name, ref.path); // before the line that its outcome ends
    if (!quiet) Print(L">>>> Initializing <" + ref.name + L">...");
    XCErrorID initialised = Sealed([&] { return ref.plugIn->Init(*this); });
    if (!quiet) SayIfPossible([&] { Print(initialised.Good() ? L" Done.\n" : L"Failed.\n"); });
    if (initialised.Good() && m_host->list.Holds(ref.guid)) // by what it has brought or loaded itself
        return PlugInFailure(L"its identity is that of another plug-in");
    return initialised;
}

// A child that cannot be added is reported, and does not keep the container out. Bad when the list cannot be had.
XCErrorID XCApplicationWithPlugIns::AddChildren(PlugInRef const& ref, bool quiet)
{
    if (!ref.container) return XCErrorID::Success;
    XCSmartPtrVector<XCPlugIn> children;
    bool brings = false;
    XCErrorID const listed = CallModule(L"GetPlugInList", ref.name, ref.path, [&] {
        brings = ref.plugIn->IsContainerPlugIn();
        if (brings) children = ref.container->GetPlugInList();
    });
    for (XCSmartPtr<XCPlugIn> const& child : children)
        if (AddPlugIn(child, quiet).Good()) m_host->list.SetContainer(child, ref.guid);
    return listed;
}

XCErrorID XCApplicationWithPlugIns::LoadPlugIn(XCSmartPtr<XCPlugIn> plugIn)
{
    return AddPlugIn(std::move(plugIn), false);
}

void XCApplicationWithPlugIns::SetExitPatience(unsigned int milliseconds) noexcept
{
    m_host->exitPatienceMs = milliseconds;
}

unsigned int XCApplicationWithPlugIns::GetExitPatience() const noexcept
{
    return m_host->exitPatienceMs;
}
