// The return addresses of a thread's stack, from its registers at a moment.
//
// There are no frame pointers to follow in 64-bit code. Each function has a record of what its prologue has done to the
// stack, in a table of its module; the walk looks up the record of an address and undoes the prologue virtually, which
// gives the registers of the caller. A function without a record is a leaf: it has moved nothing, and its return
// address is on top of the stack. The walk only reads memory between the bounds of the thread's stack, and only as long
// as the stack pointer rises, so that registers of a crash lead to a short trace and never to a second crash. It
// allocates nothing and takes no lock of ours. Cost: about a microsecond a frame. Invariant: every frame but the first
// is a return address, which points after the call.
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
    // After a jump through a bad pointer the registers may hold anything.
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
    // One more for this function, which is never inlined.
    return Walk(registers, frames, room, skip + 1);
}

std::size_t CaptureStackOf(void const* contextRecord, void const** frames, std::size_t room) noexcept
{
    CONTEXT registers = *static_cast<CONTEXT const*>(contextRecord);
    return Walk(registers, frames, room, 0);
}

} // namespace xc::win32
