// Saving: whatever fails, the file on disk is the old or the new one, whole.
#include "config/config_files.h"
#include "prelude.h"
#include "repetitions.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

using xc::win32::SystemPath;

constexpr char kOld[] = "[s]\nk=old\n";
constexpr char kNew[] = "[s]\nk=new\n";

// Whole files ---------------------------------------------------------------------------------------------------

TEST(XCConfigSave, MissingFilesAndFolders)
{
    ScratchFile const disk("xc_config_new.ini");
    XCErrorID whyNot;
    EXPECT_TRUE(XCConfigFile::Load(disk.Path(), &whyNot).IsNull());
    EXPECT_EQ(whyNot, XCErrConfigCannotRead);

    XCSmartPtr<XCConfigFile> const file(new XCConfigFile(disk.Path()));
    file->SetString(L"s", L"k", L"v");
    EXPECT_EQ(file->Reload(), XCErrConfigCannotRead);
    EXPECT_TRUE(file->GetString(L"s", L"k", L"") == L"v") << "a file that cannot be read changes nothing";
    EXPECT_TRUE(file->Save().Good());
    EXPECT_EQ(disk.Bytes(), "[s]\r\nk=v\r\n") << "a new file has CRLF line ends";
    EXPECT_EQ(file->Save2(L"no such folder/x.ini"), XCErrConfigCannotWrite);

    ScratchFile const other("xc_config_other.ini");
    file->SetEncoding(XCConfigFile::Encoding::Utf8WithMark);
    EXPECT_TRUE(file->Save2(other.Path()).Good());
    EXPECT_EQ(other.Bytes(), "\xEF\xBB\xBF[s]\r\nk=v\r\n");
    EXPECT_TRUE(file->GetFileName() == disk.Path().c_str());

    XCConfig reader;
    EXPECT_TRUE(reader.Open(other.Path()).Good());
    EXPECT_EQ(reader.Open(L"no such file.ini"), XCErrConfigCannotRead);
    EXPECT_EQ(reader.GetLong(L"S", L"K", 5), 0) << "the reader answers as before";
}

TEST(XCConfigSave, AFileThatFailedToParseIsNotSavedOver)
{
    ScratchFile const disk(kOld, "xc_config_failed.ini");
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    std::string const broken = "[s]\nk=1\n[cut";
    disk.Write(broken);
    EXPECT_THROW(file->Reload(), XCConfigStreamException);
    EXPECT_TRUE(file->GetString(L"s", L"k", L"") == L"1") << "what stood before the fault is read";
    EXPECT_EQ(file->Save(), XCErrConfigPartlyRead);
    file->Clear();
    EXPECT_EQ(file->Save2(disk.Path()), XCErrConfigPartlyRead);
    EXPECT_EQ(disk.Bytes(), broken);
    disk.Write(kNew);
    EXPECT_TRUE(file->Reload().Good() && file->Save().Good());
}

// fault, section, key, value, comment, code
Rows<const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, long> const kUnsavableCases = {
    {"line feed in a value", L"s", L"k", L"a\nb", L"c", XCErrConfigWouldNotReadBack},
    {"'=' in a key", L"s", L"k=l", L"v", L"c", XCErrConfigWouldNotReadBack},
    {"key becomes a comment", L"s", L" ;k", L"v", L"c", XCErrConfigWouldNotReadBack},
    {"comment becomes a line", L"s", L"k", L"v", L"c\nx=y", XCErrConfigWouldNotReadBack},
    {"blank at the end of a value lost", L"s", L"k", L"> ", L"c", XCErrConfigWouldNotReadBack},
    {"unpaired surrogate in UTF-8", L"s", L"k", L"\xD800", L"c", XCErrUnmappableUnit},
};

TEST(XCConfigSave, RefusesWhatWouldReadAsSomethingElse)
{
    for (auto const& [fault, section, key, value, comment, code] : kUnsavableCases) {
        SCOPED_TRACE(fault);
        ScratchFile const disk(kOld, "xc_config_unsavable.ini");
        XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
        file->SetString(section, key, value);
        file->FindSection(section)->GetComments().AddComment(comment);
        EXPECT_EQ(file->Save(), code);
        EXPECT_EQ(disk.Bytes(), kOld);
    }
    ScratchFile const ansi("[s]\nk=\xE9\n", "xc_config_ansi.ini");
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(ansi.Path());
    EXPECT_EQ(file->GetEncoding(), XCConfigFile::Encoding::Ansi);
    file->SetString(L"s", L"k", L"\u65E5");
    EXPECT_EQ(file->Save(), XCErrUnmappableUnit);
    file->SetEncoding(XCConfigFile::Encoding::Utf8);
    EXPECT_TRUE(file->Save().Good());
    EXPECT_EQ(ansi.Bytes(), "[s]\nk=\xE6\x97\xA5\n");
    file->SetEncoding(XCConfigFile::Encoding::Ansi);
    file->SetString(L"s", L"k", L"\u00C3\u00A9");
    EXPECT_EQ(file->Save(), XCErrConfigWouldNotReadBack) << "bytes that the next reader takes for UTF-8";
    file->SetEncoding(XCConfigFile::Encoding::Utf8);
    file->SetString(L"s", L"k", L"> ");
    XCErrorID const fault = file->Save();
    ASSERT_EQ(fault->GetParameterType(2), XCErrorI::ParamString);
    EXPECT_TRUE(*static_cast<XCString const*>(fault->GetParameterValue(2)) ==
                L"the value has white space at an end, which is lost");
}

/// Every part of the file, in order.
std::wstring Content(XCConfigFile& file)
{
    std::wstring out;
    auto const add = [&out](XCString const& text) { out.append(text).push_back(L'\xFFFF'); };
    auto const addComments = [&](XCConfigComments const& comments) {
        for (XCString const& comment : comments) add(comment);
        out.push_back(L'\xFFFE');
    };
    for (XCConfigSection const& section : file) {
        add(section.GetName());
        addComments(section.GetComments());
        for (XCConfigLine const& line : section) {
            add(line.GetKey());
            add(line.GetValue());
            addComments(line.GetComments());
        }
    }
    addComments(file.GetEndComments());
    return out;
}

/// A text of few units, most of which mean something to the reader or are trimmed by it.
XCString AwkwardText(std::mt19937& random)
{
    static constexpr wchar_t kUnits[] = L"ab= \t\r\n;[]\x0B\x85\xA0\x3000\xFEFF\xC3\xA9\xD800,\"";
    XCString text(static_cast<wchar_t>(L'a' + random() % 3)); // plain texts mostly, so that most files can be saved
    if (random() % 8 != 0) return text;
    for (auto n = random() % 3; n > 0; --n) text += kUnits[random() % std::size(kUnits)];
    if (random() % 2 != 0) text.Insert(0, XCString(kUnits[random() % std::size(kUnits)]));
    return text;
}

void EditSomething(XCConfigFile& file, std::mt19937& random)
{
    auto const text = [&random] { return AwkwardText(random); };
    XCConfigSection* section = file.FindSection(text());
    if (!section) section = &file.AddSection(text());
    switch (random() % 7) {
    case 0: file.SetEncoding(static_cast<XCTextEncoding>(random() % 5)); break;
    case 1: section->SetName(text()); break;
    case 2: section->GetComments().AddComment(random() % 4 != 0 ? text() : XCString()); break;
    case 3: section->AddLine(text(), text()).GetComments().AddComment(text()); break;
    case 4: file.GetEndComments().AddComment(text()); break;
    case 5:
        if (section->GetSize() != 0) section->GetLinesBegin()->SetKey(text());
        break;
    default: file.SetString(section->GetName(), text(), text());
    }
}

TEST(XCConfigSave, WhatIsReportedAsSavedReadsBackEqual)
{
    std::mt19937 random(15);
    ScratchFile const disk("", "xc_config_property.ini");
    XCSmartPtr<XCConfigFile> const longLines = XCConfigFile::Load(disk.Path());
    for (wchar_t const* key : {L"a", L"b"}) longLines->SetString(L"s", key, XCString(L'x', 40000) + key);
    EXPECT_TRUE(longLines->Save().Good());
    EXPECT_EQ(Content(*XCConfigFile::Load(disk.Path())), Content(*longLines));
    disk.Write("");
    int saved = 0, refused = 0;
    for (int i = 0, n = Times(2000); i < n; ++i) {
        XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
        if (file->GetSize() > 8) file->Clear();
        for (auto edits = random() % 4; edits > 0; --edits) EditSomething(*file, random);
        std::string const before = disk.Bytes();
        XCErrorID const result = file->Save();
        result.Good() ? ++saved : ++refused;
        if (result.Bad())
            ASSERT_EQ(disk.Bytes(), before);
        else
            ASSERT_EQ(Content(*XCConfigFile::Load(disk.Path())), Content(*file)) << disk.Bytes();
    }
    EXPECT_GT(saved, refused);
    EXPECT_TRUE(refused > 0 || saved < 100); // of a few rounds, on a checked heap, none may be refused
}

#if defined(_WIN32)
XCSmartPtr<XCConfigFile> LoadAndEdit(ScratchFile const& disk)
{
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    file->SetString(L"s", L"k", L"new");
    return file;
}

TEST(XCConfigSave, WhatKilledSavesLeftIsRemoved)
{
    std::wstring const here = L"xc_config_left.ini." + std::wstring(xc::win32::MachineMark());
    std::wstring const own = here + L"-" + std::to_wstring(::GetCurrentProcessId());
    FILETIME const longAgo{0, 30'000'000}; // the year 2008
    // fault, name, old, stays
    Rows<std::wstring, bool, bool> const cases = {
        {"writer that ended", here + L"-4294967292-0.tmp", false, false},
        {"number of a process that came again", own + L"-3.tmp", true, false},
        {"another thread's save", own + L"-4.tmp", false, true},
        {"another machine's, of today", L"xc_config_left.ini.nowhere!-4294967292-0.tmp", false, true},
        {"another machine's, of long ago", L"xc_config_left.ini.nowhere!-4294967292-1.tmp", true, false},
        {"file of somebody else", L"xc_config_left.ini.notes-1-2.tmp", true, true},
        {"another configuration's", L"xc_config_left.ini.bak.nowhere!-4294967292-0.tmp", true, true},
        {"more than a number", here + L"-4294967292-0.x.tmp", true, true},
    };
    for (auto const& [fault, name, old, stays] : cases) {
        HANDLE const made = ::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        if (old) ::SetFileTime(made, nullptr, nullptr, &longAgo);
        ::CloseHandle(made);
    }
    ScratchFile const disk(kOld, "xc_config_left.ini");
    EXPECT_TRUE(LoadAndEdit(disk)->Save().Good());
    for (auto const& [fault, name, old, stays] : cases) {
        EXPECT_EQ(xc::win32::Exists(SystemPath(name)), stays) << fault;
        ::DeleteFileW(name.c_str());
    }
}
#endif

} // namespace
