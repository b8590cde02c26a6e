// Who is late, in words.
//
// Of a thread that is in several calls, one within the other, the innermost is the one that hangs; the others stand in
// the lines below it. The line of the log names plug-in, module, age and thread; the stack follows in lines of their
// own, with every unit written out that could shape lines, since names of functions come from the files of modules.
#include "app/host/HangReport.h"

#include <XelbrinCore/XCStringParts.h>

#include "app/host/HostLines.h"
#include "errors/ErrorLog.h"
#include "sync/ThreadReport.h"
#include "text/Visible.h"
#include "win32/Clock.h"
#include "win32/Process.h"

#include <algorithm>

namespace xc::host {

namespace {

void PrintLines(XCString const& lines)
{
    // Each on its own: a stack as one text could be cut by a subscriber's limit, and a line of a log has one record.
    for (std::wstring_view const line : XCSplitViews(lines.View(), L"\n"))
        if (!line.empty()) Print(text::Visible(line) + L"\n");
}

XCString WhoIsLate(errors::CallNote const& note)
{
    // A module whose plug-in has not told its name yet is known by its path.
    XCString const whose = note.name[0] != L'\0' ? L"<" + XCString(note.name) + L">" : XCString(note.path);
    XCString place;
    place.Format(L"%ls (%ls), for %llu ms, thread %lu", note.operation, note.path,
                 static_cast<unsigned long long>(win32::TickMs() - note.sinceMs), note.thread);
    return whose + L" has not answered: in " + place;
}

} // namespace

std::vector<errors::CallNote> LateCalls(std::vector<errors::CallNote>& room, std::uint64_t ageMs)
{
    std::size_t const count = errors::CopyRunningCalls(room.data(), room.size());
    std::ranges::sort(room.begin(), room.begin() + static_cast<std::ptrdiff_t>(count), std::greater<>(),
                      &errors::CallNote::order);
    std::vector<unsigned long> seen;
    std::vector<errors::CallNote> late;
    std::uint64_t const now = win32::TickMs();
    for (std::size_t i = 0; i < count; ++i) {
        errors::CallNote const& note = room[i];
        // Sorted by the newest first: what follows of the same thread is an outer call, which waits for the inner one.
        if (std::ranges::find(seen, note.thread) != seen.end()) continue;
        seen.push_back(note.thread);
        if (now - note.sinceMs >= ageMs) late.push_back(note);
    }
    return late;
}

void ReportLate(errors::CallNote const& note) noexcept
{
    errors::SayIfPossible([&] {
        XCString const who = WhoIsLate(note);
        PrintError(who); // before the stack, which may take a while
        XCString const stack = sync::StackOfThread(note.thread);
        PrintLines(stack);
        errors::AppendToErrorLog(who, stack);
    });
}

void NameLate(wchar_t const* cause, unsigned int milliseconds) noexcept
{
    errors::SayIfPossible([&] {
        XCString title, calls;
        title.Format(L"%ls, and the program has not ended within %u ms", cause, milliseconds);
        PrintError(title);
        std::vector<errors::CallNote> room(64);
        for (errors::CallNote const& note : LateCalls(room, 0)) {
            XCString const who = WhoIsLate(note);
            PrintError(who);
            calls += (calls.IsNull() ? XCString() : XCString(L"\n")) + who;
        }
        errors::AppendToErrorLog(title, calls);
    });
}

void ReportAll() noexcept
{
    errors::SayIfPossible([] {
        XCString title, dump;
        title.Format(L"report on process %lu", win32::ProcessId());
        XCErrorID const dumped = XCDumpAllStacks(dump);
        if (dumped.Bad()) dump = dumped.AsString();
        Print(title + L"\n");
        PrintLines(dump);
        errors::AppendToErrorLog(title, dump);
    });
}

} // namespace xc::host
