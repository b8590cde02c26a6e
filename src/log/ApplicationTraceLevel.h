// ApplicationTraceLevel.h - the trace level of the process's application, as far as logging must know it.
#pragma once

namespace xc::log {

/// 0 silent, 1 normal (also while there is no application), 2 maximum. Set by the application; any thread.
unsigned int ApplicationTraceLevel() noexcept;
void SetApplicationTraceLevel(unsigned int level) noexcept;

} // namespace xc::log
