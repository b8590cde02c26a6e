// Options of a service and the command line that its manager keeps.
//
// The runtime splits a command line by rules of its own: quotes group, and backslashes count only before a quote, where
// two of them are one and an odd one makes the quote a letter. So each run of backslashes before a quote, or before the
// closing one, is doubled, and a quote gets one more. An unquoted path with blanks would let the system start another
// program whose name is its beginning: the program is always quoted.
#include "app/host/ServiceCommand.h"

#include <algorithm>

namespace xc::host {

namespace {

constexpr wchar_t AsciiLower(wchar_t unit) noexcept
{
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

bool IsOption(std::wstring_view argument, std::wstring_view name) noexcept
{
    if (argument.empty() || (argument[0] != L'/' && argument[0] != L'-')) return false;
    return std::ranges::equal(argument.substr(1), name, {}, AsciiLower);
}

ServiceCommand::Kind KindOf(std::wstring_view argument) noexcept
{
    if (IsOption(argument, L"installservice")) return ServiceCommand::Kind::Install;
    if (IsOption(argument, L"removeservice")) return ServiceCommand::Kind::Remove;
    return IsOption(argument, L"service") ? ServiceCommand::Kind::Run : ServiceCommand::Kind::None;
}

} // namespace

ServiceCommand ReadServiceCommand(int argumentCount, wchar_t const* const* arguments)
{
    ServiceCommand command;
    for (int i = 0; i < argumentCount; ++i) {
        std::wstring_view const argument = arguments[i] ? arguments[i] : L"";
        auto const kind = i == 0 ? ServiceCommand::Kind::None : KindOf(argument);
        if (kind == ServiceCommand::Kind::None)
            command.rest.emplace_back(argument);
        else if (command.kind == ServiceCommand::Kind::None)
            command.kind = kind;
    }
    return command;
}

std::wstring QuotedArgument(std::wstring_view argument)
{
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0; // since the last other unit
    for (wchar_t const unit : argument) {
        if (unit == L'"') quoted.append(backslashes + 1, L'\\');
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        quoted += unit;
    }
    return quoted.append(backslashes, L'\\') + L'"';
}

bool IsServiceName(std::wstring_view name) noexcept
{
    constexpr std::size_t kMost = 256;
    return !name.empty() && name.size() <= kMost && name.find_first_of(std::wstring_view(L"/\\\0", 3)) == name.npos;
}

} // namespace xc::host
