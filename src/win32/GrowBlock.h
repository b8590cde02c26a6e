// GrowBlock.h - blocks of memory made longer where they stand.
#pragma once

#include <cstddef>

namespace xc::win32 {

/// Makes a block of ::operator new longer without moving it. False, and nothing has changed: what follows is in use.
[[nodiscard]] bool GrowInPlace(void* block, std::size_t size) noexcept;

} // namespace xc::win32
