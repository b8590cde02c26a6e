// Host.h - the loaded plug-ins and their modules, in the order of loading.
#pragma once

#include <XelbrinCore/XCApplication.h>

#include "win32/Module.h"

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
        xc::win32::Module module; ///< empty for plug-ins of the program and children of containers
        XCSmartPtr<XCPlugIn> plugIn;
        XCString name;
        XCGuid guid;
        std::vector<PlugInIdEx> dependencies;
    };

    explicit Host(void* module) noexcept : hostModule(module) {}

    static Facts FactsOf(XCPlugIn const& plugIn);
    static bool IsStillRunning(XCPlugIn& plugIn);

    void Add(XCSmartPtr<XCPlugIn> plugIn, Facts facts);
    /// Ties a module to its plug-in, which must be loaded.
    void Keep(XCPlugIn const* plugIn, xc::win32::Module module);
    std::optional<Entry> TakeLast();

    bool IsEmpty() const;
    bool Holds(XCPlugIn const* plugIn) const;
    XCSmartPtr<XCPlugIn> Find(XCGuid const& guid) const;
    XCSmartPtrVector<XCPlugIn> PlugIns() const;
    XCString NameOf(XCPlugIn const& plugIn) const;
    std::vector<PlugInIdEx> DependenciesOf(XCPlugIn const* plugIn) const;

    void* hostModule;

private:
    Entry const* EntryOf(XCPlugIn const* plugIn) const;

    mutable XCCriticalSection m_section;
    std::vector<Entry> m_entries;
};
