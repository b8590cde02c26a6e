// FileSystem.h - what the file system says about paths, and what it does to files and folders by their names.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include "win32/File.h"
#include "win32/SystemPath.h"

#include <cstdint>
#include <string>
#include <vector>

namespace xc::win32 {

/// The number for "may not be done".
inline constexpr unsigned long kErrorAccessDenied = 5;

/// What stands at a path.
struct FileFacts {
    unsigned long attributes; ///< as the system has them
    bool isFolder;
    bool isReadOnly;
    std::uint64_t size;         ///< bytes; 0 for a folder
    std::uint32_t lastWriteDay; ///< local day of the last change: year * 10000 + month * 100 + day; 0: not known
};
unsigned long GetFacts(SystemPath const& path, FileFacts& facts) noexcept;
[[nodiscard]] bool Exists(SystemPath const& path) noexcept;
[[nodiscard]] bool IsFolder(SystemPath const& path) noexcept;
[[nodiscard]] bool IsFile(SystemPath const& path) noexcept;

/// How long a call goes on trying while others (virus scanners, indexers) have the file open; it counts its tries.
struct Patience {
    static constexpr unsigned int kEndless = 0xFFFFFFFF;

    unsigned int milliseconds = 0;
    unsigned int tries = 0;  ///< counted by the call
    std::uint64_t begin = 0; ///< of the waiting, by the system's clock; 0: not yet

    /// After a try that failed: pauses, and answers whether there is time for another one.
    bool GoesOn() noexcept;
};
/// Whether a replacing or renaming failed because somebody has one of the files open, or shows it in memory.
bool IsInUse(unsigned long error) noexcept;
/// Renames in one step, over an existing file too, when both are on one volume: the name is never without a file.
unsigned long RenameOver(SystemPath const& from, SystemPath const& to, Patience& patience) noexcept;
inline unsigned long RenameOver(SystemPath const& from, SystemPath const& to) noexcept
{
    Patience once;
    return RenameOver(from, to, once);
}
/// Makes a folder the current one of the process.
unsigned long EnterFolder(SystemPath const& path) noexcept;
/// Deletes a file, one that is read-only too.
unsigned long RemoveFile(SystemPath const& path) noexcept;
/// Creates a folder and the folders above it. 0 also when it is there already.
unsigned long MakeFolder(SystemPath const& path);
/// Makes a new file that grants what `model` grants, when that exists. Nobody else may open it meanwhile.
unsigned long CreateLike(SystemPath const& path, SystemPath const& model, File& file);
/// Gives `to` the attributes of `from` (hidden, not indexed and the like), when that exists.
void CopyAttributes(SystemPath const& from, SystemPath const& to) noexcept;

/// An entry of a folder.
struct FolderEntry {
    std::wstring name;
    bool isFolder;
    std::uint64_t lastWrite = 0; ///< in units of 100 ns
};
/// The entries whose names match (the system's wildcards), without "." and "..", in ordinal order.
unsigned long ListFolder(SystemPath const& folder, std::wstring_view pattern, std::vector<FolderEntry>& entries);
/// The names of the files in a folder that end in the extension (without regard to case), in ordinal order.
std::vector<std::wstring> FilesIn(SystemPath const& folder, std::wstring const& extension);
std::vector<std::wstring> FoldersIn(SystemPath const& folder);

/// The folder for temporary files; empty when there is none.
SystemPath TempFolder();
/// The path with every short (8.3) name in it made long; the path itself when that cannot be had.
SystemPath WithLongNames(SystemPath const& path);

} // namespace xc::win32
