// settings FILE [/section:NAME] [/key:NAME] [/set:VALUE]: shows or changes the settings of a configuration file.
//
//     settings service.ini                                   lists all settings
//     settings service.ini /section:Log /key:Folder          prints one
//     settings service.ini /section:Log /key:Folder /set:d   changes one; nothing else in the file changes
#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCConfig.h>

#include <cstdio>

namespace {

void List(XCConfigFile& file)
{
    XCConfigLock const lock(file);
    for (auto section = file.GetSectionsBegin(); section != file.GetSectionsEnd(); ++section)
        for (auto line = section->GetLinesBegin(); line != section->GetLinesEnd(); ++line)
            std::printf("%s.%s = %s\n", section->GetName().AsUTF8().c_str(), line->GetKey().AsUTF8().c_str(),
                        line->GetValue().AsUTF8().c_str());
}

int Change(XCConfigFile& file, XCCommandLine const& line)
{
    file.SetString(line.GetArg(L"section"), line.GetArg(L"key"), line.GetArg(L"set"));
    XCErrorID const saved = file.Save();
    std::printf("%s\n", saved.AsString().AsUTF8().c_str());
    return saved.Good() ? 0 : 1;
}

int Run(XCCommandLine const& line)
{
    XCString const name = line.GetFileName(0);
    XCErrorID whyNot;
    XCSmartPtr<XCConfigFile> file = XCConfigFile::Load(name, &whyNot);
    if (file.IsNull()) {
        std::printf("%s\n", whyNot.AsString().AsUTF8().c_str());
        if (!line.ArgPresent(L"set")) return 0; // nothing to show
        file = new XCConfigFile(name);
    }
    if (line.ArgPresent(L"set")) return Change(*file, line);
    if (line.ArgPresent(L"key"))
        std::printf("%s\n", file->GetString(line.GetArg(L"section"), line.GetArg(L"key"), L"").AsUTF8().c_str());
    else
        List(*file);
    return 0;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    XCCommandLine const line(static_cast<std::size_t>(count), arguments);
    try {
        return Run(line);
    } catch (XCConfigStreamException const& fault) {
        std::printf("%s(%u): %s\n", fault.GetFileName().AsUTF8().c_str(), static_cast<unsigned>(fault.GetLine()),
                    fault.what());
        return 2;
    }
}
