#include "log/AtExit.h"

#include <XelbrinCore/XCSync.h>

#include "win32/Process.h"

#include <mutex>

namespace xc::log {

namespace {

/// Never destroyed: destructors of static objects may own log files.
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
    win32::CallAtExit(&AtExit::Run);
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
    win32::CallAtExit(&AtExit::Run);
    ExitList& list = List();
    std::lock_guard const hold(list.section);
    list.beforeFiles = function;
}

void AtExit::Run()
{
    ExitList& list = List();
    if (list.beforeFiles) list.beforeFiles();
    std::lock_guard const hold(list.section);
    for (AtExit* file = list.first; file; file = file->m_next) file->m_function(file->m_owner);
}

} // namespace xc::log
