#include "win32/LastError.h"

#include <windows.h>

namespace xc::win32 {

unsigned long LastError() noexcept
{
    return ::GetLastError();
}

KeepLastError::KeepLastError() noexcept : m_error(::GetLastError()) {}

KeepLastError::~KeepLastError()
{
    ::SetLastError(m_error);
}

} // namespace xc::win32
