// repetitions.h - how often a test repeats what allocates.
#pragma once

#include <cstdlib>

namespace xc_test {

/// Less when every call of the heap checks all its blocks (make check-heap).
inline int Times(int count)
{
    return std::getenv("XC_HEAP_CHECK") ? count / 1000 : count;
}

} // namespace xc_test
