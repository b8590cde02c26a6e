// repetitions.h - how often a test repeats what allocates.
#pragma once

#include <cstdlib>

namespace xc_test {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadsAreWatched =
    true; // every access is slow, and what is repeated on one thread shows no race
#else
inline constexpr bool kThreadsAreWatched = false;
#endif

/// Less when every call of the heap checks all its blocks (make check-heap), or every access to memory is watched.
inline int Times(int count)
{
    if (std::getenv("XC_HEAP_CHECK")) return count / 1000;
    return kThreadsAreWatched && count >= 1000 ? count / 10 : count;
}

} // namespace xc_test
