// ThreadEnd.h - what tells one thread from every other, and a call when it ends.
#pragma once

#include <cstdint>

namespace xc::win32 {

/// A number that no other thread of the process has, had or will have; never 0. The system's identifiers are given to
/// later threads again.
std::uint64_t ThreadSerial() noexcept;

/// Has a function called by each thread that has asked for its number, when it ends by returning or ExitThread: without
/// the loader's lock, and not while the process ends. One function; it must not throw.
void CallAtThreadEnd(void (*function)(std::uint64_t serial)) noexcept;

} // namespace xc::win32
