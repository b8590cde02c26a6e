// heap_blocks.h - how many blocks and handles the process holds, to see what is never given back.
#pragma once

#include <cstddef>
#include <vector>
#include <windows.h>

namespace xc_test {

/// The busy blocks of all heaps of the process.
inline std::size_t BlocksInUse()
{
    std::vector<HANDLE> heaps(::GetProcessHeaps(0, nullptr) + 8);
    heaps.resize(::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    std::size_t count = 0;
    for (HANDLE const heap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        ::HeapLock(heap);
        while (::HeapWalk(heap, &entry))
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) ++count;
        ::HeapUnlock(heap);
    }
    return count;
}

/// The value that the next new handle will have: the lowest free one. Threads that have just ended may still give theirs
/// back, so the answer must hold for a while.
inline std::size_t NextHandle()
{
    HANDLE before = nullptr;
    for (int same = 0; same < 4;) {
        HANDLE const probe = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ::CloseHandle(probe);
        same = probe == before ? same + 1 : 0;
        before = probe;
        ::SwitchToThread();
    }
    return reinterpret_cast<std::size_t>(before);
}

} // namespace xc_test
