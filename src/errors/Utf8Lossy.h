// Utf8Lossy.h - text for places that must get one, whatever it holds: what() and the error log.
#pragma once

#include <string>
#include <string_view>

namespace xc::errors {

/// UTF-8; an unpaired surrogate becomes U+FFFD.
std::string Utf8Lossy(std::wstring_view text);

} // namespace xc::errors
