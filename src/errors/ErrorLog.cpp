// The error log of the process: one file that exceptions are recorded in, set up by nobody.
//
// An exception may be recorded before main, after main, in a module without an application, on any thread. So the path
// is a value of the process that is found at the first need (in the temporary folder, under the program's name) and
// never destroyed. It is made absolute when it is set: a program that changes its folder goes on in the same file. Each
// record is formatted whole and appended in one turn at the file, so that records of several threads and processes
// never mix; the file is closed again in between, because errors are rare and the file may be moved away at any time.
// Lines of a message after its first are indented, so that no message can begin a record.
#include "errors/ErrorLog.h"

#include "errors/RunningCalls.h"
#include "text/LineText.h"
#include "win32/AppendFile.h"
#include "win32/Clock.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"

#include <cstdio>
#include <mutex>
#include <optional>

namespace xc::errors {

namespace {

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
        if (!name) Set(ErrorLogIn(TemporaryFolder(), win32::ModulePath()));
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
    // Process and thread are part of the record, because several of both append to one file.
    std::snprintf(head, sizeof head, "%04d-%02d-%02d %02d:%02d:%02d.%03d [process %lu, thread %lu] ", int{now.year},
                  int{now.month}, int{now.day}, int{now.hour}, int{now.minute}, int{now.second}, int{now.millisecond},
                  win32::ProcessId(), win32::ThreadId());
    return head;
}

} // namespace

std::wstring TemporaryFolder()
{
    // A variable that names no folder is passed over: it is more often a slip than a wish for no log.
    for (wchar_t const* const name : {L"TMP", L"TMPDIR"}) {
        std::optional<std::wstring> folder = win32::ReadEnvironment(name);
        if (folder && win32::IsFolder(win32::SystemPath(*folder))) return *std::move(folder);
    }
    return L".";
}

XCString ErrorLogIn(std::wstring const& folder, std::wstring const& module)
{
    constexpr std::size_t kMostUnits = 259; // of the module's path
    constexpr std::size_t kExtension = 4;   // ".exe"; another extension is cut to what is left of it
    std::wstring name = module.substr(0, kMostUnits);
    name.erase(0, name.find_last_of(L"\\/") + 1);
    name.resize(name.size() < kExtension ? 0 : name.size() - kExtension);
    return XCString(folder + L"\\" + name + L"-ERROR.LOG");
}

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
    // An empty name turns the log off.
    if (path.IsEmpty()) return false;
    std::string record = RecordHead();
    text::AppendIndented(record, message.View(), kLineEnd);
    if (!stack.IsNull()) text::AppendIndented(record, (L"\n" + stack).View(), kLineEnd);
    // Which plug-ins this thread was in: the stack names functions, but not whose they are.
    XCString const calls = RunningCallsText(win32::ThreadId());
    if (!calls.IsNull()) text::AppendIndented(record, (L"\n" + calls).View(), kLineEnd);
    record += kLineEnd;
    return win32::AppendToFile(path, record);
}

} // namespace xc::errors
