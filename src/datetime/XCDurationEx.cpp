// Durations: conversion between units by a fixed table, arithmetic in the smaller unit, text.
//
// The table holds a factor for each pair of units; -1 says that the other direction's factor divides, 0 that the pair
// cannot be converted. Factors between calendar units are approximations that do not agree with each other (a year is
// 52 weeks and 365 days), so As and ConvertTo never go by way of a third unit: they take one step of the table.
//
// INVARIANT Arithmetic is done in 64 bits and stored through one checked operation: the count -2147483648 never
//           appears, and a result that does not fit throws before anything changes.
#include <XelbrinCore/XCDateTime.h>

#include <XelbrinCore/XCException.h>

#include "datetime/Conversions.h"
#include "datetime/DateText.h"
#include "text/Units.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

constinit XCDurationEx const XCDurationEx::invalid_{XCDurationEx::InvalidUnit, std::int32_t{0}};

namespace xc::datetime {

namespace {

using Unit = XCDurationEx::Unit;

constexpr std::int64_t kMaxCount = 2147483647;

// [from][to]: a factor; -1: divide by [to][from]; 0: the pair cannot be converted, its factor has no room in 32 bits.
constexpr std::int32_t kFactors[8][8] = {
    {1, 12, 52, 365, 8760, 525600, 31536000, 0},
    {-1, 1, 4, 30, 720, 43200, 2592000, 0},
    {-1, -1, 1, 7, 168, 10080, 604800, 604800000},
    {-1, -1, -1, 1, 24, 1440, 86400, 86400000},
    {-1, -1, -1, -1, 1, 60, 3600, 3600000},
    {-1, -1, -1, -1, -1, 1, 60, 60000},
    {-1, -1, -1, -1, -1, -1, 1, 1000},
    {-1, -1, -1, -1, -1, -1, -1, 1},
};

struct UnitName {
    std::wstring_view longName, shortName;
};
constexpr UnitName kUnitNames[8] = {
    {L"year", L"y"}, {L"month", L"mo"}, {L"week", L"w"},   {L"day", L"d"},
    {L"hour", L"h"}, {L"minute", L"m"}, {L"second", L"s"}, {L"millisecond", L"ms"},
};

/// The factor between two units; 0 when they cannot be converted: no unit, or a pair whose way back is 0 as well.
std::int32_t Factor(Unit from, Unit to) noexcept
{
    if (from >= XCDurationEx::InvalidUnit || to >= XCDurationEx::InvalidUnit) return 0;
    std::int32_t const factor = kFactors[from][to];
    return factor < 0 && kFactors[to][from] == 0 ? 0 : factor;
}

/// A count in a smaller unit, every pair included; held at the limits of 64 bits.
std::int64_t Widened(std::int64_t count, Unit from, Unit to) noexcept
{
    // Only for comparing: the two pairs without a factor go by way of seconds, which is exact for milliseconds.
    std::int32_t const known = kFactors[from][to];
    std::int64_t const factor = known != 0 ? known : std::int64_t{1000} * kFactors[from][XCDurationEx::Second];
    std::int64_t const most = INT64_MAX / factor;
    if (count < -most || count > most) return count < 0 ? INT64_MIN : INT64_MAX;
    return count * factor;
}

[[noreturn]] void ThrowCount(std::int64_t count, Unit unit)
{
    // The count that cannot be is kept as the nearest one; the lowest stands for all that are too low.
    std::int64_t const kept = std::clamp<std::int64_t>(count, INT32_MIN, INT32_MAX);
    auto const bits = static_cast<std::int64_t>((static_cast<std::uint64_t>(kept) << 32) | unit);
    throw XCDurationExceptionEx(XCString(L"A count does not fit into a duration"), std::bit_cast<XCDurationEx>(bits));
}

/// The unit of a name: blanks are dropped, and an "s" at the end of more than two units.
Unit UnitOf(std::wstring_view text, Unit ifBlank) noexcept
{
    // No name contains blanks, so that dropping them accepts "m s"; a fixed buffer keeps the call free of allocation.
    std::array<wchar_t, 16> name{}; // longer than any name with its plural
    std::size_t length = 0;
    for (wchar_t const unit : text) {
        if (unit == L' ') continue;
        if (length == name.size()) return XCDurationEx::InvalidUnit;
        name[length++] = unit;
    }
    if (length == 0) return ifBlank;
    // The two-letter limit protects "ms", whose last letter is no plural.
    if (length > 2 && name[length - 1] == L's') --length;
    std::wstring_view const wanted(name.data(), length);
    for (std::uint32_t i = 0; i < 8; ++i)
        if (wanted == kUnitNames[i].longName || wanted == kUnitNames[i].shortName) return static_cast<Unit>(i);
    return XCDurationEx::InvalidUnit;
}

} // namespace

XCDurationEx CheckedDuration(std::int64_t count, Unit unit)
{
    if (count < -kMaxCount || count > kMaxCount) ThrowCount(count, unit);
    return XCDurationEx(static_cast<long>(count), unit);
}

} // namespace xc::datetime

using namespace xc::datetime;

void XCDurationEx::Store(std::int64_t count, Unit unit)
{
    if (count < -kMaxCount || count > kMaxCount) ThrowCount(count, unit);
    // One value for all that are no unit: two invalid durations compare equal however they came to be.
    m_unit = unit < InvalidUnit ? unit : InvalidUnit;
    m_count = static_cast<std::int32_t>(count);
}

XCDurationEx::XCDurationEx(long count, XCString const& unitName)
{
    Store(count, UnitOf(unitName.View(), InvalidUnit));
}

void XCDurationEx::SetDuration(long count)
{
    Store(count, m_unit);
}

void XCDurationEx::SetDuration(long count, Unit unit)
{
    Store(count, unit);
}

std::int64_t XCDurationEx::AsInt64() const noexcept
{
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(m_count) << 32) | m_unit);
}

void XCDurationEx::FromInt64(std::int64_t value)
{
    Store(value >> 32, static_cast<Unit>(value & 0xFFFFFFFF));
}

long XCDurationEx::AsXCDuration() const
{
    // The old type counts seconds; calendar units go by their approximate factors.
    XCDurationEx const seconds = As(Second);
    return seconds.IsValid() ? seconds.GetDuration() : 0;
}

std::int64_t XCDurationEx::AsMilliSeconds() const noexcept
{
    return IsValid() ? Widened(m_count, m_unit, Millisecond) : 0;
}

XCDurationEx XCDurationEx::As(Unit unit) const
{
    if (Factor(m_unit, unit) == 0) return invalid_;
    XCDurationEx result = *this;
    result.ConvertTo(unit);
    return result;
}

bool XCDurationEx::ConvertTo(Unit target, bool truncate)
{
    if (target == m_unit) return true;
    if (target >= InvalidUnit || m_count == 0) {
        m_count = 0;
        SetUnit(target);
        return true;
    }
    std::int32_t const factor = Factor(m_unit, target);
    if (factor > 0) {
        Store(std::int64_t{m_count} * factor, target);
        return true;
    }
    if (factor < 0) {
        std::int32_t const divisor = kFactors[target][m_unit];
        // Rounded up only above zero: division has already cut negative counts towards zero.
        bool const goesUp = !truncate && m_count % divisor > 0;
        m_count = m_count / divisor + (goesUp ? 1 : 0);
    }
    m_unit = target;
    return factor != 0;
}

XCDurationEx& XCDurationEx::Normalize() noexcept
{
    // What a unit climbs by; calendar units do not, except months to years.
    constexpr std::int32_t kClimb[8] = {0, 12, 0, 7, 24, 60, 60, 1000};
    // Twelve months are a year exactly, and nothing else about the calendar is exact.
    bool const months = m_unit == Month;
    while (IsValid() && m_count != 0 && (m_unit > Week || months)) {
        std::int32_t const step = kClimb[m_unit];
        if (step == 0 || m_count % step != 0) break;
        m_count /= step;
        m_unit = static_cast<Unit>(m_unit - 1);
    }
    return *this;
}

std::weak_ordering XCDurationEx::Order(XCDurationEx const& other) const noexcept
{
    // Invalid ones order below all valid ones, so that a sort of mixed values is well defined.
    if (!IsValid() || !other.IsValid()) {
        if (IsValid() != other.IsValid()) return IsValid() <=> other.IsValid();
        return m_count <=> other.m_count;
    }
    Unit const smaller = std::max(m_unit, other.m_unit);
    return Widened(m_count, m_unit, smaller) <=> Widened(other.m_count, other.m_unit, smaller);
}

bool XCDurationEx::IsEquivalent(XCDurationEx const& other) const noexcept
{
    return Order(other) == 0;
}

XCDurationEx& XCDurationEx::Add(XCDurationEx const& other, int sign)
{
    Unit const smaller = std::max(m_unit, other.m_unit);
    // A count of 0 is 0 in any unit, so that its pair never matters.
    std::int64_t const mine = m_count == 0 ? 1 : Factor(m_unit, smaller);
    std::int64_t const theirs = other.m_count == 0 ? 1 : Factor(other.m_unit, smaller);
    if (mine == 0 || theirs == 0)
        throw XCDurationExceptionEx(XCString(L"Durations of these units cannot be added"), other);
    // No overflow on the way: a count of 31 bits times a factor of 31 bits, and two of those, fit in 64.
    Store(m_count * mine + sign * (other.m_count * theirs), smaller);
    return *this;
}

XCDurationEx& XCDurationEx::operator+=(XCDurationEx const& other)
{
    return Add(other, 1);
}

XCDurationEx& XCDurationEx::operator-=(XCDurationEx const& other)
{
    return Add(other, -1);
}

XCDurationEx& XCDurationEx::operator*=(int factor)
{
    Store(std::int64_t{m_count} * factor, m_unit);
    return *this;
}

XCDurationEx& XCDurationEx::operator/=(int divisor)
{
    if (divisor == 0) throw XCDurationExceptionEx(XCString(L"A duration cannot be divided by 0"), *this);
    std::int64_t count = m_count;
    std::uint32_t unit = m_unit;
    // A quotient of zero would lose the whole value: the unit is refined until something is left.
    for (; count != 0 && count / divisor == 0 && unit < Millisecond; ++unit) count *= kFactors[unit][unit + 1];
    Store(count / divisor, static_cast<Unit>(unit));
    return *this;
}

XCDurationEx XCDurationEx::operator-() const noexcept
{
    // Cannot overflow: the one count without a counterpart never appears (see the head of this file).
    return XCDurationEx(m_unit, -m_count);
}

XCDurationEx& XCDurationEx::StepBy(int step)
{
    Store(std::int64_t{m_count} + step, m_unit);
    return *this;
}

XCDurationEx XCDurationEx::operator++(int)
{
    XCDurationEx const before = *this;
    StepBy(1);
    return before;
}

XCDurationEx XCDurationEx::operator--(int)
{
    XCDurationEx const before = *this;
    StepBy(-1);
    return before;
}

std::size_t XCDurationEx::AsString(wchar_t* buffer, std::size_t capacity, bool longForm) const noexcept
{
    TextOut out(buffer, capacity);
    if (IsValid()) out.Number(m_count);
    if (IsValid() && m_count != 0) {
        if (longForm) {
            out.Unit(L' ');
            out.Text(kUnitNames[m_unit].longName);
            if (m_count <= -2 || m_count >= 2) out.Unit(L's');
        } else {
            out.Text(kUnitNames[m_unit].shortName);
        }
    }
    return out.Finish();
}

void XCDurationEx::AsString(XCString& text, bool longForm) const
{
    wchar_t buffer[32]; // a sign, ten digits, a blank, eleven letters, "s"
    text.Assign(buffer, AsString(buffer, 32, longForm));
}

XCString XCDurationEx::AsString(bool longForm) const
{
    XCString text;
    AsString(text, longForm);
    return text;
}

bool XCDurationEx::FromString(XCString const& text, Unit defaultUnit)
{
    wchar_t const* place = text.AsWChar();
    // Number and name are read for themselves: whatever stands between them that belongs to neither is skipped.
    while (xc::text::IsSpace(*place)) ++place;
    ReadNumber const number = ReadInteger(place, NumberSigns::Both);
    std::size_t const nameAt = text.FindFirstNotOf(L"-+0123456789 ");
    std::wstring_view const name = nameAt == XCString::npos ? std::wstring_view() : text.View().substr(nameAt);
    Store(number.value, UnitOf(name, defaultUnit));
    return number.anyDigit && IsValid();
}
