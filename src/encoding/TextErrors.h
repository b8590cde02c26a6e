// TextErrors.h - the errors that reading and writing encoded text can give.
#pragma once

#include <cstddef>

class XCErrorID;

namespace xc::encoding {

/// A place as a parameter of an error, which holds 32 bits: one beyond them is told as the last that fits.
long PositionParameter(std::size_t position) noexcept;
/// Bytes that are no text in their encoding, from `position` on.
XCErrorID MalformedText(std::size_t position);
/// A unit (or the first of a surrogate pair) that the encoding cannot hold.
XCErrorID UnmappableUnit(wchar_t unit, std::size_t position);
XCErrorID UnknownCodePage(unsigned int codePage);
XCErrorID NoConverter();

} // namespace xc::encoding
