// SystemWords.h - the operating system's words for its error numbers, fit for the middle of a sentence.
#pragma once

#include <XelbrinCore/XCString.h>

#include <string_view>

namespace xc::errors {

/// The system's text of an error number in the user's language, on one line, without line end and final stop. The text
/// of some numbers has a place for a name ("%1 is not a valid application"): `name` stands there. Never empty: a number
/// without a text is "unknown error".
XCString SystemWords(unsigned long error, std::wstring_view name);

/// A failed operation on a file or object that has a path. The path is named once: "PATH: WORDS (system error N)", or
/// the words alone where they name the path themselves.
XCString SystemFailure(std::wstring_view path, unsigned long error);

} // namespace xc::errors
