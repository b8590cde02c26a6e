// StackTrace.h - return addresses of a thread's calls, and their names.
#pragma once

#include <cstddef>
#include <string>

namespace xc::win32 {

/// Fills `frames` with return addresses of the calling thread, the innermost first; returns their number.
/// Allocates nothing. @param skip innermost frames to leave out; this function's own is never there.
std::size_t CaptureStack(void const** frames, std::size_t room, std::size_t skip) noexcept;

/// The same from the registers of a CONTEXT structure of the calling thread; the first address is its instruction.
std::size_t CaptureStackOf(void const* contextRecord, void const** frames, std::size_t room) noexcept;

/// Names one address: "module!function+0x1c [file:line]", as much of it as can be had; empty when the address is in no
/// module. @param isReturn the address follows a call: the line is that of the call.
std::wstring DescribeAddress(void const* address, bool isReturn);

} // namespace xc::win32
