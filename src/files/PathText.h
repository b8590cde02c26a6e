// PathText.h - a path taken apart: its root and the names after it.
#pragma once

#include <XelbrinCore/XCPath.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace xc::files {

/// The beginning of a path.
struct PathRoot {
    XCPathKind kind;
    std::size_t length; ///< units of the root, with the separators that end it
};
PathRoot RootOf(std::wstring_view path) noexcept;

/// Whether the names of a path are taken to the letter.
constexpr bool IsVerbatim(XCPathKind kind) noexcept
{
    return kind == XCPathKind::Literal || kind == XCPathKind::Device;
}
/// In a literal path "/" is a unit like any other.
constexpr bool IsSeparator(wchar_t unit, XCPathKind kind) noexcept
{
    return unit == L'\\' || (unit == L'/' && kind != XCPathKind::Literal);
}

/// Takes the first name and the separator after it off `rest`. Empty names stand between two separators.
std::wstring_view TakeName(std::wstring_view& rest, XCPathKind kind) noexcept;

/// A path in parts; the names are views of its text.
struct PathParts {
    XCPathKind kind;
    std::wstring root; ///< with "\" alone as separator and none repeated; as given for a verbatim path
    std::vector<std::wstring_view> names;
};
/// The parts with "." and ".." resolved; those of a verbatim path as they stand.
PathParts Resolve(std::wstring_view path);
/// The text of the parts; ".\" stands before a first name that would be taken for a root.
std::wstring Compose(XCPathKind kind, std::wstring_view root, std::vector<std::wstring_view> const& names);

} // namespace xc::files
