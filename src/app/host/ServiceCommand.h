// ServiceCommand.h - the command lines of a service.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xc::host {

/// What a command line asks of the service, and what is left for the work.
struct ServiceCommand {
    enum class Kind { None, Install, Remove, Run };

    Kind kind = Kind::None;
    std::vector<std::wstring> rest; ///< the program's name and all other arguments
};

/// Takes the service's options out of the arguments of a process. Of several the first counts.
ServiceCommand ReadServiceCommand(int argumentCount, wchar_t const* const* arguments);

/// An argument as it must stand in a command line, so that a process receives it to the letter.
std::wstring QuotedArgument(std::wstring_view argument);

/// A name that the manager takes: 1 to 256 units, no slash and no backslash, nothing that ends texts.
bool IsServiceName(std::wstring_view name) noexcept;

} // namespace xc::host
