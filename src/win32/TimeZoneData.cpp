// The system's time zones, read from its registry into plain structures.
//
// A zone has rules of its own and, for some zones, rules of single years; a year without an entry goes on with the year
// before it. Sizes and ranges of all values are checked, since the registry may hold anything. The zone of the process
// is found by its key name. Where the system has switched the yearly rules off, or has a zone without a name, its rules
// of the present hold for all years, and the record is not kept for that name.
#include "win32/TimeZoneData.h"

#include <windows.h>

#include <type_traits>

namespace xc::win32 {

namespace {

constexpr wchar_t kZonesKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones";

/// An open registry key.
class ReadKey {
public:
    ReadKey(HKEY parent, std::wstring const& path) noexcept
    {
        if (::RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &m_key) != ERROR_SUCCESS) m_key = nullptr;
    }
    ~ReadKey()
    {
        if (m_key) ::RegCloseKey(m_key);
    }
    ReadKey(ReadKey const&) = delete;
    ReadKey& operator=(ReadKey const&) = delete;
    explicit operator bool() const noexcept { return m_key != nullptr; }
    [[nodiscard]] HKEY Get() const noexcept { return m_key; }

    /// A value of exactly this size and type.
    template <class T>
    [[nodiscard]] std::optional<T> Value(std::wstring const& name, DWORD wantedType) const noexcept
    {
        static_assert(std::is_trivially_copyable_v<T>);
        T value{};
        DWORD type = 0;
        DWORD size = sizeof(T);
        LSTATUS const status = ::RegQueryValueExW(m_key, name.c_str(), nullptr, &type,
                                                  static_cast<BYTE*>(static_cast<void*>(&value)), &size);
        // Anything else was written by somebody else.
        if (status != ERROR_SUCCESS || type != wantedType || size != sizeof(T)) return std::nullopt;
        return value;
    }
    [[nodiscard]] std::wstring Text(wchar_t const* name) const
    {
        wchar_t text[256];
        DWORD size = sizeof(text) - sizeof(wchar_t);
        LSTATUS const status = ::RegGetValueW(m_key, nullptr, name, RRF_RT_REG_SZ, nullptr, text, &size);
        return status == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
    }

private:
    HKEY m_key = nullptr;
};

/// How the registry stores a zone's rules.
struct StoredRules {
    LONG bias, standardBias, daylightBias;
    SYSTEMTIME toStandard, toDaylight;
};
static_assert(sizeof(StoredRules) == 44);

ZoneChange FromSystemRule(SYSTEMTIME const& t) noexcept
{
    auto const timeMs = ((t.wHour * 60 + t.wMinute) * 60 + t.wSecond) * 1000 + t.wMilliseconds;
    return {t.wYear, t.wMonth, t.wDayOfWeek, t.wDay, timeMs};
}

ZoneRules FromStored(StoredRules const& s) noexcept
{
    return {s.bias, s.standardBias, s.daylightBias, FromSystemRule(s.toStandard), FromSystemRule(s.toDaylight)};
}

void ReadYears(ReadKey const& zone, ZoneData& data)
{
    ReadKey const key(zone.Get(), L"Dynamic DST");
    if (!key) return;
    auto const first = key.Value<DWORD>(L"FirstEntry", REG_DWORD);
    auto const last = key.Value<DWORD>(L"LastEntry", REG_DWORD);
    constexpr DWORD kMostYears = 1000; // beyond any calendar the system has rules for
    constexpr DWORD kLastYear = 30827; // of the system's structures
    if (!first || !last || *first > *last || *last > kLastYear || *last - *first > kMostYears) return;
    data.firstYear = static_cast<std::int32_t>(*first);
    for (DWORD year = *first; year <= *last; ++year) {
        auto const stored = key.Value<StoredRules>(std::to_wstring(year), REG_BINARY);
        // A gap goes on with the year before it.
        data.years.push_back(stored ? FromStored(*stored) : data.years.empty() ? data.rules : data.years.back());
    }
}

} // namespace

std::optional<ZoneData> ReadZone(std::wstring const& name)
{
    // A separator would lead to other keys.
    if (name.empty() || name.find(L'\\') != std::wstring::npos) return std::nullopt;
    ReadKey const key(HKEY_LOCAL_MACHINE, std::wstring(kZonesKey) + L'\\' + name);
    if (!key) return std::nullopt;
    auto const stored = key.Value<StoredRules>(L"TZI", REG_BINARY);
    if (!stored) return std::nullopt;
    ZoneData data;
    data.name = name;
    data.standardName = key.Text(L"Std");
    data.daylightName = key.Text(L"Dlt");
    data.rules = FromStored(*stored);
    ReadYears(key, data);
    return data;
}

ZoneData ReadLocalZone()
{
    DYNAMIC_TIME_ZONE_INFORMATION now{};
    if (::GetDynamicTimeZoneInformation(&now) == TIME_ZONE_ID_INVALID) {
        ZoneData utc;
        utc.name = L"UTC";
        return utc;
    }
    if (!now.DynamicDaylightTimeDisabled)
        if (auto zone = ReadZone(now.TimeZoneKeyName)) return *std::move(zone);
    // A zone without a name, or one whose yearly rules are switched off: what the system says now holds for all years.
    ZoneData data;
    data.isWhole = false;
    data.name = now.TimeZoneKeyName;
    data.standardName = now.StandardName;
    data.daylightName = now.DaylightName;
    data.rules = FromStored({now.Bias, now.StandardBias, now.DaylightBias, now.StandardDate, now.DaylightDate});
    return data;
}

std::vector<std::wstring> ReadZoneNames()
{
    std::vector<std::wstring> names;
    ReadKey const key(HKEY_LOCAL_MACHINE, kZonesKey);
    for (DWORD i = 0; key; ++i) {
        wchar_t name[256]; // the longest name of a key
        DWORD length = 256;
        if (::RegEnumKeyExW(key.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        names.emplace_back(name, length);
    }
    return names;
}

} // namespace xc::win32
