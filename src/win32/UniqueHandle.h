// UniqueHandle.h - one owner for each kind of kernel handle. For .cpp files: it includes windows.h.
#pragma once

#include "win32/LastError.h"

#include <cassert>
#include <utility>
#include <windows.h>

namespace xc::win32 {

/// Events, mutexes, threads, processes: null is invalid.
struct KernelKind {
    static HANDLE Invalid() noexcept { return nullptr; }
};

/// Owns a handle; closing keeps the thread's last error.
template <class Kind>
class UniqueHandle {
public:
    UniqueHandle() noexcept = default;
    explicit UniqueHandle(HANDLE handle) noexcept : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_handle(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept
    {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    explicit operator bool() const noexcept { return m_handle != Kind::Invalid(); }
    [[nodiscard]] HANDLE Get() const noexcept { return m_handle; }
    [[nodiscard]] HANDLE Release() noexcept { return std::exchange(m_handle, Kind::Invalid()); }
    void Reset(HANDLE handle = Kind::Invalid()) noexcept
    {
        if (*this) {
            KeepLastError const keep;
            [[maybe_unused]] BOOL const closed = ::CloseHandle(m_handle);
            assert(closed && "handle closed twice or never ours");
        }
        m_handle = handle;
    }

private:
    HANDLE m_handle = Kind::Invalid();
};

using UniqueKernelObject = UniqueHandle<KernelKind>;

} // namespace xc::win32
