// XCCriticalSection over a native recursive mutex, for the sanitizer builds of the portable core.
#include <XelbrinCore/XCSync.h>

#include <new>
#include <pthread.h>

static_assert(sizeof(pthread_mutex_t) <= sizeof(XCCriticalSection));

namespace {

pthread_mutex_t* Mutex(unsigned char* storage) noexcept
{
    return std::launder(reinterpret_cast<pthread_mutex_t*>(storage));
}

} // namespace

XCCriticalSection::XCCriticalSection(bool locked) noexcept
{
    pthread_mutexattr_t recursive;
    pthread_mutexattr_init(&recursive);
    pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(::new (m_section) pthread_mutex_t, &recursive);
    pthread_mutexattr_destroy(&recursive);
    if (locked) Lock();
}
XCCriticalSection::~XCCriticalSection()
{
    pthread_mutex_destroy(Mutex(m_section));
}
void XCCriticalSection::Lock() noexcept
{
    pthread_mutex_lock(Mutex(m_section));
}
void XCCriticalSection::Unlock() noexcept
{
    pthread_mutex_unlock(Mutex(m_section));
}
bool XCCriticalSection::TryLock() noexcept
{
    return pthread_mutex_trylock(Mutex(m_section)) == 0;
}
