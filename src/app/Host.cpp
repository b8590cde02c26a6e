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

bool XCApplicationWithPlugIns::Host::Entry::Needs(Entry const& other) const
{
    if (!container.IsNull() && container == other.guid) return true;
    return std::any_of(dependencies.begin(), dependencies.end(),
                       [&](PlugInIdEx const& wanted) { return wanted.GetGuid() == other.guid; });
}

void XCApplicationWithPlugIns::Host::Add(XCSmartPtr<XCPlugIn> plugIn, Facts facts)
{
    HostGuard const guard(m_section);
    m_entries.push_back({std::move(plugIn), std::move(facts.name), facts.guid, std::move(facts.dependencies), {}});
}

void XCApplicationWithPlugIns::Host::SetContainer(XCPlugIn const* child, XCGuid const& container)
{
    HostGuard const guard(m_section);
    for (Entry& entry : m_entries)
        if (entry.plugIn == child) entry.container = container;
}

auto XCApplicationWithPlugIns::Host::TakeLast() -> std::optional<Entry>
{
    HostGuard const guard(m_section);
    if (m_entries.empty()) return std::nullopt;
    std::optional<Entry> last(std::move(m_entries.back()));
    m_entries.pop_back();
    return last;
}

auto XCApplicationWithPlugIns::Host::TakeLastChildOf(XCGuid const& container) -> std::optional<Entry>
{
    HostGuard const guard(m_section);
    if (container.IsNull()) return std::nullopt;
    auto const at = std::find_if(m_entries.rbegin(), m_entries.rend(),
                                 [&](Entry const& entry) { return entry.container == container; });
    if (at == m_entries.rend()) return std::nullopt;
    std::optional<Entry> child(std::move(*at));
    m_entries.erase(std::next(at).base());
    return child;
}

auto XCApplicationWithPlugIns::Host::StillNeeded() const -> std::vector<Staying>
{
    HostGuard const guard(m_section);
    std::vector<Staying> staying;
    auto const isIn = [&](XCGuid const& guid) {
        return std::any_of(staying.begin(), staying.end(), [&](Staying const& one) { return one.guid == guid; });
    };
    for (Entry const& entry : m_entries)
        if (IsStillRunning(*entry.plugIn)) staying.push_back({entry.guid, L"is still running"});
    for (std::size_t i = 0; i < staying.size(); ++i) {
        auto const user = std::find_if(m_entries.begin(), m_entries.end(),
                                       [&](Entry const& entry) { return entry.guid == staying[i].guid; });
        for (Entry const& entry : m_entries)
            if (user->Needs(entry) && !isIn(entry.guid))
                staying.push_back({entry.guid, L"is needed by <" + user->name + L">"});
    }
    return staying;
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
