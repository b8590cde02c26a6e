// OptionNames.h - the nearest of some names to one that was mistyped.
#pragma once

#include <XelbrinCore/XCString.h>

#include <string_view>
#include <vector>

namespace xc::commandline {

/// How many units must be inserted, removed, replaced or swapped with their neighbour to turn one text into the other.
std::size_t TypingDistance(std::wstring_view a, std::wstring_view b);

/// The nearest name, when it is near enough to be meant: at most a third of its units are wrong. Empty otherwise.
XCString NearestName(std::wstring_view typed, std::vector<XCString> const& names);

} // namespace xc::commandline
