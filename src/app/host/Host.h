// Host.h - the loaded plug-ins and their modules, in the order of loading.
#pragma once

#include <XelbrinCore/XCApplication.h>

#include "win32/Module.h"

#include <atomic>
#include <list>
#include <vector>

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
        XCGuid container;   ///< null unless a container has brought it
        bool stays = false; ///< must not be unloaded: it is still running, or
        XCString neededBy;  ///< one that stays needs it

        /// Whether this plug-in needs the other as long as its code runs.
        [[nodiscard]] bool Needs(Entry const& other) const;
    };
    /// One entry, or none. It moves from list to list without memory, so that unloading needs none.
    using Entries = std::list<Entry>;
    struct LoadedModule {
        xc::win32::Module module;
        XCString path;
    };

    static Facts FactsOf(XCPlugIn const& plugIn);
    static bool IsStillRunning(XCPlugIn& plugIn);

    void Add(Entries& entry) noexcept;
    void SetContainer(XCPlugIn const* child, XCGuid const& container);
    Entries TakeLast() noexcept;
    Entries TakeLastChildOf(XCGuid const& container) noexcept;
    /// Marks those whose threads still run, and those that these need.
    void MarkStaying() noexcept;

    bool IsEmpty() const;
    bool Holds(XCPlugIn const* plugIn) const;
    XCSmartPtr<XCPlugIn> Find(XCGuid const& guid) const;
    XCSmartPtrVector<XCPlugIn> PlugIns() const;
    /// In the order of loading; null behind the last.
    XCSmartPtr<XCPlugIn> At(std::size_t index) const noexcept;
    XCString NameOf(XCPlugIn const& plugIn) const;
    std::vector<PlugInIdEx> DependenciesOf(XCPlugIn const* plugIn) const;

    // Unloading.cpp. Without memory messages are lost, and unloading goes on.
    static void SayFailure(XCString const& name, XCErrorID const& failure) noexcept;
    void Unload(Entries one) noexcept;
    static void Leave(Entry& entry) noexcept;
    static void Release(Entry& entry) noexcept;
    /// Lets go of what was still held when it was unloaded; what nobody else will let go of keeps its code.
    void ReleaseLingering() noexcept;
    void UnloadChildrenOf(XCGuid const& container) noexcept;
    /// Whether another of the modules is the same, by a reference of its own.
    bool IsLoadedBeside(xc::win32::Module const& module) const noexcept;
    void LetGoOf(LoadedModule& loaded) noexcept;

    std::atomic<bool> exitAsked = false; ///< RequestExit was called for the present quit request
    std::atomic<unsigned int> exitPatienceMs = XCThreadedRunPlugIn::kExitPatienceMs;

    // For the thread that loads and unloads:
    Entries lingering;               ///< unloaded, but somebody still holds a reference
    std::list<LoadedModule> modules; ///< freed when every plug-in has gone

private:
    Entry const* EntryOf(XCPlugIn const* plugIn) const;

    mutable XCCriticalSection m_section;
    Entries m_entries;
};
