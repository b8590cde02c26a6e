// Paths in the form that the system takes: absolute from their construction, and with the long prefix where they need
// it.
//
// Calls of the system refuse paths of 260 units and more unless they begin with a prefix that also turns every
// normalisation off. A path is therefore made absolute and normal first, by the system, and gets the prefix only when
// its length asks for it, because a prefixed path looks strange in messages and some programs do not take one. Paths of
// devices and paths that came with a prefix stay as they are. A name with U+0000 would be cut by every call: it is
// replaced by one that no file system takes, so that the call fails and the shorter name is left alone. Invariant:
// ForSystem() names the file that Text() shows, or none at all.
#include "win32/SystemPath.h"

namespace xc::win32 {

namespace {

// No file system takes this character in a name, so that a call which is given it fails and touches nothing.
constexpr wchar_t kRefused[] = L"|";

bool IsSeparator(wchar_t unit) noexcept
{
    return unit == L'\\' || unit == L'/';
}

bool IsDrivePath(std::wstring_view path) noexcept
{
    return path.size() > 2 && path[1] == L':' && path[2] == L'\\';
}

/// The prefix goes onto paths of drives and shares; those of devices, or with a prefix already, stay as they are.
std::wstring LongForm(std::wstring const& path)
{
    if (IsDrivePath(path)) return L"\\\\?\\" + path;
    bool const isShare = path.starts_with(L"\\\\") && !path.starts_with(L"\\\\?\\") && !path.starts_with(L"\\\\.\\");
    return isShare ? L"\\\\?\\UNC\\" + path.substr(2) : path;
}

} // namespace

SystemPath::SystemPath(std::wstring_view name)
{
    std::wstring text(name);
    bool const asGiven = text.empty() || text.starts_with(L"\\\\?\\") || text.find(L'\0') != std::wstring::npos;
    *this = FromAbsolute(asGiven ? std::move(text) : AbsoluteName(text));
}

SystemPath SystemPath::FromAbsolute(std::wstring text)
{
    SystemPath path;
    if (text.find(L'\0') != std::wstring::npos)
        path.m_system = kRefused;
    else if (text.size() >= kLongFrom)
        path.m_system = LongForm(text);
    path.m_text = std::move(text);
    return path;
}

SystemPath SystemPath::Child(std::wstring_view name) const
{
    bool const needsSeparator = !m_text.empty() && !IsSeparator(m_text.back());
#if defined(_WIN32)
    std::wstring text = needsSeparator ? m_text + L'\\' : m_text;
#else
    std::wstring text = needsSeparator ? m_text + L'/' : m_text;
#endif
    return FromAbsolute(text.append(name));
}

SystemPath SystemPath::WithSuffix(std::wstring_view suffix) const
{
    std::wstring text = m_text;
    return FromAbsolute(text.append(suffix));
}

std::wstring_view SystemPath::FileName() const noexcept
{
    return std::wstring_view(m_text).substr(m_text.find_last_of(L"\\/") + 1);
}

SystemPath SystemPath::Folder() const
{
    std::size_t end = m_text.size() - FileName().size();
    if (end == m_text.size() || end == 0) return {};
    bool const isRoot = end == 1 || (end == 3 && m_text[1] == L':');
    if (!isRoot) --end;
    return FromAbsolute(m_text.substr(0, end));
}

} // namespace xc::win32
