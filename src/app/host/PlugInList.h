// PlugInList.h - the loaded plug-ins, in the order of loading.
//
// A plug-in's place is made while there is memory, before the plug-in works; from then on it moves from table to table
// without memory, so that neither adding nor unloading can fail. Finding takes a logarithm of the count, whatever is
// asked. Every call takes the section of the list; nothing of a module is called while it is held.
#pragma once

#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCSync.h>

#include "errors/RunningCalls.h"

#include <cstdint>
#include <map>
#include <vector>

namespace xc::host {

struct ThreadedState;

/// A plug-in and what it was found to be, once: its answers may throw, and cost.
struct PlugInRef {
    XCSmartPtr<XCPlugIn> plugIn;
    XCRunPlugIn* runs = nullptr;            ///< null when it has no Run
    ThreadedState* threaded = nullptr;      ///< null unless its Run has a thread
    XCPlugInContainer* container = nullptr; ///< null unless it brings others
    XCString name;                          ///< visible
    XCString path;                          ///< of its module, visible
    XCGuid guid;

    PlugInRef() = default;
    PlugInRef(XCSmartPtr<XCPlugIn> object, XCString pathOfModule) noexcept;
};

/// The path of the module that the class of a plug-in comes from, visible.
XCString PathOf(XCPlugIn const& plugIn);

/// What a plug-in tells about itself.
struct Facts {
    XCErrorID failure; ///< Bad when name or identity could not be had
    XCString name;     ///< visible
    XCGuid guid;
    std::vector<PlugInIdEx> dependencies;

    static Facts Of(XCPlugIn const& plugIn, XCString const& path);
};

/// One plug-in of the list.
struct Entry : PlugInRef {
    std::vector<PlugInIdEx> dependencies;
    XCGuid broughtBy;            ///< null unless a container has brought it
    bool stays = false;          ///< must not be unloaded: it is still running, or
    bool isHeld = false;         ///< a thread that is in it was given up
    XCString neededBy;           ///< one that stays needs it
    Entry* nextMarked = nullptr; ///< while those that stay are found
};

class PlugInList {
public:
    using Table = std::map<std::uint64_t, Entry>; ///< by the order of loading
    using Index = std::map<XCGuid, std::uint64_t>;
    using Pointers = std::map<XCPlugIn const*, std::uint64_t>;

    /// The place of one plug-in: in the list, or outside it.
    class Place {
    public:
        Place() noexcept = default; ///< none
        /// An empty one.
        static Place New();
        /// Puts a plug-in into it.
        void Fill(PlugInRef ref) noexcept;

        explicit operator bool() const noexcept { return !m_entry.empty(); }
        Entry& operator*() noexcept { return m_entry.mapped(); }
        Entry* operator->() noexcept { return &m_entry.mapped(); }

    private:
        friend class PlugInList;
        Table::node_type m_entry;
        Index::node_type m_index;
        Pointers::node_type m_pointer;
    };

    /// Appends. Its identity is that of no other in the list.
    void Add(Place place) noexcept;
    void SetContainer(XCPlugIn const* child, XCGuid const& container) noexcept;
    /// The one that was loaded last; none when the list is empty.
    Place TakeLast() noexcept;
    Place TakeLastChildOf(XCGuid const& container) noexcept;
    /// The last one below a position that nobody but the list holds, which is moved there; none when there is none.
    Place TakeFree(std::uint64_t& below) noexcept;
    /// Marks those whose threads still run, and those that these need. @param all all of them.
    void MarkStaying(bool all) noexcept;
    /// Keeps a plug-in whose call was given up from being unloaded.
    void Hold(errors::CallNote const& call) noexcept;

    bool IsEmpty() const noexcept;
    bool Holds(XCPlugIn const* plugIn) const noexcept;
    bool Holds(XCGuid const& guid) const noexcept;
    XCSmartPtr<XCPlugIn> Find(XCGuid const& guid) const noexcept;
    XCSmartPtrVector<XCPlugIn> PlugIns() const;
    /// Each after those it depends on, otherwise in the order of loading.
    std::vector<PlugInRef> InOrderOfDependency() const;
    /// The first, or the one after a position, which is moved there; false when there is none. For walks without memory
    /// while others are added.
    bool Next(std::uint64_t& position, PlugInRef& ref) const noexcept;

private:
    Place Take(Table::iterator at) noexcept;
    Entry* EntryOf(XCGuid const& guid) noexcept;
    void Mark(Entry& entry, Entry const* user, Entry*& marked) noexcept;

    mutable XCCriticalSection m_section;
    std::uint64_t m_count = 0; ///< of all that were ever added
    Table m_entries;
    Index m_byGuid;
    Pointers m_byPointer;
};

} // namespace xc::host
