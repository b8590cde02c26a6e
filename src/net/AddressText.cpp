// Reading and writing addresses.
//
// Two programs that read one text as two addresses are a hole: a filter lets pass the address that the connection does
// not use. So the reader takes only forms with one meaning. A field of version 4 is decimal, without zeros before it
// (they mean octal to some readers), and there are four of them. Version 6 follows RFC 4291: groups of one to four
// hexadecimal digits, "::" once for at least one group of zeros, and a tail of version 4 in the place of the last two
// groups. A scope is a number: names of interfaces mean nothing on another machine.
//
// The groups before and after "::" are collected in one array; at the end the second part moves to the back and zeros
// fill the gap. One pass, no allocation. Writing follows RFC 5952: lower case, no zeros before a group, "::" for the
// longest run of at least two zero groups, the first one of equal runs, and a version 4 tail for mapped addresses.
#include "net/AddressText.h"

#include "net/AddressBits.h"
#include "text/HexText.h"
#include "text/NumberText.h"

#include <algorithm>
#include <bit>

namespace xc::net {

namespace {

constexpr std::size_t kGroups = 8;

int HexValue(wchar_t unit) noexcept
{
    if (IsDigit(unit)) return unit - L'0';
    if (unit >= L'a' && unit <= L'f') return unit - L'a' + 10;
    return unit >= L'A' && unit <= L'F' ? unit - L'A' + 10 : -1;
}

wchar_t UnitAt(std::wstring_view text, std::size_t at) noexcept
{
    return at < text.size() ? text[at] : L'\0';
}

/// The groups read so far. Those after the gap follow the others directly until all are known.
struct Groups {
    std::array<std::uint16_t, kGroups> value{};
    std::size_t count = 0;
    std::size_t gap = kGroups + 1; // where "::" stood; beyond all: nowhere
    [[nodiscard]] bool HasGap() const noexcept { return gap <= kGroups; }
    [[nodiscard]] bool IsFull() const noexcept { return count == kGroups; }
};

/// Whether the piece up to the next colon is a tail of version 4.
bool HasDot(std::wstring_view text, std::size_t at) noexcept
{
    return text.substr(at, text.find(L':', at) - at).find(L'.') != std::wstring_view::npos;
}

/// A tail of version 4 fills the place of two groups and ends the address.
AddressFault ReadTail(std::wstring_view text, std::size_t& at, Groups& groups) noexcept
{
    std::array<std::uint8_t, 4> tail{};
    if (groups.count + 2 > kGroups) return {at, L"the end, since eight groups have been read"};
    AddressFault fault = ReadV4(text.substr(at), tail.data());
    if (fault.expected) return {at + fault.at, fault.expected};
    groups.value[groups.count++] = static_cast<std::uint16_t>(tail[0] << 8 | tail[1]);
    groups.value[groups.count++] = static_cast<std::uint16_t>(tail[2] << 8 | tail[3]);
    at = text.size();
    return {};
}

/// One to four digits. A fifth is read as well, so that the fault stands where the group should have ended.
AddressFault ReadGroup(std::wstring_view text, std::size_t& at, Groups& groups) noexcept
{
    std::size_t const start = at;
    unsigned int value = 0;
    while (at < text.size() && at - start < 5 && HexValue(text[at]) >= 0)
        value = value << 4 | static_cast<unsigned int>(HexValue(text[at++]));
    if (at == start) return {at, L"a group of hexadecimal digits"};
    if (at - start > 4) return {start + 4, L"the end of a group, which has at most four digits"};
    groups.value[groups.count++] = static_cast<std::uint16_t>(value);
    return {};
}

/// What may follow a group: a colon and a group, "::", or the end. @return whether to go on.
bool ReadSeparator(std::wstring_view text, std::size_t& at, Groups& groups, AddressFault& fault) noexcept
{
    if (at == text.size()) return false;
    if (text[at] != L':') {
        fault = {at, L"a colon"};
        return false;
    }
    bool const isGap = UnitAt(text, at + 1) == L':';
    if (isGap && groups.HasGap())
        fault = {at + 1, L"a group, since \"::\" stands only once"};
    else if (groups.IsFull())
        fault = {at, L"the end, since eight groups have been read"};
    if (fault.expected) return false;
    if (isGap) groups.gap = groups.count;
    at += isGap ? 2 : 1;
    // A single colon wants a group; "::" may end the address.
    return !isGap || at < text.size();
}

AddressFault ReadGroups(std::wstring_view text, Groups& groups) noexcept
{
    AddressFault fault;
    std::size_t at = 0;
    if (text.starts_with(L"::")) {
        groups.gap = 0;
        at = 2;
        if (at == text.size()) return {};
    }
    do {
        if (groups.IsFull()) return {at, L"the end, since eight groups have been read"};
        fault = HasDot(text, at) ? ReadTail(text, at, groups) : ReadGroup(text, at, groups);
    } while (!fault.expected && ReadSeparator(text, at, groups, fault));
    if (fault.expected) return fault;
    if (groups.HasGap() ? groups.IsFull() : !groups.IsFull())
        return {text.size(), groups.HasGap() ? L"fewer groups, since \"::\" stands for one at least" : L"eight groups"};
    return {};
}

/// The longest run of at least two zero groups; length 0: none.
struct ZeroRun {
    std::size_t start = kGroups, length = 0;
};

ZeroRun LongestZeros(std::array<std::uint16_t, kGroups> const& groups) noexcept
{
    ZeroRun best;
    for (std::size_t start = 0; start < kGroups;) {
        std::size_t end = start;
        while (end < kGroups && groups[end] == 0) ++end;
        if (end - start > std::max<std::size_t>(best.length, 1)) best = {start, end - start};
        start = std::max(end, start + 1);
    }
    return best;
}

} // namespace

bool ReadDecimal(std::wstring_view text, std::size_t& at, std::uint32_t most, std::uint32_t& value) noexcept
{
    std::uint64_t number = 0;
    std::size_t const start = at;
    for (; at < text.size() && IsDigit(text[at]) && number <= most; ++at)
        number = number * 10 + static_cast<unsigned int>(text[at] - L'0');
    bool const zeroBefore = at - start > 1 && text[start] == L'0';
    if (at == start || zeroBefore || number > most) return false;
    value = static_cast<std::uint32_t>(number);
    return true;
}

AddressFault ReadV4(std::wstring_view text, std::uint8_t* bytes) noexcept
{
    std::size_t at = 0;
    for (int field = 0; field < 4; ++field) {
        if (field > 0 && UnitAt(text, at) != L'.') return {at, L"a dot"};
        if (field > 0) ++at;
        std::uint32_t value = 0;
        std::size_t const start = at;
        if (!ReadDecimal(text, at, 255, value))
            return {start, L"a decimal number from 0 to 255 without zeros before it"};
        bytes[field] = static_cast<std::uint8_t>(value);
    }
    if (at < text.size()) return {at, L"the end"};
    return {};
}

AddressFault ReadV6(std::wstring_view text, std::uint8_t* bytes, std::uint32_t& scope) noexcept
{
    std::size_t const percent = std::min(text.find(L'%'), text.size());
    Groups groups;
    if (AddressFault const fault = ReadGroups(text.substr(0, percent), groups); fault.expected) return fault;
    std::size_t at = percent + 1;
    scope = 0;
    if (percent < text.size() && (!ReadDecimal(text, at, UINT32_MAX, scope) || at < text.size() || scope == 0))
        return {percent + 1, L"the number of a scope"};
    // The groups after the gap move to the end; what they leave is zero, since nothing else was written there.
    std::size_t const after = groups.HasGap() ? groups.count - groups.gap : 0;
    std::rotate(groups.value.begin() + static_cast<std::ptrdiff_t>(groups.count - after),
                groups.value.begin() + static_cast<std::ptrdiff_t>(groups.count), groups.value.end());
    for (std::size_t i = 0; i < kGroups; ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(groups.value[i] >> 8);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(groups.value[i]);
    }
    return {};
}

/// The standard's function asks the C library, whose wide units have four bytes where this core is tested natively.
std::wstring WriteDecimal(std::uint32_t value)
{
    return std::wstring(text::Digits(value).View());
}

std::wstring WriteV4(std::uint8_t const* bytes)
{
    std::wstring out = WriteDecimal(bytes[0]);
    for (int i = 1; i < 4; ++i) out += L'.' + WriteDecimal(bytes[i]);
    return out;
}

std::wstring WriteV6(std::uint8_t const* bytes, std::uint32_t scope)
{
    std::array<std::uint16_t, kGroups> groups{};
    for (std::size_t i = 0; i < kGroups; ++i)
        groups[i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    bool const mapped = IsMappedV4(bytes);
    ZeroRun const zeros = LongestZeros(groups);
    std::wstring out;
    for (std::size_t i = 0; i < (mapped ? kGroups - 2 : kGroups); ++i) {
        if (i == zeros.start) out += L"::";
        if (i >= zeros.start && i < zeros.start + zeros.length) continue;
        if (!out.empty() && out.back() != L':') out += L':';
        // Without zeros before it; zero itself has one digit.
        int const digits = (static_cast<int>(std::bit_width(groups[i] | 1u)) + 3) / 4;
        text::AppendHex(out, groups[i], digits, text::kLowerHex);
    }
    if (mapped) out += L':' + WriteV4(bytes + 12);
    if (scope != 0) out += L'%' + WriteDecimal(scope);
    return out;
}

} // namespace xc::net
