// Cron lines as crontab(5) of the usual daemons has them. One pass from left to right without a look back; each field
// becomes a set of bits, so that lists, ranges and steps cost nothing later. The first fault ends the reading: its
// position and the thing expected there make the error. Numbers stop growing at 1000, which no field allows.
//
// Kept as the daemons have it: a field that begins with a star counts as one, whatever follows ("*/2"), which later
// decides how the two kinds of days combine; a step after a single value runs to the end of the range; 7 is Sunday as 0
// is. Names of months and weekdays go without regard to case and only as their three letters.
//
// INVARIANT No reader moves past the first fault: each tests `expected` before it goes on, and Expect keeps the first
// text, so that position and text belong together.
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

/// Names are letters of English whatever the locale; the case tables of the system are not needed for them.
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
    // Ends at the "@" at the latest.
    while (IsBlank(m_line[end - 1])) --end;
    for (Nickname const& nickname : kNicknames)
        if (IsSame(m_line.substr(position, end - position), nickname.name)) {
            // The line of fields that it stands for is read in its place, by the rules of all others.
            m_line = nickname.line;
            position = 0;
            return false;
        }
    Expect(L"@hourly, @daily, @weekly, @monthly or @yearly");
    return true;
}

void CronLine::ReadField(Field field) noexcept
{
    // Noted before the items are read: a later item of the list changes nothing of it.
    star[field] = position < m_line.size() && m_line[position] == L'*';
    do ReadItem(field);
    while (!expected && Skip(L','));
    if (!expected && position < m_line.size() && !IsBlank(m_line[position])) Expect(L"a blank");
}

/// "*", "a" or "a-b", and a step.
void CronLine::ReadItem(Field field) noexcept
{
    // A star means each weekday once: 7 is left out of it, though it may be written.
    Range const& range = kRanges[field];
    unsigned int first = range.first, last = range.last == 7 ? 6 : range.last, step = 1;
    bool const all = Skip(L'*');
    if (!all) {
        first = last = ReadValue(field);
        if (!expected && Skip(L'-')) {
            // A fault is told where the wrong value begins, not where its reading ended.
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
    // After a fault `first` or `step` may be out of range, or 0, which would never end.
    for (unsigned int value = first; !expected && value <= last; value += step)
        fields[field] |= std::uint64_t{1} << value;
}

unsigned int CronLine::ReadValue(Field field) noexcept
{
    Range const& range = kRanges[field];
    std::size_t const at = position;
    // Names come first, since no number begins with a letter. Where none fits, the number's own fault is told.
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
