// The module files that a path stands for: those of a list file, or those with the extension in a folder.
//
// A list in the folder comes before the files beside it, so that an installation can say which modules it wants and in
// which order. A path that names no folder is taken for a list. All paths are absolute when they leave this file: the
// process may change its folder between the search and the loading.
#include "app/host/ModuleSearch.h"

#include "app/host/ListFile.h"
#include "encoding/EncodedText.h"
#include "errors/CoreError.h"
#include "errors/SystemWords.h"
#include "win32/FileIo.h"
#include "win32/FileSystem.h"

#include <optional>

namespace xc::host {

using win32::SystemPath;

namespace {

constexpr wchar_t kListFileName[] = L"osx.lst";

/// A name in a directory, which may be the root of a drive.
std::wstring Join(std::wstring directory, std::wstring_view name)
{
    if (!directory.empty() && directory.back() != L'\\') directory += L'\\';
    return directory.append(name);
}

/// A list file has the encodings of a configuration file.
XCErrorID ReadList(std::wstring const& path, ModuleList& list)
{
    std::string bytes;
    if (unsigned long const error = win32::ReadWholeFile(SystemPath(path), bytes); error != 0)
        return errors::MakeFileError(XCErrListCannotRead, XCString(path), error);
    XCTextEncoding encoding{};
    std::optional<encoding::UnitBuffer> const text = encoding::DecodeText(bytes, encoding);
    if (!text) return errors::MakeCoreError(XCErrListMalformed, XCString(path));
    list = ReadModuleList(text->View());
    return XCErrorID::Success;
}

void AddFiles(std::wstring const& directory, std::wstring const& extension, bool recursive,
              std::vector<std::wstring>& paths)
{
    for (std::wstring const& name : win32::FilesIn(SystemPath(directory), extension))
        paths.push_back(Join(directory, name));
    if (!recursive) return;
    for (std::wstring const& name : win32::FoldersIn(SystemPath(directory)))
        AddFiles(Join(directory, name), extension, recursive, paths);
}

} // namespace

ModulePlace PlaceOf(XCString const& path)
{
    std::wstring full = SystemPath(path.View()).Text();
    // A separator at the end means nothing, except in "C:/", the root of a drive.
    while (full.size() > 3 && full.back() == L'\\') full.pop_back();
    if (win32::IsFolder(SystemPath(full))) return {full, Join(full, kListFileName), false};
    std::size_t const separator = full.find_last_of(L'\\');
    return {full.substr(0, separator == std::wstring::npos ? 0 : separator), full, true};
}

FoundModules FindModules(ModulePlace const& place, std::wstring const& extension, bool recursive)
{
    FoundModules found;
    if (win32::IsFile(SystemPath(place.listFile))) {
        ModuleList list;
        found.failure = ReadList(place.listFile, list);
        for (XCString const& name : list.names) found.paths.push_back(SystemPath(Join(place.directory, name)).Text());
        found.refused = std::move(list.refused);
    } else if (place.listIsNamed)
        found.listIsMissing = true;
    else
        AddFiles(place.directory, extension, recursive, found.paths);
    return found;
}

} // namespace xc::host
