// The facts about a file, from an open handle: names are resolved once, and all facts are of that one file.
//
// The 128-bit number identifies a file on every file system; where the system has no such number the 64-bit one of the
// older call is widened. Both always come from the same call for files of one volume, so that they can be compared.
#include "win32/FileDetails.h"

#include "win32/File.h"
#include "win32/LastError.h"

#include <cstring>
#include <windows.h>

namespace xc::win32 {

namespace {

std::int64_t TicksOf(FILETIME const& time) noexcept
{
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

void FillFrom(BY_HANDLE_FILE_INFORMATION const& facts, FileDetails& details) noexcept
{
    details.size = std::uint64_t{facts.nFileSizeHigh} << 32 | facts.nFileSizeLow;
    details.created = TicksOf(facts.ftCreationTime);
    details.accessed = TicksOf(facts.ftLastAccessTime);
    details.written = TicksOf(facts.ftLastWriteTime);
    details.attributes = facts.dwFileAttributes;
    details.links = facts.nNumberOfLinks;
    details.volume = facts.dwVolumeSerialNumber;
    // Low bytes first, as they stand in the 128-bit number of file systems that know both.
    std::memcpy(details.file, &facts.nFileIndexLow, sizeof facts.nFileIndexLow);
    std::memcpy(details.file + 4, &facts.nFileIndexHigh, sizeof facts.nFileIndexHigh);
}

template <class Facts>
bool Ask(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, Facts& facts) noexcept
{
    return ::GetFileInformationByHandleEx(file, kind, &facts, sizeof facts) != FALSE;
}

} // namespace

unsigned long GetDetails(void* handle, FileDetails& details) noexcept
{
    BY_HANDLE_FILE_INFORMATION facts;
    if (!::GetFileInformationByHandle(handle, &facts)) return LastError();
    FillFrom(facts, details);
    // File systems without these facts refuse the calls below; what they do not know stays 0.
    if (FILE_BASIC_INFO basic; Ask(handle, FileBasicInfo, basic)) details.changed = basic.ChangeTime.QuadPart;
    FILE_ATTRIBUTE_TAG_INFO tag;
    if ((details.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && Ask(handle, FileAttributeTagInfo, tag))
        details.reparseTag = tag.ReparseTag;
    if (FILE_ID_INFO id; Ask(handle, FileIdInfo, id)) {
        static_assert(sizeof id.FileId == sizeof details.file);
        details.volume = id.VolumeSerialNumber;
        std::memcpy(details.file, &id.FileId, sizeof details.file);
    }
    return 0;
}

unsigned long GetDetails(SystemPath const& path, bool followLinks, FileDetails& details) noexcept
{
    File file;
    FileMode mode{.access = FileMode::Access::Facts};
    // Folders are opened by this flag alone; the right to read attributes is granted even where the content is refused.
    mode.folders = true;
    mode.links = !followLinks;
    unsigned long const error = file.Open(path, mode);
    return error != 0 ? error : GetDetails(file.Handle(), details);
}

} // namespace xc::win32
