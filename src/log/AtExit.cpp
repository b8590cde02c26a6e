// The open log files of the process, so that what they hold back is written when it ends.
//
// One function is registered with the runtime of the process, with the first file. It runs after main, or at exit(),
// while the other threads still run, and has every file that lives by then write out and close; a file that is written
// to later opens again. Files are linked through themselves, which needs no memory; joining and leaving cost O(1). The
// channels go first, because their pending texts still turn into records. Invariants: a file is in the list from its
// construction to its destruction; the list outlives every static object, since destructors of static objects may own
// log files.
#include "log/AtExit.h"

#include <XelbrinCore/XCSync.h>

#include "win32/Process.h"

#include <mutex>

namespace xc::log {

namespace {

/// Never destroyed.
struct ExitList {
    XCCriticalSection section;
    AtExit* first = nullptr;
    void (*beforeFiles)() = nullptr;
};

ExitList& List()
{
    static ExitList& list = *new ExitList;
    return list;
}

} // namespace

AtExit::AtExit(void (*function)(void* owner), void* owner) noexcept : m_function(function), m_owner(owner)
{
    win32::CallAtExit(&AtExit::WriteOut);
    ExitList& list = List();
    std::lock_guard const hold(list.section);
    m_next = list.first;
    if (m_next) m_next->m_previous = this;
    list.first = this;
}

AtExit::~AtExit()
{
    ExitList& list = List();
    std::lock_guard const hold(list.section);
    (m_previous ? m_previous->m_next : list.first) = m_next;
    if (m_next) m_next->m_previous = m_previous;
}

void AtExit::BeforeFiles(void (*function)()) noexcept
{
    win32::CallAtExit(&AtExit::WriteOut);
    ExitList& list = List();
    std::lock_guard const hold(list.section);
    list.beforeFiles = function;
}

void AtExit::WriteOut()
{
    ExitList& list = List();
    // Without the section: subscribers that are served now may open and close files.
    if (list.beforeFiles) list.beforeFiles();
    std::lock_guard const hold(list.section);
    for (AtExit* file = list.first; file; file = file->m_next) file->m_function(file->m_owner);
}

} // namespace xc::log
