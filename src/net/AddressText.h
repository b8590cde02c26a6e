// AddressText.h - addresses of the Internet protocols in their text form.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace xc::net {

/// Where a text is no address; the position counts units from 0.
struct AddressFault {
    std::size_t at = 0;
    wchar_t const* expected = nullptr; ///< null: the text is an address
};

/// Reads an address of version 4 up to the end of the text.
AddressFault ReadV4(std::wstring_view text, std::uint8_t* bytes) noexcept;
/// Reads an address of version 6 with an optional scope up to the end of the text.
AddressFault ReadV6(std::wstring_view text, std::uint8_t* bytes, std::uint32_t& scope) noexcept;
/// Reads a decimal number without zeros before it, up to `most`, from `at` on; `at` is then past its digits.
bool ReadDecimal(std::wstring_view text, std::size_t& at, std::uint32_t most, std::uint32_t& value) noexcept;

std::wstring WriteDecimal(std::uint32_t value);
std::wstring WriteV4(std::uint8_t const* bytes);
/// In the canonical form of RFC 5952.
std::wstring WriteV6(std::uint8_t const* bytes, std::uint32_t scope);

} // namespace xc::net
