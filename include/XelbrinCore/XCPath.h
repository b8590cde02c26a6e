// XCPath.h - the name of a file or folder, taken apart, put together and judged before anything is opened.
//
// WHAT     XCPath keeps a name as it was given. Its questions (Parent, Name, Normalise, RelativeTo, Check) look at the
//          text alone; only ForSystem asks the system, for the current folder, and SameFile, for what stands there.
// ROOTS    A path is its root and names between separators, "\" or "/":
//
//              kind           example                     absolute
//              Relative       docs\page.md                no
//              DriveRelative  C:page.md                   no: against the drive's own current folder
//              Rooted         \docs\page.md               no: against the current drive
//              Drive          C:\docs\page.md             yes
//              Share          \\server\share\page.md      yes
//              Literal        \\?\C:\docs\page.md         yes; taken to the letter: "/", "." and ".." are plain units
//              Device         \\.\COM1                    yes
//
// LONG     Calls of the system refuse paths of about 260 units. ForSystem gives the form without that limit to paths of
//          240 units and more; everything in the library that opens a file does the same.
// COST     One pass over the text. Copying is one atomic increment.
// ERRORS   Nothing fails but for memory; Check tells what is wrong with a name, whether or not it can be created.
// THREADS  As for a string: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

class XCErrorID;

/// How a path begins; the head of this file has the table.
enum class XCPathKind {
    Relative,      ///< no root
    DriveRelative, ///< a drive without a separator
    Rooted,        ///< a separator without a drive
    Drive,         ///< a drive and a separator
    Share,         ///< a server and its share
    Literal,       ///< the system's long form; nothing in it is resolved
    Device         ///< a device of the system
};

/// Why a name is not fit for a file that every program can open, show and delete.
enum class XCPathFault {
    None,      ///< fit
    Empty,     ///< no text
    TooLong,   ///< a name above 255 units, or more than 32,000 units in all
    Character, ///< U+0000 to U+001F, or one of < > : " | ? *
    Reserved,  ///< a device by its old name: CON, PRN, AUX, NUL, COM0-9, LPT0-9, CONIN$, CONOUT$, also before a "."
    Trailing,  ///< a blank or a dot at the end, which the system drops silently
    Stream,    ///< a ":" that names a stream of a file
    Device     ///< the path leads to a device, not to a file
};

/// The name of a file or folder; a value.
class XC_API XCPath {
public:
    XCPath() noexcept = default;
    /// Keeps the text as it is.
    XCPath(XCString text) noexcept : m_text(std::move(text)) {}
    /// From a text of another kind.
    XCPath(wchar_t const* text) : m_text(text) {}
    /// From a text of another kind.
    XCPath(std::wstring const& text) : m_text(text) {}
    /// From a text of another kind.
    explicit XCPath(std::wstring_view text) : m_text(text) {}

    /// The text as given or made.
    [[nodiscard]] XCString const& AsString() const noexcept { return m_text; }
    /// The same, until the next change.
    [[nodiscard]] std::wstring_view View() const noexcept { return m_text.View(); }
    /// Whether there is no text.
    [[nodiscard]] bool IsEmpty() const noexcept { return m_text.IsNull(); }

    /// How it begins.
    [[nodiscard]] XCPathKind GetKind() const noexcept;
    /// Whether it means the same file whatever the current folder is.
    [[nodiscard]] bool IsAbsolute() const noexcept;
    /// The part before the first name, with the separator that ends it: `C:\`, `\\server\share\`, "" for a relative one.
    [[nodiscard]] XCPath Root() const;
    /// The path without its last name: `C:\a\b` and `C:\a\b\` give `C:\a`, `C:\a` gives `C:\`. Empty when no name is
    /// left before it: "a", `C:\`.
    [[nodiscard]] XCPath Parent() const;
    /// The last name; separators at the end do not count. Empty for a root.
    [[nodiscard]] XCString Name() const { return XCString(NameView()); }
    /// The last name without its extension: "a.tar.gz" gives "a.tar", ".profile" itself.
    [[nodiscard]] XCString Stem() const;
    /// The last "." of the last name and what follows: ".gz". Empty without one; a dot in front begins no extension.
    [[nodiscard]] XCString Extension() const;

    /// The other path seen from this folder. A relative one is added behind a separator; any other replaces this path,
    /// so that Check the names of strangers, or take RelativeTo, before they are joined. After a literal path or a
    /// device "." and ".." are resolved, since nobody would do it later.
    [[nodiscard]] XCPath Join(XCPath const& other) const;
    /// The shortest text of the same path: `\` alone as separator, "." and empty names dropped, ".." taken off with the
    /// name before it. ".." stays at the front of a relative path and is dropped at a root. Links are not looked at.
    /// A literal path or a device is returned as it is, the empty path too. Doing it twice changes nothing.
    [[nodiscard]] XCPath Normalise() const;
    /// The path from the folder `base` to this one: base.Join(result) normalises to what this path normalises to.
    /// "." when they are the same. Names are compared as operator== does.
    /// @return whether there is one; not between different roots, nor out of a base that begins with unknown "..".
    bool RelativeTo(XCPath const& base, XCPath& result) const;

    /// The first fault of the path, None when there is none. XCFile refuses to create a path with a fault unless it is
    /// asked to (XCFileOptions::names). @param name receives the name with the fault; null if not wanted.
    XCPathFault Check(XCString* name = nullptr) const;
    /// The same for one name without separators: a separator is a Character fault. "." and ".." have none.
    [[nodiscard]] static XCPathFault CheckName(std::wstring_view name) noexcept;
    /// The fault in words, such as "the name of a device".
    [[nodiscard]] static wchar_t const* Describe(XCPathFault fault) noexcept;

    /// The form for calls of the system: absolute by the current folder and normalised, from 240 units on with the
    /// prefix that lifts the limit of length. Literal paths and devices as they are; the empty path is empty.
    [[nodiscard]] XCString ForSystem() const;
    /// Whether both lead to one file or folder, by its identity: links are followed, and spelling, short names and case
    /// do not count. @return Bad when one of the two cannot be opened; `same` is then false.
    XCErrorID SameFile(XCPath const& other, bool& same) const;

    /// Below 0, 0 or above 0: the units as the system compares names, without regard to case; both separators are
    /// alike. Nothing is normalised. Folders may tell case apart: SameFile is sure, this is not.
    [[nodiscard]] int Compare(XCPath const& other) const noexcept;
    friend bool operator==(XCPath const& a, XCPath const& b) noexcept { return a.Compare(b) == 0; }
    friend std::weak_ordering operator<=>(XCPath const& a, XCPath const& b) noexcept { return a.Compare(b) <=> 0; }

private:
    [[nodiscard]] std::wstring_view NameView() const noexcept;

    XCString m_text;
};
