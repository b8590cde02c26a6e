// Cpu.h - which vector instructions this processor offers, asked once.
//
// SSE2 is the baseline of the target. Functions marked XC_TARGET_AVX2 may only run when HasAvx2() says so; pass vectors
// by reference between them, never by value.
#pragma once

#if defined(__GNUC__)
#define XC_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt,popcnt")))
#else
#define XC_TARGET_AVX2
#endif

namespace xc::text {

inline bool HasAvx2() noexcept
{
#if defined(__GNUC__)
    static bool const has = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2"));
    return has;
#else
    return false;
#endif
}

} // namespace xc::text
