// Counts units under a mutex of its own; a caller that has to wait asks again every 10 ms.
//
// Asking again is the required design: it needs no kernel semaphore, takes several units in one step and never takes a
// part of them. The price is a delay of up to 10 ms, and that waiters have no order.
//
// INVARIANT 0 <= count <= maximum. A failed release of the mutex puts the count back before the exception leaves.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSync.h>

#include "sync/KernelLock.h"

#include <windows.h>

namespace {

constexpr DWORD kPollMs = 10;

/// Holds the inner mutex; a release on the way out after a failure is silent.
class HeldMutex {
public:
    explicit HeldMutex(void* mutex) : m_mutex(mutex) { xc::sync::TakeMutex(mutex); }
    ~HeldMutex()
    {
        if (m_mutex) ::ReleaseMutex(m_mutex);
    }
    HeldMutex(HeldMutex const&) = delete;
    HeldMutex& operator=(HeldMutex const&) = delete;

    void Release() { xc::sync::GiveMutex(std::exchange(m_mutex, nullptr)); }

private:
    void* m_mutex;
};

/// Sets the count and releases; when the release fails the count is as before.
void SetAndRelease(HeldMutex& held, std::uint32_t& count, std::uint32_t value)
{
    std::uint32_t const before = std::exchange(count, value);
    try {
        held.Release();
    } catch (...) {
        count = before;
        throw;
    }
}

} // namespace

XCCountingSemaphore::XCCountingSemaphore(unsigned int initial, unsigned int maximum)
    : m_mutex(nullptr), m_count(initial), m_maximum(maximum)
{
    if (initial > maximum) throw XCException(L"XCCountingSemaphore exception: initial greater than the maximum");
    m_mutex = xc::sync::NewMutex(XCString(), false);
}

XCCountingSemaphore::~XCCountingSemaphore()
{
    xc::sync::Close(m_mutex);
}

void XCCountingSemaphore::Lock(unsigned int n)
{
    while (!TryLock(n)) ::Sleep(kPollMs);
}

void XCCountingSemaphore::Unlock(unsigned int n)
{
    HeldMutex held(m_mutex);
    if (n > m_maximum - m_count) throw XCException(L"XCCountingSemaphore overflow");
    SetAndRelease(held, m_count, m_count + n);
}

bool XCCountingSemaphore::TryLock(unsigned int n)
{
    HeldMutex held(m_mutex);
    bool const enough = m_count >= n;
    SetAndRelease(held, m_count, enough ? m_count - n : m_count);
    return enough;
}

unsigned int XCCountingSemaphore::GetCount() const
{
    HeldMutex held(m_mutex);
    unsigned int const count = m_count;
    held.Release();
    return count;
}

unsigned int XCCountingSemaphore::GetSize() const
{
    HeldMutex held(m_mutex);
    unsigned int const maximum = m_maximum;
    held.Release();
    return maximum;
}
