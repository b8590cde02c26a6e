// ConfigData.h - the inside of lines, sections and files: texts that are parts of the file until they are wanted.
//
// A file is read into one block of text. Names, keys, values and comments stay views into that block; a string of its
// own is made when a caller asks for one or sets another. Reading a file therefore makes no strings, and saving an
// unchanged line copies its units once. Files have many lines, of which few are asked for: a line as it was read is
// four lengths and a place, 56 bytes with its list node, and gets a block for its texts when one of them is wanted. The
// public classes hold these structures in storage of fixed size (lines, sections) or by pointer (files), so that a
// release may change them without a change to the headers.
// Invariant: a view lies in FileData::text of the file that owns the part; copies are strings of their own.
#pragma once

#include "app/config/NodePool.h"
#include "text/NameIndex.h"

#include <XelbrinCore/XCConfigFile.h>
#include <XelbrinCore/XCSync.h>

#include <cstdint>
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
    LazyText() noexcept : m_text() {}
    explicit LazyText(XCString text) noexcept : m_text(std::move(text)) {}
    /// @param part lies in the text of the file.
    explicit LazyText(std::wstring_view part) noexcept : m_part(part.data()), m_units(part.size()) {}
    LazyText(LazyText&& other) noexcept : m_units(other.m_units) { Take(other); }
    LazyText(LazyText const& other) : m_text(other.AsString()) {}
    LazyText& operator=(LazyText&& other) noexcept
    {
        if (this == &other) return *this;
        Drop();
        m_units = other.m_units;
        Take(other);
        return *this;
    }
    ~LazyText() { Drop(); }

    [[nodiscard]] std::wstring_view View() const noexcept
    {
        return IsPart() ? std::wstring_view(m_part, m_units) : m_text.View();
    }
    [[nodiscard]] XCString const& AsString() const;
    /// The text is a string of its own from now on: moving it away then throws nothing.
    void MakeOwn() const { (void)AsString(); }
    /// Whether the text is as the file had it.
    [[nodiscard]] bool IsPart() const noexcept { return m_units != kString; }

private:
    static constexpr std::size_t kString = static_cast<std::size_t>(-1);

    void Drop() noexcept
    {
        if (!IsPart()) std::destroy_at(&m_text);
    }
    /// Into an object without a value whose m_units is that of the other.
    void Take(LazyText& other) noexcept
    {
        if (IsPart())
            m_part = other.m_part;
        else
            ::new (static_cast<void*>(&m_text)) XCString(std::move(other.m_text));
    }

    union {
        mutable wchar_t const* m_part;
        mutable XCString m_text;
    };
    mutable std::size_t m_units = kString; ///< of the part
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
    [[nodiscard]] bool IsNone() const noexcept { return m_part.empty() && !m_list; }
    /// As for LazyText.
    void MakeOwn() const { (void)AsList(); }

private:
    void MakeList() const;

    mutable std::wstring_view m_part; // not yet in the list
    mutable std::unique_ptr<XCConfigComments> m_list;
};

/// The place of a line that was not read from a file.
inline constexpr std::size_t kNotRead = static_cast<std::size_t>(-1);

/// The texts of a line of which one was asked for or set, or which does not fit LinePart.
struct LineTexts {
    LazyComments comments;
    LazyText key;
    LazyText value;
    std::size_t position = kNotRead; ///< of the key in the text of the file
};

/// The lengths in a line as it was read: comments and blanks before the key, key, what stands between, value.
struct LinePart {
    std::uint16_t comments;
    std::uint16_t key;
    std::uint16_t gap;
    std::uint16_t value;
};

// Four bytes of the public class are left before the first word of eight, and the place of the key takes them.
#pragma pack(push, 4)
/// A line: in a section that was read, four parts of its file's text; else texts of its own. Used under the lock of the
/// file. Invariant: the block of texts of a line in a section lies in the memory of the section's lines, else on the heap.
class LineData {
public:
    /// Empty texts.
    LineData() noexcept = default;
    LineData(LineData const&) = delete;
    LineData& operator=(LineData const&) = delete;
    ~LineData()
    {
        if (!IsPart() && m_texts) FreeTexts();
    }

    /// The section whose index knows the key, or null.
    [[nodiscard]] XCConfigSection* Section() const noexcept { return m_section; }
    /// Of a line without texts, or whose texts lie in the same memory as those of the section's lines.
    void SetSection(XCConfigSection* section) noexcept { m_section = section; }

    /// Of an empty line: the parts of the text of its file. False when they do not fit.
    bool SetPart(std::wstring_view text, std::wstring_view comments, std::wstring_view key,
                 std::wstring_view value) noexcept;
    /// Whether all texts are as the file had them.
    [[nodiscard]] bool IsPart() const noexcept { return m_at != kOwn; }
    /// Comments and blanks before the key; for IsPart.
    [[nodiscard]] inline std::wstring_view CommentPart() const noexcept;
    /// Key, what stands between, and value; for IsPart.
    [[nodiscard]] inline std::wstring_view KeyToValue() const noexcept;
    [[nodiscard]] std::size_t GapUnits() const noexcept { return m_part.gap & kMostGap; }
    [[nodiscard]] inline std::wstring_view Key() const noexcept;
    [[nodiscard]] inline std::wstring_view Value() const noexcept;
    /// Null: all are empty. For lines that are no part.
    [[nodiscard]] LineTexts const* OwnTexts() const noexcept { return m_texts; }
    /// The texts in their own block, which is made when there is none.
    [[nodiscard]] LineTexts& Texts() { return !IsPart() && m_texts ? *m_texts : MakeTexts(); }
    /// Key or value as a string. The block is made when one is asked for often: a string costs a quarter of what the block
    /// does with its own, so that whoever walks over all values a few times pays for none, and nobody pays twice the least.
    [[nodiscard]] XCString String(LazyText LineTexts::*text)
    {
        if (!HasTexts() || IsSeldomAsked(text)) return XCString(text == &LineTexts::key ? Key() : Value());
        return (Texts().*text).AsString();
    }
    /// Takes the texts over; both lines go on knowing where they were read. @throws std::bad_alloc with no change.
    void TakeTexts(LineData& other);
    /// Copies of the texts.
    [[nodiscard]] LineTexts CopyTexts() const;
    /// The texts of a line that was not read.
    void SetTexts(LineTexts texts);
    /// The place of the key in the text of the file, or kNotRead.
    [[nodiscard]] std::size_t Position() const noexcept;

private:
    static constexpr std::uint32_t kOwn = 0xFFFFFFFF;
    // How often each was asked for, up to 3 times, beside the units of the gap.
    static constexpr std::uint16_t kMostGap = 0x0FFF, kKeyAsk = 0x1000, kValueAsk = 0x4000, kMostAsks = 3;

    [[nodiscard]] bool IsSeldomAsked(LazyText LineTexts::*text) noexcept
    {
        std::uint16_t const ask = text == &LineTexts::key ? kKeyAsk : kValueAsk;
        std::uint16_t const most = ask * kMostAsks;
        if (!IsPart() || (m_part.gap & most) == most) return false;
        m_part.gap = static_cast<std::uint16_t>(m_part.gap + ask);
        return true;
    }
    [[nodiscard]] bool HasTexts() const noexcept { return IsPart() || m_texts; }
    [[nodiscard]] LineTexts& MakeTexts();
    void FreeTexts() noexcept;
    [[nodiscard]] std::pmr::memory_resource* Memory() const noexcept;

    std::uint32_t m_at = kOwn; ///< of the key in the text of the file
    XCConfigSection* m_section = nullptr;
    union {
        LineTexts* m_texts = nullptr;
        LinePart m_part;
    };
};
#pragma pack(pop)

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
    wchar_t const* text = nullptr; ///< of the file, when the section was read
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

inline std::wstring_view LineData::CommentPart() const noexcept
{
    std::size_t const count = m_part.comments;
    return {Access::Of(*m_section).text + m_at - count, count};
}
inline std::wstring_view LineData::KeyToValue() const noexcept
{
    return {Access::Of(*m_section).text + m_at, std::size_t{m_part.key} + GapUnits() + m_part.value};
}
inline std::wstring_view LineData::Key() const noexcept
{
    if (IsPart()) return {Access::Of(*m_section).text + m_at, m_part.key};
    return m_texts ? m_texts->key.View() : std::wstring_view();
}
inline std::wstring_view LineData::Value() const noexcept
{
    if (IsPart()) return {Access::Of(*m_section).text + m_at + m_part.key + GapUnits(), m_part.value};
    return m_texts ? m_texts->value.View() : std::wstring_view();
}

inline std::wstring_view KeyOf(XCConfigLine const& line) noexcept
{
    return Access::Of(line).Key();
}
inline std::wstring_view NameOf(XCConfigSection const& section) noexcept
{
    return Access::Of(section).name.View();
}

inline XCString KeyString(XCConfigLine const& line)
{
    return Access::Of(const_cast<XCConfigLine&>(line)).String(&LineTexts::key);
}
inline XCString ValueString(XCConfigLine const& line)
{
    return Access::Of(const_cast<XCConfigLine&>(line)).String(&LineTexts::value);
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
