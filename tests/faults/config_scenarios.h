// config_scenarios.h - a configuration file that is loaded and saved while memory or the system fails.
#pragma once

#include "config/config_files.h"
#include "faults/injector.h"

namespace faults {

inline constexpr char kConfig[] =
    "; about this file\r\n[first]\r\nkey=value\r\nother=a value that is longer than most\r\n"
    "\r\n; about the second\r\n[second]\r\nnumber=12\r\n; the end\r\n";

/// Loading gives the whole file, or nothing and the reason.
inline void LoadConfig()
{
    static ScratchFile const disk(kConfig, "xc_faults_load.ini");
    XCErrorID loaded;
    XCSmartPtr<XCConfigFile> file;
    bool const done = Attempt([&] { file = XCConfigFile::Load(disk.Path(), &loaded); });
    if (!done || file.IsNull()) {
        EXPECT_TRUE(!done || (loaded.Bad() && !loaded.AsString().IsNull()));
        file = XCConfigFile::Load(disk.Path());
    }
    ASSERT_FALSE(file.IsNull());
    EXPECT_EQ(Dump(*file), XCString(L"first.key=value;first.other=a value that is longer than most;second.number=12;"));
}

/// Saving leaves the old file whole, or the new one, and no other file.
inline void SaveConfig()
{
    ScratchFolder const folder;
    folder.Write("a.ini", kConfig);
    static std::string const expected = [] {
        std::string text = kConfig;
        return text.replace(text.find("=value"), 6, "=changed to a text that is longer");
    }();
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(folder.Path("a.ini"));
    file->SetString(L"first", L"key", L"changed to a text that is longer");
    XCErrorID saved;
    bool const done = Attempt([&] { saved = file->Save(); });
    if (!done || saved.Bad()) {
        EXPECT_TRUE(!done || !saved.AsString().IsNull());
        EXPECT_EQ(All(folder.Bytes("a.ini"), folder.Count()), All(kConfig, 1));
        EXPECT_TRUE(file->Save().Good());
    }
    EXPECT_EQ(All(folder.Count(), folder.Bytes("a.ini")), All(1, expected));
}

} // namespace faults
