// Computes what a zone's clocks are ahead of UTC, from the rules that the system's zone data lists for each year.
//
// A rule names a month and "the second Sunday" or "the last Sunday" (5), or a date of one year. Each change is told by
// the clocks before it, so the change to daylight time is shifted by the standard offset and the way back by the
// daylight one. A year then is three stretches of instants; the years 1900 to 2199 are computed when the zone is read,
// so that an offset is a look-up and two comparisons. On the southern hemisphere the year begins in daylight time.
//
// An instant near New Year may belong to the year before or after by the zone's clocks, whose rules may differ: the
// start of each year, in UTC, decides. A wall time is read with the offsets a day before and a day after it: where
// they agree there is no change near; where they differ, the wall time reads with one of them, both, or neither.
//
// COST      Some nanoseconds from 1900 to 2199, some dozen outside.
// INVARIANT firstChange <= secondChange; a change that never comes is INT64_MAX.
#include "datetime/Zone.h"

#include "datetime/Calendar.h"

#include <algorithm>
#include <utility>

namespace xc::datetime {

namespace {

constexpr std::int64_t kNever = INT64_MAX;

/// The day of a month that a rule means: a date of its own year, or the first to fourth, or last, such weekday.
std::uint32_t DayOfRule(win32::ZoneChange const& rule, std::int64_t year) noexcept
{
    // Day 5 means the last such weekday, which in a short month is the fourth: hence the step back.
    if (rule.year != 0) return rule.day;
    std::uint32_t const firstWeekDay = WeekDayOf(DayNumber(year, rule.month, 1));
    std::uint32_t const first = 1 + (rule.weekDay + 7 - firstWeekDay) % 7;
    std::uint32_t const day = first + 7 * (std::clamp<std::uint32_t>(rule.day, 1, 5) - 1);
    return day > MonthLength(year, rule.month) ? day - 7 : day;
}

/// The wall time of a change by the clocks before it; never, when the rule is for another year.
std::int64_t WallOfRule(win32::ZoneChange const& rule, std::int64_t year) noexcept
{
    if (rule.year != 0 && rule.year != year) return kNever;
    return EpochMs(year, rule.month, DayOfRule(rule, year), rule.timeMs);
}

bool IsRule(win32::ZoneChange const& rule) noexcept
{
    return rule.month >= 1 && rule.month <= 12;
}

// Years outside the list take the rules of its nearest end: nobody knows the future ones, and the past ones are not in
// the data.
win32::ZoneRules const& RulesOf(win32::ZoneData const& data, std::int64_t year) noexcept
{
    if (data.years.empty()) return data.rules;
    std::int64_t const index = year - data.firstYear;
    std::int64_t const last = static_cast<std::int64_t>(data.years.size()) - 1;
    return data.years[static_cast<std::size_t>(std::clamp<std::int64_t>(index, 0, last))];
}

// Two names for UTC itself. Other zones may show the same offset, but their texts carry their names.
bool IsPlainUTC(win32::ZoneData const& data) noexcept
{
    return data.name == L"UTC" || data.name == L"Etc/UTC";
}

} // namespace

ZoneRecord::ZoneRecord(win32::ZoneData data) : m_data(std::move(data)), m_isUTC(IsPlainUTC(m_data))
{
    m_years.reserve(kYears);
    for (std::int64_t year = kFirstYear; year < kFirstYear + kYears; ++year) m_years.push_back(Compute(year));
}

ZoneYear ZoneRecord::Compute(std::int64_t year) const noexcept
{
    win32::ZoneRules const& rules = RulesOf(m_data, year);
    std::int64_t const newYear = EpochMs(year, 1, 1, 0);
    ZoneOffset const standard{-(rules.bias + rules.standardBias), false};
    // Zones without daylight time name no month; half a rule is treated as none.
    if (m_isUTC || !IsRule(rules.toStandard) || !IsRule(rules.toDaylight)) {
        ZoneOffset const fixed{m_isUTC ? 0 : -rules.bias, false};
        return {newYear - fixed.Ms(), kNever, kNever, {fixed, fixed, fixed}};
    }
    ZoneOffset const daylight{-(rules.bias + rules.daylightBias), true};
    std::int64_t const toStandard = WallOfRule(rules.toStandard, year);
    std::int64_t const toDaylight = WallOfRule(rules.toDaylight, year);
    // A change is told by the clocks before it.
    std::int64_t const standardAt = toStandard == kNever ? kNever : toStandard - daylight.Ms();
    std::int64_t const daylightAt = toDaylight == kNever ? kNever : toDaylight - standard.Ms();
    if (toDaylight <= toStandard)
        return {newYear - standard.Ms(), daylightAt, standardAt, {standard, daylight, standard}};
    return {newYear - daylight.Ms(), standardAt, daylightAt, {daylight, standard, daylight}};
}

ZoneYear const& ZoneRecord::Year(std::int64_t year, ZoneYear& computed) const noexcept
{
    std::int64_t const index = year - kFirstYear;
    if (index >= 0 && index < kYears) return m_years[static_cast<std::size_t>(index)];
    return computed = Compute(year);
}

ZoneOffset ZoneRecord::OffsetAt(std::int64_t utcMs, std::int64_t year) const noexcept
{
    ZoneYear computed, computedNext;
    ZoneYear const& here = Year(year, computed);
    if (utcMs < here.start) return Year(year - 1, computedNext).At(utcMs);
    // Far from New Year the next year's table is not asked for: one comparison saves the second look-up in nearly all
    // calls.
    constexpr std::int64_t kFarFromItsEnd = 360 * kDayMs;
    if (utcMs - here.start < kFarFromItsEnd) return here.At(utcMs);
    ZoneYear const& next = Year(year + 1, computedNext);
    return utcMs < next.start ? here.At(utcMs) : next.At(utcMs);
}

std::pair<std::int64_t, std::int64_t> ZoneRecord::BordersAt(std::int64_t utcMs, std::int64_t year) const noexcept
{
    std::int64_t start = INT64_MIN, end = INT64_MAX;
    // The stretch around an instant may begin in the year before and end in the year after, as on the southern
    // hemisphere.
    for (std::int64_t near = year - 1; near <= year + 1; ++near) {
        ZoneYear computed;
        ZoneYear const& table = Year(near, computed);
        for (std::int64_t const border : {table.start, table.firstChange, table.secondChange}) {
            if (border <= utcMs) start = std::max(start, border);
            if (border > utcMs) end = std::min(end, border);
        }
    }
    return {start, end};
}

namespace {

std::int64_t YearOf(std::int64_t epochMs) noexcept
{
    return CivilOf(kEpochDay + FloorDiv(epochMs, kDayMs)).year;
}

} // namespace

ZoneOffset OffsetAt(XCTimeZone const& zone, std::int64_t utcMs) noexcept
{
    ZoneRecord const* const record = RecordUnlessUTC(zone);
    return record ? record->OffsetAt(utcMs, YearOf(utcMs)) : ZoneOffset();
}

ZoneStretch StretchAt(XCTimeZone const& zone, std::int64_t utcMs) noexcept
{
    ZoneRecord const* const record = RecordUnlessUTC(zone);
    if (!record) return {INT64_MIN, INT64_MAX, 0, 0, 0};
    auto const [start, end] = record->BordersAt(utcMs, YearOf(utcMs));
    auto const offset = [&](std::int64_t at) { return record->OffsetAt(at, YearOf(at)).Ms(); };
    return {start, end, offset(start - 1), offset(utcMs), offset(end)};
}

WallOffset OffsetOfWall(ZoneRecord const& zone, std::int64_t wallMs, std::int64_t year) noexcept
{
    // No two changes are nearer than a day, and no offset is as large: these two stand before and after a change.
    ZoneOffset const before = zone.OffsetAt(wallMs - kDayMs, year);
    ZoneOffset const after = zone.OffsetAt(wallMs + kDayMs, year);
    if (before == after) return {before, XCTimeZone::LocalKind::Unique};
    bool const readsBefore = zone.OffsetAt(wallMs - before.Ms(), year) == before;
    bool const readsAfter = zone.OffsetAt(wallMs - after.Ms(), year) == after;
    // Of two equal wall times the first is meant, of a skipped one the time that the old offset gives.
    if (readsBefore && readsAfter && before.minutes != after.minutes) return {before, XCTimeZone::LocalKind::Ambiguous};
    if (readsBefore) return {before, XCTimeZone::LocalKind::Unique};
    if (readsAfter) return {after, XCTimeZone::LocalKind::Unique};
    return {before, XCTimeZone::LocalKind::Skipped};
}

WallOffset OffsetOfWall(XCTimeZone const& zone, std::int64_t wallMs) noexcept
{
    ZoneRecord const* const record = RecordUnlessUTC(zone);
    return record ? OffsetOfWall(*record, wallMs, YearOf(wallMs)) : WallOffset();
}

} // namespace xc::datetime
