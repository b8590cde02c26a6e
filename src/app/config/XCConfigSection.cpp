// The sections of a configuration file.
//
// A section of more than eight lines gets an index (NameIndex) at its first lookup; added and deleted lines keep it
// right, a renamed line discards it. Invariant: an index that exists knows the first line of each key. The nodes of the
// lines of a file lie in memory that goes with the file, those of any other section on the heap. Only lists that share
// their memory can hand nodes over, which takes constant time a line and keeps every pointer valid; in the other cases
// lines are made anew. As for lines, two locks are never held at once.
#include "app/config/ConfigData.h"

using xc::config::Access;
using xc::config::LazyComments;
using xc::config::LazyText;
using xc::config::SectionData;

namespace xc::config {

namespace {

constexpr std::size_t kShortSection = 8; // lines that are looked through faster than hashed

} // namespace

struct LineIndex {
    text::NameIndex<Lines::iterator, KeyOf> table;
};

SectionData::SectionData(std::pmr::memory_resource* memory) : lines(memory) {}
SectionData::~SectionData() = default;

XCConfigLine& AppendLine(XCConfigSection& section)
{
    XCConfigLine& line = Access::Of(section).lines.emplace_back();
    line.SetOwner(&section);
    Access::Of(line).SetSection(&section);
    return line;
}

// A lookup counts as reading, yet it may make the index: all callers hold the lock of the file, readers as well. The
// first of several lines with one key is the one that counts, in the index as in the walk.
Lines::iterator FindLine(XCConfigSection& section, std::wstring_view const& key)
{
    SectionData& data = Access::Of(section);
    Lines& lines = data.lines;
    if (!data.index && lines.size() > kShortSection)
        data.index.reset(new LineIndex{{lines.begin(), lines.end(), lines.size()}});
    return data.index ? data.index->table.Find(key) : FindAmongFew(lines.begin(), lines.end(), key, KeyOf);
}

void ForgetIndex(XCConfigSection* section) noexcept
{
    if (section) Access::Of(*section).index.reset();
}

} // namespace xc::config

XCConfigSection::XCConfigSection(xc::config::FileMemory const& memory)
{
    ::new (static_cast<void*>(m_data)) SectionData(memory.resource);
}

XCConfigSection::XCConfigSection(XCString name)
    : XCConfigSection(xc::config::FileMemory{std::pmr::get_default_resource()})
{
    Access::Of(*this).name = LazyText(std::move(name));
}

XCConfigSection::XCConfigSection(XCConfigSection const& other) : XCConfigSection(XCString())
{
    XCConfigLock const lock(other);
    SectionData const& from = Access::Of(other);
    SectionData& to = Access::Of(*this);
    to.comments = LazyComments(from.comments);
    to.name = LazyText(from.name);
    // The lines of the copy come from the ordinary heap: the memory of a file is released as a whole, with the file.
    for (XCConfigLine const& line : from.lines) AddLine(line);
}

namespace {

/// Lines keep their nodes, and learn whose they are now. Nothing throws.
void Adopt(XCConfigSection& section, xc::config::Lines& lines)
{
    SectionData& to = Access::Of(section);
    for (XCConfigLine& line : lines) {
        line.SetOwner(&section);
        Access::Of(line).SetSection(&section);
    }
    to.lines.splice(to.lines.end(), lines);
}

} // namespace

// Nodes in the memory of a file stay there: its lines are copied, and go when the copies are complete.
// NOLINTNEXTLINE(performance-noexcept-move-constructor): what is copied may find no memory
XCConfigSection::XCConfigSection(XCConfigSection&& other) : XCConfigSection(XCString())
{
    XCConfigLock const lock(other);
    SectionData& from = Access::Of(other);
    SectionData& to = Access::Of(*this);
    from.comments.MakeOwn();
    from.name.MakeOwn();
    // Everything that may throw comes first: a section is moved whole or stays whole.
    bool const isMovable = from.lines.get_allocator() == to.lines.get_allocator();
    if (!isMovable)
        for (XCConfigLine const& line : from.lines) AddLine(line);
    xc::config::ForgetIndex(&other);
    if (isMovable) Adopt(*this, from.lines);
    to.comments = std::move(from.comments);
    to.name = std::move(from.name);
    other.Clear();
}

XCConfigSection& XCConfigSection::operator=(XCConfigSection const& other)
{
    return *this = XCConfigSection(other);
}

XCConfigSection& XCConfigSection::operator=(XCConfigSection&& other) // NOLINT(performance-noexcept-move-constructor)
{
    XCConfigSection taken(std::move(other));
    XCConfigLock const lock(*this);
    SectionData& to = Access::Of(*this);
    SectionData& from = Access::Of(taken);
    // Into a file the lines get nodes in its memory; their texts are moved in any case. Everything that may throw comes
    // first: this section changes whole or stays as it was.
    XCConfigSection fresh(xc::config::FileMemory{to.lines.get_allocator().resource()});
    bool const isMovable = from.lines.get_allocator() == to.lines.get_allocator();
    if (!isMovable)
        for (XCConfigLine& line : from.lines) fresh.AddLine(std::move(line));
    to.comments = std::move(from.comments);
    SetName(from.name.AsString());
    // The old lines go only after this function has returned; the list keeps its memory resource, which the assignment
    // of a list would not promise.
    xc::config::Lines const old = std::exchange(to.lines, xc::config::Lines(to.lines.get_allocator()));
    xc::config::ForgetIndex(this);
    Adopt(*this, isMovable ? from.lines : Access::Of(fresh).lines);
    return *this;
}

XCConfigSection::~XCConfigSection()
{
    std::destroy_at(&Access::Of(*this));
}

XCString XCConfigSection::GetName() const
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).name.AsString();
}

void XCConfigSection::SetName(XCString const& name)
{
    XCConfigLock const lock(*this);
    // The index of sections belongs to the file, which looks sections up by this name.
    Access::Of(*this).name = LazyText(name);
    xc::config::ForgetIndex(Access::Of(*this).file);
}

XCConfigComments& XCConfigSection::GetComments()
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).comments.Edit();
}

XCConfigComments const& XCConfigSection::GetComments() const
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).comments.AsList();
}

XCConfigLine* XCConfigSection::FindLine(std::wstring_view key)
{
    XCConfigLock const lock(*this);
    iterator const found = xc::config::FindLine(*this, key);
    return found == GetLinesEnd() ? nullptr : &*found;
}

XCConfigLine const* XCConfigSection::FindLine(std::wstring_view key) const
{
    return const_cast<XCConfigSection*>(this)->FindLine(key); // the index changes under the lock only
}

XCConfigLine& XCConfigSection::AddLine(XCString const& key, XCString const& value)
{
    return AddLine(XCConfigLine(key, value));
}

XCConfigLine& XCConfigSection::AddLine(XCConfigLine const& line)
{
    return AddLine(XCConfigLine(line));
}

XCConfigLine& XCConfigSection::AddLine(XCConfigLine&& line)
{
    // The line may belong to another file, even to one that another thread has locked.
    XCConfigLine copy(std::move(line));
    XCConfigLock const lock(*this);
    SectionData& data = Access::Of(*this);
    auto index = std::move(data.index); // lost when adding fails: the next lookup makes a new one
    XCConfigLine& added = xc::config::AppendLine(*this);
    try {
        Access::Of(added).TakeTexts(Access::Of(copy));
    } catch (...) {
        data.lines.pop_back();
        throw;
    }
    if (index) index->table.Add(std::prev(data.lines.end()));
    data.index = std::move(index);
    return added;
}

XCConfigSection::iterator XCConfigSection::DeleteLine(iterator where)
{
    XCConfigLock const lock(*this);
    SectionData& data = Access::Of(*this);
    if (where == data.lines.end()) return where;
    // Before the line goes: the index compares its key. When further lines have the same key, Remove puts the next one
    // in its place.
    if (data.index) data.index->table.Remove(where);
    return data.lines.erase(where);
}

XCConfigSection::iterator XCConfigSection::DeleteLine(std::wstring_view key, iterator from)
{
    XCConfigLock const lock(*this);
    // The index answers for the whole section only; from a place in the middle the lines are looked through.
    bool const isAll = from == GetLinesBegin();
    return DeleteLine(isAll ? xc::config::FindLine(*this, key)
                            : xc::config::FindAmongFew(from, GetLinesEnd(), key, xc::config::KeyOf));
}

void XCConfigSection::Clear()
{
    XCConfigLock const lock(*this);
    xc::config::ForgetIndex(this);
    Access::Of(*this).lines.clear();
    Access::Of(*this).comments = {};
    SetName(XCString());
}

std::size_t XCConfigSection::GetSize() const
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).lines.size();
}

XCConfigSection::iterator XCConfigSection::GetLinesBegin() noexcept
{
    return Access::Of(*this).lines.begin();
}

XCConfigSection::iterator XCConfigSection::GetLinesEnd() noexcept
{
    return Access::Of(*this).lines.end();
}

XCConfigSection::const_iterator XCConfigSection::GetLinesBegin() const noexcept
{
    return Access::Of(*this).lines.begin();
}

XCConfigSection::const_iterator XCConfigSection::GetLinesEnd() const noexcept
{
    return Access::Of(*this).lines.end();
}
