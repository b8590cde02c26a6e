// Finding and loading plug-in modules.
#include <XelbrinCore/XCApplication.h>

#include "app/Host.h"
#include "app/ListFile.h"
#include "app/Sealed.h"
#include "text/Utf8.h"
#include "win32/FileIo.h"
#include "win32/Paths.h"

#include <string>

using xc::app::PlugInFailure;
using xc::app::Sealed;

namespace {

constexpr wchar_t kListFileName[] = L"osx.lst";

using EntryPoint = XCPlugIn*();

std::string NarrowName(XCString const& name)
{
    std::string narrow;
    xc::text::AppendUtf8(narrow, name);
    return narrow;
}

/// The directory and the list file that a search path names.
struct ModulePlace {
    std::wstring directory;
    std::wstring listFile;
    bool listIsNamed; ///< by the path itself, so that it must exist
};

ModulePlace PlaceOf(XCString const& path)
{
    std::wstring const full = xc::win32::FullPath(path);
    if (xc::win32::IsDirectory(full)) return {full, full + L"\\" + kListFileName, false};
    std::size_t const separator = full.find_last_of(L'\\');
    return {full.substr(0, separator == std::wstring::npos ? 0 : separator), full, true};
}

/// The text of a list file; what is no UTF-8 is read as Latin-1, which covers every byte.
std::wstring ReadListText(std::wstring const& path)
{
    std::string bytes;
    if (xc::win32::ReadWholeFile(path, bytes) != 0) return {};
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
    XCString text;
    if (text.SetFromUTF8(bytes).Good()) return std::wstring(text.View());
    std::wstring latin;
    for (char const byte : bytes) latin += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    return latin;
}

void FindModules(std::wstring const& directory, std::wstring const& extension, bool recursive,
                 std::vector<std::wstring>& paths)
{
    for (std::wstring const& name : xc::win32::FilesIn(directory, extension)) paths.push_back(directory + L"\\" + name);
    if (!recursive) return;
    for (std::wstring const& name : xc::win32::DirectoriesIn(directory))
        FindModules(directory + L"\\" + name, extension, recursive, paths);
}

} // namespace

/// A module whose plug-in waits to be added.
struct XCApplicationWithPlugIns::Loaded {
    xc::win32::Module module; // before the plug-in: it must be let go of first
    XCSmartPtr<XCPlugIn> plugIn;
    std::wstring path;
};

XCErrorID XCApplicationWithPlugIns::LoadModule(std::wstring const& path, XCString const& entryName, Loaded& loaded)
{
    XCString const shown(path);
    loaded.path = path;
    loaded.module = xc::win32::Module::Load(path);
    if (!loaded.module) {
        XCErrorID const reason(XCSmartPtr<XCWinLastError>(new XCWinLastError));
        Print(L"LoadLibrary fails on " + shown + L"\n");
        return PlugInFailure(shown + L": " + reason.AsString());
    }
    auto* const entry = reinterpret_cast<EntryPoint*>(loaded.module.Find(NarrowName(entryName).c_str()));
    if (!entry) {
        XCString const what = L": Cannot locate \"" + entryName + L"\" entry point";
        Print(L"LoadPlugIn failed on " + shown + what + L"\n");
        return PlugInFailure(shown + what);
    }
    XCErrorID const made = Sealed([&] { loaded.plugIn = entry(); });
    if (made.Bad()) Print(L"ERR> ***" + shown + L": " + made.AsString() + L"\n");
    return XCErrorID::Success; // a plug-in that could not be made is refused when it is added
}

XCErrorID XCApplicationWithPlugIns::AddLoaded(Loaded& loaded)
{
    XCErrorID const added = AddPlugIn(loaded.plugIn, false);
    if (added.Bad()) {
        Print(L"LoaPlugIn failed on " + XCString(loaded.path) + L": AddPlugIn failed\n");
        (void)Sealed([&] { loaded.plugIn.Clear(); });
        return added;
    }
    m_host->Keep(loaded.plugIn, std::move(loaded.module));
    return added;
}

XCErrorID XCApplicationWithPlugIns::LoadPlugIn(XCString const& path, XCString const& entryName)
{
    Loaded loaded;
    XCErrorID const result = LoadModule(xc::win32::FullPath(path), entryName, loaded);
    return result.Bad() ? result : AddLoaded(loaded);
}

XCErrorID XCApplicationWithPlugIns::LoadPlugInsFromDirectory(XCString const& directory, XCString const& extension,
                                                             XCString const& entryName, bool recursive)
{
    return GetDLLPlugInsFromDirectory(directory, extension, entryName, recursive);
}

XCErrorID XCApplicationWithPlugIns::GetDLLPlugInsFromDirectory(XCString const& directory, XCString const& extension,
                                                               XCString const& entryName, bool recursive)
{
    ModulePlace const place = PlaceOf(directory);
    Print(L"Retrieving plug-ins from " + XCString(place.directory) + L"\n");
    std::vector<std::wstring> paths;
    if (xc::win32::IsFile(place.listFile)) {
        xc::app::ModuleList const list = xc::app::ReadModuleList(ReadListText(place.listFile));
        for (XCString const& name : list.names)
            paths.push_back(xc::win32::FullPath(place.directory + L"\\" + name.AsWChar()));
        for (XCString const& name : list.refused)
            Print(L"ERR> ***" + XCString(place.listFile) + L": " + name + L" is not inside the folder of the list\n");
    } else if (place.listIsNamed)
        Print(L"The plug-ins list file " + XCString(place.listFile) + L" does not exist.\n");
    else
        FindModules(place.directory, extension, recursive, paths);
    return LoadModules(paths, entryName);
}

// Modules come in any order: what depends on another waits until no pass adds any more. What is then left misses
// something, or is part of a cycle, and says so once.
XCErrorID XCApplicationWithPlugIns::LoadModules(std::vector<std::wstring> const& paths, XCString const& entryName)
{
    std::vector<Loaded> waiting;
    for (std::wstring const& path : paths) {
        Loaded loaded;
        if (LoadModule(path, entryName, loaded).Good()) waiting.push_back(std::move(loaded));
    }
    bool any = false;
    for (bool progress = true; progress;) {
        progress = false;
        for (auto it = waiting.begin(); it != waiting.end();) {
            bool const ready = it->plugIn.IsNull() || CheckDependents(*it->plugIn, true).Good();
            if (!ready) {
                ++it;
                continue;
            }
            any = AddLoaded(*it).Good() || any;
            it = waiting.erase(it);
            progress = true;
        }
    }
    for (Loaded& left : waiting) (void)AddLoaded(left);
    return any ? XCErrorID() : PlugInFailure(L"no plug-in was loaded");
}
