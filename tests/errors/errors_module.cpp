// A module that throws what its host catches, catches what its host throws, and has message resources of its own.
#include "errors/Crossing.h"

#if defined(_MSC_VER)
#error "the exports below follow the C convention of the compiler"
#endif

extern "C" __declspec(dllexport) __attribute__((noinline)) void ThrowInModule(ThrownKind kind)
{
    ThrowKind(kind);
    asm volatile("");
}

extern "C" __declspec(dllexport) ThrownKind CatchInModule(void (*thrower)(ThrownKind), ThrownKind kind)
{
    return CatchKind(thrower, kind);
}
