// TreeSteps.h - the steps by which trees of folders are listed and removed, so that each can be answered otherwise.
//
// Errors are the numbers of the operating system; 0 is success. Walks and removals decide by these answers alone: what
// one system does and another does not (deletion with open handles, junctions, placeholders) is tested by other steps.
#pragma once

#include "win32/SystemPath.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xc::win32 {

/// Errors that decide how a tree is treated.
enum TreeError : unsigned long {
    kErrorFileNotFound = 2,
    kErrorPathNotFound = 3,
    kErrorNotSameDevice = 17,
    kErrorNoMoreFiles = 18,
    kErrorSharing = 32,
    kErrorNotSupported = 50,
    kErrorFileExists = 80,
    kErrorInvalidParameter = 87,
    kErrorFolderNotEmpty = 145,
    kErrorAlreadyExists = 183,
    kErrorNoFolder = 267,
    kErrorDeletePending = 303,
    kErrorAborted = 1235,
    /// No number of the system: the entry is a link that the system does not open itself, or its folder has been
    /// exchanged for a link.
    kErrorLeadsElsewhere = 0x20000001,
};
/// Whether an entry has vanished, or is about to.
[[nodiscard]] constexpr bool IsGone(unsigned long error) noexcept
{
    return error == kErrorFileNotFound || error == kErrorPathNotFound || error == kErrorDeletePending;
}
/// Whether a name was taken already.
[[nodiscard]] constexpr bool IsTaken(unsigned long error) noexcept
{
    return error == kErrorFileExists || error == kErrorAlreadyExists;
}

inline constexpr std::uint32_t kReadOnlyBit = 0x1, kFolderBit = 0x10, kSparseBit = 0x200, kReparseBit = 0x400;

/// Attributes and, for a reparse point, its kind (0: not known).
struct EntryKind {
    std::uint32_t attributes = 0;
    std::uint32_t tag = 0;

    [[nodiscard]] bool IsFolder() const noexcept { return (attributes & kFolderBit) != 0; }
    [[nodiscard]] bool IsReparsePoint() const noexcept { return (attributes & kReparseBit) != 0; }
    /// Whether it stands for another name; other reparse points have their own content. An unknown kind counts as one.
    [[nodiscard]] bool IsLink() const noexcept { return IsReparsePoint() && (tag == 0 || (tag & 0x20000000) != 0); }
};

/// An entry as a folder lists it. Instants are steps of 100 ns since 1601-01-01 UTC.
struct TreeItem : EntryKind {
    std::wstring_view name;
    std::uint64_t size = 0;
    std::int64_t created = 0, accessed = 0, written = 0, changed = 0;
};

/// Entries of a folder and the bytes that their names stand in; used again for the next folder.
class TreeBlock {
public:
    static constexpr std::size_t kBytes = 64 * 1024;

    std::vector<TreeItem> items;

    void Clear() noexcept
    {
        items.clear();
        m_used = 0;
    }
    /// kBytes more, which stay until Clear.
    std::byte* More()
    {
        if (m_used == m_buffers.size()) m_buffers.push_back(std::make_unique_for_overwrite<std::byte[]>(kBytes));
        return m_buffers[m_used++].get();
    }

private:
    std::vector<std::unique_ptr<std::byte[]>> m_buffers;
    std::size_t m_used = 0;
};

/// Which file or folder it is.
struct EntryIdentity {
    std::uint64_t volume = 0;
    std::array<std::uint8_t, 16> file{};
    friend auto operator<=>(EntryIdentity const&, EntryIdentity const&) noexcept = default;
};

/// How an entry is opened.
struct EntryAccess {
    bool through = false;    ///< a link leads to its target; otherwise the link itself is opened
    bool remove = false;     ///< to remove or rename it; otherwise to list it
    bool alone = false;      ///< fails with kErrorSharing while anybody else has it open
    bool attributes = false; ///< to change its attributes, too
};

enum class Disposal {
    Posix,            ///< the name is free at once, whoever has the entry open; kErrorInvalidParameter where unknown
    PosixAndReadOnly, ///< the same, and for entries that are read-only, too
    AtClose           ///< the name is free when the last handle is closed
};

/// The steps of this system; tests derive from it what other systems answer. One object a walk or removal; one thread at
/// a time.
class TreeSteps {
public:
    TreeSteps() = default;
    virtual ~TreeSteps() = default;
    TreeSteps(TreeSteps const&) = delete;
    TreeSteps& operator=(TreeSteps const&) = delete;

    /// kErrorDeletePending for an entry that waits for its last handle.
    virtual unsigned long Open(SystemPath const& path, EntryAccess access, void*& handle);
    /// Opens a folder by its path below an open one, to list it: the length of its whole path does not count.
    virtual unsigned long OpenBelow(void* folder, std::wstring_view path, bool through, void*& handle);
    virtual void Close(void* handle) noexcept;
    /// Adds the next entries, without "." and "..". kErrorNoMoreFiles at the end.
    virtual unsigned long Read(void* folder, TreeBlock& block);
    virtual unsigned long Kind(void* handle, EntryKind& kind);
    virtual unsigned long Identity(void* handle, EntryIdentity& identity);
    /// The volume and the path on it that the handle leads to, without links; names of entries can be added to those
    /// of their folders. Some file systems have none.
    virtual unsigned long FinalName(void* handle, std::wstring& name);
    /// The attributes by name: what a walk would see.
    virtual unsigned long KindOf(SystemPath const& path, EntryKind& kind);
    /// For handles opened to remove.
    virtual unsigned long Dispose(void* handle, Disposal disposal);
    /// For handles opened to remove; fails when the name is taken.
    virtual unsigned long Rename(void* handle, SystemPath const& to);
    virtual unsigned long SetAttributes(void* handle, std::uint32_t attributes);
    virtual void Pause(std::uint64_t milliseconds);
};
inline std::unique_ptr<TreeSteps> SystemTreeSteps()
{
    return std::make_unique<TreeSteps>();
}

/// Owns what Open has opened.
class OpenEntry {
public:
    explicit OpenEntry(TreeSteps& steps) noexcept : m_steps(steps) {}
    ~OpenEntry() { Close(); }
    OpenEntry(OpenEntry const&) = delete;
    OpenEntry& operator=(OpenEntry const&) = delete;

    unsigned long Open(SystemPath const& path, EntryAccess access)
    {
        Close();
        return m_steps.Open(path, access, m_handle);
    }
    unsigned long OpenBelow(OpenEntry const& folder, std::wstring_view path, bool through)
    {
        Close();
        return m_steps.OpenBelow(folder.Get(), path, through, m_handle);
    }
    void Close() noexcept
    {
        if (m_handle) m_steps.Close(m_handle);
        m_handle = nullptr;
    }
    [[nodiscard]] void* Get() const noexcept { return m_handle; }

private:
    TreeSteps& m_steps;
    void* m_handle = nullptr;
};

} // namespace xc::win32
