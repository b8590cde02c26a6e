// tidy.cpp - lists or removes files that nobody has written for some days, and the folders that this leaves empty.
//
//     tidy <folder> /days:30 [/names:*.log;*.tmp] [/remove]
//
// Without /remove it shows the plan and changes nothing.
#include <XelbrinCore/XCDateTimeEx.h>
#include <XelbrinCore/XCDirectory.h>
#include <XelbrinCore/XCDurationEx.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace {

struct Plan {
    XCPath folder;
    XCString names;
    long days = 30;
    bool remove = false;
};

bool ReadPlan(int count, wchar_t** arguments, Plan& plan)
{
    for (int i = 1; i < count; ++i) {
        std::wstring_view const argument(arguments[i]);
        if (argument == L"/remove")
            plan.remove = true;
        else if (argument.starts_with(L"/days:"))
            plan.days = std::wcstol(arguments[i] + 6, nullptr, 10);
        else if (argument.starts_with(L"/names:"))
            plan.names = XCString(argument.substr(7));
        else
            plan.folder = XCString(argument);
    }
    return !plan.folder.IsEmpty() && plan.days >= 0;
}

/// One file: shown, or removed. A file that is in use stays, and says so.
bool Tidy(XCDirectoryEntry const& entry, Plan const& plan)
{
    std::wcout << (plan.remove ? L"removes " : L"would remove ") << entry.GetRelative() << L", last written "
               << entry.GetInfo().written.GetDateTime() << L'\n';
    if (!plan.remove) return true;
    XCErrorID const removed = XCDirectory::RemoveFile(entry.GetPath());
    if (removed.Bad()) std::wcerr << removed.AsString() << L'\n';
    return removed.Good();
}

/// Folders without entries, the innermost first: those that are full refuse, and so stay.
void RemoveEmptyFolders(Plan const& plan)
{
    std::vector<XCPath> folders;
    (void)XCDirectory::Walk(plan.folder, {.files = false}, [&](XCDirectoryEntry const& entry) {
        if (entry.GetError().Good() && !entry.IsLink()) folders.push_back(entry.GetPath());
        return XCWalkStep::Continue;
    });
    for (; !folders.empty(); folders.pop_back()) (void)XCDirectory::Remove(folders.back());
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    Plan plan;
    if (!ReadPlan(count, arguments, plan)) {
        std::wcerr << L"tidy <folder> /days:30 [/names:*.log;*.tmp] [/remove]\n";
        return 2;
    }
    XCDateTimeEx const limit = XCDateTimeEx::GetCurrentDateTime() - XCDurationEx(plan.days, XCDurationEx::Day);
    XCFileTime const oldest(limit);
    int done = 0, failed = 0;
    XCWalkOptions old{.order = XCWalkOrder::ByName, .folders = false, .names = plan.names};
    XCErrorID const walked = XCDirectory::Walk(plan.folder, old, [&](XCDirectoryEntry const& entry) {
        if (entry.GetError().Bad()) {
            std::wcerr << entry.GetError().AsString() << L'\n';
            ++failed;
        } else if (!entry.IsLink() && entry.GetInfo().written < oldest) {
            ++(Tidy(entry, plan) ? done : failed);
        }
        return XCWalkStep::Continue;
    });
    if (walked.Bad()) {
        std::wcerr << walked.AsString() << L'\n';
        return 1;
    }
    if (plan.remove) RemoveEmptyFolders(plan);
    std::wcout << done << (plan.remove ? L" files removed\n" : L" files would be removed\n");
    return failed == 0 ? 0 : 1;
}
