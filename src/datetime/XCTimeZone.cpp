// Zones as values: one word that is null for UTC, a mark for "local", or the address of a record.
//
// A zone is copied with every date that is shown, so it has to be a plain word. The records behind the addresses are
// therefore never freed; their number is bounded by that of the zones of the system, because a zone that is read again
// gives the record that it had before. The local zone is looked up at its first use, without a lock, and again on
// request; a program may also replace it. Until the system can be read, or when memory is out, local time is UTC.
#include <XelbrinCore/XCTimeZone.h>

#include <XelbrinCore/XCDateTime.h>

#include "datetime/Conversions.h"
#include "datetime/Zone.h"
#include "text/Names.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace xc::datetime {

namespace {

/// The records handed out so far. They live as long as the process, because zones are copied as plain words.
struct ZoneBook {
    std::mutex lock;
    std::vector<std::unique_ptr<ZoneRecord const>> records;
};

ZoneBook& Book()
{
    static ZoneBook* const book = new ZoneBook; // never destroyed: zones are asked for until the very end
    return *book;
}

constinit std::atomic<ZoneRecord const*> localRecord{nullptr};
constinit std::atomic<bool> localReplaced{false};

ZoneRecord const* Keep(ZoneBook& book, win32::ZoneData data)
{
    book.records.push_back(std::make_unique<ZoneRecord const>(std::move(data)));
    return book.records.back().get();
}

/// The record of a name that is kept already, or read now; null when the system has no such zone.
ZoneRecord const* FindByName(std::wstring_view name)
{
    ZoneBook& book = Book();
    std::lock_guard const guard(book.lock);
    for (auto const& record : book.records)
        // A record with the rules of one moment alone does not stand for the zone of that name.
        if (record->Data().isWhole && text::IsSameNameFolded(record->Data().name, name)) return record.get();
    // The system's own spelling of the name is the one that is read and kept: a name in other letter case would
    // otherwise make a record of its own, and two dates in one zone would not compare as being in the same.
    for (std::wstring const& known : win32::ReadZoneNames())
        if (text::IsSameNameFolded(known, name))
            if (auto data = win32::ReadZone(known)) return Keep(book, *std::move(data));
    return nullptr;
}

/// The record of the system's zone. Equal zones share one, so that reading again costs no memory.
/// The system is asked before the lock is taken: it reads the registry, and no other thread should wait for that.
ZoneRecord const* ReadLocal()
{
    win32::ZoneData data = win32::ReadLocalZone();
    ZoneBook& book = Book();
    std::lock_guard const guard(book.lock);
    for (auto const& record : book.records)
        if (record->Data() == data) return record.get();
    return Keep(book, std::move(data));
}

ZoneRecord const* LocalRecord() noexcept
{
    if (ZoneRecord const* const known = localRecord.load(std::memory_order_acquire)) return known;
    try {
        ZoneRecord const* expected = nullptr;
        ZoneRecord const* const found = ReadLocal();
        // Another thread may have been first, or have set a zone of its own.
        return localRecord.compare_exchange_strong(expected, found) ? found : expected;
    } catch (...) {
        return nullptr; // no memory: UTC, until a later question succeeds
    }
}

ZoneRecord const* UTCRecord()
{
    // A record of its own stands for UTC only where null cannot: in the word for the local zone null means "not looked
    // up".
    static ZoneRecord const* const record = [] {
        win32::ZoneData utc;
        utc.name = utc.standardName = utc.daylightName = L"UTC";
        return new ZoneRecord(std::move(utc));
    }();
    return record;
}

XCString NameOf(XCTimeZone const& zone, std::wstring win32::ZoneData::*name)
{
    ZoneRecord const* const record = RecordOf(zone);
    return XCString(record ? std::wstring_view(record->Data().*name) : std::wstring_view(L"UTC"));
}

} // namespace

bool IsLocalZoneReplaced() noexcept
{
    return localReplaced.load(std::memory_order_relaxed);
}

} // namespace xc::datetime

using namespace xc::datetime;

XCTimeZone XCTimeZone::FromName(XCString const& name, bool* found)
{
    bool const utc = xc::text::IsSameNameFolded(L"UTC", name.View());
    ZoneRecord const* const record = utc ? nullptr : FindByName(name.View());
    if (found) *found = utc || record;
    return record ? XCTimeZone(reinterpret_cast<std::uintptr_t>(record)) : XCTimeZone();
}

std::vector<XCString> XCTimeZone::GetNames()
{
    std::vector<XCString> names{XCString(L"UTC")};
    for (std::wstring const& name : xc::win32::ReadZoneNames())
        if (name != L"UTC") names.emplace_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

// "Local" as the new local zone would refer to itself.
void XCTimeZone::SetLocal(XCTimeZone const& zone)
{
    if (zone.m_zone == kLocal) return;
    ZoneRecord const* const record = RecordOf(zone);
    // Released after the record is whole; the reader's acquire makes its fields visible without a lock.
    localRecord.store(record ? record : UTCRecord(), std::memory_order_release);
    localReplaced.store(true, std::memory_order_relaxed);
}

void XCTimeZone::RefreshLocal()
{
    localRecord.store(ReadLocal(), std::memory_order_release);
    localReplaced.store(false, std::memory_order_relaxed);
}

ZoneRecord const* XCTimeZone::Resolve() const noexcept
{
    // Looked up at each use, so that dates that say "local" follow a zone that is set or refreshed later.
    return m_zone == kLocal ? LocalRecord() : reinterpret_cast<ZoneRecord const*>(m_zone);
}

bool XCTimeZone::IsUTCRecord() const noexcept
{
    ZoneRecord const* const record = RecordOf(*this);
    // A zone of the system without an offset and without rules is UTC too, whatever its name.
    return !record || record->IsUTC();
}

bool XCTimeZone::IsSame(XCTimeZone const& other) const noexcept
{
    // Cheapest first: equal words, then equal records, then the two ways to say UTC.
    return m_zone == other.m_zone || RecordOf(*this) == RecordOf(other) || (IsUTC() && other.IsUTC());
}

XCString XCTimeZone::GetName() const
{
    return NameOf(*this, &xc::win32::ZoneData::name);
}

XCString XCTimeZone::GetStandardName() const
{
    return NameOf(*this, &xc::win32::ZoneData::standardName);
}

XCString XCTimeZone::GetDaylightName() const
{
    return NameOf(*this, &xc::win32::ZoneData::daylightName);
}

int XCTimeZone::GetOffset(XCDateTimeEx const& instant) const noexcept
{
    return instant.GetOffset(*this);
}

bool XCTimeZone::IsDaylight(XCDateTimeEx const& instant) const noexcept
{
    XCDateEx const date = instant.GetDate(UTC());
    return instant.IsDateAndTime() && date.IsValid() &&
           OffsetAt(*this, ToEpochMs(date, instant.GetTime(UTC()))).isDaylight;
}

XCTimeZone::LocalKind XCTimeZone::GetLocalKind(XCDateEx const& date, XCTimeEx const& time) const noexcept
{
    if (!date.IsValid() || !time.IsValid()) return LocalKind::Unique;
    return OffsetOfWall(*this, ToEpochMs(date, time)).kind;
}
