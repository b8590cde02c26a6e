// heap_blocks.h - how many blocks the process holds, to see what is never given back.
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

} // namespace xc_test
