// TextErrors.h - the errors that reading and writing encoded text can give.
#pragma once

#include <cstddef>

class XCErrorID;

namespace xc::encoding {

/// Bytes that are no text in their encoding, from `position` on.
XCErrorID MalformedText(std::size_t position);
/// A unit (or the first of a surrogate pair) that the encoding cannot hold.
XCErrorID UnmappableUnit(wchar_t unit, std::size_t position);
XCErrorID UnknownCodePage(unsigned int codePage);
XCErrorID NoConverter();

} // namespace xc::encoding
