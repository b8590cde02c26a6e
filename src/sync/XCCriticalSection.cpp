// The critical section of the system in storage of the class, so that no public header needs the system's. Whether the
// calling thread holds it is asked by trying: the count of its own entries is then one more than before.
//
// The storage has exactly the size and alignment of the system's type, which is asserted here, where both are known.
// The object is created in that storage, so its address never changes, as the system demands; the class can therefore
// be neither copied nor moved. Entering it costs one interlocked instruction while nobody else is inside, and a load and
// a branch for those who watch the order of locks.
#include <XelbrinCore/XCSync.h>

#include "sync/LockOrder.h"

#include <new>
#include <windows.h>

static_assert(sizeof(XCCriticalSection) == sizeof(CRITICAL_SECTION));
static_assert(alignof(XCCriticalSection) == alignof(CRITICAL_SECTION));

namespace {

CRITICAL_SECTION* Section(unsigned char* storage) noexcept
{
    // The array and the object made in it share an address, not a type: launder tells the compiler that the object is
    // meant.
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}

} // namespace

XCCriticalSection::XCCriticalSection(bool locked) noexcept
{
    ::InitializeCriticalSection(::new (m_section) CRITICAL_SECTION);
    if (locked) Lock();
}

XCCriticalSection::~XCCriticalSection()
{
    if (xc::sync::WatchesLocks()) [[unlikely]]
        xc::sync::ForgetLock(this);
    ::DeleteCriticalSection(Section(m_section));
}

void XCCriticalSection::Lock() noexcept
{
    if (xc::sync::WatchesLocks()) [[unlikely]]
        xc::sync::NoteLock(this, xc::sync::LockKind::Section);
    ::EnterCriticalSection(Section(m_section));
}

void XCCriticalSection::Unlock() noexcept
{
    if (xc::sync::WatchesLocks()) [[unlikely]]
        xc::sync::NoteUnlock(this);
    ::LeaveCriticalSection(Section(m_section));
}

bool XCCriticalSection::TryLock() noexcept
{
    bool const isTaken = ::TryEnterCriticalSection(Section(m_section)) != 0;
    if (isTaken && xc::sync::WatchesLocks()) [[unlikely]]
        xc::sync::NoteTaken(this, xc::sync::LockKind::Section);
    return isTaken;
}

unsigned int XCCriticalSection::IsLocked() noexcept
{
    if (!TryLock()) return 0;
    // Read while the section is held, so nobody writes it. The trial counts too, so 1 means that the section was free.
    auto const count = static_cast<unsigned int>(Section(m_section)->RecursionCount);
    Unlock();
    return count;
}
