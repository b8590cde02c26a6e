// Fields beside the text of a block.
//
// Subscribers are given a text, and programs derive from those of the library and hand a text on, perhaps a changed one.
// Fields therefore travel beside it: the text holds them in plain form, for everybody, and while a block is served its
// parts are announced here under the address of that text. A subscriber that knows fields asks with the text that it was
// given; one that got another text finds nothing and writes that text. A text that is being served is not freed, so that
// its address tells it from all others. The blocks with fields that are served at one time are as many as the managers
// that deliver, nearly always one: a list under a lock. Where there is none, asking costs one load.
#include "log/RecordFields.h"

#include <XelbrinCore/XCSync.h>

#include "text/LineText.h"
#include "text/Units.h"

#include <algorithm>
#include <atomic>
#include <mutex>

namespace xc::log {

namespace {

struct Served {
    XCCriticalSection section;
    std::atomic<unsigned int> count{0};
    FieldScope* first = nullptr;
};

/// Never destroyed: destructors of static objects log.
Served& AllServed()
{
    static Served& served = *new Served;
    return served;
}

bool NeedsCare(wchar_t unit) noexcept
{
    return text::IsSpace(unit) || unit == L'"' || unit == L'\\' || unit == L'=' || text::ShapesLines(unit);
}

// A name cannot be quoted: readers split at the first '=' and at blanks.
void AppendName(std::wstring& to, std::wstring_view name)
{
    for (wchar_t const unit : name) {
        if (NeedsCare(unit))
            text::AppendEscape(to, unit);
        else
            to.push_back(unit);
    }
}

void AppendQuoted(std::wstring& to, std::wstring_view value)
{
    to.push_back(L'"');
    for (wchar_t const unit : value) {
        if (unit == L'"')
            to += L"\\\"";
        else if (unit == L'\\' || text::ShapesLines(unit))
            text::AppendEscape(to, unit);
        else
            to.push_back(unit);
    }
    to.push_back(L'"');
}

} // namespace

void AppendFields(std::wstring& to, std::span<XCLogField const> fields)
{
    for (XCLogField const& field : fields) {
        std::wstring_view const value = field.GetValue().View();
        bool const isText = field.GetKind() == XCLogField::Kind::Text;
        to.push_back(L' ');
        AppendName(to, field.GetName().View());
        to.push_back(L'=');
        if (isText && (value.empty() || std::ranges::any_of(value, NeedsCare)))
            AppendQuoted(to, value);
        else
            to += value;
    }
}

FieldScope::FieldScope(std::wstring_view whole, ServedText const& parts) noexcept : m_whole(whole), m_parts(parts)
{
    Served& served = AllServed();
    std::lock_guard const hold(served.section);
    m_next = std::exchange(served.first, this);
    ++served.count;
}

FieldScope::~FieldScope()
{
    Served& served = AllServed();
    std::lock_guard const hold(served.section);
    // Nearly always the first: scopes of one thread end in the reverse order.
    FieldScope** place = &served.first;
    while (*place != this) place = &(*place)->m_next;
    *place = m_next;
    --served.count;
}

bool FindServed(std::wstring_view text, ServedText& found) noexcept
{
    Served& served = AllServed();
    if (served.count.load(std::memory_order_relaxed) == 0) return false;
    std::lock_guard const hold(served.section);
    for (FieldScope const* scope = served.first; scope; scope = scope->m_next) {
        // The same block at another length is a text that somebody has cut.
        if (scope->m_whole.data() != text.data() || scope->m_whole.size() != text.size()) continue;
        found = scope->m_parts;
        return true;
    }
    return false;
}

} // namespace xc::log
