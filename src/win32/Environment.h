// Environment.h - the variables of the process as a whole.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace xc::win32 {

/// The variables whose names begin with the prefix, which matches without regard to case: name as spelled, and value.
std::vector<std::pair<std::wstring, std::wstring>> ReadEnvironmentWith(std::wstring_view prefix);

} // namespace xc::win32
