// LibraryModule.h - the library's own image, for those who read its resources.
#pragma once

/// Placed by the linker at the start of the image; its address is the handle of the module that the code stands in.
extern "C" char __ImageBase; // NOLINT(bugprone-reserved-identifier): the linker's name

namespace xc::win32 {

inline constexpr void* kLibraryModule = &__ImageBase;

} // namespace xc::win32
