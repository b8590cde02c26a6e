// SystemPath.h - the one form in which names reach the file system.
//
// A path becomes absolute when it is made: the current folder, which any thread may change, has no say afterwards. From
// kLongFrom units on the system's form carries the prefix that lifts the limit of 260 units. A name that holds U+0000
// would be cut there and mean another file: such a path names nothing, and every call of the system refuses it with
// "invalid name". Owners of files keep a SystemPath, not the text; calls of the system take ForSystem() and nothing
// else, which scripts/check_paths.py holds them to.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xc::win32 {

/// An absolute path; a value. Making one may run out of memory; using one never does.
class SystemPath {
public:
    /// Units from which on the long form is used: it leaves room for the endings of temporary files.
    static constexpr std::size_t kLongFrom = 240;

    /// Names nothing.
    SystemPath() noexcept = default;
    /// Absolute and normalised ("." and ".." resolved, "/" as "\"). A name with a prefix of the system stays as it is.
    explicit SystemPath(std::wstring_view name);

    /// For people: without the prefix of the long form.
    [[nodiscard]] std::wstring const& Text() const noexcept { return m_text; }
    [[nodiscard]] bool IsEmpty() const noexcept { return m_text.empty(); }
    [[nodiscard]] wchar_t const* ForSystem() const noexcept
    {
        return m_system.empty() ? m_text.c_str() : m_system.c_str();
    }

    /// A file or folder of this folder.
    [[nodiscard]] SystemPath Child(std::wstring_view name) const;
    /// The path with something added to its last name.
    [[nodiscard]] SystemPath WithSuffix(std::wstring_view suffix) const;
    /// The folder that it stands in; empty for a root.
    [[nodiscard]] SystemPath Folder() const;
    /// The last name of it.
    [[nodiscard]] std::wstring_view FileName() const noexcept;

private:
    static SystemPath FromAbsolute(std::wstring text);

    std::wstring m_text;
    std::wstring m_system; ///< empty: the text itself
};

/// The absolute form of a name without U+0000, by the current folder; the name itself when the system refuses.
std::wstring AbsoluteName(std::wstring const& name);

} // namespace xc::win32
