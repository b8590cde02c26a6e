// Questions to a path, answered from its text.
//
// Nothing is stored but the text: a path is mostly handed on, and each question needs one pass over a short text. What
// may be created is judged by the strictest rule of the systems in use, since a name that one program can make and the
// next cannot open or delete is a fault wherever it was made. Devices hide behind their old names with any extension,
// with blanks before it, and with the superscript digits of Latin-1, which the system folds to plain ones.
#include <XelbrinCore/XCPath.h>

#include "files/PathText.h"
#include "text/CaseTables.h"
#include "text/Names.h"
#include "text/Units.h"
#include "win32/SystemPath.h"

#include <algorithm>

using namespace xc::files;

namespace xc::files {

namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestPath = 32000; // the system's limit, less the room for its prefixes

/// Names such as "COM1"; the system folds superscript digits to plain ones before it looks.
bool IsDeviceDigit(wchar_t unit) noexcept
{
    return text::IsDigit(unit) || unit == L'\u00B9' || unit == L'\u00B2' || unit == L'\u00B3';
}

/// Whether the system takes the name for a device, whatever follows the first "." or ":".
bool IsReserved(std::wstring_view name) noexcept
{
    name = name.substr(0, name.find_first_of(L".:"));
    while (!name.empty() && name.back() == L' ') name.remove_suffix(1);
    for (std::wstring_view const device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"})
        if (text::IsSameNameFolded(name, device)) return true;
    if (name.size() != 4 || !IsDeviceDigit(name[3])) return false;
    return text::IsSameNameFolded(name.substr(0, 3), L"COM") || text::IsSameNameFolded(name.substr(0, 3), L"LPT");
}

/// Units that no file system of Windows keeps in a name, though a share of another system may hold such files.
bool IsRefusedUnit(wchar_t unit) noexcept
{
    return text::ToUint(unit) < 0x20 || std::wstring_view(L"<>\"|?*\\/").find(unit) != std::wstring_view::npos;
}

bool IsLetter(wchar_t unit) noexcept
{
    return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z');
}

bool IsDriveName(std::wstring_view name) noexcept
{
    return name.size() == 2 && IsLetter(name[0]) && name[1] == L':';
}

/// A literal path leads to a file by a drive, a share or a volume.
bool IsLiteralOfFiles(std::wstring_view path) noexcept
{
    path.remove_prefix(4);
    std::wstring_view const first = TakeName(path, XCPathKind::Literal);
    return IsDriveName(first) || text::IsSameNameFolded(first, L"UNC") ||
           text::IsSameNameFolded(first.substr(0, 7), L"Volume{");
}

/// Shares whose names are no files.
bool IsDeviceShare(std::wstring_view root) noexcept
{
    std::wstring_view name;
    for (int found = 0; found < 2 && !root.empty();)
        if (name = TakeName(root, XCPathKind::Share); !name.empty()) ++found;
    return text::IsSameNameFolded(name, L"pipe") || text::IsSameNameFolded(name, L"mailslot") ||
           text::IsSameNameFolded(name, L"IPC$");
}

/// The names of a path, those of its root included where they are names: a server, a share, a volume.
std::wstring_view NamesOf(std::wstring_view path, PathRoot const& root) noexcept
{
    if (root.kind == XCPathKind::Share) return path;
    if (root.kind != XCPathKind::Literal) return path.substr(root.length);
    path.remove_prefix(4);
    std::wstring_view rest = path;
    return IsDriveName(TakeName(rest, root.kind)) ? rest : path;
}

/// A root is judged before the names, since a device there gives the names another meaning.
XCPathFault CheckRoot(std::wstring_view path, PathRoot const& root) noexcept
{
    switch (root.kind) {
    case XCPathKind::Device: return XCPathFault::Device;
    case XCPathKind::Literal: return IsLiteralOfFiles(path) ? XCPathFault::None : XCPathFault::Device;
    case XCPathKind::Share: return IsDeviceShare(path.substr(0, root.length)) ? XCPathFault::Device : XCPathFault::None;
    case XCPathKind::Drive:
    case XCPathKind::DriveRelative: return IsLetter(path[0]) ? XCPathFault::None : XCPathFault::Character;
    default: return XCPathFault::None;
    }
}

/// The path without the separators at its end, but for those of its root.
std::wstring_view Trimmed(std::wstring_view path, PathRoot const& root) noexcept
{
    while (path.size() > root.length && IsSeparator(path.back(), root.kind)) path.remove_suffix(1);
    return path;
}

/// Where the last name begins.
std::size_t LastName(std::wstring_view trimmed, PathRoot const& root) noexcept
{
    std::size_t at = trimmed.size();
    while (at > root.length && !IsSeparator(trimmed[at - 1], root.kind)) --at;
    return at;
}

/// Where the extension of a name begins; its end when there is none.
std::size_t DotOf(std::wstring_view name) noexcept
{
    std::size_t const dot = name.rfind(L'.');
    // ".profile" is a name, not an extension without one.
    bool const none = dot == std::wstring_view::npos || dot == 0 || name == L"..";
    return none ? name.size() : dot;
}

/// The other path after one whose dots nobody resolves later.
XCString JoinVerbatim(XCPath const& folder, std::wstring_view other)
{
    XCPath path = XCString(Trimmed(folder.View(), RootOf(folder.View())));
    while (!other.empty()) {
        std::wstring_view const name = TakeName(other, XCPathKind::Relative);
        if (name.empty() || name == L".") continue;
        // Above its root nothing is left to go to: as everywhere, the step is dropped.
        if (name == L"..") {
            if (XCPath const parent = path.Parent(); !parent.IsEmpty()) path = parent;
            continue;
        }
        XCString text = path.AsString();
        if (!IsSeparator(text[text.Length() - 1], path.GetKind())) text += L'\\';
        path = text.Append(name);
    }
    return path.AsString();
}

/// One key for units that the system takes for the same.
wchar_t FoldedUnit(wchar_t unit, wchar_t const* upper) noexcept
{
    return unit == L'/' ? L'\\' : upper[text::ToUint(unit)];
}

bool IsSame(std::wstring_view a, std::wstring_view b)
{
    return text::IsSameNameFolded(a, b);
}

/// Whether a name means the same after a literal path and in a relative one.
bool IsPlainName(std::wstring_view name) noexcept
{
    return !name.empty() && name != L"." && name != L".." && name.find(L'/') == std::wstring_view::npos;
}

} // namespace

} // namespace xc::files

XCPathKind XCPath::GetKind() const noexcept
{
    return RootOf(View()).kind;
}

bool XCPath::IsAbsolute() const noexcept
{
    XCPathKind const kind = GetKind();
    return kind == XCPathKind::Drive || kind == XCPathKind::Share || IsVerbatim(kind);
}

XCPath XCPath::Root() const
{
    return m_text.SubStr(0, RootOf(View()).length);
}

XCPath XCPath::Parent() const
{
    PathRoot const root = RootOf(View());
    std::wstring_view const path = Trimmed(View(), root);
    if (path.size() == root.length) return {};
    return XCString(Trimmed(path.substr(0, LastName(path, root)), root));
}

std::wstring_view XCPath::NameView() const noexcept
{
    PathRoot const root = RootOf(View());
    std::wstring_view const path = Trimmed(View(), root);
    return path.substr(LastName(path, root));
}

XCString XCPath::Stem() const
{
    return XCString(NameView().substr(0, DotOf(NameView())));
}

XCString XCPath::Extension() const
{
    return XCString(NameView().substr(DotOf(NameView())));
}

XCPath XCPath::Join(XCPath const& other) const
{
    if (other.IsEmpty()) return *this;
    XCPathKind const kind = GetKind();
    // "C:x" and "\x" have a root of their own that no folder can be put before.
    if (IsEmpty() || other.GetKind() != XCPathKind::Relative) return other;
    if (IsVerbatim(kind)) return JoinVerbatim(*this, other.View());
    bool const afterDrive = kind == XCPathKind::DriveRelative && m_text.Length() == 2;
    XCString text = kind == XCPathKind::Rooted && RootOf(View()).length > 1 ? XCString(L"\\") : m_text;
    if (!IsSeparator(m_text[m_text.Length() - 1], kind) && !afterDrive) text += L'\\';
    text += other.m_text;
    // "\" and "??\x", and "\??" and "x", must not become a long form.
    if (kind == XCPathKind::Rooted && RootOf(text.View()).kind != kind) text.Insert(1, L".\\");
    return text;
}

XCPath XCPath::Normalise() const
{
    PathParts const parts = Resolve(View());
    if (IsEmpty() || IsVerbatim(parts.kind)) return *this;
    return XCString(Compose(parts.kind, parts.root, parts.names));
}

bool XCPath::RelativeTo(XCPath const& base, XCPath& result) const
{
    PathParts const own = Resolve(View());
    PathParts const from = Resolve(Trimmed(base.View(), RootOf(base.View())));
    bool const noShare = own.kind == XCPathKind::Share && own.root.find(L'\\', 2) == std::wstring::npos;
    bool const sameRoot = own.kind == from.kind && IsSame(own.root, from.root);
    if (IsEmpty() || base.IsEmpty() || noShare || !sameRoot) return false;
    // Both are resolved, so that names in common at the front are folders in common.
    std::size_t common = 0;
    while (common < own.names.size() && common < from.names.size() && IsSame(own.names[common], from.names[common]))
        ++common;
    // ".." that stays at the front of the base leads out of a folder whose name is not known.
    bool const unknownUp = std::find(from.names.begin() + static_cast<std::ptrdiff_t>(common), from.names.end(),
                                     L"..") != from.names.end();
    if (unknownUp) return false;
    std::vector<std::wstring_view> names(from.names.size() - common, L"..");
    names.insert(names.end(), own.names.begin() + static_cast<std::ptrdiff_t>(common), own.names.end());
    // Dots and slashes are names in a verbatim path and would be steps in a relative one.
    if (IsVerbatim(own.kind) && !(std::all_of(own.names.begin(), own.names.end(), IsPlainName) &&
                                  std::all_of(from.names.begin(), from.names.end(), IsPlainName)))
        return false;
    result = XCString(Compose(XCPathKind::Relative, {}, names));
    return true;
}

XCPathFault XCPath::CheckName(std::wstring_view name) noexcept
{
    if (name.empty()) return XCPathFault::Empty;
    if (name == L"." || name == L"..") return XCPathFault::None;
    // Devices come first: of several faults that is the one that may hang a program.
    if (IsReserved(name)) return XCPathFault::Reserved;
    if (std::any_of(name.begin(), name.end(), IsRefusedUnit)) return XCPathFault::Character;
    if (name.find(L':') != std::wstring_view::npos) return XCPathFault::Stream;
    if (name.back() == L' ' || name.back() == L'.') return XCPathFault::Trailing;
    return name.size() > kLongestName ? XCPathFault::TooLong : XCPathFault::None;
}

XCPathFault XCPath::Check(XCString* name) const
{
    auto const tell = [name](XCPathFault fault, std::wstring_view where) {
        if (name) name->Assign(where);
        return fault;
    };
    std::wstring_view const path = View();
    PathRoot const root = RootOf(path);
    if (path.empty()) return tell(XCPathFault::Empty, {});
    if (path.size() > kLongestPath) return tell(XCPathFault::TooLong, {});
    if (XCPathFault const fault = CheckRoot(path, root); fault != XCPathFault::None)
        return tell(fault, path.substr(0, root.length));
    for (std::wstring_view rest = NamesOf(path, root); !rest.empty();) {
        std::wstring_view const one = TakeName(rest, root.kind);
        // To the letter, dots are names that no other program can use.
        bool const dots = root.kind == XCPathKind::Literal && (one == L"." || one == L"..");
        XCPathFault const fault = one.empty() ? XCPathFault::None : dots ? XCPathFault::Trailing : CheckName(one);
        if (fault != XCPathFault::None) return tell(fault, one);
    }
    return tell(XCPathFault::None, {});
}

wchar_t const* XCPath::Describe(XCPathFault fault) noexcept
{
    switch (fault) {
    case XCPathFault::None: return L"no fault";
    case XCPathFault::Empty: return L"an empty name";
    case XCPathFault::TooLong: return L"too long";
    case XCPathFault::Character: return L"a unit that no file name may hold";
    case XCPathFault::Reserved: return L"the name of a device";
    case XCPathFault::Trailing: return L"a blank or a dot at the end";
    case XCPathFault::Stream: return L"the name of a stream";
    case XCPathFault::Device: return L"a path to a device";
    }
    return L"";
}

XCString XCPath::ForSystem() const
{
    return XCString(xc::win32::SystemPath(View()).ForSystem());
}

int XCPath::Compare(XCPath const& other) const noexcept
{
    wchar_t const* const upper = xc::text::UpperCaseTable();
    std::wstring_view const a = View(), b = other.View();
    // Unit by unit, without a folded copy: paths that differ mostly do so early, and equal units need no table.
    std::size_t const shared = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < shared; ++i) {
        if (a[i] == b[i]) continue;
        std::uint32_t const x = xc::text::ToUint(FoldedUnit(a[i], upper)),
                            y = xc::text::ToUint(FoldedUnit(b[i], upper));
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}
