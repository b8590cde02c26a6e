// Counts of failed writes with the text of the last one.
//
// A log that fails must neither stop the program nor fail a second time while it says so. So every function here is
// noexcept, the count is an atomic of its own that needs no memory, and the text is what is given up when memory is
// short.
#include "log/Failures.h"

#include "errors/SystemWords.h"
#include "log/Digits.h"

#include <exception>
#include <mutex>

namespace xc::log {

void Failures::Note(XCString const& text) noexcept
{
    m_count.fetch_add(1, std::memory_order_relaxed);
    std::lock_guard const hold(m_section);
    m_last = text;
}

void Failures::Note(std::uint64_t count, std::wstring_view what, std::wstring_view path, unsigned long error) noexcept
try {
    m_count.fetch_add(count, std::memory_order_relaxed);
    XCString text(what);
    text += L" \"";
    text.Append(path);
    text += L"\"";
    if (error != 0) {
        text += L": system error ";
        text.Append(Digits(error).View());
        text += L": " + errors::SystemWords(error, path);
    }
    std::lock_guard const hold(m_section);
    m_last = text;
} catch (...) { // no memory for the text: counted all the same
}

void Failures::NoteFile(wchar_t const* what, std::wstring_view path, unsigned long error) noexcept
{
    Note(1, what, path, error);
}

void Failures::NoteLost(std::uint64_t records, std::wstring_view path, unsigned long error) noexcept
try {
    XCString what(L"Gave up ");
    what.Append(Digits(records).View());
    what += records == 1 ? L" record for" : L" records for";
    Note(records, what.View(), path, error);
} catch (std::exception const&) {
    // The sentence without its number needs less memory, and the count is kept in any case.
    Note(records, L"Gave up records for", path, error);
}

XCString Failures::Last() const
{
    std::lock_guard const hold(m_section);
    return m_last;
}

} // namespace xc::log
