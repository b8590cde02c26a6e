// The end of a host: plug-ins go in reverse order of loading, and code is freed when nothing can reach it any more.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCUnitTest.h>

#include "app/host/Host.h"
#include "app/host/ThreadedState.h"
#include "errors/Sealed.h"
#include "log/SubscriberList.h"
#include "sync/ThreadRun.h"

#include <algorithm>
#include <typeinfo>

using xc::errors::SayIfPossible;
using xc::errors::Sealed;
using xc::win32::Module;

namespace {

/// The code of an object stays until the process ends.
template <class T>
void KeepCodeOf(T const& object)
{
    Module::OfAddress(&typeid(object)).KeepLoaded();
}

/// What of a module is still registered in the process; null when nothing is.
wchar_t const* LeftBehindBy(Module const& module) noexcept
{
    auto const holds = [&module](std::type_info const& type) { return module.Holds(&type); };
    if (xc::log::SubscriberList::Of(XCApplication::GetLogManager()).IsAnyClass(holds)) return L"a log subscriber";
    return xc::sync::ThreadRun::IsAnyClass(holds) ? L"a thread" : nullptr;
}

} // namespace

XCApplicationWithPlugIns::~XCApplicationWithPlugIns()
{
    SayIfPossible([] { Print(L"Exiting application...\n"); });
    auto const all = [](XCUnitTest::Function const&) { return true; };
    m_mainMenu->RemoveTestCases(all); // they may be code of modules
    m_host->MarkStaying();
    for (Host::Entries last = m_host->TakeLast(); !last.empty(); last = m_host->TakeLast()) {
        if (last.front().stays)
            Host::Leave(last.front());
        else
            m_host->Unload(std::move(last));
    }
    m_host->ReleaseLingering();
    m_mainMenu->RemoveTestCases(all);
    for (; !m_host->modules.empty(); m_host->modules.pop_back()) m_host->LetGoOf(m_host->modules.back());
}

void XCApplicationWithPlugIns::Host::SayFailure(XCString const& name, XCErrorID const& failure) noexcept
{
    SayIfPossible([&] { PrintError(L"<" + name + L">: " + failure.AsString()); });
}

/// A plug-in whose code is at work, or may be called by such code: it keeps itself and its code until the process ends.
void XCApplicationWithPlugIns::Host::Leave(Entry& entry) noexcept
{
    SayIfPossible([&] {
        Print(L">>>> Unloading <" + entry.name + L">...\n");
        XCString const reason =
            entry.neededBy.IsNull() ? XCString(L"is still running") : L"is needed by <" + entry.neededBy + L">";
        PrintError(L"<" + entry.name + L"> " + reason + L" and stays loaded");
    });
    entry.plugIn->AddRef();
    KeepCodeOf(*entry.plugIn);
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(entry.plugIn.GetPtr());
    if (threaded && !threaded->m_state->thread.IsNull()) threaded->m_state->thread->SetDeleteOnEnd(true);
}

void XCApplicationWithPlugIns::Host::Unload(Entries one) noexcept
{
    Entry& entry = one.front();
    SayIfPossible([&] { Print(L">>>> Unloading <" + entry.name + L">...\n"); });
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(entry.plugIn.GetPtr());
    if (threaded && !threaded->m_state->thread.IsNull()) { // ended after the host had given up
        threaded->m_state->thread->Join();
        threaded->m_state->thread.Clear();
    }
    XCErrorID const unloaded = Sealed([&] { entry.plugIn->Unload(); });
    if (unloaded.Bad()) SayFailure(entry.name, unloaded);
    if (entry.plugIn->NbRef() > 1) // perhaps held by a plug-in that goes later
        lingering.splice(lingering.end(), one);
    else
        Release(entry);
}

void XCApplicationWithPlugIns::Host::Release(Entry& entry) noexcept
{
    XCErrorID const released = Sealed([&] { entry.plugIn.Clear(); });
    if (released.Bad()) SayFailure(entry.name, released);
}

void XCApplicationWithPlugIns::Host::ReleaseLingering() noexcept
{
    for (;;) { // each that goes may hold others
        auto const free =
            std::find_if(lingering.begin(), lingering.end(), [](Entry const& e) { return e.plugIn->NbRef() == 1; });
        if (free == lingering.end()) break;
        Entries one;
        one.splice(one.end(), lingering, free);
        Release(one.front());
    }
    for (Entry& entry : lingering) {
        SayIfPossible([&] { PrintError(L"<" + entry.name + L"> is still in use and stays loaded"); });
        KeepCodeOf(*entry.plugIn);
        Release(entry);
    }
    lingering.clear();
}

void XCApplicationWithPlugIns::Host::UnloadChildrenOf(XCGuid const& container) noexcept
{
    for (Entries child = TakeLastChildOf(container); !child.empty(); child = TakeLastChildOf(container)) {
        XCGuid const guid = child.front().guid;
        Unload(std::move(child));
        UnloadChildrenOf(guid);
    }
}

bool XCApplicationWithPlugIns::Host::IsLoadedBeside(Module const& module) const noexcept
{
    return std::any_of(modules.begin(), modules.end(), [&](LoadedModule const& other) {
        return &other.module != &module && other.module.Get() == module.Get();
    });
}

/// Frees a module, unless something that it has registered in the process would be left without code.
void XCApplicationWithPlugIns::Host::LetGoOf(LoadedModule& loaded) noexcept
{
    wchar_t const* const left = IsLoadedBeside(loaded.module) ? nullptr : LeftBehindBy(loaded.module);
    if (!left) return loaded.module.Free();
    SayIfPossible([&] { PrintError(loaded.path + L" has left " + left + L" behind and stays loaded"); });
    loaded.module.KeepLoaded();
}
