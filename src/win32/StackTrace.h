// StackTrace.h - return addresses of a thread's calls, and their names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace xc::win32 {

/// Fills `frames` with return addresses of the calling thread, the innermost first; returns their number.
/// Allocates nothing. @param skip innermost frames to leave out; this function's own is never there.
std::size_t CaptureStack(void const** frames, std::size_t room, std::size_t skip) noexcept;

/// The same from the registers of a CONTEXT structure of the calling thread; the first address is its instruction.
std::size_t CaptureStackOf(void const* contextRecord, void const** frames, std::size_t room) noexcept;

/// A stack as it was at one moment. Its bytes stand elsewhere meanwhile.
struct StackCopy {
    unsigned char const* bytes = nullptr;
    std::size_t count = 0;
    std::uint64_t address = 0; ///< of the first byte, in the stack itself; a multiple of eight
};

/// The same of another thread, from its registers and its stack of one moment: the thread goes on meanwhile. Reads
/// nothing of the stack itself, and code that was there at the moment must still be loaded.
std::size_t CaptureStackOf(void const* contextRecord, StackCopy const& copy, void const** frames,
                           std::size_t room) noexcept;

/// Names one address: "module!function+0x1c [file:line]", as much of it as can be had; empty when the address is in no
/// module. @param isReturn the address follows a call: the line is that of the call.
std::wstring DescribeAddress(void const* address, bool isReturn);

/// The same without the loader of the system and without debug symbols, from the image alone: for a process in which a
/// module hangs while it is loaded.
std::wstring DescribeWithoutLoader(void const* address, bool isReturn);

/// Whether the loader of the system answers: false when others have held its lock for this long.
bool IsLoaderFree(unsigned int patienceMs) noexcept;

} // namespace xc::win32
