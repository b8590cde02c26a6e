// The small parts of a configuration file: locking, comments and lines.
//
// Locks go up the chain of owners to the file. Copies are made before the lock of the target is taken: two locks are
// never held at once, so that two threads that assign crosswise cannot wait for each other. Assigning a copy therefore
// is moving it: the copy is made under the lock of the source, and moved under that of the target.
#include "app/config/ConfigData.h"
#include "app/config/ConfigReader.h"
#include "text/NumberText.h"

#include <algorithm>

using xc::config::Access;
using xc::config::LazyComments;
using xc::config::LazyText;
using xc::config::LineData;
using xc::config::LineTexts;

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
        XCString text(View());
        ::new (static_cast<void*>(&m_text)) XCString(std::move(text));
        m_units = kString;
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

namespace {

/// Never destroyed: destructors of static objects read configurations.
XCConfigComments const& NoComments()
{
    static XCConfigComments const& none = *new XCConfigComments;
    return none;
}

} // namespace

// Edit makes a list even where there was no comment, since the caller may add one. AsList must not: looking at the
// comments of every line would then cost an allocation each, so all empty ones share one list.
XCConfigComments& xc::config::LazyComments::Edit()
{
    MakeList();
    return *m_list;
}

XCConfigComments const& xc::config::LazyComments::AsList() const
{
    if (!m_list && m_part.empty()) return NoComments();
    MakeList();
    return *m_list;
}

// Lines ---------------------------------------------------------------------------------------------------------

bool xc::config::LineData::SetPart(std::wstring_view text, std::wstring_view comments, std::wstring_view key,
                                   std::wstring_view value) noexcept
{
    constexpr std::size_t kMost = 0xFFFF;
    auto const at = static_cast<std::size_t>(key.data() - text.data());
    // Blanks between the comments and the key count as comments: who reads these passes over them in any case.
    std::size_t const before = comments.empty() ? 0 : static_cast<std::size_t>(key.data() - comments.data());
    auto const gap = static_cast<std::size_t>(value.data() - key.data()) - key.size();
    if (at >= kOwn || gap > kMostGap || std::max({before, key.size(), value.size()}) > kMost) return false;
    m_at = static_cast<std::uint32_t>(at);
    m_part = {static_cast<std::uint16_t>(before), static_cast<std::uint16_t>(key.size()),
              static_cast<std::uint16_t>(gap), static_cast<std::uint16_t>(value.size())};
    return true;
}

// A file's lines have their blocks beside their nodes: of a file whose every value is asked for they are a million.
std::pmr::memory_resource* xc::config::LineData::Memory() const noexcept
{
    return m_section ? Access::Of(*m_section).lines.get_allocator().resource() : std::pmr::new_delete_resource();
}

// All four move to the block together, as views: which of them becomes a string is decided one by one.
LineTexts& xc::config::LineData::MakeTexts()
{
    auto* const texts = ::new (Memory()->allocate(sizeof(LineTexts), alignof(LineTexts))) LineTexts;
    if (IsPart()) {
        texts->comments = LazyComments(CommentPart());
        texts->key = LazyText(Key());
        texts->value = LazyText(Value());
        texts->position = m_at;
        m_at = kOwn;
    }
    m_texts = texts;
    return *texts;
}

void xc::config::LineData::FreeTexts() noexcept
{
    std::destroy_at(m_texts);
    Memory()->deallocate(m_texts, sizeof(LineTexts), alignof(LineTexts));
}

// Parts of a file's text become strings first, and the block is made, which is all that may fail: either line keeps
// everything or nothing.
void xc::config::LineData::TakeTexts(LineData& other)
{
    if (!HasTexts() && !other.HasTexts()) return;
    LineTexts none;
    LineTexts& from = other.HasTexts() ? other.Texts() : none;
    from.comments.MakeOwn();
    from.key.MakeOwn();
    from.value.MakeOwn();
    LineTexts& to = Texts();
    to.comments = std::move(from.comments);
    to.key = std::move(from.key);
    to.value = std::move(from.value);
}

LineTexts xc::config::LineData::CopyTexts() const
{
    if (!HasTexts()) return {};
    if (!IsPart()) // the strings share their blocks
        return {LazyComments(m_texts->comments), LazyText(m_texts->key), LazyText(m_texts->value), kNotRead};
    LazyComments const comments(CommentPart());
    return {LazyComments(comments), LazyText(XCString(Key())), LazyText(XCString(Value())), kNotRead};
}

void xc::config::LineData::SetTexts(LineTexts texts)
{
    // A line without texts gets no block: each line that is read begins as one.
    if (texts.key.View().empty() && texts.value.View().empty() && texts.comments.IsNone()) return;
    Texts() = std::move(texts);
}

std::size_t xc::config::LineData::Position() const noexcept
{
    if (IsPart()) return m_at;
    return m_texts ? m_texts->position : kNotRead;
}

// The data stand in a buffer inside the object: the public header shows neither the lazy texts nor their size, and a
// line that was read costs one allocation, its list node.
XCConfigLine::XCConfigLine(XCString key, XCString value)
{
    auto* const data = ::new (static_cast<void*>(m_data)) LineData;
    data->SetTexts({{}, LazyText(std::move(key)), LazyText(std::move(value)), xc::config::kNotRead});
}

// A copy belongs to no section and has no owner until it is added to one; its lazy texts are made strings, because the
// text of the file may go before the copy does.
XCConfigLine::XCConfigLine(XCConfigLine const& other) : XCConfigLockable()
{
    XCConfigLock const lock(other);
    auto* const data = ::new (static_cast<void*>(m_data)) LineData;
    data->SetTexts(Access::Of(other).CopyTexts());
}

XCConfigLine::XCConfigLine(XCConfigLine&& other) : XCConfigLockable() // NOLINT(performance-noexcept-move-constructor)
{
    XCConfigLock const lock(other);
    LineData& from = Access::Of(other);
    auto* const data = ::new (static_cast<void*>(m_data)) LineData;
    data->TakeTexts(from);
    xc::config::ForgetIndex(from.Section());
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
    LineData& data = Access::Of(*this);
    data.TakeTexts(Access::Of(taken));
    xc::config::ForgetIndex(data.Section());
    return *this;
}

XCConfigLine::~XCConfigLine()
{
    std::destroy_at(&Access::Of(*this));
}

XCString XCConfigLine::GetKey() const
{
    XCConfigLock const lock(*this);
    return xc::config::KeyString(*this);
}

void XCConfigLine::SetKey(XCString const& key)
{
    XCConfigLock const lock(*this);
    // The index holds a view of the old key.
    Access::Of(*this).Texts().key = LazyText(key);
    xc::config::ForgetIndex(Access::Of(*this).Section());
}

XCString XCConfigLine::GetValue() const
{
    XCConfigLock const lock(*this);
    return xc::config::ValueString(*this);
}

void XCConfigLine::SetValue(XCString const& value)
{
    XCConfigLock const lock(*this);
    Access::Of(*this).Texts().value = LazyText(value);
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
    return Access::Of(*this).Texts().comments.Edit();
}

// A line without texts of its own gets none for being looked at: most have no comments.
XCConfigComments const& XCConfigLine::GetComments() const
{
    XCConfigLock const lock(*this);
    LineData& data = Access::Of(const_cast<XCConfigLine&>(*this));
    if (data.IsPart() ? data.CommentPart().empty() : !data.OwnTexts()) return NoComments();
    return data.Texts().comments.AsList();
}

std::size_t XCConfigLine::GetFileLine() const
{
    XCConfigLock const lock(*this);
    LineData const& data = Access::Of(*this);
    XCConfigFile const* const file = data.Section() ? Access::Of(*data.Section()).file : nullptr;
    if (!file || data.Position() == xc::config::kNotRead) return 0;
    // Lines are counted now rather than while reading, which would make every file pay for what few ask.
    xc::config::FileData const& whole = Access::Of(*file);
    return xc::config::Locate({whole.text.get(), whole.textLength}, data.Position()).line;
}

void XCConfigLine::Clear()
{
    *this = XCConfigLine();
}
