// LocaleFacts.h - how a locale writes numbers, lists and dates, as the system tells it.
#pragma once

#include <optional>
#include <string>

namespace xc::win32 {

struct LocaleFacts {
    std::wstring name;
    std::wstring decimal;
    std::wstring thousands;
    std::wstring grouping; ///< "3;0": sizes from the right, 0 repeats the last one
    std::wstring list;
    std::wstring shortDate; ///< a picture such as "dd.MM.yyyy"
};

/// The locale as the system ships it, without what the user has changed; nothing for a name it does not know.
std::optional<LocaleFacts> ReadLocale(std::wstring const& name);
/// The locale of the user, with what the user has changed.
std::optional<LocaleFacts> ReadUserLocale();
/// The user's language as three letters, "ENU"; empty when the system does not tell.
std::wstring ReadUserLanguage();

} // namespace xc::win32
