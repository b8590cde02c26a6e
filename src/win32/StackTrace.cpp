#include "win32/StackTrace.h"

#include "win32/LastError.h"

#include <windows.h>

namespace xc::win32 {

namespace {

struct StackBounds {
    ULONG64 low, high;
    [[nodiscard]] bool Holds(ULONG64 address) const noexcept { return address >= low && address <= high - 8; }
};

StackBounds BoundsOfThisThread() noexcept
{
    ULONG_PTR low = 0, high = 0;
    ::GetCurrentThreadStackLimits(&low, &high);
    return {low, high};
}

/// One step from a function to its caller; false at the end of the stack, or when it makes no sense.
bool StepOut(CONTEXT& registers, StackBounds const& stack) noexcept
{
    ULONG64 const from = registers.Rsp;
    if (!stack.Holds(from) || from % 8 != 0) return false;
    ULONG64 image = 0;
    if (PRUNTIME_FUNCTION const function = ::RtlLookupFunctionEntry(registers.Rip, &image, nullptr)) {
        void* handlerData = nullptr;
        ULONG64 frame = 0;
        ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, registers.Rip, function, &registers, &handlerData, &frame,
                           nullptr);
    } else { // a leaf function: only its return address is on the stack
        registers.Rip = *reinterpret_cast<ULONG64 const*>(from);
        registers.Rsp += 8;
    }
    return registers.Rip != 0 && registers.Rsp > from;
}

std::size_t Walk(CONTEXT& registers, void const** frames, std::size_t room, std::size_t skip) noexcept
{
    StackBounds const stack = BoundsOfThisThread();
    std::size_t count = 0;
    while (count < room) {
        if (skip > 0)
            --skip;
        else
            frames[count++] = reinterpret_cast<void const*>(registers.Rip);
        if (!StepOut(registers, stack)) break;
    }
    return count;
}

} // namespace

__attribute__((noinline)) std::size_t CaptureStack(void const** frames, std::size_t room, std::size_t skip) noexcept
{
    KeepLastError const keep;
    CONTEXT registers;
    ::RtlCaptureContext(&registers);
    return Walk(registers, frames, room, skip + 1);
}

std::size_t CaptureStackOf(void const* contextRecord, void const** frames, std::size_t room) noexcept
{
    CONTEXT registers = *static_cast<CONTEXT const*>(contextRecord);
    return Walk(registers, frames, room, 0);
}

} // namespace xc::win32
