// Cpu.h - which vector instructions this processor offers, asked once.
//
// SSE2 is the baseline of the target; XC_NO_AVX2 in the environment keeps a process to it, so that what a processor
// without more does can be seen on any. Functions marked XC_TARGET_AVX2 may only run when HasAvx2() says so; pass vectors
// by reference between them, never by value.
#pragma once

#include <cstdlib>

#if defined(__GNUC__)
#define XC_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt,popcnt")))
#else
#define XC_TARGET_AVX2
#endif

// Vectors of 32 bytes must not go through the stack, which is aligned for 16: what takes them is inlined.
#define XC_INLINE_AVX2 [[gnu::always_inline]] XC_TARGET_AVX2 inline

namespace xc::text {

inline bool HasAvx2() noexcept
{
#if defined(__GNUC__)
    static bool const has = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") &&
                                                       std::getenv("XC_NO_AVX2") == nullptr);
    return has;
#else
    return false;
#endif
}

} // namespace xc::text
