// LastError.h - the one place where errors of the operating system come in.
#pragma once

namespace xc::win32 {

/// The calling thread's last error. Read it before anything else runs: the next call may replace it.
unsigned long LastError() noexcept;

/// Restores the thread's last error at the end of a scope.
class KeepLastError {
public:
    KeepLastError() noexcept;
    ~KeepLastError();
    KeepLastError(KeepLastError const&) = delete;
    KeepLastError& operator=(KeepLastError const&) = delete;

private:
    unsigned long m_error;
};

} // namespace xc::win32
