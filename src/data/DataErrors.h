// DataErrors.h - the errors of reading and writing bytes.
#pragma once

#include <XelbrinCore/XCError.h>

#include "errors/CoreError.h"

#include <cstdint>

namespace xc::data {

/// A position or size as the parameter of an error, which has no number of 64 bits.
inline XCString NumberParameter(std::uint64_t number)
{
    return XCString().Format(L"%I64u", number);
}

template <class... Numbers>
XCErrorID DataError(XCCoreError code, Numbers... numbers)
{
    return errors::MakeCoreError(code, NumberParameter(numbers)...);
}

} // namespace xc::data
