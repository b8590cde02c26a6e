// MessageConversions.h - whether two texts of one message take the same parameters.
#pragma once

#include <XelbrinCore/XCString.h>

#include <string_view>

namespace xc::encoding {

/// Whether the conversions of both spellings are the same bytes, so that nothing needs to be decoded. False is no
/// verdict.
bool SpellSameConversions(std::string_view a, std::string_view b) noexcept;

/// Whether a translation pulls the values that its original pulls, in type and order, and has its numbered inserts.
/// Otherwise `reason` says what differs.
bool TakeSameParameters(XCString const& original, XCString const& translation, XCString& reason);

} // namespace xc::encoding
