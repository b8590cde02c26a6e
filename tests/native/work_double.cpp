// Slim locks, threads and thread slots over the native ones, for the sanitizer builds of the portable core.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCThread.h>

#include "win32/Clock.h"
#include "win32/MessageEvent.h"
#include "win32/Process.h"
#include "win32/SlimLock.h"
#include "win32/TimeWait.h"

#include <chrono>
#include <pthread.h>
#include <thread>

namespace xc::win32 {

void SlimLock::lock() noexcept
{
    m_lock.lock();
}

void SlimLock::unlock() noexcept
{
    m_lock.unlock();
}

bool SlimSignal::Wait(SlimLock& lock, std::uint32_t timeoutMs) noexcept
{
    std::unique_lock guard(lock.m_lock, std::adopt_lock);
    bool inTime = true;
    if (timeoutMs == UINT32_MAX)
        m_signal.wait(guard);
    else // on the clock of the system, whose waits the thread sanitizer knows
        inTime = m_signal.wait_until(guard, std::chrono::system_clock::now() + std::chrono::milliseconds(timeoutMs)) ==
                 std::cv_status::no_timeout;
    guard.release();
    return inTime;
}

void SlimSignal::WakeOne() noexcept
{
    m_signal.notify_one();
}

void SlimSignal::WakeAll() noexcept
{
    m_signal.notify_all();
}

bool IsProcessEnding() noexcept
{
    return false;
}

unsigned int ProcessorCount() noexcept
{
    return 2;
}

} // namespace xc::win32

namespace xc::sync {

struct ThreadHandle {
    std::thread thread;
};

} // namespace xc::sync

constinit std::atomic<unsigned long> glbComModel = XCComNone;
unsigned long const XCThread::tlsDataIndex = 0;

XCCallback::~XCCallback() = default;

XCThread::XCThread(XCSmartPtr<XCCallback> callback) : m_callback(std::move(callback)), m_flags(glbComModel) {}

XCThread::~XCThread()
{
    Join();
}

std::atomic<bool> xc_refuseThreads{false};

XCErrorID XCThread::Start(int)
{
    if (xc_refuseThreads) throw XCException(L"no thread");
    XCSmartPtr<XCThread> const self(m_deleteOnEnd ? this : nullptr);
    std::thread thread([this, self] { m_callback->Call(); });
    if (m_deleteOnEnd)
        thread.detach();
    else
        m_identity.handle = std::make_shared<xc::sync::ThreadHandle>(xc::sync::ThreadHandle{std::move(thread)});
    return XCErrorID::Success;
}

void XCThread::Join()
{
    if (m_identity.handle && m_identity.handle->thread.joinable()) m_identity.handle->thread.join();
}

void XCThread::SetName(XCString const& name)
{
    m_name = name;
}

unsigned long XCThread::AllocateThreadKey()
{
    pthread_key_t key = 0;
    if (pthread_key_create(&key, nullptr) != 0) throw XCException(L"no thread slot");
    return key;
}

void* XCThread::Get(unsigned long key) noexcept
{
    return pthread_getspecific(static_cast<pthread_key_t>(key));
}

void XCThread::Set(unsigned long key, void* value)
{
    pthread_setspecific(static_cast<pthread_key_t>(key), value);
}

void XCThread::Sleep(unsigned int milliseconds) noexcept
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void XCThread::yield() noexcept
{
    std::this_thread::yield();
}

namespace xc::win32 {

namespace {

/// A signal that stays until a wait has seen it.
struct Sticky {
    std::mutex lock;
    std::condition_variable changed;
    bool set = false;

    void Set()
    {
        std::lock_guard const hold(lock);
        set = true;
        changed.notify_one();
    }
    void Wait(std::uint32_t timeoutMs)
    {
        std::unique_lock hold(lock);
        auto const isSet = [this] { return set; };
        if (timeoutMs == UINT32_MAX)
            changed.wait(hold, isSet);
        else
            changed.wait_until(hold, std::chrono::system_clock::now() + std::chrono::milliseconds(timeoutMs), isSet);
        set = false;
    }
};

} // namespace

MessageEvent::MessageEvent() : m_event(new Sticky) {}
MessageEvent::~MessageEvent()
{
    delete static_cast<Sticky*>(m_event);
}
void MessageEvent::Set() noexcept
{
    static_cast<Sticky*>(m_event)->Set();
}
void MessageEvent::Wait(std::uint32_t timeoutMs) noexcept
{
    static_cast<Sticky*>(m_event)->Wait(timeoutMs);
}

std::uint64_t AwakeUs() noexcept
{
    return TickMs() * 1000;
}
std::uint64_t AwakeUsAtMost() noexcept
{
    return TickMs() * 1000;
}
std::uint64_t ElapsedUs() noexcept
{
    return TickMs() * 1000;
}

TimeWait::TimeWait() : m_event(new Sticky), m_timer(nullptr) {}
TimeWait::~TimeWait()
{
    delete static_cast<Sticky*>(m_event);
}
void TimeWait::Wait(std::uint32_t awakeMs, std::int64_t) noexcept
{
    static_cast<Sticky*>(m_event)->Wait(awakeMs);
}
void TimeWait::Wake() noexcept
{
    static_cast<Sticky*>(m_event)->Set();
}

} // namespace xc::win32
