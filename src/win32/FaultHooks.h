// FaultHooks.h - the places of the system and the runtime where a fault that ends the process is told.
#pragma once

#include "win32/SystemPath.h"

#include <cstdint>

namespace xc::win32 {

/// A fault, on the thread where it happened.
struct Fault {
    enum class Kind { Unhandled, Terminate, Abort, InvalidParameter, PureCall };
    Kind kind;
    void* pointers = nullptr;      ///< the system's EXCEPTION_POINTERS; null but for Unhandled
    void const* context = nullptr; ///< the registers; null but for Unhandled
    unsigned long code = 0;        ///< of the structured exception
    bool isAccess = false;         ///< of memory, at
    std::uintptr_t target = 0;
    bool isWrite = false;
};

/// Who is told, in this order: a mark costs microseconds, a record may take a minute.
enum class FaultUse { Mark, Record };
/// Has a function called for every fault, then who stood there before. One function a use; a second call has no effect.
/// One thread at a time installs and removes.
void InstallFaultHooks(FaultUse use, void (*function)(Fault const&) noexcept) noexcept;
void RemoveFaultHooks(FaultUse use) noexcept;

/// A minidump of the process with the stacks of its threads, for a debugger. @param pointers of the fault; null: none.
/// @return 0, or the number of the system's error.
unsigned long WriteMinidump(SystemPath const& path, unsigned long thread, void* pointers) noexcept;
/// Loads what WriteMinidump needs.
void PrepareMinidump() noexcept;

} // namespace xc::win32
