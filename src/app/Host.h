// Host.h - the loaded plug-ins and their modules, in the order of loading.
#pragma once

#include <XelbrinCore/XCApplication.h>

#include "win32/Module.h"

#include <atomic>
#include <optional>

/// Every call takes the section; nothing of a module is called while it is held.
struct XCApplicationWithPlugIns::Host {
    /// What a plug-in tells about itself, asked once: its answers may throw.
    struct Facts {
        XCErrorID failure; ///< Bad when name or identity could not be had
        XCString name;
        XCGuid guid;
        std::vector<PlugInIdEx> dependencies;
    };
    struct Entry {
        XCSmartPtr<XCPlugIn> plugIn;
        XCString name;
        XCGuid guid;
        std::vector<PlugInIdEx> dependencies;
        XCGuid container; ///< null unless a container has brought it

        /// Whether this plug-in needs the other as long as its code runs.
        [[nodiscard]] bool Needs(Entry const& other) const;
    };
    /// A plug-in that must not be unloaded, and why.
    struct Staying {
        XCGuid guid;
        XCString reason;
    };
    struct LoadedModule {
        xc::win32::Module module;
        XCString path;
    };

    static Facts FactsOf(XCPlugIn const& plugIn);
    static bool IsStillRunning(XCPlugIn& plugIn);

    void Add(XCSmartPtr<XCPlugIn> plugIn, Facts facts);
    void SetContainer(XCPlugIn const* child, XCGuid const& container);
    std::optional<Entry> TakeLast();
    std::optional<Entry> TakeLastChildOf(XCGuid const& container);

    bool IsEmpty() const;
    bool Holds(XCPlugIn const* plugIn) const;
    XCSmartPtr<XCPlugIn> Find(XCGuid const& guid) const;
    XCSmartPtrVector<XCPlugIn> PlugIns() const;
    XCString NameOf(XCPlugIn const& plugIn) const;
    std::vector<PlugInIdEx> DependenciesOf(XCPlugIn const* plugIn) const;
    /// Those whose threads still run, and those that these need.
    std::vector<Staying> StillNeeded() const;

    // Unloading.cpp
    void Unload(Entry& entry);
    void Leave(Entry& entry, XCString const& reason);
    void Release(Entry& entry);
    /// Lets go of what was still held when it was unloaded; what nobody else will let go of keeps its code.
    void ReleaseLingering();
    void UnloadChildrenOf(XCGuid const& container);
    /// Whether another of the modules is the same, by a reference of its own.
    bool IsLoadedBeside(xc::win32::Module const& module) const;
    void LetGoOf(xc::win32::Module& module, XCString const& path);

    std::atomic<bool> exitAsked = false; ///< RequestExit was called for the present quit request
    std::atomic<unsigned int> exitPatienceMs = XCThreadedRunPlugIn::kExitPatienceMs;

    // For the thread that loads and unloads:
    std::vector<Entry> lingering;      ///< unloaded, but somebody still holds a reference
    std::vector<LoadedModule> modules; ///< freed when every plug-in has gone

private:
    Entry const* EntryOf(XCPlugIn const* plugIn) const;

    mutable XCCriticalSection m_section;
    std::vector<Entry> m_entries;
};
