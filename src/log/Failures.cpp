#include "log/Failures.h"

#include "errors/SystemWords.h"
#include "log/Digits.h"

#include <mutex>

namespace xc::log {

void Failures::Note(XCString const& text) noexcept
{
    m_count.fetch_add(1, std::memory_order_relaxed);
    std::lock_guard const hold(m_section);
    m_last = text;
}

void Failures::NoteFile(wchar_t const* what, std::wstring_view path, unsigned long error) noexcept
try {
    XCString text(what);
    text += L" \"";
    text.Append(path);
    text += L"\": system error ";
    text.Append(Digits(error).View());
    if (error != 0) text += L": " + errors::SystemWords(error, path);
    Note(text);
} catch (...) { // no memory for the text: counted all the same
    m_count.fetch_add(1, std::memory_order_relaxed);
}

XCString Failures::Last() const
{
    std::lock_guard const hold(m_section);
    return m_last;
}

} // namespace xc::log
