// The texts that threads have written to one stream and not yet flushed, one place a thread.
//
// Streams are shared, but the pieces that a thread writes belong together: text of two threads is never mixed within
// one record. A thread is known by its serial number, which the process gives out once, while the identifiers of the
// system come again. Places are searched one by one: few threads have text pending at a time, and a place whose text
// was taken keeps its storage for the next one, so that logging soon allocates nothing. Cost: O(places) an operation,
// under the section. Invariant: at most one place holds a given thread; a place with thread 0 is free.
#include "log/PendingTexts.h"

#include <mutex>
#include <utility>

namespace xc::log {

PendingTexts::Added PendingTexts::Append(std::uint64_t thread, int level, std::wstring_view text)
{
    std::lock_guard const hold(m_section);
    Text* place = nullptr;
    for (Text& other : m_texts) {
        if (other.thread == thread) {
            other.text.Append(text);
            return {other.text.Length(), false};
        }
        if (other.thread == 0) place = &other;
    }
    if (!place) place = &m_texts.emplace_back();
    place->text.Append(text); // before the place is taken: it may find no memory
    place->thread = thread;
    place->level = level;
    return {place->text.Length(), true};
}

bool PendingTexts::Take(std::uint64_t thread, Text& taken) noexcept
{
    std::lock_guard const hold(m_section);
    for (Text& text : m_texts) {
        if (text.thread != thread) continue;
        taken = std::exchange(text, Text{});
        return true;
    }
    return false;
}

void PendingTexts::Recycle(XCString& storage) noexcept
{
    std::lock_guard const hold(m_section);
    for (Text& text : m_texts)
        if (text.thread == 0) std::swap(text.text, storage);
}

bool PendingTexts::At(std::size_t place, std::uint64_t& thread) const noexcept
{
    std::lock_guard const hold(m_section);
    if (place >= m_texts.size()) return false;
    thread = m_texts[place].thread;
    return true;
}

} // namespace xc::log
