// FunctionName.h - names of functions as a linker knows them, made readable.
#pragma once

#include <string>
#include <string_view>

namespace xc::win32 {

/// The declaration that a mangled name stands for; the name itself when it is not mangled.
std::string Demangled(char const* name);

/// The name of a function alone, as its source has it: without result, parameters and what it lies in.
/// "int ns::Box<int>::Get<char>(char) const" gives "Get<char>".
std::string_view ShortFunctionName(std::string_view declaration) noexcept;

} // namespace xc::win32
