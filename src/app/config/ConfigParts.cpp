// The parts of a configuration file: locking, comments, lines and sections.
//
// A section of more than eight lines gets an index (NameIndex) at its first lookup; added and deleted lines keep it
// right, a renamed line discards it. Invariant: an index that exists knows the first line of each key. Locks go up the
// chain of owners to the file. Copies are made before the lock of the target is taken: two locks are never held at
// once, so that two threads that assign crosswise cannot wait for each other.
#include "app/config/ConfigData.h"
#include "app/config/ConfigReader.h"
#include "text/NumberText.h"

using xc::config::Access;
using xc::config::LazyComments;
using xc::config::LazyText;
using xc::config::LineData;
using xc::config::SectionData;

// Locking -------------------------------------------------------------------------------------------------------

XCConfigLockableI::~XCConfigLockableI() = default;

// A part that is destroyed while its owner is held through it would keep the whole file locked for ever.
XCConfigLockable::~XCConfigLockable()
{
    RemoveAllLocks();
}

// Only the file has a mutex. A part counts the locks that were taken through it, so that a change of owner or the end
// of the part can undo them. The count is atomic because RemoveAllLocks may come from a thread that holds nothing; the
// order of other data is the mutex' affair, hence relaxed.
void XCConfigLockable::Lock() const
{
    if (!m_owner) return;
    m_owner->Lock();
    m_locks.fetch_add(1, std::memory_order_relaxed);
}

void XCConfigLockable::Unlock() const
{
    if (!m_owner || m_locks.load(std::memory_order_relaxed) == 0) return; // locked before it had this owner
    m_locks.fetch_sub(1, std::memory_order_relaxed);
    m_owner->Unlock();
}

void XCConfigLockable::SetOwner(XCConfigLockableI const* owner)
{
    RemoveAllLocks();
    m_owner = owner;
}

void XCConfigLockable::RemoveAllLocks() const
{
    while (m_locks.load(std::memory_order_relaxed) != 0) Unlock();
}

// Texts of the file ---------------------------------------------------------------------------------------------

// The text of the part becomes a string of its own at the first reading only: most values of a file are never asked
// for. Callers hold the lock of the file, which makes the change under const safe.
XCString const& xc::config::LazyText::AsString() const
{
    if (IsPart()) {
        m_text.Assign(m_part);
        m_part = {};
    }
    return m_text;
}

xc::config::LazyComments::LazyComments(LazyComments const& other)
{
    if (!other.m_part.empty() || other.m_list) m_list = std::make_unique<XCConfigComments>(other.AsList());
}

/// The list is made as a whole: without memory the part stays what it was.
void xc::config::LazyComments::MakeList() const
{
    if (m_list) return;
    auto list = std::make_unique<XCConfigComments>();
    std::wstring_view part = m_part;
    for (std::wstring_view comment; TakeComment(part, comment);) list->AddComment(XCString(comment));
    m_list = std::move(list);
    m_part = {};
}

// Edit makes a list even where there was no comment, since the caller may add one. AsList must not: looking at the
// comments of every line would then cost an allocation each, so all empty ones share one list.
XCConfigComments& xc::config::LazyComments::Edit()
{
    MakeList();
    return *m_list;
}

XCConfigComments const& xc::config::LazyComments::AsList() const
{
    static XCConfigComments const none;
    if (!m_list && m_part.empty()) return none;
    MakeList();
    return *m_list;
}

// Lines ---------------------------------------------------------------------------------------------------------

// The data stand in a buffer inside the object: the public header shows neither the lazy texts nor their size, and a
// line still costs one allocation, its list node.
XCConfigLine::XCConfigLine(XCString key, XCString value)
{
    ::new (static_cast<void*>(m_data)) LineData{nullptr, {}, LazyText(std::move(key)), LazyText(std::move(value))};
}

// A copy belongs to no section and has no owner until it is added to one; its lazy texts are made strings, because the
// text of the file may go before the copy does.
XCConfigLine::XCConfigLine(XCConfigLine const& other) : XCConfigLockable()
{
    XCConfigLock const lock(other);
    LineData const& from = Access::Of(other);
    ::new (static_cast<void*>(m_data))
        LineData{nullptr, LazyComments(from.comments), LazyText(from.key), LazyText(from.value)};
}

// Parts of a file's text become strings first, which is all that may fail: the other line keeps everything or nothing.
XCConfigLine::XCConfigLine(XCConfigLine&& other) : XCConfigLockable()
{
    XCConfigLock const lock(other);
    LineData& from = Access::Of(other);
    from.comments.MakeOwn();
    from.key.MakeOwn();
    from.value.MakeOwn();
    ::new (static_cast<void*>(m_data))
        LineData{nullptr, std::move(from.comments), std::move(from.key), std::move(from.value)};
    xc::config::ForgetIndex(from.section);
}

XCConfigLine& XCConfigLine::operator=(XCConfigLine const& other)
{
    // The lock of `other` is released again when the copy is made: see the head of this file.
    return *this = XCConfigLine(other);
}

XCConfigLine& XCConfigLine::operator=(XCConfigLine&& other)
{
    XCConfigLine taken(std::move(other));
    XCConfigLock const lock(*this);
    LineData& to = Access::Of(*this);
    LineData& from = Access::Of(taken);
    to.comments = std::move(from.comments);
    to.key = std::move(from.key);
    to.value = std::move(from.value);
    xc::config::ForgetIndex(to.section);
    return *this;
}

XCConfigLine::~XCConfigLine()
{
    std::destroy_at(&Access::Of(*this));
}

XCString XCConfigLine::GetKey() const
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).key.AsString();
}

void XCConfigLine::SetKey(XCString const& key)
{
    XCConfigLock const lock(*this);
    // The index holds a view of the old key.
    Access::Of(*this).key = LazyText(key);
    xc::config::ForgetIndex(Access::Of(*this).section);
}

XCString XCConfigLine::GetValue() const
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).value.AsString();
}

void XCConfigLine::SetValue(XCString const& value)
{
    XCConfigLock const lock(*this);
    Access::Of(*this).value = LazyText(value);
}

void XCConfigLine::SetValue(long value)
{
    SetValue(xc::text::NumberText(value));
}

void XCConfigLine::SetValue(double value)
{
    SetValue(xc::text::NumberText(value));
}

long XCConfigLine::GetValueAsLong() const
{
    return GetValue().AsLong();
}

double XCConfigLine::GetValueAsDouble() const
{
    return GetValue().AsDouble();
}

XCConfigComments& XCConfigLine::GetComments()
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).comments.Edit();
}

XCConfigComments const& XCConfigLine::GetComments() const
{
    XCConfigLock const lock(*this);
    return Access::Of(*this).comments.AsList();
}

std::size_t XCConfigLine::GetFileLine() const
{
    XCConfigLock const lock(*this);
    LineData const& data = Access::Of(*this);
    XCConfigFile const* const file = data.section ? Access::Of(*data.section).file : nullptr;
    if (!file || data.position == xc::config::kNotRead) return 0;
    xc::config::FileData const& whole = Access::Of(*file);
    return xc::config::Locate({whole.text.get(), whole.textLength}, data.position).line;
}

void XCConfigLine::Clear()
{
    *this = XCConfigLine();
}

// Sections ------------------------------------------------------------------------------------------------------

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
    Access::Of(line).section = &section;
    return line;
}

// A lookup counts as reading, yet it may make the index: all callers hold the lock of the file, readers as well. The
// first of several lines with one key is the one that counts, in the index as in the walk.
Lines::iterator FindLine(XCConfigSection& section, std::wstring_view key)
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
        Access::Of(line).section = &section;
    }
    to.lines.splice(to.lines.end(), lines);
}

} // namespace

// Nodes in the memory of a file stay there: its lines are copied, and go when the copies are complete.
XCConfigSection::XCConfigSection(XCConfigSection&& other) : XCConfigSection(XCString())
{
    XCConfigLock const lock(other);
    SectionData& from = Access::Of(other);
    SectionData& to = Access::Of(*this);
    from.comments.MakeOwn();
    from.name.MakeOwn();
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

XCConfigSection& XCConfigSection::operator=(XCConfigSection&& other)
{
    XCConfigSection taken(std::move(other));
    XCConfigLock const lock(*this);
    SectionData& to = Access::Of(*this);
    SectionData& from = Access::Of(taken);
    to.comments = std::move(from.comments);
    SetName(from.name.AsString());
    // The old lines go only after this function has returned; the list keeps its memory resource, which the assignment
    // of a list would not promise.
    xc::config::Lines const old = std::exchange(to.lines, xc::config::Lines(to.lines.get_allocator()));
    xc::config::ForgetIndex(this);
    if (from.lines.get_allocator() == to.lines.get_allocator())
        Adopt(*this, from.lines);
    else
        for (XCConfigLine& line : from.lines) AddLine(std::move(line));
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
    LineData& to = Access::Of(added);
    LineData& from = Access::Of(copy);
    to.comments = std::move(from.comments);
    to.key = std::move(from.key);
    to.value = std::move(from.value);
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
