#include "errors/ErrorLog.h"

#include "errors/RunningCalls.h"
#include "text/Utf8.h"
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

std::string RecordHead()
{
    win32::WallTime const now = win32::LocalNow();
    char head[80];
    std::snprintf(head, sizeof head, "%04d-%02d-%02d %02d:%02d:%02d.%03d [process %lu, thread %lu] ", int{now.year},
                  int{now.month}, int{now.day}, int{now.hour}, int{now.minute}, int{now.second}, int{now.millisecond},
                  win32::ProcessId(), win32::ThreadId());
    return head;
}

/// The lines of a text, those after the first indented.
void AppendLines(std::string& record, std::wstring_view text)
{
    std::string bytes;
    text::AppendUtf8(bytes, text);
    for (char const unit : bytes) {
        if (unit == '\r') continue;
        record += unit == '\n' ? "\r\n    " : std::string(1, unit);
    }
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
    AppendLines(record, message);
    if (!stack.IsNull()) AppendLines(record, L"\n" + stack);
    if (XCString const calls = RunningCallsText(win32::ThreadId()); !calls.IsNull()) AppendLines(record, L"\n" + calls);
    record += "\r\n";
    return win32::AppendToFile(path, record);
}

} // namespace xc::errors
