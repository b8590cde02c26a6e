// The settings of the trace as text: lists of subjects, and the name of the trace file.
//
// A list is read item by item, without white space and without regard to case. An item is a subject's name or a number,
// in decimal or hexadecimal digits, that stands for a mask; the masks are united. An unknown item is reported, but the
// others hold: a list with a typing error should still trace. Invariant: a list that DescribeTraceSubjects has written
// reads back as the same mask. Cost: O(items * subjects), at start-up only.
#include "log/TraceSettings.h"

#include <XelbrinCore/XCTrace.h>

#include "log/Digits.h"
#include "text/Units.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace xc::log {

namespace {

struct SubjectName {
    std::wstring_view name;
    int mask;
};
constexpr SubjectName kSubjectNames[] = {
    {L"GENERAL", XCTrace::TraceGeneral},   {L"TEXT", XCTrace::TraceText},     {L"MESSAGES", XCTrace::TraceMessages},
    {L"DATETIME", XCTrace::TraceDateTime}, {L"SYNC", XCTrace::TraceSync},     {L"THREAD", XCTrace::TraceThread},
    {L"APP", XCTrace::TraceApp},           {L"PLUGIN", XCTrace::TracePlugIn}, {L"CONFIG", XCTrace::TraceConfig},
    {L"LOG", XCTrace::TraceLog},           {L"REGEX", XCTrace::TraceRegEx},   {L"CONDITION", XCTrace::TraceCondition},
    {L"NETWORK", XCTrace::TraceNetwork},   {L"FILE", XCTrace::TraceFile},     {L"XML", XCTrace::TraceXml},
    {L"USER", XCTrace::TraceUser},         {L"ALL", XCTrace::TraceAll},       {L"NONE", 0},
};
constexpr std::size_t kModulePathUnits = 512;

/// Without white space, in upper case.
std::wstring RemoveWhiteSpace(std::wstring_view text)
{
    std::wstring kept;
    for (wchar_t const unit : text)
        if (!text::IsSpace(unit)) kept.push_back(unit >= L'a' && unit <= L'z' ? static_cast<wchar_t>(unit - 32) : unit);
    return kept;
}

int DigitValue(wchar_t unit) noexcept
{
    if (text::IsDigit(unit)) return unit - L'0';
    return unit >= L'A' && unit <= L'F' ? unit - L'A' + 10 : 99;
}

std::optional<int> SubjectNumber(std::wstring_view item) noexcept
{
    bool const hex = item.starts_with(L"0X");
    if (hex) item.remove_prefix(2);
    if (item.empty()) return std::nullopt;
    int const base = hex ? 16 : 10;
    std::uint64_t value = 0;
    for (wchar_t const unit : item) {
        int const digit = DigitValue(unit);
        value = value * static_cast<std::uint64_t>(base) + static_cast<std::uint64_t>(digit);
        // Tested in each step, so that no number of digits can wrap around to a small one. 99 stands for no digit at
        // all.
        if (digit >= base || value > 0xFFFFFFFF) return std::nullopt;
    }
    return static_cast<int>(static_cast<std::uint32_t>(value));
}

std::optional<int> SubjectMask(std::wstring_view item) noexcept
{
    for (SubjectName const& subject : kSubjectNames)
        if (subject.name == item) return subject.mask;
    return SubjectNumber(item);
}

} // namespace

TraceSubjects ParseTraceSubjects(std::wstring_view list)
{
    TraceSubjects found{0, true};
    for (std::size_t at = 0; at <= list.size();) {
        std::size_t const end = std::min(list.find(L',', at), list.size());
        std::wstring const item = RemoveWhiteSpace(list.substr(at, end - at));
        at = end + 1;
        // Commas too many are no fault.
        if (item.empty()) continue;
        std::optional<int> const mask = SubjectMask(item);
        found.mask |= mask.value_or(0);
        found.allKnown = found.allKnown && mask.has_value();
    }
    return found;
}

XCString DescribeTraceSubjects(int mask)
{
    if (mask == XCTrace::TraceAll) return XCString(L"ALL");
    if (mask == 0) return XCString(L"NONE");
    XCString names;
    auto const add = [&names](std::wstring_view name) {
        if (!names.IsNull()) names += L'+';
        names.Append(name);
    };
    auto rest = static_cast<std::uint32_t>(mask);
    for (SubjectName const& subject : kSubjectNames) {
        auto const bit = static_cast<std::uint32_t>(subject.mask);
        // ALL and NONE are no bits.
        if (subject.mask <= 0 || (rest & bit) == 0) continue;
        add(subject.name);
        rest &= ~bit;
    }
    // Bits that have no name are shown as their number, which reads back.
    if (rest != 0) add(Digits(rest).View());
    return names;
}

XCString BuildFileName(std::wstring_view modulePath, unsigned long process)
{
    std::wstring_view name = modulePath.substr(0, kModulePathUnits);
    // A name without a point stays whole: npos is cut to its length.
    name = name.substr(0, name.rfind(L'.'));
    std::size_t const folderEnd = name.rfind(L'\\');
    if (folderEnd != std::wstring_view::npos) name.remove_prefix(folderEnd + 1);
    XCString text(modulePath.empty() ? std::wstring_view(L"unknown") : name);
    text += L"__";
    text.Append(Digits(process).View());
    return text += L".log";
}

} // namespace xc::log
