// Due instants from wall times.
//
// Between two changes of its offset a zone's wall time and UTC run in parallel, so the search works on such stretches:
// the first wall time that the schedule means inside the stretch, moved by its offset. At the borders the policies come
// in. A stretch that begins with clocks set forward begins at a jump: when the schedule means a wall time that was left
// out, the jump itself is due. One that begins with clocks set back shows again what the stretch before has shown; the
// policies cut those wall times off its beginning (first), off the end of the stretch before (last), or nowhere (both).
//
// The stretches are those of the zone's table of years; their borders need not be changes. A year has at most three.
#include <XelbrinCore/XCSchedule.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/Zone.h"
#include "work/Instants.h"

#include <algorithm>

using namespace xc::datetime;
using xc::work::DateTimeOf;
using xc::work::InstantOf;

namespace {

/// How far a search goes without finding a due time: cron lines may name days that never come.
constexpr std::int64_t kHorizonMs = 41 * 366 * kDayMs;

} // namespace

XCScheduleI::~XCScheduleI() = default;
XCScheduleBase::~XCScheduleBase() = default;

void XCScheduleBase::SetBounds(XCDateTimeEx const& from, XCDateTimeEx const& until) noexcept
{
    m_from = InstantOf(from, INT64_MIN);
    m_until = InstantOf(until, INT64_MAX);
}

void XCScheduleBase::Exclude(XCDateEx const& date)
{
    if (!date.IsValid()) return;
    std::int64_t const day = FloorDiv(ToEpochMs(date, XCTimeEx()), kDayMs);
    // Sorted and without doubles: each due time asks, while days are excluded once.
    auto const place = std::lower_bound(m_excluded.begin(), m_excluded.end(), day);
    if (place == m_excluded.end() || *place != day) m_excluded.insert(place, day);
}

bool XCScheduleBase::IsExcluded(std::int64_t day) const noexcept
{
    return std::binary_search(m_excluded.begin(), m_excluded.end(), day);
}

XCDateTimeEx XCScheduleBase::GetNext(XCDateTimeEx const& after, XCTimeZone const& zone) const
{
    std::int64_t const start = InstantOf(after, kNone);
    if (IsEmpty() || start == kNone) return {};
    // "After" is strict, and instants are whole milliseconds.
    std::int64_t const found = NextInstant(std::max(start + 1, m_from), zone);
    return found == kNone || found > m_until ? XCDateTimeEx() : DateTimeOf(found);
}

/// NextWall, excluded days left out.
std::int64_t XCScheduleBase::NextIncluded(std::int64_t wallMs) const
{
    for (;;) {
        std::int64_t const found = NextWall(wallMs);
        if (found == kNone) return kNone;
        std::int64_t const day = FloorDiv(found, kDayMs);
        if (!IsExcluded(day)) return found;
        // On to the next midnight at once: a rhythm of seconds would otherwise be stepped through for a day.
        wallMs = (day + 1) * kDayMs;
    }
}

std::int64_t XCScheduleBase::NextInstant(std::int64_t utcMs, XCTimeZone const& zone) const
{
    for (std::int64_t from = utcMs; from < utcMs + kHorizonMs;) {
        ZoneStretch const stretch = StretchAt(zone, from);
        std::int64_t const offset = stretch.offset, back = stretch.before - offset,
                           ahead = stretch.offset - stretch.after;
        std::int64_t begin = from + offset; // wall times of this stretch: begin <= w < end
        std::int64_t end = stretch.end == kNone ? kNone : stretch.end + offset;
        if (from == stretch.start && back < 0 && m_skipped == XCSkippedTime::AtJump &&
            NextIncluded(stretch.start + stretch.before) < begin)
            return from;
        if (back > 0 && m_repeated == XCRepeatedTime::First) begin = std::max(begin, stretch.start + stretch.before);
        if (ahead > 0 && end != kNone && m_repeated == XCRepeatedTime::Last) end -= ahead;
        std::int64_t const found = begin < end ? NextIncluded(begin) : kNone;
        if (found < end) return found - offset;
        if (stretch.end == kNone) return kNone;
        // Nothing lies between: on to the next one, two days early for the offsets of its zone.
        std::int64_t const near = found != kNone ? found : NextIncluded(stretch.end + offset - kDayMs);
        if (near == kNone) return kNone;
        from = std::max(stretch.end, near - offset - 2 * kDayMs);
    }
    return kNone;
}
