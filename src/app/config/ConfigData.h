// ConfigData.h - the inside of lines, sections and files: texts that are parts of the file until they are wanted.
//
// A file is read into one block of text. Names, keys, values and comments stay views into that block; a string of its
// own is made when a caller asks for one or sets another. Reading a file therefore makes no strings, and saving an
// unchanged line copies its units once. The public classes hold these structures in storage of fixed size (lines,
// sections) or by pointer (files), so that a release may change them without a change to the headers.
// Invariant: a view lies in FileData::text of the file that owns the part; copies are strings of their own.
#pragma once

#include "app/config/NodePool.h"
#include "text/NameIndex.h"

#include <XelbrinCore/XCConfigFile.h>
#include <XelbrinCore/XCSync.h>

#include <memory>
#include <memory_resource>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

namespace xc::config {

/// A text that stays a part of the file as it was read until it is wanted as a string of its own: reading a file then
/// makes no strings. Used under the lock of the file. A copy is always a string of its own.
class LazyText {
public:
    LazyText() noexcept = default;
    explicit LazyText(XCString text) noexcept : m_text(std::move(text)) {}
    /// @param part lies in the text of the file.
    explicit LazyText(std::wstring_view part) noexcept : m_part(part) {}
    LazyText(LazyText&&) noexcept = default;
    LazyText(LazyText const& other) : m_text(other.AsString()) {}
    LazyText& operator=(LazyText&&) noexcept = default;
    ~LazyText() = default;

    [[nodiscard]] std::wstring_view View() const noexcept { return IsPart() ? m_part : m_text.View(); }
    [[nodiscard]] XCString const& AsString() const;
    /// The text is a string of its own from now on: moving it away then throws nothing.
    void MakeOwn() const { (void)AsString(); }
    /// Whether the text is as the file had it.
    [[nodiscard]] bool IsPart() const noexcept { return m_part.data() != nullptr; }

private:
    mutable std::wstring_view m_part;
    mutable XCString m_text;
};

/// The same for comments.
class LazyComments {
public:
    LazyComments() noexcept = default;
    /// @param part whole lines in the text of the file: comments and blank lines only.
    explicit LazyComments(std::wstring_view part) noexcept : m_part(part) {}
    LazyComments(LazyComments&&) noexcept = default;
    LazyComments(LazyComments const& other);
    LazyComments& operator=(LazyComments&&) noexcept = default;
    ~LazyComments() = default;

    [[nodiscard]] XCConfigComments& Edit();
    [[nodiscard]] XCConfigComments const& AsList() const;
    /// The comments as the file had them; empty when there are none or they are a list.
    [[nodiscard]] std::wstring_view Part() const noexcept { return m_part; }
    /// As for LazyText.
    void MakeOwn() const { (void)AsList(); }

private:
    void MakeList() const;

    mutable std::wstring_view m_part; // not yet in the list
    mutable std::unique_ptr<XCConfigComments> m_list;
};

/// The place of a line that was not read from a file.
inline constexpr std::size_t kNotRead = static_cast<std::size_t>(-1);

struct LineData {
    XCConfigSection* section = nullptr; ///< whose index knows the key
    LazyComments comments;
    LazyText key;
    LazyText value;
    std::size_t position = kNotRead; ///< of the key in the text of the file
};

using Lines = std::pmr::list<XCConfigLine>;
using Sections = std::pmr::list<XCConfigSection>;
// The headers name the iterators of plain lists: an allocator does not change them.
static_assert(std::is_same_v<Lines::iterator, XCConfigSection::iterator>);
static_assert(std::is_same_v<Sections::iterator, XCConfigFile::iterator>);

/// Where the nodes of a file's lists lie.
struct FileMemory {
    std::pmr::memory_resource* resource;
};

struct LineIndex;
struct SectionIndex;

struct SectionData {
    explicit SectionData(std::pmr::memory_resource* memory);
    ~SectionData();

    XCConfigFile* file = nullptr; ///< whose index knows the name
    LazyComments comments;
    LazyText name;
    Lines lines;
    std::unique_ptr<LineIndex> index; ///< made by the first lookup in a long section
};

struct FileData {
    explicit FileData(XCString name);
    ~FileData();

    XCString const fileName; ///< as it was given
    XCString const path;     ///< where that was when the object was made
    XCCriticalSection lock;
    unsigned int lockDepth = 0;                ///< of the thread that holds the lock
    std::atomic<bool> everRemovedLocks{false}; ///< only then Unlock may come without a lock
    std::unique_ptr<wchar_t[]> text;           ///< as read: parts of it are names, keys, values and comments
    std::size_t textLength = 0;
    NodePool memory;
    Sections sections;
    LazyComments endComments;
    std::unique_ptr<SectionIndex> index; ///< made by the first lookup among many sections
    XCTextEncoding encoding = XCTextEncoding::Utf8;
    bool crlf = true;
    bool partlyRead = false; ///< the last read failed half-way: never saved
};

/// The way from the public classes to their inside, and their steps that only this room takes.
struct Access {
    static LineData* Storage(XCConfigLine& line) noexcept { return reinterpret_cast<LineData*>(line.m_data); }
    static SectionData* Storage(XCConfigSection& section) noexcept
    {
        return reinterpret_cast<SectionData*>(section.m_data);
    }
    static LineData& Of(XCConfigLine& line) noexcept { return *std::launder(Storage(line)); }
    static LineData const& Of(XCConfigLine const& line) noexcept { return Of(const_cast<XCConfigLine&>(line)); }
    static SectionData& Of(XCConfigSection& section) noexcept { return *std::launder(Storage(section)); }
    static SectionData const& Of(XCConfigSection const& section) noexcept
    {
        return Of(const_cast<XCConfigSection&>(section));
    }
    static FileData& Of(XCConfigFile const& file) noexcept { return *file.m_data; }

    static_assert(sizeof(LineData) == sizeof(XCConfigLine::m_data));
    static_assert(sizeof(SectionData) == sizeof(XCConfigSection::m_data));
};

inline std::wstring_view KeyOf(XCConfigLine const& line) noexcept
{
    return Access::Of(line).key.View();
}
inline std::wstring_view NameOf(XCConfigSection const& section) noexcept
{
    return Access::Of(section).name.View();
}

/// A line at the end of the section, not yet in its index.
XCConfigLine& AppendLine(XCConfigSection& section);
/// The first line with the key, or the end of the list.
Lines::iterator FindLine(XCConfigSection& section, std::wstring_view const& key);
/// The first section of the name, or the end of the list.
Sections::iterator FindSection(XCConfigFile& file, std::wstring_view const& name);
/// The line that lookups find, or null. Under the lock of the file.
XCConfigLine const* FindLine(XCConfigFile const& file, std::wstring_view const& section, std::wstring_view const& key);
/// Loads a file; a malformed one is an error that tells its line. Bad: `file` stays as it was.
XCErrorID LoadFile(XCString const& fileName, XCSmartPtr<XCConfigFile>& file);
/// The next lookup makes a new index.
void ForgetIndex(XCConfigSection* section) noexcept;
void ForgetIndex(XCConfigFile* file) noexcept;

/// The same view, read the way in which its maker has written it: half by half. A parameter would be copied whole, by a
/// vector, and that copy waits until both halves have reached the cache, which takes longer than a lookup's hash.
inline std::wstring_view ByHalves(std::wstring_view const& view) noexcept
{
    return {view.data(), view.size()};
}

/// The first of a list of few entries with the name.
template <class Iterator, class NameOf>
Iterator FindAmongFew(Iterator begin, Iterator end, std::wstring_view const& name, NameOf const& nameOf)
{
    for (; begin != end; ++begin)
        if (text::IsSameNameFolded(nameOf(*begin), name)) break;
    return begin;
}

} // namespace xc::config
