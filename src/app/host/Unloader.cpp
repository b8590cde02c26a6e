// Plug-ins leave in reverse order of loading: what a plug-in depends on was loaded before it and so leaves after it. A
// plug-in that is still counted elsewhere is not released at once, because the one who holds it may be a plug-in loaded
// earlier: such ones wait, and are released in sweeps from the last to the first until a sweep frees none. What then is
// left is held by somebody outside, and keeps its code. Cost: one sweep as a rule, since holders were loaded later.
#include "app/host/Unloader.h"

#include "app/host/HostLines.h"
#include "app/host/ModuleSet.h"
#include "app/host/ThreadedState.h"

#include <cstdint>
#include <typeinfo>

namespace xc::host {

namespace {

void SayUnloading(Entry const& entry) noexcept
{
    errors::SayIfPossible([&] { Print(L">>>> Unloading <" + entry.name + L">...\n"); });
}

void Release(Entry& entry) noexcept
{
    XCErrorID const released = CallModule(L"Release", entry.name, entry.path, [&] { entry.plugIn.Clear(); });
    if (released.Bad()) PrintFailure(entry.name, released);
}

} // namespace

void Unloader::Unload(PlugInList::Place one) noexcept
{
    Entry& entry = *one;
    SayUnloading(entry);
    if (entry.threaded && !entry.threaded->thread.IsNull()) entry.threaded->Join(); // it ended after the host gave up
    // Every call into a module is guarded and noted: one that throws here must not keep the others from being
    // unloaded.
    XCErrorID const unloaded = CallModule(L"Unload", entry.name, entry.path, [&] { entry.plugIn->Unload(); });
    if (unloaded.Bad()) PrintFailure(entry.name, unloaded);
    // Looked at after Unload, in which a plug-in lets go of what it holds, perhaps of itself.
    if (entry.plugIn->NbRef() > 1)
        m_held.Add(std::move(one));
    else
        Release(entry);
}

void Unloader::Leave(Entry& entry) noexcept
{
    SayUnloading(entry);
    errors::SayIfPossible([&] {
        XCString const reason =
            entry.neededBy.IsNull() ? XCString(L"is still running") : L"is needed by <" + entry.neededBy + L">";
        PrintError(L"<" + entry.name + L"> " + reason + L" and stays loaded");
    });
    // One reference that is never given back, and the code pinned with it: a thread may still be running in both.
    entry.plugIn->AddRef();
    PinCodeOf(*entry.plugIn.GetPtr());
    if (entry.threaded && !entry.threaded->thread.IsNull()) entry.threaded->thread->SetDeleteOnEnd(true);
}

void Unloader::ReleaseHeld() noexcept
{
    for (bool more = true; more;) {
        more = false;
        std::uint64_t below = UINT64_MAX;
        // A sweep goes downwards by number, and a release within it may free what stands lower: that is taken in the
        // same sweep. Only what stands higher needs another one.
        for (PlugInList::Place free; (free = m_held.TakeFree(below)); more = true) Release(*free);
    }
    for (PlugInList::Place held; (held = m_held.TakeLast());) {
        errors::SayIfPossible([&] { PrintError(L"<" + held->name + L"> is still in use and stays loaded"); });
        PinCodeOf(*held->plugIn.GetPtr());
        Release(*held);
    }
}

void Unloader::UnloadChildrenOf(PlugInList& list, XCGuid const& container) noexcept
{
    for (PlugInList::Place child; (child = list.TakeLastChildOf(container));) {
        // Copied before the child goes; and a container's own children leave after it, since it may still use them in
        // Unload.
        XCGuid const guid = child->guid;
        bool const brings = child->container != nullptr;
        Unload(std::move(child));
        if (brings) UnloadChildrenOf(list, guid);
    }
}

} // namespace xc::host
