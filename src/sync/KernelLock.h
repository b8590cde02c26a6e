// KernelLock.h - what the locks over kernel objects share: creation, waits and releases that throw when they fail.
#pragma once

#include <XelbrinCore/XCString.h>

namespace xc::sync {

/// A new mutex or manual-reset event; unnamed when the name is empty. The caller owns the handle.
void* NewMutex(XCString const& name, bool owned);
void* NewEvent(XCString const& name, bool posted);
void Close(void* handle) noexcept;

/// The wait's result; a failed wait throws.
unsigned int WaitFor(void* handle, unsigned int timeout);
/// Takes an inner mutex without limit. One that its owner abandoned is taken all the same: what it guards is a single
/// number, whole at any moment.
void TakeMutex(void* mutex);
/// Throws when the caller is not the owner.
void GiveMutex(void* mutex);

} // namespace xc::sync
