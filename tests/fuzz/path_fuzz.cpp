// Paths: parts that fit together again, a normal form that stays, and a way between two paths that leads where it says.

#include "input.h"

/// Mostly the units that mean something in a path.
XCPath PathOf(Input& input)
{
    static constexpr wchar_t kUnits[] = L"\\\\\\\\////....::??CcDUN UNCx\u00B9$*\0\x1F\u00E9\u00C9";
    std::wstring text;
    for (std::uint8_t const byte : input.TakeMany<std::uint8_t>(input.Take<std::uint8_t>()))
        text += byte < std::size(kUnits) ? kUnits[byte] : static_cast<wchar_t>(byte);
    return Text(text);
}

bool IsVerbatim(XCPath const& path)
{
    return path.GetKind() == XCPathKind::Literal || path.GetKind() == XCPathKind::Device;
}

void LookAtParts(XCPath const& path)
{
    XCString name;
    Require(path.Stem() + path.Extension() == path.Name());
    Require(path.View().starts_with(path.Root().View()));
    if (path.Check(&name) == XCPathFault::None) {
        Require(!path.IsEmpty() && path.View().find(L'\0') == std::wstring_view::npos);
    } else {
        Require(path.View().find(name.View()) != std::wstring_view::npos);
    }
    bool const isName = XCPath(path.Name()).GetKind() == XCPathKind::Relative; // "x:" replaces what it is joined to
    if (isName && !IsVerbatim(path) && !path.Parent().IsEmpty())
        Require(path.Parent().Join(path.Name()).Normalise() == path.Normalise());
}

void LookAtNormalForm(XCPath const& path)
{
    XCPath const normal = path.Normalise();
    Require(normal.GetKind() == path.GetKind());
    Require(normal.Normalise().View() == normal.View());
    bool const isLong = normal.View().starts_with(L"C:\\") && normal.View().size() >= 240;
    bool const hasNull = normal.View().find(L'\0') != std::wstring_view::npos;
    if (isLong && !hasNull) Require(normal.ForSystem().View().starts_with(L"\\\\?\\"));
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    Input input(bytes, size);
    XCPath const base = PathOf(input), path = PathOf(input);
    LookAtParts(path);
    LookAtNormalForm(path);
    Require(path.Compare(path) == 0 && path.Compare(base) == -base.Compare(path));
    XCPath const joined = base.Join(path);
    if (!IsVerbatim(base) && path.GetKind() == XCPathKind::Relative && !base.IsEmpty())
        Require(joined.GetKind() == base.GetKind());
    for (XCPath const& target : {path, joined}) {
        XCPath relative;
        if (!target.RelativeTo(base, relative)) continue;
        Require(relative.GetKind() == XCPathKind::Relative);
        Require(base.Join(relative).Normalise() == target.Normalise());
    }
}
