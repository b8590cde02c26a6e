// The small parts of a configuration file: locking, comments and lines.
//
// Locks go up the chain of owners to the file. Copies are made before the lock of the target is taken: two locks are
// never held at once, so that two threads that assign crosswise cannot wait for each other. Assigning a copy therefore
// is moving it: the copy is made under the lock of the source, and moved under that of the target.
#include "app/config/ConfigData.h"
#include "app/config/ConfigReader.h"
#include "text/NumberText.h"

using xc::config::Access;
using xc::config::LazyComments;
using xc::config::LazyText;
using xc::config::LineData;

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
XCConfigLine::XCConfigLine(XCConfigLine&& other) : XCConfigLockable() // NOLINT(performance-noexcept-move-constructor)
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

XCConfigLine& XCConfigLine::operator=(XCConfigLine&& other) // NOLINT(performance-noexcept-move-constructor)
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
    // Lines are counted now rather than while reading, which would make every file pay for what few ask.
    xc::config::FileData const& whole = Access::Of(*file);
    return xc::config::Locate({whole.text.get(), whole.textLength}, data.position).line;
}

void XCConfigLine::Clear()
{
    *this = XCConfigLine();
}
