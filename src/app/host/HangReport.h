// HangReport.h - reports on calls that do not return, and on the process as a whole, to the log and the error log.
#pragma once

#include "errors/RunningCalls.h"

#include <cstdint>
#include <vector>

namespace xc::host {

/// The calls into modules that have been under way for at least this long, the innermost of each thread.
/// @param room notes that were made before; as many calls are looked at.
std::vector<errors::CallNote> LateCalls(std::vector<errors::CallNote>& room, std::uint64_t ageMs);

/// An error line for a call that has not answered, with its plug-in, age and thread, and the stack of the thread; one
/// record of the error log. Without memory it is dropped.
void ReportLate(errors::CallNote const& note) noexcept;

/// An error line that the process is ended from outside after a time, and one for each call into a module that is under
/// way; one record of the error log. No stacks: there is no time for them. Without memory it is dropped.
void NameLate(wchar_t const* cause, unsigned int milliseconds) noexcept;

/// All threads, to the log and as one record to the error log. Without memory it is dropped.
void ReportAll() noexcept;

} // namespace xc::host
