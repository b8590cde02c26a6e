// Values of a configuration by type.
//
// A value counts as a number, truth value or duration only when its whole text is one; else the default is the answer
// and `ok` tells it. So a typing error never changes what a program does without being visible. The units of a duration
// are factors of milliseconds, and the product is checked before it is made.
#include <XelbrinCore/XCConfigFile.h>

#include "text/Names.h"

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace {

bool IsAnyOf(std::wstring_view text, std::initializer_list<std::wstring_view> words)
{
    for (std::wstring_view const word : words)
        if (xc::text::IsSameNameFolded(text, word)) return true;
    return false;
}

/// Gives `value` when it was there, else the default.
template <class Value>
Value Answer(bool found, Value value, Value defaultValue, bool* ok)
{
    if (ok) *ok = found;
    return found ? value : defaultValue;
}

/// The milliseconds of a unit; 0 when there is no such unit.
std::int64_t UnitOf(std::wstring_view name)
{
    struct Unit {
        std::wstring_view name;
        std::int64_t milliseconds;
    };
    constexpr Unit kUnits[] = {{L"", 1000},      {L"ms", 1},        {L"s", 1000},
                               {L"min", 60'000}, {L"h", 3'600'000}, {L"d", 86'400'000}};
    for (Unit const& unit : kUnits)
        if (xc::text::IsSameNameFolded(name, unit.name)) return unit.milliseconds;
    return 0;
}

/// False when the text is no duration, or one beyond 64 bits of milliseconds.
bool ReadDuration(std::wstring_view text, std::chrono::milliseconds& duration)
{
    std::size_t const digits = std::min(text.find_first_not_of(L"0123456789", text.starts_with(L'-')), text.size());
    std::wstring_view unit = text.substr(digits);
    while (unit.starts_with(L' ')) unit.remove_prefix(1);
    bool ok = false;
    std::int64_t const count = XCString(text.substr(0, digits)).AsInt64(&ok);
    std::int64_t const factor = UnitOf(unit);
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    if (!ok || factor == 0 || count > kMost / factor || count < -kMost / factor) return false;
    duration = std::chrono::milliseconds(count * factor);
    return true;
}

} // namespace

bool XCConfigI::GetBool(std::wstring_view section, std::wstring_view key, bool defaultValue, bool* ok) const
{
    XCString const value = GetString(section, key, {});
    bool const isTrue = IsAnyOf(value, {L"true", L"yes", L"on", L"1"});
    return Answer(isTrue || IsAnyOf(value, {L"false", L"no", L"off", L"0"}), isTrue, defaultValue, ok);
}

std::int64_t XCConfigI::GetInt64(std::wstring_view section, std::wstring_view key, std::int64_t defaultValue,
                                 bool* ok) const
{
    bool isNumber = false;
    std::int64_t const value = GetString(section, key, {}).AsInt64(&isNumber);
    return Answer(isNumber, value, defaultValue, ok);
}

double XCConfigI::GetDouble(std::wstring_view section, std::wstring_view key, double defaultValue, bool* ok) const
{
    bool isNumber = false;
    double const value = GetString(section, key, {}).AsDouble(&isNumber);
    return Answer(isNumber, value, defaultValue, ok);
}

std::chrono::milliseconds XCConfigI::GetDuration(std::wstring_view section, std::wstring_view key,
                                                 std::chrono::milliseconds defaultValue, bool* ok) const
{
    std::chrono::milliseconds value{};
    bool const isDuration = ReadDuration(GetString(section, key, {}), value);
    return Answer(isDuration, value, defaultValue, ok);
}
