// The grammar of paths, in one place: where the root ends, how names are separated, and the way back to a text.
//
// The rules are those by which the system reads a name, so that what is judged here is what will be opened there: two
// separators begin a share, and a device when "." or "?" stands between them and a third; the prefix of the long form
// counts only when it is written with "\", and switches every further rule off; any unit before ":" is a drive.
// Composing guards one invariant: the text has the root that the parts have. Names may hold units that no file system
// takes, and dropping the names before them could turn "a\..\C:x" into a path of a drive, or "\..\??\x" into a long
// form. ".\" before such a name keeps it a name. Cost: linear in the text, one vector of views.
#include "files/PathText.h"

#include "text/Names.h"

#include <algorithm>

namespace xc::files {

namespace {

bool IsAnySeparator(wchar_t unit) noexcept
{
    return IsSeparator(unit, XCPathKind::Relative);
}

/// The place after the name that begins at `at`, and after all separators that follow it.
std::size_t AfterName(std::wstring_view path, std::size_t at, XCPathKind kind) noexcept
{
    while (at < path.size() && !IsSeparator(path[at], kind)) ++at;
    while (at < path.size() && IsSeparator(path[at], kind)) ++at;
    return at;
}

bool IsLongPrefix(std::wstring_view path) noexcept
{
    return path.starts_with(L"\\\\?\\") || path.starts_with(L"\\??\\");
}

PathRoot LiteralRoot(std::wstring_view path) noexcept
{
    constexpr auto kKind = XCPathKind::Literal;
    std::size_t const first = 4; // units of the prefix
    std::size_t at = AfterName(path, first, kKind);
    // A share has two more names in its root. The prefix is followed to the letter, so "UNC" must be a whole name.
    bool const isShare =
        path.size() > first + 3 && path[first + 3] == L'\\' && text::IsSameNameFolded(path.substr(first, 3), L"UNC");
    if (isShare) at = AfterName(path, AfterName(path, at, kKind), kKind);
    return {kKind, at};
}

/// The path begins with two separators.
PathRoot DoubleRoot(std::wstring_view path) noexcept
{
    std::size_t at = 2;
    while (at < path.size() && IsAnySeparator(path[at])) ++at;
    if (at == path.size()) return {XCPathKind::Rooted, at}; // no server
    std::size_t const afterServer = AfterName(path, at, XCPathKind::Share);
    bool const isMark =
        (path[at] == L'.' || path[at] == L'?') && (at + 1 == path.size() || IsAnySeparator(path[at + 1]));
    return {isMark ? XCPathKind::Device : XCPathKind::Share, AfterName(path, afterServer, XCPathKind::Share)};
}

/// The server and the share in normal form.
std::wstring ShareRoot(std::wstring_view root)
{
    std::wstring text = L"\\";
    while (!root.empty())
        if (std::wstring_view const name = TakeName(root, XCPathKind::Share); !name.empty())
            text.append(L"\\").append(name);
    return text;
}

std::wstring NormalRoot(std::wstring_view root, XCPathKind kind)
{
    switch (kind) {
    case XCPathKind::Rooted: return L"\\";
    case XCPathKind::Drive: return std::wstring(root.substr(0, 2)) + L"\\";
    case XCPathKind::Share: return ShareRoot(root);
    default: return std::wstring(root);
    }
}

void AddResolved(PathParts& parts, std::wstring_view name)
{
    bool const isUp = name == L"..";
    // ".." takes back a name, never another ".." that stands for a folder whose name is not known.
    bool const canPop = !parts.names.empty() && parts.names.back() != L"..";
    bool const hasTop = parts.kind != XCPathKind::Relative && parts.kind != XCPathKind::DriveRelative;
    // Separators in a row, and the folder itself: no step.
    if (name.empty() || name == L".") return;
    if (isUp && canPop)
        parts.names.pop_back();
    else if (!isUp || !hasTop)
        parts.names.push_back(name);
}

std::wstring Appended(std::wstring text, std::vector<std::wstring_view> const& names, XCPathKind kind)
{
    for (std::wstring_view const name : names) {
        // "C:" and "x" are "C:x": with a separator the path would begin at the root of the drive.
        bool const afterDrive = kind == XCPathKind::DriveRelative && text.size() == 2;
        if (!text.empty() && text.back() != L'\\' && !afterDrive) text += L'\\';
        text += name;
    }
    return text;
}

} // namespace

PathRoot RootOf(std::wstring_view path) noexcept
{
    if (IsLongPrefix(path)) return LiteralRoot(path);
    if (path.empty()) return {XCPathKind::Relative, 0};
    if (IsAnySeparator(path[0])) {
        if (path.size() > 1 && IsAnySeparator(path[1])) return DoubleRoot(path);
        return {XCPathKind::Rooted, 1};
    }
    if (path.size() < 2 || path[1] != L':') return {XCPathKind::Relative, 0};
    if (path.size() == 2 || !IsAnySeparator(path[2])) return {XCPathKind::DriveRelative, 2};
    std::size_t at = 3;
    while (at < path.size() && IsAnySeparator(path[at])) ++at;
    return {XCPathKind::Drive, at};
}

std::wstring_view TakeName(std::wstring_view& rest, XCPathKind kind) noexcept
{
    std::size_t end = 0;
    while (end < rest.size() && !IsSeparator(rest[end], kind)) ++end;
    std::wstring_view const name = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return name;
}

PathParts Resolve(std::wstring_view path)
{
    PathRoot const root = RootOf(path);
    PathParts parts{root.kind, {}, {}};
    bool const verbatim = IsVerbatim(root.kind);
    parts.root =
        verbatim ? std::wstring(path.substr(0, root.length)) : NormalRoot(path.substr(0, root.length), root.kind);
    std::wstring_view rest = path.substr(root.length);
    bool const endsInSeparator = !rest.empty() && IsSeparator(rest.back(), root.kind);
    while (!rest.empty()) {
        std::wstring_view const name = TakeName(rest, root.kind);
        if (verbatim)
            parts.names.push_back(name);
        else
            AddResolved(parts, name);
    }
    // Every separator counts in a verbatim path: an empty name keeps the last one when the parts are put together
    // again.
    if (verbatim && endsInSeparator) parts.names.emplace_back();
    return parts;
}

std::wstring Compose(XCPathKind kind, std::wstring_view root, std::vector<std::wstring_view> const& names)
{
    std::wstring text = Appended(std::wstring(root), names, kind);
    if (kind == XCPathKind::Relative && text.empty()) return L".";
    // The other kinds begin with a root that no name can change.
    bool const canBeTaken = kind == XCPathKind::Relative || kind == XCPathKind::Rooted;
    if (canBeTaken && RootOf(text).kind != kind) return Appended(std::wstring(root) + L".\\", names, kind);
    return text;
}

} // namespace xc::files
