// Loading modules and adding their plug-ins.
//
// Modules come in any order, and what one depends on may be brought by another or by its children. So all are loaded
// first, then added in rounds over the list: a plug-in whose needs are met is added, the others wait for the next round.
// The rounds are not walked: each plug-in that waits is kept under one identity that it misses, and is looked at again
// when that identity has appeared, in the round and at the place where the walk would have met it. Cost: each plug-in is
// looked at once for each of its dependencies at most. Invariant: who waits under an identity misses it. What is left at
// the end misses something, or stands in a cycle, which is named once with its members.
#include <XelbrinCore/XCUnitTest.h>

#include "app/host/Host.h"
#include "app/host/HostLines.h"
#include "app/host/ModuleSearch.h"
#include "app/host/PlugInOrder.h"
#include "errors/SystemWords.h"
#include "text/Utf8.h"
#include "text/Visible.h"
#include "win32/LastError.h"
#include "win32/SystemPath.h"

#include <map>
#include <queue>
#include <string>

using xc::errors::PlugInFailure;
using xc::errors::SayIfPossible;
using xc::errors::Sealed;
using xc::host::CallModule;
using xc::host::ModuleSet;
using xc::host::PlugInList;
using xc::text::Visible;

namespace {

using EntryPoint = XCPlugIn*();

std::string NarrowName(XCString const& name)
{
    std::string narrow;
    xc::text::AppendUtf8(narrow, name);
    return narrow;
}

} // namespace

/// A module whose plug-in waits to be added. Its places in the host's lists are there before any of its code has run:
/// from then on nothing fails for want of memory.
struct XCApplicationWithPlugIns::Waiting {
    explicit Waiting(Host& host_) : host(host_) {}
    ~Waiting() { Discard(); }
    Waiting(Waiting const&) = delete;
    Waiting& operator=(Waiting const&) = delete;

    /// Gives plug-in and module back, unless they have gone their way.
    void Discard() noexcept
    {
        if (module.empty()) return;
        // The object goes before its code: its destructor and the release of its memory are code of the module.
        if (!PlugIn().IsNull()) host.unloader.Take(std::move(place));
        host.unloader.ReleaseHeld();
        host.modules.Close(module.front());
        module.clear();
    }
    [[nodiscard]] XCSmartPtr<XCPlugIn>& PlugIn() noexcept { return place->plugIn; }
    [[nodiscard]] XCString const& Path() const noexcept { return module.front().path; }

    Host& host;
    ModuleSet::List module{1}; ///< empty when it has gone its way
    PlugInList::Place place = PlugInList::Place::New();
    xc::host::Facts facts; ///< once it was asked
};

/// Adds the plug-ins that were loaded together (see the head of this file).
class XCApplicationWithPlugIns::Adder {
public:
    Adder(XCApplicationWithPlugIns& host, std::list<Waiting>& waiting) : m_host(host)
    {
        for (Waiting& one : waiting) {
            if (!one.PlugIn().IsNull()) one.facts = xc::host::Facts::Of(*one.PlugIn(), one.Path());
            m_items.push_back(&one);
        }
    }

    /// @return whether any was added.
    bool AddAll()
    {
        for (std::size_t item = 0; item < m_items.size(); ++item) Look(0, item);
        while (!m_ready.empty()) {
            auto const [round, item] = m_ready.top();
            m_ready.pop();
            Add(round, item);
        }
        AddRest();
        return m_any;
    }

private:
    using Turn = std::pair<std::size_t, std::size_t>; ///< round and item

    /// The item is ready for a round, or waits for the first identity that it misses.
    // One missing identity is enough to wait under: when it appears, the next missing one is found by another look.
    void Look(std::size_t round, std::size_t item)
    {
        for (PlugInIdEx const& wanted : m_items[item]->facts.dependencies)
            if (!m_host.m_host->list.Holds(wanted.GetGuid())) {
                m_waiting.emplace(wanted.GetGuid(), item);
                return;
            }
        m_ready.emplace(round, item);
    }

    void Add(std::size_t round, std::size_t item)
    {
        bool const added = m_host.AddLoaded(*m_items[item]).Good();
        m_items[item] = nullptr;
        m_any = m_any || added;
        xc::host::PlugInRef fresh;
        // One addition may bring several identities: the children of a container, and whatever its Init has loaded.
        while (m_host.m_host->list.Next(m_seen, fresh)) Wake(fresh.guid, round, item);
    }

    // Copied out first, since Look may enter an item under the next identity while the range is walked. An item further
    // down the list is reached in the same round, one further up in the next: the order of loading is that of the walk.
    void Wake(XCGuid const& guid, std::size_t round, std::size_t by)
    {
        auto const [first, last] = m_waiting.equal_range(guid);
        std::vector<std::size_t> woken;
        for (auto it = first; it != last; ++it) woken.push_back(it->second);
        m_waiting.erase(first, last);
        for (std::size_t const item : woken) Look(item > by ? round : round + 1, item);
    }

    void AddRest()
    {
        // Those that are left are offered all the same: AddPlugIn names the dependency that is missing, and a host that
        // overrides CheckDependents may take them in.
        std::erase(m_items, nullptr);
        std::map<XCGuid, std::size_t> places;
        for (Waiting const* const one : m_items) places.emplace(one->facts.guid, places.size());
        xc::host::Dependencies dependsOn(m_items.size());
        for (std::size_t item = 0; item < m_items.size(); ++item)
            for (PlugInIdEx const& wanted : m_items[item]->facts.dependencies)
                if (auto const found = places.find(wanted.GetGuid()); found != places.end())
                    dependsOn[item].push_back(found->second);
        std::vector<bool> inCycle(m_items.size());
        for (std::vector<std::size_t> const& cycle : xc::host::FindCycles(dependsOn)) {
            SayCycle(cycle);
            for (std::size_t const member : cycle) inCycle[member] = true;
        }
        for (std::size_t item = 0; item < m_items.size(); ++item) AddOrRefuse(*m_items[item], inCycle[item]);
    }

    void SayCycle(std::vector<std::size_t> const& cycle) const
    {
        XCString names;
        for (std::size_t const member : cycle)
            names += (names.IsNull() ? L"<" : L", <") + m_items[member]->facts.name + L">";
        xc::host::PrintError(L"cycle of dependencies: " + names);
    }

    /// A member of a cycle was named with the others; an override may still want it.
    void AddOrRefuse(Waiting& one, bool inCycle)
    {
        // Its facts were asked once; further questions on the way are answered from them, so that a plug-in that
        // answers differently the second time cannot upset the order.
        Host::Known const known(*m_host.m_host, one.PlugIn(), one.facts);
        if (inCycle && Sealed([&] { return m_host.CheckDependents(*one.PlugIn(), true); }).Bad())
            m_host.Refuse(one);
        else
            m_any = m_host.AddLoaded(one).Good() || m_any;
    }

    XCApplicationWithPlugIns& m_host;
    std::vector<Waiting*> m_items; ///< null: had its turn
    std::multimap<XCGuid, std::size_t> m_waiting;
    std::priority_queue<Turn, std::vector<Turn>, std::greater<>> m_ready;
    std::uint64_t m_seen = 0; ///< how far the list was looked at
    bool m_any = false;
};

XCErrorID XCApplicationWithPlugIns::LoadModule(std::wstring const& path, XCString const& entryName, Waiting& loaded)
try {
    // The names of files come from outside: line ends and control codes in them must not break lines of the log.
    XCString const shown = Visible(path);
    ModuleSet::Loaded& one = loaded.module.front();
    one.path = shown;
    if (XCErrorID const allowed = CheckAllowed(path, shown, entryName); allowed.Bad()) return allowed;
    m_host->modules.Open(path, one);
    if (!one.module) {
        // The code of the system is read before anything else is called that may set it.
        XCString const reason = xc::errors::SystemFailure(shown.View(), xc::win32::LastError());
        Print(L"LoadLibrary fails on " + shown + L"\n");
        PrintError(reason);
        return PlugInFailure(reason);
    }
    auto* const entry = reinterpret_cast<EntryPoint*>(one.module.Find(NarrowName(entryName).c_str()));
    if (!entry) {
        XCString const what = L": Cannot locate \"" + Visible(entryName) + L"\" entry point";
        Print(L"LoadPlugIn failed on " + shown + what + L"\n");
        return PlugInFailure(shown + what);
    }
    XCErrorID const made = CallModule(kEntryName, {}, shown, [&] { loaded.place.Fill({entry(), shown}); });
    // Until the plug-in has told its name, messages speak of the file.
    loaded.place->name = shown;
    SayIfPossible([&] {
        if (made.Bad()) PrintError(shown + L": " + made.AsString());
        if (made.Good() && loaded.PlugIn().IsNull())
            PrintError(shown + L": " + entryName + L" has returned no plug-in");
    });
    return XCErrorID::Success; // a plug-in that could not be made is refused when it is added
} catch (...) {
    // The others are loaded all the same.
    XCErrorID const failure = xc::errors::FailureOfException();
    SayIfPossible([&] { PrintError(XCString(path) + L": " + failure.AsString()); });
    return failure;
}

XCErrorID XCApplicationWithPlugIns::AddLoaded(Waiting& loaded) noexcept
{
    Host::Known const known(*m_host, loaded.PlugIn(), loaded.facts);
    XCErrorID const added = Sealed([&] { return AddPlugIn(loaded.PlugIn(), false); });
    if (added.Bad()) {
        Refuse(loaded);
        return added;
    }
    // The reference is given up, since the list counts a plug-in with one reference as free to unload.
    loaded.PlugIn().Clear(); // the list holds it
    m_host->modules.Keep(loaded.module);
    return added;
}

/// What the module has brought into the process goes before its code does.
void XCApplicationWithPlugIns::Refuse(Waiting& loaded) noexcept
{
    ModuleSet::Loaded& one = loaded.module.front();
    SayIfPossible([&] { Print(L"LoaPlugIn failed on " + one.path + L": AddPlugIn failed\n"); });
    // A module that is in the process several times keeps its code until the last of them goes, and its test cases with
    // it.
    if (m_host->modules.IsLast(one))
        m_mainMenu->RemoveTestCases(
            [&one](XCUnitTest::Function const& function) { return one.module.Holds(&function.target_type()); });
    loaded.Discard();
}

XCErrorID XCApplicationWithPlugIns::LoadPlugIn(XCString const& path, XCString const& entryName)
{
    Waiting loaded(*m_host);
    XCErrorID const result = LoadModule(xc::win32::SystemPath(path.View()).Text(), entryName, loaded);
    if (result.Bad()) return result;
    if (!loaded.PlugIn().IsNull()) loaded.facts = xc::host::Facts::Of(*loaded.PlugIn(), loaded.Path());
    return AddLoaded(loaded);
}

XCErrorID XCApplicationWithPlugIns::LoadPlugInsFromDirectory(XCString const& directory, XCString const& extension,
                                                             XCString const& entryName, bool recursive)
{
    return GetDLLPlugInsFromDirectory(directory, extension, entryName, recursive);
}

XCErrorID XCApplicationWithPlugIns::GetDLLPlugInsFromDirectory(XCString const& directory, XCString const& extension,
                                                               XCString const& entryName, bool recursive)
{
    xc::host::ModulePlace const place = xc::host::PlaceOf(directory);
    XCString const list = Visible(place.listFile);
    Print(L"Retrieving plug-ins from " + Visible(place.directory) + L"\n");
    xc::host::FoundModules const found = xc::host::FindModules(place, std::wstring(extension.View()), recursive);
    if (found.failure.Bad()) {
        PrintError(found.failure.AsString());
        return found.failure;
    }
    for (XCString const& name : found.refused)
        PrintError(list + L": " + name + L" is not inside the folder of the list");
    if (found.listIsMissing) Print(L"The plug-ins list file " + list + L" does not exist.\n");
    return LoadModules(found.paths, entryName);
}

XCErrorID XCApplicationWithPlugIns::LoadModules(std::vector<std::wstring> const& paths, XCString const& entryName)
{
    std::list<Waiting> waiting;
    // A list, because Waiting is neither copied nor moved: destructors of what failed must run exactly once.
    for (std::wstring const& path : paths) {
        Waiting& one = waiting.emplace_back(*m_host);
        if (LoadModule(path, entryName, one).Bad()) waiting.pop_back();
    }
    return Adder(*this, waiting).AddAll() ? XCErrorID() : PlugInFailure(L"no plug-in was loaded");
}

// The main job of a host ----------------------------------------------------------------------------------------

/// Whether what "osxpath" names has given a plug-in; an option that gives none is told, since the host then looks
/// elsewhere.
bool XCApplicationWithPlugIns::LoadAsAsked()
{
    bool asked = false;
    bool loaded = false;
    for (XCCommandLineArgument const& argument : GetCmdLine().GetParsedArgumentVector()) {
        bool const isOption = argument.GetArgType() == XCCommandLineArgument::ArgWithValue ||
                              argument.GetArgType() == XCCommandLineArgument::ArgSwitch;
        if (!isOption || !argument.GetArgument().IsEqual(L"osxpath", 1)) continue;
        asked = true;
        if (argument.GetValueAsString().IsNull()) {
            PrintError(L"/osxpath names no folder");
            continue;
        }
        XCString const path = argument.GetValueAsString();
        AddToPath(xc::host::PlaceOf(path).directory.c_str());
        loaded = LoadPlugInsFromDirectory(path).Good() || loaded;
    }
    if (asked && !loaded && m_host->list.IsEmpty())
        PrintError(L"no plug-in could be loaded from /osxpath; the current directory is searched instead");
    return loaded;
}

int XCApplicationWithPlugIns::LoadAndRun()
{
    if (ShowQuarantineIfAsked()) return 0;
    bool loaded = LoadAsAsked();
    if (!loaded && m_host->list.IsEmpty()) loaded = LoadPlugInsFromDirectory(L".").Good();
    if (!loaded && m_host->list.IsEmpty()) {
        Print(L"Couldn't find any OSX to load.\n");
        return kExitNothingLoaded;
    }
    return Run();
}
