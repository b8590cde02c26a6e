// HostName.h - what a name says about itself, before anybody is asked.
#pragma once

#include <string_view>

namespace xc::net {

/// "localhost", "x.localhost", in any case, with or without a dot at the end.
bool IsLocalName(std::wstring_view name) noexcept;
/// Whether the last part is a number, decimal or hexadecimal, so that old readers take the name for an address.
bool LooksLikeAddress(std::wstring_view name) noexcept;

} // namespace xc::net
