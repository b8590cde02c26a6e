// Cron lines as crontab(5) of the usual daemons has them. One pass from left to right without a look back; each field
// becomes a set of bits, so that lists, ranges and steps cost nothing later. The first fault ends the reading: its
// position and the thing expected there make the error. Numbers stop growing at 1000, which no field allows.
#include "work/CronLine.h"

#include <algorithm>

namespace xc::work {

namespace {

struct Range {
    unsigned int first, last;
    std::wstring_view names; // three letters each, from the first value on
};
constexpr Range kRanges[] = {{0, 59, L""},
                             {0, 23, L""},
                             {1, 31, L""},
                             {1, 12, L"janfebmaraprmayjunjulaugsepoctnovdec"},
                             {0, 7, L"sunmontuewedthufrisat"}};

struct Nickname {
    std::wstring_view name, line;
};
constexpr Nickname kNicknames[] = {
    {L"@hourly", L"0 * * * *"},  {L"@daily", L"0 0 * * *"},  {L"@midnight", L"0 0 * * *"}, {L"@weekly", L"0 0 * * 0"},
    {L"@monthly", L"0 0 1 * *"}, {L"@yearly", L"0 0 1 1 *"}, {L"@annually", L"0 0 1 1 *"}};

constexpr wchar_t Lower(wchar_t unit) noexcept
{
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + 32) : unit;
}

bool IsDigit(wchar_t unit) noexcept
{
    return unit >= L'0' && unit <= L'9';
}

bool IsBlank(wchar_t unit) noexcept
{
    return unit == L' ' || unit == L'\t';
}

bool IsSame(std::wstring_view a, std::wstring_view b) noexcept
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](wchar_t x, wchar_t y) { return Lower(x) == Lower(y); });
}

} // namespace

CronLine::CronLine(std::wstring_view line) noexcept : m_line(line)
{
    SkipBlanks();
    if (!ReadNickname()) ReadFields();
}

void CronLine::ReadFields() noexcept
{
    for (unsigned int field = 0; field < kFields && !expected; ++field) {
        SkipBlanks();
        ReadField(static_cast<Field>(field));
    }
    if (expected) return;
    SkipBlanks();
    if (position < m_line.size()) Expect(L"the end of the line");
}

bool CronLine::ReadNickname() noexcept
{
    if (position == m_line.size() || m_line[position] != L'@') return false;
    std::size_t end = m_line.size();
    while (IsBlank(m_line[end - 1])) --end;
    for (Nickname const& nickname : kNicknames)
        if (IsSame(m_line.substr(position, end - position), nickname.name)) {
            m_line = nickname.line;
            position = 0;
            return false;
        }
    Expect(L"@hourly, @daily, @weekly, @monthly or @yearly");
    return true;
}

void CronLine::ReadField(Field field) noexcept
{
    star[field] = position < m_line.size() && m_line[position] == L'*';
    do ReadItem(field);
    while (!expected && Skip(L','));
    if (!expected && position < m_line.size() && !IsBlank(m_line[position])) Expect(L"a blank");
}

/// "*", "a" or "a-b", and a step.
void CronLine::ReadItem(Field field) noexcept
{
    Range const& range = kRanges[field];
    unsigned int first = range.first, last = range.last == 7 ? 6 : range.last, step = 1;
    bool const all = Skip(L'*');
    if (!all) {
        first = last = ReadValue(field);
        if (!expected && Skip(L'-')) {
            std::size_t const at = position;
            last = ReadValue(field);
            if (last < first && !expected) position = at, Expect(L"a value not below the first one");
        } else if (position < m_line.size() && m_line[position] == L'/')
            last = range.last; // "a/n": from a on
    }
    if (!expected && Skip(L'/')) {
        std::size_t const at = position;
        step = ReadNumber();
        if (step == 0 && !expected) position = at, Expect(L"a step above 0");
    }
    for (unsigned int value = first; !expected && value <= last; value += step)
        fields[field] |= std::uint64_t{1} << value;
}

unsigned int CronLine::ReadValue(Field field) noexcept
{
    Range const& range = kRanges[field];
    std::size_t const at = position;
    for (std::size_t i = 0; i < range.names.size(); i += 3)
        if (IsSame(m_line.substr(position, 3), range.names.substr(i, 3))) {
            position += 3;
            return range.first + static_cast<unsigned int>(i / 3);
        }
    unsigned int const value = ReadNumber();
    if (!expected && (value < range.first || value > range.last)) position = at, Expect(L"a value in range");
    return value;
}

/// Held at 1000, which no field allows.
unsigned int CronLine::ReadNumber() noexcept
{
    if (position == m_line.size() || !IsDigit(m_line[position])) Expect(L"a number");
    unsigned int number = 0;
    for (; position < m_line.size() && IsDigit(m_line[position]) && !expected; ++position)
        number = std::min(number * 10 + static_cast<unsigned int>(m_line[position] - L'0'), 1000u);
    return number;
}

void CronLine::SkipBlanks() noexcept
{
    while (position < m_line.size() && IsBlank(m_line[position])) ++position;
}

bool CronLine::Skip(wchar_t unit) noexcept
{
    if (position == m_line.size() || m_line[position] != unit) return false;
    ++position;
    return true;
}

void CronLine::Expect(wchar_t const* what) noexcept
{
    if (!expected) expected = what;
}

} // namespace xc::work
