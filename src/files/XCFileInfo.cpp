// Facts about files, from the system's structures to the library's values.
//
// Instants stay counts of 100 ns, as file systems keep them: a walk over a million entries converts none of them, and
// a copy that sets times loses nothing. The calendar's view is cut to the millisecond, never rounded, so that it is
// never later than the instant itself.
#include <XelbrinCore/XCFileInfo.h>

#include <XelbrinCore/XCPath.h>

#include "datetime/Conversions.h"
#include "files/FileErrors.h"
#include "files/FileFacts.h"

#include <algorithm>

namespace xc::files {

namespace {

constexpr std::int64_t kTicksPerMs = 10'000;
constexpr std::int64_t kFirstMs = 11'644'473'600'000; // from 1601 to 1970

} // namespace

void FillInfo(win32::FileDetails const& details, XCFileInfo& info) noexcept
{
    info.attributes = details.attributes;
    // File systems give folders sizes of their own making, which no program should add up.
    info.size = info.IsFolder() ? 0 : details.size;
    info.created = XCFileTime(details.created);
    info.accessed = XCFileTime(details.accessed);
    info.written = XCFileTime(details.written);
    info.changed = XCFileTime(details.changed);
    info.links = details.links;
    info.reparseTag = details.reparseTag;
    info.identity.volume = details.volume;
    std::copy(std::begin(details.file), std::end(details.file), info.identity.file.begin());
}

} // namespace xc::files

XCFileTime::XCFileTime(XCDateTimeEx const& instant, unsigned int rest) noexcept
{
    XCTimeZone const utc = XCTimeZone::UTC();
    if (!instant.HasDate() || !instant.IsValid()) return;
    std::int64_t const ms = xc::datetime::ToEpochMs(instant.GetDate(utc), instant.GetTime(utc)) + xc::files::kFirstMs;
    // Dates before 1601 have no count: the instant stays unknown.
    if (ms >= 0) m_ticks = ms * xc::files::kTicksPerMs + rest;
}

XCDateTimeEx XCFileTime::GetDateTime() const noexcept
{
    XCDateEx date;
    XCTimeEx time;
    bool const known =
        IsKnown() && xc::datetime::SplitEpochMs(m_ticks / xc::files::kTicksPerMs - xc::files::kFirstMs, date, time);
    return known && date.GetYear() <= 9999 ? XCDateTimeEx(date, time, XCTimeZone::UTC()) : XCDateTimeEx();
}

XCErrorID XCFileInfo::Get(XCPath const& path, XCFileInfo& info, bool followLinks)
{
    xc::win32::SystemPath const system(path.View());
    xc::win32::FileDetails details;
    unsigned long const error = xc::win32::GetDetails(system, followLinks, details);
    if (error == 0) xc::files::FillInfo(details, info);
    return xc::files::FileError(XCErrFileFailed, system, error);
}

XCErrorID XCPath::SameFile(XCPath const& other, bool& same) const
{
    XCFileInfo own, others;
    same = false;
    if (XCErrorID const fault = XCFileInfo::Get(*this, own); fault.Bad()) return fault;
    if (XCErrorID const fault = XCFileInfo::Get(other, others); fault.Bad()) return fault;
    // Unknown identities are all alike, and prove nothing.
    same = own.identity.IsKnown() && own.identity == others.identity;
    return XCErrorID::Success;
}
