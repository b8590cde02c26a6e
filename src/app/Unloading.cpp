// The end of a host: plug-ins go in reverse order of loading, and code is freed when nothing can reach it any more.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCUnitTest.h>

#include "app/Host.h"
#include "app/Sealed.h"
#include "app/ThreadedState.h"
#include "sync/ThreadRun.h"

#include <algorithm>
#include <typeinfo>

using xc::app::Sealed;
using xc::win32::Module;

namespace {

/// The code of an object stays until the process ends.
template <class T>
void KeepCodeOf(T const& object)
{
    Module::OfAddress(&typeid(object)).KeepLoaded();
}

/// What of a module is still registered in the process; null when nothing is.
wchar_t const* LeftBehindBy(Module const& module)
{
    for (XCSmartPtr<XCLogSubscriberI> const& subscriber : XCApplication::GetLogManager().GetSubscribers()) {
        XCLogSubscriberI const& object = *subscriber;
        if (module.Holds(&typeid(object))) return L"a log subscriber";
    }
    for (std::type_info const* const type : xc::sync::ThreadRun::ClassesInUse())
        if (module.Holds(type)) return L"a thread";
    return nullptr;
}

} // namespace

XCApplicationWithPlugIns::~XCApplicationWithPlugIns()
{
    Print(L"Exiting application...\n");
    auto const all = [](XCUnitTest::Function const&) { return true; };
    m_mainMenu->RemoveTestCases(all); // they may be code of modules
    std::vector<Host::Staying> const staying = m_host->StillNeeded();
    while (std::optional<Host::Entry> entry = m_host->TakeLast()) {
        auto const reason = std::find_if(staying.begin(), staying.end(),
                                         [&](Host::Staying const& one) { return one.guid == entry->guid; });
        if (reason == staying.end())
            m_host->Unload(*entry);
        else
            m_host->Leave(*entry, reason->reason);
    }
    m_host->ReleaseLingering();
    m_mainMenu->RemoveTestCases(all);
    for (; !m_host->modules.empty(); m_host->modules.pop_back()) {
        Host::LoadedModule& last = m_host->modules.back();
        m_host->LetGoOf(last.module, last.path);
    }
}

/// A plug-in whose code is at work, or may be called by such code: it keeps itself and its code until the process ends.
void XCApplicationWithPlugIns::Host::Leave(Entry& entry, XCString const& reason)
{
    Print(L">>>> Unloading <" + entry.name + L">...\n");
    PrintError(L"<" + entry.name + L"> " + reason + L" and stays loaded");
    entry.plugIn->AddRef();
    KeepCodeOf(*entry.plugIn);
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(entry.plugIn.GetPtr());
    if (threaded && !threaded->m_state->thread.IsNull()) threaded->m_state->thread->SetDeleteOnEnd(true);
}

void XCApplicationWithPlugIns::Host::Unload(Entry& entry)
{
    Print(L">>>> Unloading <" + entry.name + L">...\n");
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(entry.plugIn.GetPtr());
    if (threaded && !threaded->m_state->thread.IsNull()) { // ended after the host had given up
        threaded->m_state->thread->Join();
        threaded->m_state->thread.Clear();
    }
    XCErrorID const unloaded = Sealed([&] { entry.plugIn->Unload(); });
    if (unloaded.Bad()) PrintError(L"<" + entry.name + L">: " + unloaded.AsString());
    if (entry.plugIn->NbRef() > 1) // perhaps held by a plug-in that goes later
        lingering.push_back(std::move(entry));
    else
        Release(entry);
}

void XCApplicationWithPlugIns::Host::Release(Entry& entry)
{
    XCErrorID const released = Sealed([&] { entry.plugIn.Clear(); });
    if (released.Bad()) PrintError(L"<" + entry.name + L">: " + released.AsString());
}

void XCApplicationWithPlugIns::Host::ReleaseLingering()
{
    for (;;) { // each that goes may hold others
        auto const free =
            std::find_if(lingering.begin(), lingering.end(), [](Entry const& e) { return e.plugIn->NbRef() == 1; });
        if (free == lingering.end()) break;
        Entry entry = std::move(*free);
        lingering.erase(free);
        Release(entry);
    }
    for (Entry& entry : lingering) {
        PrintError(L"<" + entry.name + L"> is still in use and stays loaded");
        KeepCodeOf(*entry.plugIn);
        Release(entry);
    }
    lingering.clear();
}

void XCApplicationWithPlugIns::Host::UnloadChildrenOf(XCGuid const& container)
{
    while (std::optional<Entry> child = TakeLastChildOf(container)) {
        XCGuid const guid = child->guid;
        Unload(*child);
        UnloadChildrenOf(guid);
    }
}

bool XCApplicationWithPlugIns::Host::IsLoadedBeside(Module const& module) const
{
    return std::any_of(modules.begin(), modules.end(), [&](LoadedModule const& other) {
        return &other.module != &module && other.module.Get() == module.Get();
    });
}

/// Frees a module, unless something that it has registered in the process would be left without code.
void XCApplicationWithPlugIns::Host::LetGoOf(Module& module, XCString const& path)
{
    wchar_t const* const left = IsLoadedBeside(module) ? nullptr : LeftBehindBy(module);
    if (!left) return module.Free();
    PrintError(path + L" has left " + left + L" behind and stays loaded");
    module.KeepLoaded();
}
