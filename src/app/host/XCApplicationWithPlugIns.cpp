// The plug-in host: what is loaded, and how it runs. Loading.cpp finds the modules, Unloading.cpp lets them go.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCUnitTest.h>

#include "app/host/Host.h"
#include "app/host/PlugInOrder.h"
#include "app/host/QuitSignal.h"
#include "app/host/ThreadedState.h"
#include "errors/Sealed.h"
#include "win32/Clock.h"

#include <algorithm>
#include <iostream>

using xc::errors::PlugInFailure;
using xc::errors::SayIfPossible;
using xc::errors::Sealed;

namespace {

constexpr int kExitNothingLoaded = 1;
constexpr int kExitRunFailed = 2;

} // namespace

// Construction, destruction -------------------------------------------------------------------------------------

XCApplicationWithPlugIns::XCApplicationWithPlugIns(int argumentCount, wchar_t const* const* arguments,
                                                   XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                                                   void* module)
    : XCApplication(argumentCount, arguments, subscriber, handleSignals, module), m_host(std::make_unique<Host>()),
      m_mainMenu(std::make_unique<XCUnitTest>(GetAppName())), m_exitCode(std::make_shared<std::atomic<int>>(0))
{
}

XCApplicationWithPlugIns::XCApplicationWithPlugIns(XCString const& commandLine,
                                                   XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                                                   void* module)
    : XCApplication(commandLine, subscriber, handleSignals, module), m_host(std::make_unique<Host>()),
      m_mainMenu(std::make_unique<XCUnitTest>(GetAppName())), m_exitCode(std::make_shared<std::atomic<int>>(0))
{
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

// What is loaded ------------------------------------------------------------------------------------------------

XCSmartPtrVector<XCPlugIn> XCApplicationWithPlugIns::GetLoadedPlugIns() const
{
    return m_host->PlugIns();
}

XCSmartPtr<XCPlugIn> XCApplicationWithPlugIns::FindPlugIn(XCGuid const& guid) const
{
    return m_host->Find(guid);
}

void XCApplicationWithPlugIns::GetPlugInHier(XCSmartPtrVector<XCPlugIn>& list) const
{
    XCSmartPtrVector<XCPlugIn> const plugIns = m_host->PlugIns();
    std::vector<std::vector<std::size_t>> dependsOn(plugIns.size());
    for (std::size_t i = 0; i < plugIns.size(); ++i)
        for (PlugInIdEx const& wanted : m_host->DependenciesOf(plugIns[i])) {
            XCSmartPtr<XCPlugIn> const found = m_host->Find(wanted.GetGuid());
            auto const at = std::find(plugIns.begin(), plugIns.end(), found);
            if (at != plugIns.end()) dependsOn[i].push_back(static_cast<std::size_t>(at - plugIns.begin()));
        }
    list.clear();
    for (std::size_t const item : xc::host::OrderByDependency(dependsOn)) list.push_back(plugIns[item]);
}

// Adding --------------------------------------------------------------------------------------------------------

XCErrorID XCApplicationWithPlugIns::CheckDependents(XCPlugIn const& plugIn, bool quiet)
{
    Host::Facts const facts = Host::FactsOf(plugIn);
    for (PlugInIdEx const& wanted : facts.dependencies) {
        if (!m_host->Find(wanted.GetGuid()).IsNull()) continue;
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
    Host::Facts facts = Host::FactsOf(*plugIn);
    if (facts.failure.Bad()) {
        PrintError(facts.failure.AsString());
        return facts.failure;
    }
    // A container may offer itself, or be offered by what it has brought.
    bool const isBeingAdded = plugIn->m_status.load() == XCPlugIn::StatusInitialising;
    if (isBeingAdded || m_host->Holds(plugIn) || !m_host->Find(facts.guid).IsNull()) {
        XCErrorID const present = PlugInFailure(L"<" + facts.name + L"> is already loaded");
        PrintError(present.AsString());
        return present;
    }
    // Of a plug-in that is refused, too: its options may be what was wrong.
    XCUsageInfo const usage = xc::errors::SealedValue([&] { return plugIn->GetUsageInfo(); }, XCUsageInfo());
    if (usage.GetCmdLineArgDescCount() != 0 || !usage.GetGeneralInfo().IsNull()) AddCustomUsageInfo(usage);
    XCErrorID const dependencies = CheckDependents(*plugIn, false);
    if (dependencies.Bad()) return dependencies;

    std::size_t const testCases = m_mainMenu->GetTestCaseCount();
    Host::Entries entry(1); // its place is there before it works: then nothing can keep it out any more
    entry.front().plugIn = plugIn;
    plugIn->SetStatus(XCPlugIn::StatusInitialising);
    XCErrorID const initialised = Sealed([&] { return Initialise(*plugIn, facts.name, facts.guid, quiet); });
    plugIn->SetStatus(initialised.Good() ? XCPlugIn::StatusReady : XCPlugIn::StatusCreated);
    if (initialised.Bad()) {
        Host::SayFailure(facts.name, initialised);
        m_mainMenu->RemoveTestCases([](XCUnitTest::Function const&) { return true; }, testCases);
        m_host->UnloadChildrenOf(facts.guid);
        return initialised;
    }
    entry.front().name = std::move(facts.name);
    entry.front().guid = facts.guid;
    entry.front().dependencies = std::move(facts.dependencies);
    m_host->Add(entry);
    return initialised;
}

XCErrorID XCApplicationWithPlugIns::Initialise(XCPlugIn& plugIn, XCString const& name, XCGuid const& guid, bool quiet)
{
    XCErrorID const listed = AddChildren(plugIn, guid, quiet);
    if (listed.Bad()) return listed;
    if (!quiet) Print(L">>>> Initializing <" + name + L">...");
    XCErrorID const initialised = Sealed([&] { return plugIn.Init(*this); });
    if (!quiet) SayIfPossible([&] { Print(initialised.Good() ? L" Done.\n" : L"Failed.\n"); });
    return initialised;
}

// A child that cannot be added is reported, and does not keep the container out. Bad when the list cannot be had.
XCErrorID XCApplicationWithPlugIns::AddChildren(XCPlugIn& plugIn, XCGuid const& guid, bool quiet)
{
    if (!xc::errors::SealedValue([&] { return plugIn.IsContainerPlugIn(); }, false)) return XCErrorID::Success;
    auto* const container = dynamic_cast<XCPlugInContainer*>(&plugIn);
    if (!container) return XCErrorID::Success;
    XCSmartPtrVector<XCPlugIn> children;
    XCErrorID const listed = Sealed([&] { children = container->GetPlugInList(); });
    for (XCSmartPtr<XCPlugIn> const& child : children) {
        if (AddPlugIn(child, quiet).Good()) m_host->SetContainer(child, guid);
    }
    return listed;
}

XCErrorID XCApplicationWithPlugIns::LoadPlugIn(XCSmartPtr<XCPlugIn> plugIn)
{
    return AddPlugIn(std::move(plugIn), false);
}

// Running -------------------------------------------------------------------------------------------------------

int XCApplicationWithPlugIns::LoadAndRun()
{
    bool loaded = false;
    for (XCCommandLineArgument const& argument : GetCmdLine().GetParsedArgumentVector()) {
        if (argument.GetArgType() != XCCommandLineArgument::ArgWithValue ||
            !argument.GetArgument().IsEqual(L"osxpath", 1) || argument.GetValueAsString().IsNull())
            continue;
        AddToPath(DirectoryOfModules(argument.GetValueAsString()).AsWChar());
        loaded = LoadPlugInsFromDirectory(argument.GetValueAsString()).Good() || loaded;
    }
    if (!loaded && m_host->IsEmpty()) loaded = LoadPlugInsFromDirectory(L".").Good();
    if (!loaded && m_host->IsEmpty()) {
        Print(L"Couldn't find any OSX to load.\n");
        return kExitNothingLoaded;
    }
    return Run();
}

int XCApplicationWithPlugIns::Run()
{
    XCSmartPtrVector<XCPlugIn> list;
    GetPlugInHier(list);
    if (!IsExitRequested()) ForgetExitRequest(list);
    {
        xc::host::QuitWatch const quit([this] {
            if (!m_host->exitAsked) (void)Sealed([this] { RequestExit(false); });
        });
        for (XCSmartPtr<XCPlugIn> const& plugIn : list) RunOne(*plugIn);
        for (XCSmartPtr<XCPlugIn> const& plugIn : list) WaitForEnd(*plugIn);
    }
    if (m_runWithMenu) m_mainMenu->RunMenu(std::wcin, GetCout());
    return m_exitCode->load();
}

// An earlier request was taken back: what has not run yet may run now.
void XCApplicationWithPlugIns::ForgetExitRequest(XCSmartPtrVector<XCPlugIn> const& list)
{
    m_host->exitAsked = false;
    for (XCSmartPtr<XCPlugIn> const& plugIn : list)
        if (auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(plugIn.GetPtr())) {
            threaded->m_state->askedAt = 0;
            threaded->m_state->exitRequested.reset();
        }
}

void XCApplicationWithPlugIns::RunOne(XCPlugIn& plugIn)
{
    if (plugIn.GetStatus() != XCPlugIn::StatusReady) return;
    if (!xc::errors::SealedValue([&] { return plugIn.IsRunningPlugIn(); }, false)) return;
    auto* const runnable = dynamic_cast<XCRunPlugIn*>(&plugIn);
    if (!runnable || IsExitRequested()) return;
    XCString const name = m_host->NameOf(plugIn);
    if (auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(runnable)) {
        SayIfPossible([&] { Print(L"RUN> Running <" + name + L">...(threaded)\n"); });
        StartThread(*threaded, name);
        return;
    }
    SayIfPossible([&] { Print(L"RUN> Running <" + name + L">...\n"); });
    RunHere(*runnable, name, *m_exitCode);
}

// On the host's thread or the plug-in's own. Nothing of the host is used: a plug-in that ignores the request to exit
// outlives it.
void XCApplicationWithPlugIns::RunHere(XCRunPlugIn& plugIn, XCString const& name, std::atomic<int>& exitCode) noexcept
{
    plugIn.SetStatus(XCPlugIn::StatusRunning);
    XCErrorID const ran = Sealed([&] { plugIn.Run(); });
    plugIn.SetStatus(XCPlugIn::StatusFinished);
    if (ran.Bad()) NoteFailedRun(name, ran, exitCode);
}

void XCApplicationWithPlugIns::NoteFailedRun(XCString const& name, XCErrorID const& failure,
                                             std::atomic<int>& exitCode) noexcept
{
    Host::SayFailure(name, failure);
    int none = 0;
    exitCode.compare_exchange_strong(none, kExitRunFailed);
}

void XCApplicationWithPlugIns::StartThread(XCThreadedRunPlugIn& plugIn, XCString const& name)
{
    XCThreadedRunPlugIn::State& state = *plugIn.m_state;
    state.patienceMs = m_host->exitPatienceMs.load();
    XCErrorID const started = Sealed([&] {
        state.thread = new XCThread(XCMakeCallback([&plugIn, name, exitCode = m_exitCode] {
            plugIn.m_state->SetStarted();
            RunHere(plugIn, name, *exitCode);
            plugIn.m_state->SetEnded();
        }));
        state.thread->SetName(name);
        return state.thread->Start();
    });
    if (started.Good()) {
        (void)state.startedEvent.wait(XCInfinite);
        return;
    }
    state.thread.Clear(); // there is no end to wait for
    NoteFailedRun(name, started, *m_exitCode);
}

// Waits for a threaded plug-in; once it was asked to exit no longer than the host's patience, then it is named.
void XCApplicationWithPlugIns::WaitForEnd(XCPlugIn& plugIn)
{
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(&plugIn);
    if (!threaded || threaded->m_state->thread.IsNull()) return;
    XCThreadedRunPlugIn::State& state = *threaded->m_state;
    while (state.ended.wait(state.StepMs()) != 0) {
        std::uint64_t const askedAt = state.askedAt;
        unsigned int const patience = state.patienceMs;
        if (askedAt == 0 || patience == XCInfinite || xc::win32::TickMs() - askedAt < patience) continue;
        SayIfPossible([&] { PrintError(L"<" + m_host->NameOf(plugIn) + L"> ignores the request to exit"); });
        return;
    }
    state.thread->Join();
    state.thread.Clear();
}

void XCApplicationWithPlugIns::RequestExit(bool immediately)
{
    m_host->exitAsked = true; // before the flag: the watch would ask once more
    XCApplication::RequestExit(immediately);
    SayIfPossible([] { Print(L">>>> Quit signal received. Requesting exit to all plug-ins...\n"); });
    // All threads learn it at once: one that is slow to end does not delay the others.
    XCSmartPtr<XCPlugIn> plugIn;
    for (std::size_t i = 0; !(plugIn = m_host->At(i)).IsNull(); ++i)
        if (auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(plugIn.GetPtr()))
            threaded->m_state->exitRequested.post();
    for (std::size_t i = 0; !(plugIn = m_host->At(i)).IsNull(); ++i) {
        if (auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(plugIn.GetPtr()))
            threaded->m_state->askedAt = xc::win32::TickMs();
        XCErrorID const asked = Sealed([&] { plugIn->RequestExit(immediately); });
        if (asked.Bad()) Host::SayFailure(m_host->NameOf(*plugIn), asked);
    }
}

void XCApplicationWithPlugIns::SetExitPatience(unsigned int milliseconds) noexcept
{
    m_host->exitPatienceMs = milliseconds;
}

unsigned int XCApplicationWithPlugIns::GetExitPatience() const noexcept
{
    return m_host->exitPatienceMs;
}
