// ModuleThreads.h - the threads of the process that stand in a module, whoever has started them.
#pragma once

#include <cstddef>

namespace xc::win32 {

/// A module and what was found in it.
struct ModuleThread {
    void* module;             ///< the system's handle
    unsigned long thread = 0; ///< a thread that has begun in the module or will return to it; 0: none was found
};

/// Looks for such threads, the calling one left out, in at most 64 modules at a time. Needs no memory. Cost: for each
/// thread some system calls and one pass over the part of its stack that is in use.
void FindThreadsIn(ModuleThread* modules, std::size_t count) noexcept;

} // namespace xc::win32
