// Open files: what each way of opening allows, positions, locks and views, and that every failure names its file.

#include "files/shown.h"
#include "scratch_files.h"

#if defined(_WIN32)
#include "sync/import_patch.h"
#endif

namespace {

XCSmartPtr<XCFile> Opened(XCPath const& path, XCFileMode const& mode, XCFileShare share = XCFileShare::All)
{
    XCSmartPtr<XCFile> file;
    XCErrorID const result = XCFile::Open(path, mode, share, file);
    EXPECT_TRUE(result.Good()) << Shown(result.AsString());
    return file;
}

TEST(XCFile, WaysOfOpening)
{
    using Access = XCFileAccess;
    using Creation = XCFileCreation;
    // fault, access, creation, without (content after writing "ab" where there was nothing, "12345"; null: refused), with
    Rows<Access, Creation, char const*, char const*> const rows = {
        {"reading creates", Access::Read, Creation::Existing, nullptr, "12345"},
        {"missing file made", Access::Write, Creation::Existing, nullptr, "ab345"},
        {"emptied", Access::Write, Creation::OpenOrCreate, "ab", "ab345"},
        {"old content stays", Access::ReadWrite, Creation::Truncate, "ab", "ab"},
        {"old file taken", Access::Write, Creation::CreateNew, "ab", nullptr},
        {"written at the beginning", Access::Append, Creation::OpenOrCreate, "ab", "12345ab"},
        {"read only at the end", Access::AppendAndRead, Creation::OpenOrCreate, "ab", "12345ab"},
    };
    for (auto const& [fault, access, creation, without, with] : rows)
        for (bool const exists : {false, true}) {
            SCOPED_TRACE(testing::Message() << fault << (exists ? ", file" : ", no file"));
            ScratchFile const disk("xc_file.txt");
            if (exists) disk.Write("12345");
            XCSmartPtr<XCFile> file;
            XCErrorID const opened = XCFile::Open(disk.Path(), {access, creation}, file);
            char const* const expected = exists ? with : without;
            ASSERT_EQ(opened.Good(), expected != nullptr);
            if (!expected) {
                EXPECT_EQ(opened, XCErrFileCannotOpen);
                EXPECT_TRUE(Names(opened, "xc_file.txt"));
                continue;
            }
            char byte = 0;
            std::size_t got = 0;
            bool const reads = access != Access::Write && access != Access::Append;
            EXPECT_EQ(file->Write("ab", 2).Good(), access != Access::Read);
            EXPECT_EQ(file->ReadAt(0, &byte, 1, got).Good() && got == 1, reads);
            file.Clear();
            EXPECT_EQ(disk.Bytes(), expected);
        }
}

TEST(XCFile, PositionsAndSizes)
{
    ScratchFile const disk("0123456789", "xc_positions.bin");
    XCSmartPtr<XCFile> const file = Opened(disk.Path(), XCFileMode::ToUpdate());
    char bytes[16] = {};
    std::size_t got = 0;
    std::uint64_t size = 0;
    EXPECT_TRUE(file->Seek(-3, XCFileOrigin::End).Good());
    EXPECT_TRUE(file->ReadAt(2, bytes, 2, got).Good()) << "does not move";
    EXPECT_TRUE(file->Read(bytes + 2, 10, got).Good());
    EXPECT_EQ(got, 3u);
    EXPECT_STREQ(bytes, "23789");
    EXPECT_TRUE(file->Read(bytes, 1, got).Good());
    EXPECT_EQ(got, 0u) << "the end is no error";
    EXPECT_EQ(file->Seek(-11, XCFileOrigin::Current), XCErrFileFailed);
    EXPECT_EQ(file->Seek(INT64_MIN, XCFileOrigin::End), XCErrFileFailed);
    EXPECT_EQ(file->GetPosition(), 10u) << "a refused move moves nothing";
    EXPECT_TRUE(file->WriteAt(12, "x", 1).Good());
    EXPECT_EQ(disk.Bytes(), std::string("0123456789\0\0x", 13));
    EXPECT_TRUE(file->SetSize(4).Good() && file->SetSize(5).Good() && file->GetSize(size).Good());
    EXPECT_EQ(All(size, disk.Bytes()), All(5u, std::string("0123\0", 5)));
    XCFileInfo info;
    EXPECT_TRUE(file->GetInfo(info).Good());
    EXPECT_EQ(info.size, 5u);
    EXPECT_TRUE(Opened(disk.Path(), XCFileMode::ToAppend())->WriteAt(0, "x", 1).Bad()) << "would be written elsewhere";

    EXPECT_TRUE(file->Flush().Good() && file->Close().Good());
    XCSmartPtr<XCFileMap> map;
    for (XCErrorID const& closed : {file->Read(bytes, 1, got), file->Write("x", 1), file->WriteAt(0, "x", 1),
                                    file->GetSize(size), file->SetSize(1), file->Flush(), file->GetInfo(info),
                                    file->Lock(0, 1), file->Unlock(0, 1), file->Map(XCFileMapAccess::Read, map)})
    {
        ASSERT_TRUE(closed.Bad());
        EXPECT_EQ(Parameter(closed, 1), "6");
    }
}

TEST(XCFile, FaultyNamesAreNotCreatedUnlessAskedFor)
{
    XCSmartPtr<XCFile> file;
    for (wchar_t const* name : {L"xc_a.", L"con.txt", L"xc_b:stream", L"xc?", L""}) {
        XCErrorID const refused = XCFile::Open(name, XCFileMode::ToWrite(), file);
        EXPECT_EQ(refused, XCErrFileName) << Shown(name);
        EXPECT_TRUE(file.IsNull());
    }
    EXPECT_EQ(XCFile::Open(L"xc_a.", XCFileMode::ToRead(), file), XCErrFileCannotOpen) << "nothing is created";
#if defined(_WIN32)
    for (wchar_t const* name : {L"xc_literal.", L"xc_folder\\..\\aux.txt", L"xc_blank "}) {
        XCFileMode mode = XCFileMode::ToCreate();
        mode.names = XCFileNames::Literal;
        XCErrorID const opened = XCFile::Open(name, mode, file);
        ASSERT_TRUE(opened.Good()) << Shown(opened.AsString());
        XCString const path = file->GetPath().AsString();
        file.Clear();
        EXPECT_TRUE(path.View().starts_with(L"\\\\?\\")) << Shown(path);
        EXPECT_EQ(XCPath(path).Name(), XCPath(name).Name()) << Shown(path);
        EXPECT_TRUE(::DeleteFileW(path.AsWChar()));
    }
    XCFileMode null{XCFileAccess::Write, XCFileCreation::OpenOrCreate, XCFileNames::System};
    EXPECT_TRUE(XCFile::Open(L"NUL", null, file).Good() && file->Write("gone", 4).Good());
#endif
}

TEST(XCFile, Locks)
{
    ScratchFile const disk("0123456789", "xc_locks.bin");
    auto const mode = XCFileMode::ToUpdate();
    XCSmartPtr<XCFile> const one = Opened(disk.Path(), mode), two = Opened(disk.Path(), mode);
    EXPECT_TRUE(one->Lock(0, 5).Good());
    EXPECT_TRUE(two->Lock(5, XCFile::kToEnd).Good()) << "ranges that only touch";
    EXPECT_EQ(one->Lock(4, 2), XCErrFileHeld);
    XCErrorID const held = two->Lock(0, 1, false, 40);
    ASSERT_EQ(held, XCErrFileHeld);
    EXPECT_TRUE(Names(held, "xc_locks.bin"));
    EXPECT_NE(Parameter(held, 3), "1") << "more than one try";
    EXPECT_TRUE(one->Unlock(0, 5).Good());
    EXPECT_TRUE(one->Lock(0, 5, false).Good() && two->Lock(0, 5, false).Good()) << "two readers";
    EXPECT_TRUE(one->Close().Good() && two->Unlock(0, 5).Good());
    EXPECT_TRUE(two->Lock(0, 5).Good()) << "closing gives back";
}

TEST(XCFile, Views)
{
    std::string content(200'000, 'x');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    ScratchFile const disk(content, "xc_view.bin"), empty("", "xc_empty.bin");
    XCSmartPtr<XCFileMap> map;
    EXPECT_TRUE(Opened(empty.Path(), XCFileMode::ToRead())->Map(XCFileMapAccess::Read, map).Good());
    EXPECT_TRUE(map->GetBytes().IsEmpty() && map->Flush().Good());
    XCSmartPtr<XCFile> file = Opened(disk.Path(), XCFileMode::ToUpdate());
    for (std::uint64_t const offset : {0u, 1u, 65'535u, 131'072u, 199'999u, 200'000u, 300'000u}) {
        ASSERT_TRUE(file->Map(XCFileMapAccess::Read, map, offset, 70'000).Good()) << offset;
        std::size_t const from = std::min<std::size_t>(offset, content.size());
        EXPECT_TRUE(map->GetBytes() == XCBytes(std::string_view(content).substr(from, 70'000))) << offset;
        EXPECT_EQ(map->GetData(), nullptr);
    }
    ASSERT_TRUE(file->Map(XCFileMapAccess::CopyOnWrite, map).Good());
    map->GetData()[0] = 'C';
    EXPECT_EQ(disk.Bytes()[0], content[0]) << "a private change reached the file";
    ASSERT_TRUE(file->Map(XCFileMapAccess::ReadWrite, map, 70'000, 1).Good());
    file.Clear();
    map->GetData()[0] = 'W';
    EXPECT_TRUE(map->Flush().Good());
    map.Clear();
    EXPECT_EQ(disk.Bytes()[70'000], 'W');
    EXPECT_TRUE(Opened(disk.Path(), XCFileMode::ToRead())->Map(XCFileMapAccess::ReadWrite, map).Bad());
}

#if defined(_WIN32)
// Stands for any call of the system, and answers as Windows does and Wine does not.
DWORD g_answer = 0;
void* Refused()
{
    ::SetLastError(g_answer);
    return nullptr;
}

TEST(XCFile, AnswersOfWindowsComeWithThePath)
{
    ScratchFile const disk("0123456789", "xc_answers.bin");
    XCSmartPtr<XCFile> const file = Opened(disk.Path(), XCFileMode::ToUpdate());
    XCSmartPtr<XCFileMap> map;
    char byte = 0;
    std::size_t count = 1;
    // function, answer (locked by others, shown in memory, emptied since), call, code
    Table<char const*, DWORD, std::function<XCErrorID()>, long> const rows = {
        {"ReadFile", ERROR_LOCK_VIOLATION, [&] { return file->ReadAt(0, &byte, 1, count); }, XCErrFileCannotRead},
        {"WriteFile", ERROR_LOCK_VIOLATION, [&] { return file->WriteAt(0, "x", 1, &count); }, XCErrFileCannotWrite},
        {"WriteFile", ERROR_DISK_FULL, [&] { return file->Write("x", 1, &count); }, XCErrFileCannotWrite},
        {"SetFileInformationByHandle", ERROR_USER_MAPPED_FILE, [&] { return file->SetSize(0); }, XCErrFileCannotWrite},
        {"CreateFileMappingW", ERROR_FILE_INVALID, [&] { return file->Map(XCFileMapAccess::Read, map); }, 0},
    };
    for (auto const& [function, answer, call, code] : rows) {
        SCOPED_TRACE(function);
        g_answer = answer;
        sync_test::ImportPatch const patch(function, &Refused);
        XCErrorID const result = call();
        EXPECT_EQ(result, code);
        if (code == 0) continue;
        EXPECT_EQ(Parameter(result, 1), std::to_string(answer));
        EXPECT_NE(result.AsString().View().find(L"xc_answers.bin"), std::wstring::npos);
    }
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(file->GetPosition(), 0u) << "a failed write moves nothing";
    EXPECT_TRUE(map && map->GetBytes().IsEmpty()) << "1006 shows";
}
#endif

} // namespace
