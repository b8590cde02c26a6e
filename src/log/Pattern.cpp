// Layouts from patterns. Compiling turns the pattern into steps: literals as the UTF-8 that is written, and conversions
// with their width. Appending walks over the steps and writes into the bytes of the file at once; the only text between
// is that of a message with units to be written out. The local time is asked for by the steps that show it alone.
//
// A line must stay a line whatever a record holds, so channel and text are written out as in the one-line layout unless
// the pattern says %M. Invariant of compiled patterns: the last step ends the line, and fields have a place wherever the
// text has one.
#include "log/Pattern.h"

#include "log/Digits.h"
#include "log/RecordText.h"
#include "text/Units.h"
#include "text/Utf8.h"
#include "win32/Clock.h"
#include "win32/Process.h"

#include <XelbrinCore/XCLogLevel.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace xc::log {

namespace {

constexpr std::wstring_view kLetters = L"TULlctpmMfn";
constexpr std::size_t kMostWidth = 99;

/// The local time of a second as text. The system's conversion with the rules of the zone costs more than all else of a
/// line; lines of one second share it, whichever file they go to.
class StampOfSecond {
public:
    static constexpr std::size_t kLength = 24; // with the zero

    /// False: another second is kept, or another thread is at it.
    bool Read(std::int64_t second, char (&stamp)[kLength]) const noexcept
    {
        if (m_second.load(std::memory_order_acquire) != second) return false;
        std::uint64_t words[kWords];
        for (std::size_t i = 0; i < kWords; ++i) words[i] = m_words[i].load(std::memory_order_acquire);
        // Nothing was written between: who writes takes the second away first.
        if (m_second.load(std::memory_order_relaxed) != second) return false;
        std::memcpy(stamp, words, kLength);
        return true;
    }
    void Keep(std::int64_t second, char const (&stamp)[kLength]) noexcept
    {
        std::int64_t kept = m_second.load(std::memory_order_relaxed);
        if (kept == kTaken || !m_second.compare_exchange_strong(kept, kTaken)) return;
        std::uint64_t words[kWords];
        std::memcpy(words, stamp, kLength);
        for (std::size_t i = 0; i < kWords; ++i) m_words[i].store(words[i], std::memory_order_release);
        m_second.store(second, std::memory_order_release);
    }

private:
    static constexpr std::size_t kWords = kLength / sizeof(std::uint64_t);
    static constexpr std::int64_t kTaken = -1;

    std::atomic<std::int64_t> m_second{0};
    std::atomic<std::uint64_t> m_words[kWords]{};
};

constinit StampOfSecond theStamp;

void AppendLocalTime(std::string& to)
{
    constexpr std::int64_t kSecond = 10000000;
    std::int64_t const ticks = win32::UtcTicks();
    std::int64_t const second = ticks / kSecond;
    char stamp[StampOfSecond::kLength] = "0000-00-00 00:00:00.000";
    if (theStamp.Read(second, stamp)) {
        PutDigits(stamp + 20, static_cast<unsigned long>(ticks % kSecond / (kSecond / 1000)), 3);
    } else {
        win32::WallTime const now = win32::LocalNow();
        PutStampDigits(stamp, now);
        // Offsets of zones are whole minutes, so that the seconds tell whether both clocks were asked in the same one.
        if (now.second == second % 60) theStamp.Keep(second, stamp);
    }
    to.append(stamp, sizeof stamp - 1);
}

/// Characters, not bytes: continuation bytes do not count.
std::size_t CountCharacters(std::string_view utf8) noexcept
{
    auto const begins = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::ranges::count_if(utf8, begins));
}

} // namespace

/// What the steps of one line write.
struct Pattern::Line {
    std::string& to;
    std::wstring_view channel;
    int level;
    ServedText const& parts;

    // One switch over letters: a line has few steps, and a table of functions would cost a call for each.
    void Append(Step const& step) const
    {
        switch (step.letter) {
        case L'T': return AppendLocalTime(to);
        case L'U': return AppendJsonTime(to, win32::UtcNow());
        case L'L': return AppendText(to, XCLogLevelName(level));
        case L'l': return AppendLevel(to, level);
        case L'c': return AppendEscaped(to, channel);
        case L't': return AppendNumber(to, win32::ThreadId());
        case L'p': return AppendNumber(to, win32::ProcessId());
        case L'm': return AppendEscaped(to, parts.message);
        case L'M': return AppendText(to, parts.message);
        case L'f': return AppendText(to, parts.plainFields);
        case L'n': return to.push_back('\n');
        default: to += step.literal;
        }
    }
};

void Pattern::AddLiteral(std::wstring_view text)
{
    if (text.empty()) return;
    Step step;
    AppendText(step.literal, text);
    m_steps.push_back(std::move(step));
}

void Pattern::AddWhatIsMissing()
{
    auto const isText = [](Step const& step) { return step.letter == L'm' || step.letter == L'M'; };
    // Nobody who adds a field to a record thinks of the patterns that other people have set.
    if (std::ranges::none_of(m_steps, [](Step const& step) { return step.letter == L'f'; })) {
        auto const text = std::ranges::find_if(m_steps.rbegin(), m_steps.rend(), isText);
        if (text != m_steps.rend()) m_steps.insert(text.base(), Step{L'f'});
    }
    // A record ends its line, whatever the pattern forgot.
    bool const ends = !m_steps.empty() && (m_steps.back().letter == L'n' || m_steps.back().literal.ends_with('\n'));
    if (!ends) m_steps.push_back(Step{L'n'});
}

std::size_t Pattern::Compile(std::wstring_view pattern)
{
    for (std::size_t at = 0; at < pattern.size();) {
        std::size_t const percent = std::min(pattern.find(L'%', at), pattern.size());
        AddLiteral(pattern.substr(at, percent - at));
        if (percent == pattern.size()) break;
        Step step;
        at = percent + 1;
        if (at < pattern.size() && pattern[at] == L'-') {
            step.isLeft = true;
            ++at;
        }
        while (at < pattern.size() && text::IsDigit(pattern[at]) && step.width <= kMostWidth)
            step.width = step.width * 10 + (pattern[at++] - L'0');
        // A width of a percent sign is a typing error more likely than a wish.
        bool const isPlain = at == percent + 1;
        if (at == pattern.size() || step.width > kMostWidth || (step.isLeft && step.width == 0)) return percent + 1;
        step.letter = pattern[at++];
        if (step.letter == L'%' && isPlain)
            AddLiteral(L"%");
        else if (kLetters.find(step.letter) != std::wstring_view::npos)
            m_steps.push_back(std::move(step));
        else
            return percent + 1;
    }
    AddWhatIsMissing();
    return 0;
}

void Pattern::Append(std::string& to, std::wstring_view channel, int level, ServedText const& parts) const
{
    Line const line{to, channel, level, parts};
    for (Step const& step : m_steps) {
        std::size_t const start = to.size();
        line.Append(step);
        if (step.width == 0) continue;
        // Counted in what was written rather than in units: a pair of surrogates fills one column.
        std::size_t const count = CountCharacters(std::string_view(to).substr(start));
        if (count < step.width) to.insert(step.isLeft ? to.size() : start, step.width - count, ' ');
    }
}

} // namespace xc::log
