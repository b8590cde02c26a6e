// The last stop of a name before the system.
//
// Whatever is created under a faulty name is a trap for the next program, so the fault is refused here, once for all
// that creates. A literal name takes the long form at any length, since that form alone keeps the system from dropping
// blanks and dots and from finding devices; the folder before it is made absolute by the system, from its root on, so
// that names in between keep their dots as well.
#include "files/OpenName.h"

#include "files/FileErrors.h"
#include "files/PathText.h"

namespace xc::files {

namespace {

win32::SystemPath LiteralName(XCPath const& path)
{
    PathParts const parts = Resolve(path.View());
    if (IsVerbatim(parts.kind)) return win32::SystemPath(path.View());
    std::wstring root = parts.root;
    if (parts.kind == XCPathKind::Relative || parts.kind == XCPathKind::DriveRelative) root += L'.';
    XCPath const top(XCString(win32::SystemPath(root).Text()));
    // ".." is resolved against the current folder.
    XCPath const joined = top.Join(XCString(Compose(XCPathKind::Relative, {}, parts.names)));
    PathParts const whole = Resolve(joined.View());
    std::wstring const text = Compose(whole.kind, whole.root, whole.names);
    bool const isShare = whole.kind == XCPathKind::Share;
    bool const isDrive = whole.kind == XCPathKind::Drive;
    if (isShare) return win32::SystemPath(L"\\\\?\\UNC" + text.substr(1));
    return win32::SystemPath(isDrive ? L"\\\\?\\" + text : text);
}

} // namespace

XCErrorID NameToOpen(XCPath const& path, XCFileNames names, bool mayCreate, win32::SystemPath& system)
{
    XCString part;
    XCPathFault const fault = mayCreate && names == XCFileNames::Plain ? path.Check(&part) : XCPathFault::None;
    if (fault != XCPathFault::None) return NameError(path, part, fault);
    system = names == XCFileNames::Literal ? LiteralName(path) : win32::SystemPath(path.View());
    return XCErrorID::Success;
}

} // namespace xc::files
