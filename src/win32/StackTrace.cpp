// The return addresses of a thread's stack, from its registers at a moment.
//
// There are no frame pointers to follow in 64-bit code. Each function has a record of what its prologue has done to the
// stack, in a table of its module; the walk looks up the record of an address and undoes the prologue virtually, which
// gives the registers of the caller. A function without a record is a leaf: it has moved nothing, and its return
// address is on top of the stack. The walk only reads memory between the bounds of the thread's stack, and only as long
// as the stack pointer rises, so that registers of a crash lead to a short trace and never to a second crash. The system
// undoes a prologue without such a check, so the record's operations are first added up: where they lead beyond the
// stack, by a frame register that holds anything or by a size that no call has taken, the trace ends. It allocates
// nothing and takes no lock of ours. Cost: about a microsecond a frame. Invariant: every frame but the first is a return
// address, which points after the call.
#include "win32/StackTrace.h"

#include "win32/LastError.h"

#include <cstdint>

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

/// The form in which an image tells of a prologue; operations follow it, the prologue's last one first.
struct UnwindInfo {
    std::uint8_t versionAndFlags, prologueSize, codeCount, frameRegisterAndOffset;
    [[nodiscard]] bool IsChained() const noexcept { return (versionAndFlags >> 3 & UNW_FLAG_CHAININFO) != 0; }
    [[nodiscard]] unsigned FrameRegister() const noexcept { return frameRegisterAndOffset & 15u; }
    [[nodiscard]] unsigned FrameOffset() const noexcept { return (frameRegisterAndOffset >> 4) * 16u; }
};

struct UnwindCode {
    std::uint8_t prologueOffset, operationAndInfo;
    [[nodiscard]] unsigned Operation() const noexcept { return operationAndInfo & 15u; }
    [[nodiscard]] unsigned Info() const noexcept { return operationAndInfo >> 4; }
};

enum UnwindOperation : unsigned {
    PushRegister,
    AllocateLarge,
    AllocateSmall,
    SetFrameRegister,
    SaveRegister,
    SaveRegisterFar,
    Epilogue,
    Spare,
    SaveVector,
    SaveVectorFar,
    PushMachineFrame
};

/// The 16 or 32 bits after an operation, the upper ones in a third slot.
ULONG64 ShortOperand(UnwindCode const* code) noexcept
{
    return code[1].prologueOffset | static_cast<ULONG64>(code[1].operationAndInfo) << 8;
}
ULONG64 LongOperand(UnwindCode const* code) noexcept
{
    return ShortOperand(code) | ShortOperand(code + 1) << 16;
}

unsigned SlotsOf(UnwindCode const& code) noexcept
{
    switch (code.Operation()) {
    case AllocateLarge: return code.Info() == 0 ? 2 : 3;
    case SaveRegister:
    case Epilogue:
    case SaveVector: return 2;
    case SaveRegisterFar:
    case Spare:
    case SaveVectorFar: return 3;
    default: return 1;
    }
}

/// The highest address that the system reads when it undoes the prologues of a function and of those it is chained to.
class UnwindReach {
public:
    UnwindReach(CONTEXT const& registers, ULONG64 image, StackBounds const& stack) noexcept
        : m_registers(registers), m_image(image), m_stack(stack), m_top(registers.Rsp)
    {
    }

    [[nodiscard]] bool StaysInside(RUNTIME_FUNCTION const* function) noexcept
    {
        // A chain has two or three links; a limit ends one that damage has closed to a ring.
        for (int links = 0; links < 32; ++links) {
            if (function->UnwindData & 1) { // a record that only points to another one
                function = reinterpret_cast<RUNTIME_FUNCTION const*>(m_image + (function->UnwindData & ~1u));
                continue;
            }
            auto const* const info = reinterpret_cast<UnwindInfo const*>(m_image + function->UnwindData);
            auto const* const codes = reinterpret_cast<UnwindCode const*>(info + 1);
            ULONG64 const done = links == 0 ? m_registers.Rip - m_image - function->BeginAddress : ~0ull;
            if (!Undo(*info, codes, done)) return false;
            if (!info->IsChained()) return m_stack.Holds(m_top); // the return address
            function = reinterpret_cast<RUNTIME_FUNCTION const*>(codes + ((info->codeCount + 1u) & ~1u));
        }
        return false;
    }

private:
    /// The operations of one prologue, as far as @p done bytes of it have run.
    bool Undo(UnwindInfo const& info, UnwindCode const* codes, ULONG64 done) noexcept
    {
        ULONG64 const frame =
            info.FrameRegister() ? (&m_registers.Rax)[info.FrameRegister()] - info.FrameOffset() : m_top;
        for (unsigned i = 0; i < info.codeCount; i += SlotsOf(codes[i]))
            if (codes[i].prologueOffset <= done && !Undo(codes + i, frame)) return false;
        return true;
    }

    bool Undo(UnwindCode const* code, ULONG64 frame) noexcept
    {
        switch (code->Operation()) {
        case PushRegister: return MoveTo(m_top + 8);
        case AllocateLarge: return MoveTo(m_top + (code->Info() == 0 ? ShortOperand(code) * 8 : LongOperand(code)));
        case AllocateSmall: return MoveTo(m_top + code->Info() * 8 + 8);
        case SetFrameRegister: return frame % 8 == 0 && MoveTo(frame);
        case SaveRegister: return m_stack.Holds(frame + ShortOperand(code) * 8);
        case SaveRegisterFar: return m_stack.Holds(frame + LongOperand(code));
        case SaveVector: return m_stack.Holds(frame + ShortOperand(code) * 16 + 8);
        case SaveVectorFar: return m_stack.Holds(frame + LongOperand(code) + 8);
        case PushMachineFrame: return m_stack.Holds(m_top + 40);
        default: return true;
        }
    }

    bool MoveTo(ULONG64 top) noexcept
    {
        m_top = top;
        return m_stack.Holds(top);
    }

    CONTEXT const& m_registers;
    ULONG64 m_image;
    StackBounds const& m_stack;
    ULONG64 m_top;
};

/// One step from a function to its caller; false at the end of the stack, or when it makes no sense.
bool StepOut(CONTEXT& registers, StackBounds const& stack) noexcept
{
    ULONG64 const from = registers.Rsp;
    // After a jump through a bad pointer the registers may hold anything.
    if (!stack.Holds(from) || from % 8 != 0) return false;
    ULONG64 image = 0;
    if (PRUNTIME_FUNCTION const function = ::RtlLookupFunctionEntry(registers.Rip, &image, nullptr)) {
        if (!UnwindReach(registers, image, stack).StaysInside(function)) return false;
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

/// Registers that point into the stack point to the same place of its copy from now on, as the system needs it that
/// reads where they point. A number that only looks like such an address is no frame register, and so does no harm.
void MoveToCopy(CONTEXT& registers, StackCopy const& copy) noexcept
{
    ULONG64 const moved = reinterpret_cast<ULONG64>(copy.bytes) - copy.address;
    ULONG64* const first = &registers.Rax;
    for (unsigned i = 0; i < 16; ++i)
        if (first[i] - copy.address < copy.count) first[i] += moved;
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

std::size_t CaptureStackOf(void const* contextRecord, StackCopy const& copy, void const** frames,
                           std::size_t room) noexcept
{
    CONTEXT registers = *static_cast<CONTEXT const*>(contextRecord);
    auto const low = reinterpret_cast<ULONG64>(copy.bytes);
    StackBounds const bounds{low, low + copy.count};
    std::size_t count = 0;
    while (count < room) {
        frames[count++] = reinterpret_cast<void const*>(registers.Rip);
        MoveToCopy(registers, copy);
        if (copy.count < 8 || !StepOut(registers, bounds)) break;
    }
    return count;
}

} // namespace xc::win32
