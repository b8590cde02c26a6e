// The two formats of the quarantine, and its rule of blame.
//
// A journal is written while modules run, and read after a run that ended without removing it. It has fixed places, so
// that a call costs one short write, and that the file does not grow with the length of a run. The mark of a fault is
// one line, written in one call of the system; its checksum tells a whole line from one that a failing disk has torn.
// Calls without a mark prove nothing: a killed process leaves them as well. So they are told and never counted.
//
// The verdicts are lines of fields between tabs, replaced as a whole file. A line that is malformed is dropped, since
// a module that is loaded once too often does less harm than a program without its modules. Runs are kept by their
// names and not as a number: a journal that is read twice, because the machine stopped between two steps, counts once.
#include "app/host/QuarantineText.h"

#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCStringParts.h>

#include "text/HexText.h"
#include "text/Units.h"
#include "text/Utf8.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace xc::host {

namespace {

constexpr std::size_t kPathUnits = (kModuleBytes - kCallsBytes - 1) / 3; // at most three bytes a unit
constexpr std::string_view kVerdictsHead = "XelbrinCore quarantine 1\n";
constexpr std::size_t kFields = 6; // of a verdict

/// FNV-1a: short lines, and nobody to fool.
std::uint32_t ChecksumOf(std::string_view bytes) noexcept
{
    std::uint32_t hash = 2166136261u;
    for (char const byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619u;
    return hash;
}

std::wstring WideOf(std::string_view bytes)
{
    std::wstring text(bytes.size(), L'\0');
    // Leniently: a damaged byte costs its unit, not the line.
    text.resize(text::DecodeUtf8Leniently(text.data(), bytes));
    return text;
}

template <class Number>
bool ReadNumber(std::string_view text, Number& number, int base = 10) noexcept
{
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

/// The part up to a separator, which is taken off `text`; all of it when there is none.
std::string_view TakePart(std::string_view& text, char separator) noexcept
{
    std::size_t const end = std::min(text.find(separator), text.size());
    std::string_view const part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

/// A line that ends within the bytes; empty when it does not.
std::string_view WholeLine(std::string_view bytes) noexcept
{
    std::size_t const end = bytes.find('\n');
    return bytes.substr(0, end == std::string_view::npos ? 0 : end);
}

/// "CHECKSUM confirmed|suspected MOMENT\tFAULT\tPLACE PLACE ..."
std::optional<RunEnd::Fault> ReadMark(std::string_view bytes, std::size_t moduleCount)
{
    std::string_view line = WholeLine(bytes);
    std::uint32_t checksum = 0;
    if (!ReadNumber(TakePart(line, ' '), checksum, 16) || checksum != ChecksumOf(line)) return std::nullopt;
    RunEnd::Fault fault{TakePart(line, ' ') == "confirmed", {}, {}};
    // From the back, since the fault itself holds a tab.
    std::size_t const places = line.rfind('\t');
    if (places == std::string_view::npos) return std::nullopt;
    fault.what = WideOf(line.substr(0, places));
    line.remove_prefix(places + 1);
    while (!line.empty()) {
        std::size_t place = 0;
        if (ReadNumber(TakePart(line, ' '), place) && place < moduleCount) fault.modules.push_back(place);
    }
    return fault;
}

std::optional<Verdict> ReadVerdict(std::string_view line)
{
    // Paths hold no tab: they were made visible.
    if (std::ranges::count(line, '\t') != kFields) return std::nullopt;
    std::string_view const kind = TakePart(line, '\t');
    if (kind != "confirmed" && kind != "suspected") return std::nullopt;
    Verdict verdict;
    verdict.confirmed = kind == "confirmed";
    for (std::string_view runs = TakePart(line, '\t'); !runs.empty();)
        verdict.runs.push_back(WideOf(TakePart(runs, ',')));
    if (!ReadNumber(TakePart(line, '\t'), verdict.size)) return std::nullopt;
    if (!ReadNumber(TakePart(line, '\t'), verdict.written)) return std::nullopt;
    verdict.what = WideOf(TakePart(line, '\t')) + L"\t";
    verdict.what += WideOf(TakePart(line, '\t'));
    verdict.path = WideOf(line);
    if (verdict.path.empty()) return std::nullopt;
    return verdict;
}

} // namespace

std::wstring_view EndOfPath(std::wstring_view path) noexcept
{
    if (path.size() > kPathUnits) path.remove_prefix(path.size() - kPathUnits);
    // Half a character at the cut would be read back as another one.
    if (!path.empty() && (text::ToUint(path.front()) & 0xFC00) == 0xDC00) path.remove_prefix(1);
    return path;
}

void Culprits::Add(int place) noexcept
{
    if (count < kMost && std::find(places, places + count, place) == places + count) places[count++] = place;
}

Culprits FindCulprits(int call, int code, int const* open, std::size_t openCount) noexcept
{
    Culprits culprits;
    // Code of nobody says nothing against the module that has called it: most faults are in the system's code.
    culprits.confirmed = call >= 0 && (code < 0 || code == call);
    if (call >= 0) culprits.Add(call);
    if (code >= 0) culprits.Add(code);
    if (culprits.count == 0)
        for (std::size_t i = 0; i < openCount; ++i) culprits.Add(open[i]);
    return culprits;
}

std::size_t FormatMark(char* to, std::string_view what, Culprits const& culprits) noexcept
{
    constexpr std::size_t kSum = 9; // eight digits and a blank
    char* at = to + kSum;
    auto const word = [&at](std::string_view part) { at = std::copy(part.begin(), part.end(), at); };
    word(culprits.confirmed ? "confirmed " : "suspected ");
    word(what.substr(0, kMarkBytes / 2));
    word("\t");
    for (std::size_t i = 0; i < culprits.count && at + 16 < to + kMarkBytes; ++i) {
        if (i > 0) word(" ");
        at = std::to_chars(at, at + 12, culprits.places[i]).ptr;
    }
    std::uint32_t const sum = ChecksumOf({to + kSum, static_cast<std::size_t>(at - to) - kSum});
    text::PutHex(to, sum, 8, text::kLowerHex);
    to[kSum - 1] = ' ';
    *at++ = '\n';
    return static_cast<std::size_t>(at - to);
}

RunEnd ReadJournal(std::string_view bytes)
{
    RunEnd run;
    // Of another version, or of somebody else: nobody is blamed by it.
    if (!bytes.starts_with(kJournalHead)) return run;
    for (std::size_t at = kModulesAt; at < bytes.size(); at += kModuleBytes) {
        std::string_view const place = bytes.substr(at, kModuleBytes);
        std::string_view const calls = WholeLine(place.substr(0, kCallsBytes));
        std::string_view const path = place.size() > kCallsBytes ? WholeLine(place.substr(kCallsBytes)) : "";
        run.modules.push_back({WideOf(path), WideOf(calls)});
    }
    run.fault = ReadMark(bytes.substr(std::min(kMarkAt, bytes.size()), kMarkBytes), run.modules.size());
    return run;
}

std::vector<Verdict> ReadVerdicts(std::string_view bytes, std::size_t& malformed)
{
    std::vector<Verdict> verdicts;
    malformed = 0;
    if (bytes.empty()) return verdicts;
    if (!bytes.starts_with(kVerdictsHead)) ++malformed;
    TakePart(bytes, '\n');
    while (!bytes.empty()) {
        std::optional<Verdict> verdict = ReadVerdict(TakePart(bytes, '\n'));
        if (verdict)
            verdicts.push_back(*std::move(verdict));
        else
            ++malformed;
    }
    return verdicts;
}

std::string FormatVerdicts(std::vector<Verdict> const& verdicts)
{
    std::string bytes(kVerdictsHead);
    for (Verdict const& verdict : verdicts) {
        XCString line(verdict.confirmed ? L"confirmed\t" : L"suspected\t");
        line += XCJoin(verdict.runs, L",");
        XCString facts;
        facts.Format(L"\t%llu\t%lld\t", static_cast<unsigned long long>(verdict.size),
                     static_cast<long long>(verdict.written));
        text::AppendUtf8(bytes,
                         (line + facts + XCString(verdict.what) + L"\t" + XCString(verdict.path) + L"\n").View());
    }
    return bytes;
}

} // namespace xc::host
