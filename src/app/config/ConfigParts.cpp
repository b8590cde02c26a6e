// The parts of a configuration file: locking, lines and sections.
#include <XelbrinCore/XCConfig.h>

#include "app/config/ConfigReader.h"
#include "text/NameIndex.h"
#include "text/NumberText.h"

XCConfigI::~XCConfigI() = default;

// Locking -------------------------------------------------------------------------------------------------------

XCConfigLockableI::~XCConfigLockableI() = default;

XCConfigLockable::~XCConfigLockable()
{
    RemoveAllLocks();
}

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

XCConfigLine::XCConfigLine(XCString key, XCString value) : m_key(std::move(key)), m_value(std::move(value)) {}

XCConfigLine::XCConfigLine(XCConfigLine const& other) : XCConfigLockable()
{
    XCConfigLock const lock(other);
    m_comments = xc::config::LazyComments(other.m_comments);
    m_key = xc::config::LazyText(other.m_key);
    m_value = xc::config::LazyText(other.m_value);
}

XCConfigLine& XCConfigLine::operator=(XCConfigLine const& other)
{
    XCConfigLine copy(other); // two locks are never held at once
    XCConfigLock const lock(*this);
    m_comments = std::move(copy.m_comments);
    m_key = std::move(copy.m_key);
    m_value = std::move(copy.m_value);
    if (m_section) m_section->ForgetIndex();
    return *this;
}

XCConfigLine::~XCConfigLine() = default;

XCString XCConfigLine::GetKey() const
{
    XCConfigLock const lock(*this);
    return m_key.AsString();
}

void XCConfigLine::SetKey(XCString const& key)
{
    XCConfigLock const lock(*this);
    m_key = xc::config::LazyText(key);
    if (m_section) m_section->ForgetIndex();
}

XCString XCConfigLine::GetValue() const
{
    XCConfigLock const lock(*this);
    return m_value.AsString();
}

void XCConfigLine::SetValue(XCString const& value)
{
    XCConfigLock const lock(*this);
    m_value = xc::config::LazyText(value);
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
    return m_comments.Edit();
}

XCConfigComments const& XCConfigLine::GetComments() const
{
    XCConfigLock const lock(*this);
    return m_comments.AsList();
}

void XCConfigLine::Clear()
{
    *this = XCConfigLine();
}

// Sections ------------------------------------------------------------------------------------------------------

namespace {

constexpr std::size_t kShortSection = 8; // lines that are looked through faster than hashed

} // namespace

struct XCConfigSection::Index {
    static std::wstring_view NameOf(XCConfigLine const& line) noexcept { return line.m_key.View(); }
    xc::text::NameIndex<iterator, NameOf> table;
};

XCConfigSection::XCConfigSection(XCString name, std::pmr::memory_resource* memory)
    : m_name(std::move(name)), m_lines(memory)
{
}

XCConfigSection::XCConfigSection(XCConfigSection const& other)
    : XCConfigSection(other, std::pmr::get_default_resource())
{
}

XCConfigSection::XCConfigSection(XCConfigSection const& other, std::pmr::memory_resource* memory)
    : XCConfigSection(XCString(), memory)
{
    XCConfigLock const lock(other);
    m_comments = xc::config::LazyComments(other.m_comments);
    m_name = xc::config::LazyText(other.m_name);
    for (XCConfigLine const& line : other.m_lines) AddLine(line);
}

XCConfigSection& XCConfigSection::operator=(XCConfigSection const& other)
{
    XCConfigSection copy(other);
    XCConfigLock const lock(*this);
    m_comments = std::move(copy.m_comments);
    SetName(copy.m_name.AsString());
    Lines const old = std::exchange(m_lines, Lines(m_lines.get_allocator()));
    ForgetIndex();
    for (XCConfigLine const& line : copy.m_lines) AddLine(line);
    return *this;
}

XCConfigSection::~XCConfigSection() = default;

XCString XCConfigSection::GetName() const
{
    XCConfigLock const lock(*this);
    return m_name.AsString();
}

XCConfigComments& XCConfigSection::GetComments()
{
    XCConfigLock const lock(*this);
    return m_comments.Edit();
}

XCConfigComments const& XCConfigSection::GetComments() const
{
    XCConfigLock const lock(*this);
    return m_comments.AsList();
}

XCConfigSection::iterator XCConfigSection::Find(std::wstring_view key)
{
    if (!m_index && m_lines.size() > kShortSection)
        m_index.reset(new Index{{m_lines.begin(), m_lines.end(), m_lines.size()}});
    if (m_index) return m_index->table.Find(key);
    auto const isThis = [&](XCConfigLine const& line) { return xc::text::IsSameNameFolded(line.m_key.View(), key); };
    return std::find_if(m_lines.begin(), m_lines.end(), isThis);
}

XCConfigLine* XCConfigSection::FindLine(XCString const& key)
{
    XCConfigLock const lock(*this);
    iterator const found = Find(key);
    return found == m_lines.end() ? nullptr : &*found;
}

XCConfigLine const* XCConfigSection::FindLine(XCString const& key) const
{
    return const_cast<XCConfigSection*>(this)->FindLine(key); // the index changes under the lock only
}

void XCConfigSection::ForgetIndex() noexcept
{
    m_index.reset();
}

/// A line at the end, not yet in the index.
XCConfigLine& XCConfigSection::Append()
{
    XCConfigLine& line = m_lines.emplace_back();
    line.SetOwner(this);
    line.m_section = this;
    return line;
}

XCConfigLine& XCConfigSection::AddLine(XCString const& key, XCString const& value)
{
    return AddLine(XCConfigLine(key, value));
}

XCConfigLine& XCConfigSection::AddLine(XCConfigLine const& line)
{
    XCConfigLine copy(line);
    XCConfigLock const lock(*this);
    std::unique_ptr<Index> index = std::move(m_index); // lost when adding fails: the next lookup makes a new one
    XCConfigLine& added = Append();
    added.m_comments = std::move(copy.m_comments);
    added.m_key = std::move(copy.m_key);
    added.m_value = std::move(copy.m_value);
    if (index) index->table.Add(std::prev(m_lines.end()));
    m_index = std::move(index);
    return added;
}

XCConfigSection::iterator XCConfigSection::DeleteLine(iterator where)
{
    XCConfigLock const lock(*this);
    if (where == m_lines.end()) return where;
    if (m_index) m_index->table.Remove(where);
    return m_lines.erase(where);
}

XCConfigSection::iterator XCConfigSection::DeleteLine(XCString const& key, iterator from)
{
    XCConfigLock const lock(*this);
    auto const isThis = [&](XCConfigLine const& line) { return xc::text::IsSameNameFolded(line.m_key.View(), key); };
    return DeleteLine(from == m_lines.begin() ? Find(key) : std::find_if(from, m_lines.end(), isThis));
}

void XCConfigSection::Clear()
{
    XCConfigLock const lock(*this);
    ForgetIndex();
    m_lines.clear();
    m_comments = {};
    SetName(XCString());
}

std::size_t XCConfigSection::GetSize() const
{
    XCConfigLock const lock(*this);
    return m_lines.size();
}
