// Tell.h - a line on the standard streams of the process, past every log.
#pragma once

#include <string_view>

namespace xc::log {

/// Writes the text and a line feed to the standard output; nothing when memory runs out.
void TellOutput(std::wstring_view text) noexcept;
/// The same to the standard error output.
void TellError(std::wstring_view text) noexcept;

} // namespace xc::log
