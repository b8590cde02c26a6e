// A ring of fixed places: a record of a log costs one copy of its first units and no memory. The lock is held for that
// copy alone; a fault may still happen in it, so that who reads for the record of a fault waits only for a while.
//
// A lock and not atomic places: writers of several threads would otherwise overtake each other within one place, and a
// torn record in the account of a fault leads its reader astray. The count of all records only grows; its remainder is
// the place, so that order and fill need no further state.
#include "debug/LastRecords.h"

#include <algorithm>
#include <chrono>

namespace xc::debug {

void LastRecords::OnFlush(int, XCString const& text)
{
    std::wstring_view all = text.View();
    while (!all.empty() && (all.back() == L'\n' || all.back() == L'\r')) all.remove_suffix(1);
    std::lock_guard const guard(m_lock);
    Record& record = m_records[m_next++ % kRecords];
    // The head of a record tells more than its tail: time, level and subject stand there.
    record.count = all.copy(record.text, kUnits);
    record.isCut = record.count < all.size();
}

bool LastRecords::Read(std::wstring& lines) noexcept
try {
    std::unique_lock const guard(m_lock, std::chrono::milliseconds(500));
    if (!guard.owns_lock()) return false;
    for (std::size_t i = m_next - std::min(m_next, kRecords); i < m_next; ++i) {
        Record const& record = m_records[i % kRecords];
        lines.append(L"\n    ").append(record.text, record.count).append(record.isCut ? L"..." : L"");
    }
    return true;
} catch (std::exception const&) { // no memory: what was read so far
    return true;
}

} // namespace xc::debug
