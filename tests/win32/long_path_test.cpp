// Long paths where the system has its limit: Wine has none, so the calls of the library are answered here as Windows
// answers them, and those that come without the long form are counted.
#include <XelbrinCore/XCConfig.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCFileStream.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCSaveFile.h>
#include <XelbrinCore/XCTrace.h>

#include "sync/import_patch.h"
#include "win32/FileSystem.h"

#include <cwchar>
#include <gtest/gtest.h>

namespace {

using xc::win32::SystemPath;

int g_long = 0;     ///< calls with the long form
int g_bypasses = 0; ///< calls with a path over the limit and without the long form

bool IsRefused(wchar_t const* path) noexcept
{
    if (std::wcsncmp(path, L"\\\\?\\", 4) == 0)
        ++g_long;
    else if (std::wcslen(path) + 1 > MAX_PATH - 12) { // the limit of folders, the lower one
        ++g_bypasses;
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return true;
    }
    return false;
}

/// Stands for a call whose first argument is a path.
template <auto Function, auto Failure, class... Rest>
auto WINAPI Limited(wchar_t const* path, Rest... rest) -> decltype(Function(path, rest...))
{
    return IsRefused(path) ? decltype(Function(path, rest...))(Failure) : Function(path, rest...);
}

template <auto Function, auto Failure, class Result, class... Rest>
void* StandIn(Result(WINAPI*)(wchar_t const*, Rest...))
{
    return reinterpret_cast<void*>(
        static_cast<Result(WINAPI*)(wchar_t const*, Rest...)>(&Limited<Function, Failure, Rest...>));
}

HANDLE WINAPI LimitedCreate(wchar_t const* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD start,
                            DWORD flags, HANDLE model)
{
    return IsRefused(path) ? INVALID_HANDLE_VALUE : ::CreateFileW(path, access, share, security, start, flags, model);
}

HANDLE WINAPI LimitedFind(wchar_t const* path, WIN32_FIND_DATAW* entry)
{
    return IsRefused(path) ? INVALID_HANDLE_VALUE : ::FindFirstFileW(path, entry);
}

BOOL WINAPI LimitedMove(wchar_t const* from, wchar_t const* to, DWORD flags)
{
    return IsRefused(from) || IsRefused(to) ? FALSE : ::MoveFileExW(from, to, flags);
}

/// Windows' limit for the library, as long as it lives.
class Limit {
#define XC_LIMIT(function, failure)                                                                                    \
    {                                                                                                                  \
#function, StandIn < &::function, failure>(&::function)                                                        \
    }
    sync_test::ImportPatch m_patches[9] = {
        {"CreateFileW", reinterpret_cast<void*>(&LimitedCreate)},
        {"FindFirstFileW", reinterpret_cast<void*>(&LimitedFind)},
        {"MoveFileExW", reinterpret_cast<void*>(&LimitedMove)},
        XC_LIMIT(GetFileAttributesW, INVALID_FILE_ATTRIBUTES),
        XC_LIMIT(GetFileAttributesExW, FALSE),
        XC_LIMIT(SetFileAttributesW, FALSE),
        XC_LIMIT(CreateDirectoryW, FALSE),
        XC_LIMIT(GetFileSecurityW, FALSE),
        XC_LIMIT(DeleteFileW, FALSE),
    };
#undef XC_LIMIT
};

TEST(LongPaths, EveryFileOfTheLibraryUsesTheLongForm)
{
    SystemPath const top(L"xc_long");
    SystemPath const folder = top.Child(std::wstring(120, L'f')).Child(std::wstring(120, L'g'));
    ASSERT_GT(folder.Text().size(), std::size_t{MAX_PATH});
    auto const name = [&](wchar_t const* last) { return XCString(folder.Child(last).Text()); };
    {
        Limit const limit;
        EXPECT_TRUE(XCTrace::SetTraceFolderName(XCString(folder.Text()).AsWChar())) << "folders are created";
        EXPECT_TRUE(XCTrace::SetTraceSubjects(L"ALL"));
        XCTrace::SetTraceSubjects(nullptr);
        XCTrace::SetTraceFolderName(L".");
        XCSmartPtr<XCFileLogSubscriber> const log(
            new XCRotatingFileLogSubscriber(name(L"x.log"), {.maxBytes = 1, .daily = true, .keepFiles = 2}));
        for (int i = 0; i < 3; ++i) log->OnFlush(1, L"x\n");
        log->Close();
        EXPECT_EQ(log->GetFailureCount(), 0u) << log->GetLastFailure().AsMbString();
        XCException::SetErrorLogPath(name(L"error.log"));
        EXPECT_TRUE(XCException(L"x", true).LogInErrorFile(XCException::LogWithoutStack));
        XCException::SetErrorLogPath(L"");
        XCConfigFile file(name(L"x.ini"));
        file.SetString(L"s", L"k", L"v");
        EXPECT_TRUE(file.Save().Good());
        EXPECT_TRUE(file.Save().Good()) << "over the old one";
        EXPECT_TRUE(file.Reload().Good());
        XCFileStream stream;
        XCFileInfo info;
        bool same = false;
        EXPECT_TRUE(XCSaveFile::Save(name(L"x.txt"), std::string_view("a\n")).Good());
        EXPECT_TRUE(stream.Open(name(L"x.txt"), XCFileMode::ToAppend()).Good() && stream.WriteLine(L"b").Good());
        EXPECT_TRUE(XCFileInfo::Get(name(L"x.txt"), info).Good());
        EXPECT_TRUE(XCPath(name(L"x.txt")).SameFile(name(L"x.ini"), same).Good() && !same);
    }
    EXPECT_EQ(g_bypasses, 0);
    EXPECT_GE(g_long, 30);
    for (wchar_t const* const file : {L"x.log", L"x.log.1", L"x.log.2", L"error.log", L"x.ini", L"x.txt"})
        EXPECT_EQ(xc::win32::RemoveFile(folder.Child(file)), 0u) << XCString(file).AsMbString();
    std::vector<std::wstring> const traces = xc::win32::FilesIn(folder, L".log");
    EXPECT_EQ(traces.size(), 1u);
    for (std::wstring const& trace : traces) xc::win32::RemoveFile(folder.Child(trace));
    for (SystemPath each = folder; each.Text().size() >= top.Text().size(); each = each.Folder())
        EXPECT_TRUE(::RemoveDirectoryW(each.ForSystem()));
}

} // namespace
