#include "errors/ErrorLog.h"

#include "errors/RunningCalls.h"
#include "text/LineText.h"
#include "win32/AppendFile.h"
#include "win32/Clock.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <optional>

namespace xc::errors {

namespace {

std::wstring TemporaryFolder()
{
    for (wchar_t const* const name : {L"TMP", L"TMPDIR"}) {
        std::optional<std::wstring> folder = win32::ReadEnvironment(name);
        if (folder && !folder->empty() && win32::IsFolder(win32::SystemPath(*folder))) return *std::move(folder);
    }
    return L".";
}

XCString DefaultLogPath()
{
    std::wstring const program = win32::ModulePath();
    std::wstring name = program.substr(program.find_last_of(L"\\/") + 1);
    name.resize(std::min(name.find_last_of(L'.'), name.size()));
    return TemporaryFolder() + L"\\" + name + L"-ERROR.LOG";
}

/// What was set, if anything was; lives as long as the process.
struct LogPath {
    std::mutex lock;
    std::optional<XCString> name; ///< as it was given
    win32::SystemPath path;       ///< where that was when it was given

    void Set(XCString const& newName)
    {
        path = win32::SystemPath(newName.View());
        name = newName;
    }
    XCString const& Name()
    {
        if (!name) Set(DefaultLogPath());
        return *name;
    }
};

LogPath& CurrentLogPath()
{
    static LogPath& current = *new LogPath;
    return current;
}

constexpr char kLineEnd[] = "\r\n";

std::string RecordHead()
{
    win32::WallTime const now = win32::LocalNow();
    char head[80];
    std::snprintf(head, sizeof head, "%04d-%02d-%02d %02d:%02d:%02d.%03d [process %lu, thread %lu] ", int{now.year},
                  int{now.month}, int{now.day}, int{now.hour}, int{now.minute}, int{now.second}, int{now.millisecond},
                  win32::ProcessId(), win32::ThreadId());
    return head;
}

} // namespace

void SetErrorLogPath(XCString const& path)
{
    LogPath& current = CurrentLogPath();
    std::lock_guard const guard(current.lock);
    current.Set(path);
}

XCString ErrorLogPath()
{
    LogPath& current = CurrentLogPath();
    std::lock_guard const guard(current.lock);
    return current.Name();
}

namespace {

win32::SystemPath PathOfLog()
{
    LogPath& current = CurrentLogPath();
    std::lock_guard const guard(current.lock);
    current.Name();
    return current.path;
}

} // namespace

bool AppendToErrorLog(XCString const& message, XCString const& stack)
{
    win32::SystemPath const path = PathOfLog();
    if (path.IsEmpty()) return false;
    std::string record = RecordHead();
    text::AppendIndented(record, message.View(), kLineEnd);
    if (!stack.IsNull()) text::AppendIndented(record, (L"\n" + stack).View(), kLineEnd);
    XCString const calls = RunningCallsText(win32::ThreadId());
    if (!calls.IsNull()) text::AppendIndented(record, (L"\n" + calls).View(), kLineEnd);
    record += kLineEnd;
    return win32::AppendToFile(path, record);
}

} // namespace xc::errors
