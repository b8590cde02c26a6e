// The last error of the thread, behind functions of ours so that portable code can keep it.
//
// Almost every call of the system may change the number, destructors included. Whoever wants it reads it first;
// whoever works on behalf of a caller that may want it keeps it (KeepLastError) and puts it back at the end of the
// scope.
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
