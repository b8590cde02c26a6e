// Three tables share one number, the order of loading: number to entry, identity to number, pointer to number. A place
// carries a node of each, made when the plug-in is taken up; adding and taking move nodes and allocate nothing. What must
// stay loaded is found by a walk from the plug-ins that still run to what they depend on and to the containers that
// brought them; the walk's own list runs through the entries. Cost: (entries + dependencies) * log(entries).
// Invariant: each entry has exactly one row in each table.
#include "app/host/PlugInList.h"

#include "app/host/HostLines.h"
#include "app/host/PlugInOrder.h"
#include "app/host/ThreadedState.h"
#include "text/Visible.h"
#include "win32/Module.h"
#include "win32/Process.h"

#include <typeinfo>

namespace xc::host {

namespace {

using Guard = XCLockGuard<XCCriticalSection>;

// A node that belongs to no map yet. Inserting it later needs no memory: what has been initialised can always be
// listed.
template <class Map>
typename Map::node_type NewNode(typename Map::key_type const& key)
{
    Map map;
    map[key];
    return map.extract(map.begin());
}

} // namespace

PlugInRef::PlugInRef(XCSmartPtr<XCPlugIn> object, XCString pathOfModule) noexcept
    : plugIn(std::move(object)), runs(dynamic_cast<XCRunPlugIn*>(plugIn.GetPtr())),
      container(dynamic_cast<XCPlugInContainer*>(plugIn.GetPtr())), path(std::move(pathOfModule))
{
    // Asked once and kept: at the end of the process the walk must not call into modules that may be damaged.
    if (auto* const own = dynamic_cast<XCThreadedRunPlugIn*>(plugIn.GetPtr())) threaded = &PlugInAccess::StateOf(*own);
}

XCString PathOf(XCPlugIn const& plugIn)
{
    return text::Visible(win32::ModulePath(win32::ModuleAt(&typeid(plugIn))));
}

Facts Facts::Of(XCPlugIn const& plugIn, XCString const& path)
{
    Facts facts;
    // Each call is noted for itself: should it crash, the report names the function and the module.
    facts.failure = CallModule(L"GetPlugInName", {}, path, [&] { facts.name = text::Visible(plugIn.GetPlugInName()); });
    if (facts.failure.Bad()) return facts;
    facts.failure =
        CallModule(L"GetPlugInIdEx", facts.name, path, [&] { facts.guid = plugIn.GetPlugInIdEx().GetGuid(); });
    if (facts.failure.Bad()) return facts;
    facts.failure =
        CallModule(L"GetDependentV", facts.name, path, [&] { facts.dependencies = plugIn.GetDependentV(); });
    return facts;
}

PlugInList::Place PlugInList::Place::New()
{
    Place place;
    place.m_entry = NewNode<Table>(0);
    place.m_index = NewNode<Index>(XCGuid());
    place.m_pointer = NewNode<Pointers>(nullptr);
    return place;
}

void PlugInList::Place::Fill(PlugInRef ref) noexcept
{
    m_pointer.key() = ref.plugIn.GetPtr();
    // Before the reference moves away with what is read from it.
    m_index.key() = ref.guid;
    static_cast<PlugInRef&>(m_entry.mapped()) = std::move(ref);
}

void PlugInList::Add(Place place) noexcept
{
    Guard const guard(m_section);
    // Numbers are never used twice, so that a walk by number (Next) misses and repeats nothing while others add and
    // take.
    place.m_entry.key() = place.m_index.mapped() = place.m_pointer.mapped() = ++m_count;
    m_entries.insert(std::move(place.m_entry));
    m_byGuid.insert(std::move(place.m_index));
    m_byPointer.insert(std::move(place.m_pointer));
}

PlugInList::Place PlugInList::Take(Table::iterator at) noexcept
{
    Place place;
    place.m_index = m_byGuid.extract(at->second.guid);
    place.m_pointer = m_byPointer.extract(at->second.plugIn.GetPtr());
    place.m_entry = m_entries.extract(at);
    return place;
}

void PlugInList::SetContainer(XCPlugIn const* child, XCGuid const& container) noexcept
{
    Guard const guard(m_section);
    auto const found = m_byPointer.find(child);
    // Absent is no fault: the child may have been unloaded while its container was still being asked.
    if (found != m_byPointer.end()) m_entries.find(found->second)->second.broughtBy = container;
}

PlugInList::Place PlugInList::TakeLast() noexcept
{
    Guard const guard(m_section);
    return m_entries.empty() ? Place() : Take(std::prev(m_entries.end()));
}

PlugInList::Place PlugInList::TakeLastChildOf(XCGuid const& container) noexcept
{
    Guard const guard(m_section);
    // Backwards, as everywhere in unloading: what was loaded later may depend on what was loaded earlier.
    for (auto at = m_entries.end(); at != m_entries.begin() && !container.IsNull();)
        if ((--at)->second.broughtBy == container) return Take(at);
    return {};
}

PlugInList::Place PlugInList::TakeFree(std::uint64_t& below) noexcept
{
    Guard const guard(m_section);
    for (auto at = m_entries.lower_bound(below); at != m_entries.begin();) {
        below = (--at)->first;
        // The list's own reference is the only one, and under the section nobody can get another from here.
        if (at->second.plugIn->NbRef() == 1) return Take(at);
    }
    return {};
}

Entry* PlugInList::EntryOf(XCGuid const& guid) noexcept
{
    auto const found = m_byGuid.find(guid);
    return found == m_byGuid.end() ? nullptr : &m_entries.find(found->second)->second;
}

/// @param user the one that needs it; null for one that runs.
void PlugInList::Mark(Entry& entry, Entry const* user, Entry*& marked) noexcept
{
    if (entry.stays) return;
    entry.stays = true;
    if (user) entry.neededBy = user->name;
    entry.nextMarked = std::exchange(marked, &entry);
}

// At the end of the process a thread that did not stop in time still runs code of its module, which may call what it
// depends on. All of these stay loaded; the rest can go. The stack of the walk is threaded through the entries because
// out of memory must not keep a process from ending.
void PlugInList::MarkStaying(bool all) noexcept
{
    Guard const guard(m_section);
    Entry* marked = nullptr;
    for (auto& [number, entry] : m_entries)
        if (all || entry.isHeld || (entry.threaded && entry.threaded->IsRunning())) Mark(entry, nullptr, marked);
    while (marked) {
        Entry const& user = *std::exchange(marked, marked->nextMarked);
        for (PlugInIdEx const& wanted : user.dependencies)
            if (Entry* const needed = EntryOf(wanted.GetGuid())) Mark(*needed, &user, marked);
        if (Entry* const container = EntryOf(user.broughtBy)) Mark(*container, &user, marked);
    }
}

void PlugInList::Hold(errors::CallNote const& call) noexcept
{
    Guard const guard(m_section);
    for (auto& [number, entry] : m_entries)
        if (call.IsOf(entry.name.View(), entry.path.View())) entry.isHeld = true;
}

bool PlugInList::IsEmpty() const noexcept
{
    Guard const guard(m_section);
    return m_entries.empty();
}

bool PlugInList::Holds(XCPlugIn const* plugIn) const noexcept
{
    Guard const guard(m_section);
    return m_byPointer.contains(plugIn);
}

bool PlugInList::Holds(XCGuid const& guid) const noexcept
{
    Guard const guard(m_section);
    return m_byGuid.contains(guid);
}

XCSmartPtr<XCPlugIn> PlugInList::Find(XCGuid const& guid) const noexcept
{
    Guard const guard(m_section);
    auto const found = m_byGuid.find(guid);
    return found == m_byGuid.end() ? XCSmartPtr<XCPlugIn>() : m_entries.find(found->second)->second.plugIn;
}

XCSmartPtrVector<XCPlugIn> PlugInList::PlugIns() const
{
    Guard const guard(m_section);
    XCSmartPtrVector<XCPlugIn> list;
    for (auto const& [number, entry] : m_entries) list.push_back(entry.plugIn);
    return list;
}

std::vector<PlugInRef> PlugInList::InOrderOfDependency() const
{
    std::vector<PlugInRef> list;
    std::vector<std::vector<std::size_t>> dependsOn;
    // Copied under the section and ordered outside: the order costs far more than the copy, and loading goes on
    // meanwhile.
    {
        Guard const guard(m_section);
        std::map<XCGuid, std::size_t> places;
        for (auto const& [number, entry] : m_entries) places.emplace(entry.guid, places.size());
        for (auto const& [number, entry] : m_entries) {
            list.push_back(entry);
            dependsOn.emplace_back();
            for (PlugInIdEx const& wanted : entry.dependencies)
                if (auto const found = places.find(wanted.GetGuid()); found != places.end())
                    dependsOn.back().push_back(found->second);
        }
    }
    std::vector<PlugInRef> ordered;
    for (std::size_t const item : OrderByDependency(dependsOn)) ordered.push_back(list[item]);
    return ordered;
}

bool PlugInList::Next(std::uint64_t& position, PlugInRef& ref) const noexcept
{
    PlugInRef const before = std::move(ref); // released after the section: it may be the last reference
    Guard const guard(m_section);
    auto const next = m_entries.upper_bound(position);
    if (next == m_entries.end()) return false;
    position = next->first;
    ref = next->second;
    return true;
}

} // namespace xc::host
