// The operator new of this library is the allocator of the C library, whose blocks the system's heap can make longer
// when nothing follows them. That saves the copy and, for a text that grows on and on, all blocks but one.
#include "win32/GrowBlock.h"

#include "win32/LastError.h"

#include <cerrno>
#include <malloc.h>

namespace xc::win32 {

bool GrowInPlace(void* block, std::size_t size) noexcept
{
    // A refusal is nothing that anybody asked about.
    KeepLastError const keep;
    int const before = errno;
    bool const isLonger = ::_expand(block, size) != nullptr;
    errno = before;
    return isLonger;
}

} // namespace xc::win32
