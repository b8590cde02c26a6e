// XCSync.h - locks over the objects of the operating system.
#pragma once

#include <XelbrinCore/XCExport.h>

/// A recursive lock of one process, for short regions. Never throws.
class XC_API XCCriticalSection {
public:
    /// @param locked enter at once.
    explicit XCCriticalSection(bool locked = false) noexcept;
    ~XCCriticalSection();
    XCCriticalSection(XCCriticalSection const&) = delete;
    XCCriticalSection& operator=(XCCriticalSection const&) = delete;

    void Lock() noexcept;
    void lock() noexcept { Lock(); }
    void obtain() noexcept { Lock(); }
    /// By the thread that entered.
    void Unlock() noexcept;
    void unlock() noexcept { Unlock(); }
    void release() noexcept { Unlock(); }
    [[nodiscard]] bool TryLock() noexcept;
    /// 0: another thread holds the section; otherwise the recursion count while asking: 1 when it was free, more when
    /// the caller already held it.
    [[nodiscard]] unsigned int IsLocked() noexcept;

private:
    alignas(8) unsigned char m_section[40]; // a CRITICAL_SECTION
};
