// peak_memory.h - the most memory in use since an object of this was made, by the sanitizer's own hooks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <sanitizer/allocator_interface.h>

struct PeakMemory {
    PeakMemory()
    {
        static int const installed = __sanitizer_install_malloc_and_free_hooks(&Allocated, &Freed);
        (void)installed;
        g_now = g_peak = 0;
    }
    [[nodiscard]] std::size_t Bytes() const { return static_cast<std::size_t>(std::max<std::ptrdiff_t>(g_peak, 0)); }

private:
    static void Allocated(void const volatile*, std::size_t size)
    {
        g_now += static_cast<std::ptrdiff_t>(size);
        g_peak = std::max(g_peak, g_now);
    }
    static void Freed(void const volatile* block)
    {
        auto const* const start = const_cast<void const*>(block);
        if (start) g_now -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(start));
    }
    static inline std::ptrdiff_t g_now = 0;
    static inline std::ptrdiff_t g_peak = 0;
};
