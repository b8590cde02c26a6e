#include "app/host/Host.h"

#include "app/host/ThreadedState.h"
#include "errors/Sealed.h"

#include <algorithm>

using HostGuard = XCLockGuard<XCCriticalSection>;

auto XCApplicationWithPlugIns::Host::FactsOf(XCPlugIn const& plugIn) -> Facts
{
    Facts facts;
    facts.failure = xc::errors::Sealed([&] {
        facts.name = plugIn.GetPlugInName();
        facts.guid = plugIn.GetPlugInIdEx().GetGuid();
        facts.dependencies = plugIn.GetDependentV();
    });
    return facts;
}

bool XCApplicationWithPlugIns::Host::IsStillRunning(XCPlugIn& plugIn)
{
    auto* const threaded = dynamic_cast<XCThreadedRunPlugIn*>(&plugIn);
    return threaded && threaded->m_state->IsRunning();
}

bool XCApplicationWithPlugIns::Host::Entry::Needs(Entry const& other) const
{
    if (!container.IsNull() && container == other.guid) return true;
    return std::any_of(dependencies.begin(), dependencies.end(),
                       [&](PlugInIdEx const& wanted) { return wanted.GetGuid() == other.guid; });
}

void XCApplicationWithPlugIns::Host::Add(Entries& entry) noexcept
{
    HostGuard const guard(m_section);
    m_entries.splice(m_entries.end(), entry);
}

void XCApplicationWithPlugIns::Host::SetContainer(XCPlugIn const* child, XCGuid const& container)
{
    HostGuard const guard(m_section);
    for (Entry& entry : m_entries)
        if (entry.plugIn == child) entry.container = container;
}

auto XCApplicationWithPlugIns::Host::TakeLast() noexcept -> Entries
{
    HostGuard const guard(m_section);
    Entries last;
    if (!m_entries.empty()) last.splice(last.end(), m_entries, std::prev(m_entries.end()));
    return last;
}

auto XCApplicationWithPlugIns::Host::TakeLastChildOf(XCGuid const& container) noexcept -> Entries
{
    HostGuard const guard(m_section);
    Entries child;
    if (container.IsNull()) return child;
    auto const at = std::find_if(m_entries.rbegin(), m_entries.rend(),
                                 [&](Entry const& entry) { return entry.container == container; });
    if (at != m_entries.rend()) child.splice(child.end(), m_entries, std::next(at).base());
    return child;
}

// What needs another was as a rule loaded after it: one pass from behind finds nearly all.
void XCApplicationWithPlugIns::Host::MarkStaying() noexcept
{
    HostGuard const guard(m_section);
    for (Entry& entry : m_entries) entry.stays = IsStillRunning(*entry.plugIn);
    for (bool more = true; more;) {
        more = false;
        for (auto user = m_entries.rbegin(); user != m_entries.rend(); ++user)
            for (Entry& entry : m_entries) {
                if (!user->stays || entry.stays || !user->Needs(entry)) continue;
                entry.stays = more = true;
                entry.neededBy = user->name;
            }
    }
}

bool XCApplicationWithPlugIns::Host::IsEmpty() const
{
    HostGuard const guard(m_section);
    return m_entries.empty();
}

bool XCApplicationWithPlugIns::Host::Holds(XCPlugIn const* plugIn) const
{
    HostGuard const guard(m_section);
    return EntryOf(plugIn) != nullptr;
}

auto XCApplicationWithPlugIns::Host::EntryOf(XCPlugIn const* plugIn) const -> Entry const*
{
    auto const at =
        std::find_if(m_entries.begin(), m_entries.end(), [&](Entry const& entry) { return entry.plugIn == plugIn; });
    return at == m_entries.end() ? nullptr : &*at;
}

XCSmartPtr<XCPlugIn> XCApplicationWithPlugIns::Host::Find(XCGuid const& guid) const
{
    HostGuard const guard(m_section);
    for (Entry const& entry : m_entries)
        if (entry.guid == guid) return entry.plugIn;
    return {};
}

XCSmartPtrVector<XCPlugIn> XCApplicationWithPlugIns::Host::PlugIns() const
{
    HostGuard const guard(m_section);
    XCSmartPtrVector<XCPlugIn> list;
    for (Entry const& entry : m_entries) list.push_back(entry.plugIn);
    return list;
}

XCSmartPtr<XCPlugIn> XCApplicationWithPlugIns::Host::At(std::size_t index) const noexcept
{
    HostGuard const guard(m_section);
    if (index >= m_entries.size()) return {};
    return std::next(m_entries.begin(), static_cast<std::ptrdiff_t>(index))->plugIn;
}

XCString XCApplicationWithPlugIns::Host::NameOf(XCPlugIn const& plugIn) const
{
    HostGuard const guard(m_section);
    Entry const* const entry = EntryOf(&plugIn);
    return entry ? entry->name : XCString();
}

std::vector<PlugInIdEx> XCApplicationWithPlugIns::Host::DependenciesOf(XCPlugIn const* plugIn) const
{
    HostGuard const guard(m_section);
    Entry const* const entry = EntryOf(plugIn);
    return entry ? entry->dependencies : std::vector<PlugInIdEx>();
}
