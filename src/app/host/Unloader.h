// Unloader.h - how plug-ins leave a host, one by one.
#pragma once

#include "app/host/PlugInList.h"

namespace xc::host {

/// Unloads plug-ins that have left the list. One that somebody still holds waits here, since its holder may be a plug-in
/// that leaves later. Needs no memory; without it messages are dropped. The host's thread.
class Unloader {
public:
    /// Says so, joins the thread of a plug-in that has ended late, calls Unload, and releases the plug-in.
    void Unload(PlugInList::Place one) noexcept;
    /// One that must stay: its code is at work, or may be called by such code. It keeps itself and its code until the
    /// process ends.
    static void Leave(Entry& entry) noexcept;
    /// Takes one that was never initialised.
    void Take(PlugInList::Place one) noexcept { m_held.Add(std::move(one)); }
    /// Releases those that nobody else holds any more. The code of the others stays until the process ends, and they are
    /// named.
    void ReleaseHeld() noexcept;
    /// Unloads what a container has brought, and what that has brought.
    void UnloadChildrenOf(PlugInList& list, XCGuid const& container) noexcept;

private:
    PlugInList m_held;
};

} // namespace xc::host
