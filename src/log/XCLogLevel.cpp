// Names of levels. The names are in the order of their levels, so that a name's level is its place less one; what lies
// outside belongs to the first and the last name. Reading allocates nothing: levels are read while programs start and
// end.
#include <XelbrinCore/XCLogLevel.h>

#include "text/Names.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace {

constexpr std::wstring_view kLevelNames[] = {L"error", L"warning", L"info", L"debug", L"trace"};
constexpr int kMostUnits = 11; // of a number

/// False when the text is no whole number of 32 bits.
bool ReadNumber(std::wstring_view text, int& number) noexcept
{
    char digits[kMostUnits];
    if (text.size() > kMostUnits) return false;
    // Units that are no ASCII become a character that no number holds.
    char* const end = std::ranges::transform(text, digits, [](wchar_t unit) {
                          return unit < 0x80 ? static_cast<char>(unit) : '?';
                      }).out;
    std::from_chars_result const read = std::from_chars(digits, end, number);
    return read.ec == std::errc() && read.ptr == end;
}

} // namespace

std::wstring_view XCLogLevelName(int level) noexcept
{
    return kLevelNames[std::clamp<int>(level, XCLogError, XCLogTrace) - XCLogError];
}

bool XCLogLevelFromText(std::wstring_view text, int& level) noexcept
{
    auto const is = [text](std::wstring_view name) { return xc::text::IsSameNameFolded(text, name); };
    auto const name = std::ranges::find_if(kLevelNames, is);
    int read = static_cast<int>(name - std::begin(kLevelNames)) + XCLogError;
    if (name == std::end(kLevelNames)) {
        if (is(L"off"))
            read = XCLogNothing;
        else if (is(L"all"))
            read = XCLogEverything;
        else if (!ReadNumber(text, read))
            return false;
    }
    level = read;
    return true;
}
