// Finding and loading plug-in modules.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCUnitTest.h>

#include "app/host/Host.h"
#include "app/host/ListFile.h"
#include "encoding/EncodedText.h"
#include "errors/CoreError.h"
#include "errors/Sealed.h"
#include "errors/SystemWords.h"
#include "text/Utf8.h"
#include "win32/FileIo.h"
#include "win32/FileSystem.h"
#include "win32/LastError.h"

#include <string>

using xc::errors::FailureOfException;
using xc::errors::MakeCoreError;
using xc::errors::PlugInFailure;
using xc::errors::SayIfPossible;
using xc::errors::Sealed;
using xc::win32::Module;
using xc::win32::SystemPath;

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
    std::wstring directory; ///< without a separator at the end, but for the root of a drive
    std::wstring listFile;
    bool listIsNamed; ///< by the path itself, so that it must exist
};

/// A name in a directory, which may be the root of a drive.
std::wstring Join(std::wstring directory, std::wstring_view name)
{
    if (!directory.empty() && directory.back() != L'\\') directory += L'\\';
    return directory.append(name);
}

ModulePlace PlaceOf(XCString const& path)
{
    std::wstring full = SystemPath(path.View()).Text();
    while (full.size() > 3 && full.back() == L'\\') full.pop_back();
    if (xc::win32::IsFolder(SystemPath(full))) return {full, Join(full, kListFileName), false};
    std::size_t const separator = full.find_last_of(L'\\');
    return {full.substr(0, separator == std::wstring::npos ? 0 : separator), full, true};
}

/// A list file has the encodings of a configuration file.
XCErrorID ReadList(std::wstring const& path, xc::host::ModuleList& list)
{
    std::string bytes;
    if (unsigned long const error = xc::win32::ReadWholeFile(SystemPath(path), bytes); error != 0)
        return xc::errors::MakeFileError(XCErrListCannotRead, XCString(path), error);
    XCConfigFile::Encoding encoding{};
    std::optional<xc::encoding::UnitBuffer> const text = xc::encoding::DecodeText(bytes, encoding);
    if (!text) return MakeCoreError(XCErrListMalformed, XCString(path));
    list = xc::host::ReadModuleList(text->View());
    return XCErrorID::Success;
}

void FindModules(std::wstring const& directory, std::wstring const& extension, bool recursive,
                 std::vector<std::wstring>& paths)
{
    for (std::wstring const& name : xc::win32::FilesIn(SystemPath(directory), extension))
        paths.push_back(Join(directory, name));
    if (!recursive) return;
    for (std::wstring const& name : xc::win32::FoldersIn(SystemPath(directory)))
        FindModules(Join(directory, name), extension, recursive, paths);
}

} // namespace

/// A module whose plug-in waits to be added. Its places in the host's lists are there before any of its code has run:
/// from then on nothing fails for want of memory.
struct XCApplicationWithPlugIns::Loaded {
    std::list<Host::LoadedModule> module{1}; // before the plug-in: it must be let go of first
    Host::Entries entry{1};

    XCSmartPtr<XCPlugIn>& PlugIn() noexcept { return entry.front().plugIn; }
};

XCErrorID XCApplicationWithPlugIns::LoadModule(std::wstring const& path, XCString const& entryName, Loaded& loaded)
try {
    XCString const shown(path);
    Module& module = loaded.module.front().module;
    loaded.module.front().path = loaded.entry.front().name = shown;
    module = Module::Load(SystemPath(path));
    if (!module) {
        XCString const reason = xc::errors::SystemFailure(path, xc::win32::LastError());
        Print(L"LoadLibrary fails on " + shown + L"\n");
        PrintError(reason);
        return PlugInFailure(reason);
    }
    auto* const entry = reinterpret_cast<EntryPoint*>(module.Find(NarrowName(entryName).c_str()));
    if (!entry) {
        XCString const what = L": Cannot locate \"" + entryName + L"\" entry point";
        Print(L"LoadPlugIn failed on " + shown + what + L"\n");
        return PlugInFailure(shown + what);
    }
    XCErrorID const made = Sealed([&] { loaded.PlugIn() = entry(); });
    if (made.Bad()) SayIfPossible([&] { PrintError(shown + L": " + made.AsString()); });
    return XCErrorID::Success; // a plug-in that could not be made is refused when it is added
} catch (...) {
    // The others are loaded all the same.
    XCErrorID const failure = FailureOfException();
    SayIfPossible([&] { PrintError(XCString(path) + L": " + failure.AsString()); });
    return failure;
}

XCErrorID XCApplicationWithPlugIns::AddLoaded(Loaded& loaded) noexcept
{
    XCErrorID const added = Sealed([&] { return AddPlugIn(loaded.PlugIn(), false); });
    if (added.Good()) {
        m_host->modules.splice(m_host->modules.end(), loaded.module);
        return added;
    }
    Host::LoadedModule& module = loaded.module.front();
    SayIfPossible([&] { Print(L"LoaPlugIn failed on " + module.path + L": AddPlugIn failed\n"); });
    // What the module has brought into the process goes before its code does.
    bool const isBeside = m_host->IsLoadedBeside(module.module);
    m_mainMenu->RemoveTestCases([&code = module.module, isBeside](XCUnitTest::Function const& function) {
        return !isBeside && code.Holds(&function.target_type());
    });
    if (!loaded.PlugIn().IsNull()) m_host->lingering.splice(m_host->lingering.end(), loaded.entry);
    m_host->ReleaseLingering();
    m_host->LetGoOf(module);
    return added;
}

XCErrorID XCApplicationWithPlugIns::LoadPlugIn(XCString const& path, XCString const& entryName)
{
    Loaded loaded;
    XCErrorID const result = LoadModule(SystemPath(path.View()).Text(), entryName, loaded);
    return result.Bad() ? result : AddLoaded(loaded);
}

XCString XCApplicationWithPlugIns::DirectoryOfModules(XCString const& path)
{
    return XCString(PlaceOf(path).directory);
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
    if (xc::win32::IsFile(SystemPath(place.listFile))) {
        xc::host::ModuleList list;
        if (XCErrorID const read = ReadList(place.listFile, list); read.Bad()) {
            PrintError(read.AsString());
            return read;
        }
        for (XCString const& name : list.names) paths.push_back(SystemPath(Join(place.directory, name)).Text());
        for (XCString const& name : list.refused)
            PrintError(XCString(place.listFile) + L": " + name + L" is not inside the folder of the list");
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
    std::list<Loaded> waiting(paths.size());
    auto place = waiting.begin();
    for (std::wstring const& path : paths)
        place = LoadModule(path, entryName, *place).Good() ? std::next(place) : waiting.erase(place);
    bool any = false;
    for (bool progress = true; progress;) {
        progress = false;
        for (auto it = waiting.begin(); it != waiting.end();) {
            bool const ready =
                it->PlugIn().IsNull() || Sealed([&] { return CheckDependents(*it->PlugIn(), true); }).Good();
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
