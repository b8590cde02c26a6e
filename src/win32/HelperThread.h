// HelperThread.h - threads of the library's own beside the registered ones: watchers and writers.
#pragma once

#include "win32/UniqueHandle.h"

namespace xc::win32 {

/// Starts a thread and returns when it has begun. Empty: it could not be started (GetLastError).
/// @param id receives its number; may be null.
UniqueKernelObject StartHelperThread(unsigned int(__stdcall* body)(void*), void* share,
                                     unsigned int* id = nullptr) noexcept;

} // namespace xc::win32
