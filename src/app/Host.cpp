#include "app/Host.h"

#include "app/Sealed.h"
#include "app/ThreadedState.h"

#include <algorithm>

using HostGuard = XCLockGuard<XCCriticalSection>;

auto XCApplicationWithPlugIns::Host::FactsOf(XCPlugIn const& plugIn) -> Facts
{
    Facts facts;
    facts.failure = xc::app::Sealed([&] {
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

void XCApplicationWithPlugIns::Host::Add(XCSmartPtr<XCPlugIn> plugIn, Facts facts)
{
    HostGuard const guard(m_section);
    m_entries.push_back({{}, std::move(plugIn), std::move(facts.name), facts.guid, std::move(facts.dependencies)});
}

void XCApplicationWithPlugIns::Host::Keep(XCPlugIn const* plugIn, xc::win32::Module module)
{
    HostGuard const guard(m_section);
    for (Entry& entry : m_entries) {
        if (entry.plugIn != plugIn) continue;
        entry.module = std::move(module);
        return;
    }
}

auto XCApplicationWithPlugIns::Host::TakeLast() -> std::optional<Entry>
{
    HostGuard const guard(m_section);
    if (m_entries.empty()) return std::nullopt;
    std::optional<Entry> last(std::move(m_entries.back()));
    m_entries.pop_back();
    return last;
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
