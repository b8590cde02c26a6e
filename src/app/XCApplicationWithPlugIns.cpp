// The plug-in host: what is loaded, and how it runs and ends. Loading.cpp finds the modules.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCUnitTest.h>

#include "app/Host.h"
#include "app/PlugInOrder.h"
#include "app/QuitSignal.h"
#include "app/Sealed.h"
#include "app/ThreadedState.h"

#include <algorithm>
#include <iostream>

using xc::app::PlugInFailure;
using xc::app::Sealed;

namespace {

constexpr int kExitNothingLoaded = 1;
constexpr int kExitRunFailed = 2;

} // namespace

// Construction, destruction -------------------------------------------------------------------------------------

XCApplicationWithPlugIns::XCApplicationWithPlugIns(int argumentCount, wchar_t const* const* arguments,
                                                   XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                                                   void* module)
    : XCApplication(argumentCount, arguments, subscriber, handleSignals), m_host(std::make_unique<Host>(module)),
      m_mainMenu(std::make_unique<XCUnitTest>(GetAppName(false, false))), m_exitCode(0)
{
}

XCApplicationWithPlugIns::XCApplicationWithPlugIns(XCString const& commandLine,
                                                   XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                                                   void* module)
    : XCApplication(commandLine, subscriber, handleSignals), m_host(std::make_unique<Host>(module)),
      m_mainMenu(std::make_unique<XCUnitTest>(GetAppName(false, false))), m_exitCode(0)
{
}

XCApplicationWithPlugIns::~XCApplicationWithPlugIns()
{
    Print(L"Exiting application...\n");
    m_mainMenu.reset(); // its test cases may be code of modules
    while (!m_host->IsEmpty()) UnloadLast();
}

void XCApplicationWithPlugIns::UnloadLast()
{
    Host::Entry entry = m_host->TakeLast().value();
    Print(L">>>> Unloading <" + entry.name + L">...\n");
    if (Host::IsStillRunning(*entry.plugIn)) {
        // Its code is being executed: it keeps its module and itself until the process ends.
        Print(L"ERR> ***<" + entry.name + L"> is still running and stays loaded\n");
        entry.plugIn->AddRef();
        entry.module.KeepLoaded();
        return;
    }
    XCErrorID const unloaded = Sealed([&] { entry.plugIn->Unload(); });
    if (unloaded.Bad()) Print(L"ERR> ***<" + entry.name + L">: " + unloaded.AsString() + L"\n");
    if (entry.plugIn->NbRef() > 1) {
        Print(L"ERR> ***<" + entry.name + L"> is still in use and stays loaded\n");
        entry.module.KeepLoaded();
    }
    XCErrorID const released = Sealed([&] { entry.plugIn.Clear(); });
    if (released.Bad()) Print(L"ERR> ***<" + entry.name + L">: " + released.AsString() + L"\n");
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
    for (std::size_t const item : xc::app::OrderByDependency(dependsOn)) list.push_back(plugIns[item]);
}

// Adding --------------------------------------------------------------------------------------------------------

XCErrorID XCApplicationWithPlugIns::CheckDependents(XCPlugIn const& plugIn, bool quiet)
{
    Host::Facts const facts = Host::FactsOf(plugIn);
    for (PlugInIdEx const& wanted : facts.dependencies) {
        if (!m_host->Find(wanted.GetGuid()).IsNull()) continue;
        XCString const name = wanted.GetText().IsNull() ? wanted.GetGuid().AsString() : wanted.GetText();
        XCErrorID const missing = PlugInFailure(L"<" + facts.name + L"> depends on " + name + L", which is not loaded");
        if (!quiet) Print(L"ERR> ***" + missing.AsString() + L"\n");
        return missing;
    }
    return XCErrorID::Success;
}

XCErrorID XCApplicationWithPlugIns::AddPlugIn(XCSmartPtr<XCPlugIn> plugIn, bool quiet)
{
    if (plugIn.IsNull()) return PlugInFailure(L"no plug-in object");
    Host::Facts facts = Host::FactsOf(*plugIn);
    if (facts.failure.Bad()) return facts.failure;
    if (m_host->Holds(plugIn) || !m_host->Find(facts.guid).IsNull()) {
        XCErrorID const present = PlugInFailure(L"<" + facts.name + L"> is already loaded");
        Print(L"ERR> ***" + present.AsString() + L"\n");
        return present;
    }
    XCErrorID const dependencies = CheckDependents(*plugIn, false);
    if (dependencies.Bad()) return dependencies;
    AddChildren(*plugIn, quiet);

    if (!quiet) Print(L">>>> Initializing <" + facts.name + L">...");
    plugIn->SetStatus(XCPlugIn::StatusInitialising);
    XCErrorID const initialised = Sealed([&] { return plugIn->Init(*this); });
    plugIn->SetStatus(initialised.Good() ? XCPlugIn::StatusReady : XCPlugIn::StatusCreated);
    if (!quiet) Print(initialised.Good() ? L" Done.\n" : L"Failed.\n");
    if (initialised.Bad())
        Print(L"ERR> ***<" + facts.name + L">: " + initialised.AsString() + L"\n");
    else
        m_host->Add(std::move(plugIn), std::move(facts));
    return initialised;
}

void XCApplicationWithPlugIns::AddChildren(XCPlugIn& plugIn, bool quiet)
{
    if (!xc::app::SealedValue([&] { return plugIn.IsContainerPlugIn(); }, false)) return;
    auto* const container = dynamic_cast<XCPlugInContainer*>(&plugIn);
    if (!container) return;
    auto const children =
        xc::app::SealedValue([&] { return container->GetPlugInList(); }, XCSmartPtrVector<XCPlugIn>());
    for (XCSmartPtr<XCPlugIn> const& child : children) (void)AddPlugIn(child, quiet);
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
        AddToPath(argument.GetValueAsString().AsWChar());
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
    {
        xc::app::QuitWatch const quit([this] { (void)Sealed([this] { RequestExit(false); }); });
        for (XCSmartPtr<XCPlugIn> const& plugIn : list) RunOne(*plugIn);
        for (XCSmartPtr<XCPlugIn> const& plugIn : list) WaitForEnd(*plugIn);
    }
    if (m_runWithMenu) m_mainMenu->RunMenu(std::wcin, GetCout());
    return m_exitCode.load();
}

void XCApplicationWithPlugIns::RunOne(XCPlugIn& plugIn)
{
    if (plugIn.GetStatus() != XCPlugIn::StatusReady || !plugIn.IsRunningPlugIn()) return;
    auto* const runnable = dynamic_cast<XCRunPlugIn*>(&plugIn);
    if (!runnable || IsExitRequested()) return;
    XCString const name = m_host->NameOf(plugIn);
    if (auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(runnable)) {
        Print(L"RUN> Running <" + name + L">...(threaded)\n");
        StartThread(*threaded, name);
        return;
    }
    Print(L"RUN> Running <" + name + L">...\n");
    RunHere(*runnable, name);
}

void XCApplicationWithPlugIns::RunHere(XCRunPlugIn& plugIn, XCString const& name)
{
    plugIn.SetStatus(XCPlugIn::StatusRunning);
    XCErrorID const ran = Sealed([&] { plugIn.Run(); });
    plugIn.SetStatus(XCPlugIn::StatusFinished);
    if (ran.Good()) return;
    Print(L"ERR> ***<" + name + L">: " + ran.AsString() + L"\n");
    int none = 0;
    m_exitCode.compare_exchange_strong(none, kExitRunFailed);
}

void XCApplicationWithPlugIns::StartThread(XCThreadedRunPlugIn& plugIn, XCString const& name)
{
    XCThreadedRunPlugIn::State& state = *plugIn.m_state;
    XCErrorID const started = Sealed([&] {
        state.thread = new XCThread(XCMakeCallback([this, &plugIn, name] { RunInThread(plugIn, name); }));
        state.thread->SetName(name);
        return state.thread->Start();
    });
    if (started.Good())
        (void)state.startedEvent.wait(XCInfinite);
    else
        Print(L"ERR> ***<" + name + L">: " + started.AsString() + L"\n");
}

void XCApplicationWithPlugIns::RunInThread(XCThreadedRunPlugIn& plugIn, XCString const& name)
{
    plugIn.m_state->SetStarted();
    RunHere(plugIn, name);
    plugIn.m_state->SetEnded();
}

// Waits for a threaded plug-in; after a quit request no longer than the plug-in's patience, then it is named.
void XCApplicationWithPlugIns::WaitForEnd(XCPlugIn& plugIn)
{
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(&plugIn);
    if (!threaded || threaded->m_state->thread.IsNull()) return;
    XCThreadedRunPlugIn::State& state = *threaded->m_state;
    unsigned int patience = XCThreadedRunPlugIn::kExitPatienceMs;
    while (state.ended.wait(XCThreadedRunPlugIn::kExitStepMs) != 0) {
        if (!IsExitRequested()) continue;
        patience -= std::min(patience, XCThreadedRunPlugIn::kExitStepMs);
        if (patience != 0) continue;
        Print(L"ERR> ***<" + m_host->NameOf(plugIn) + L"> ignores the request to exit\n");
        return;
    }
    state.thread->Join();
    state.thread.Clear();
}

void XCApplicationWithPlugIns::RequestExit(bool immediately)
{
    XCApplication::RequestExit(immediately);
    Print(L">>>> Quit signal received. Requesting exit to all plug-ins...\n");
    for (XCSmartPtr<XCPlugIn> const& plugIn : m_host->PlugIns())
        (void)Sealed([&] { plugIn->RequestExit(immediately); });
}
