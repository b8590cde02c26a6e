// Plan.h - what the matching engines over a reduced automaton share: the beginning that all matches have in common, scans
// over loops and the walk over a subject whose length is not known beforehand.
#pragma once

#include "match/LiteralFinder.h"
#include "match/Reduce.h"
#include "text/RangeKernels.h"

#include <algorithm>
#include <emmintrin.h>
#include <string_view>

namespace xc::match {

/// A state that no engine has.
constexpr std::uint32_t kNoRow = 0xFFFFFFFF;

/// An expression in the form that matches. Never changed after it is built.
class Program {
public:
    /// @param bytes that the arrays of the program are expected to take: one block for all of them.
    explicit Program(std::size_t bytes = 0) : m_memory(std::max<std::size_t>(bytes, 1), std::pmr::new_delete_resource())
    {
    }
    virtual ~Program() = default;
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;
    /// @param text ends at its terminator.
    [[nodiscard]] virtual bool Match(wchar_t const* text) const = 0;
    /// The literal text that matches begin with, where the program keeps one.
    [[nodiscard]] virtual std::wstring_view LiteralStart() const noexcept { return {}; }

protected:
    /// Where the arrays stand; given back with the program.
    [[nodiscard]] Memory Arrays() noexcept { return &m_memory; }

private:
    std::pmr::monotonic_buffer_resource m_memory;
};

/// Whether collating tables translate the units of a subject.
inline bool Translates(XCParsedRegEx const& parsed) noexcept
{
    return parsed.GetCollatingTableP() || parsed.GetWCollatingTableP();
}

/// What an engine over a reduced automaton is built from.
struct Blueprint {
    ReducedDfa const& dfa;
    UnitClasses const& classes;
    XCParsedRegEx const& parsed; ///< its collating tables translate the subject
    Literals const& literals;    ///< none when the units of the subject are translated

    [[nodiscard]] bool Translates() const noexcept { return match::Translates(parsed); }
    /// Those to look for in a whole subject: none where the walk itself searches for them.
    [[nodiscard]] Literals NeededLiterals() const;
    /// A map from units to numbers of columns times a factor, after an offset.
    [[nodiscard]] UnitMap MapOfColumns(std::uint32_t offset, std::uint32_t factor, Memory memory) const;
};

/// One range of units for each of up to sixteen places, compared with a text at once.
class UnitPlaces {
public:
    static constexpr std::size_t kMax = 16;

    UnitPlaces() noexcept { m_span.fill(0xFFFF); }
    /// Both ends included. Only while Length is below kMax.
    void Add(std::uint32_t first, std::uint32_t last) noexcept
    {
        m_first[m_length] = static_cast<std::uint16_t>(first);
        m_span[m_length++] = static_cast<std::uint16_t>(last - first);
    }
    [[nodiscard]] std::size_t Length() const noexcept { return m_length; }
    /// Whether a text begins so. Reads kMax units: MayReadVector(text).
    [[nodiscard]] bool Fits(wchar_t const* text) const noexcept
    {
        return _mm_movemask_epi8(
                   _mm_cmpeq_epi16(_mm_or_si128(Excess(text, 0), Excess(text, 8)), _mm_setzero_si128())) == 0xFFFF;
    }
    /// The same one unit after the other, up to the first that does not fit.
    [[nodiscard]] bool FitsInTurn(wchar_t const* text) const noexcept
    {
        std::size_t i = 0;
        while (i < m_length && static_cast<std::uint16_t>(text[i] - m_first[i]) <= m_span[i]) ++i;
        return i == m_length;
    }

private:
    /// 0 for each unit in its range.
    [[nodiscard]] __m128i Excess(wchar_t const* text, std::size_t at) const noexcept
    {
        auto const load = [at](auto const* from) {
            return _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + at));
        };
        return _mm_subs_epu16(_mm_sub_epi16(load(text), load(m_first.data())), load(m_span.data()));
    }

    std::array<std::uint16_t, kMax> m_first{};
    std::array<std::uint16_t, kMax> m_span; ///< last minus first; 0xFFFF after the last place
    std::size_t m_length = 0;
};

/// What matches begin with as long as there is one way through the automaton: one range of units for each place. All
/// places are compared at once, and most subjects that do not match go no further. The terminator fits no place.
class Opening {
public:
    /// Empty when the units of the subject are translated: nothing is known of them then.
    explicit Opening(Blueprint const& plan);

    [[nodiscard]] std::size_t Length() const noexcept { return m_places.Length(); }
    /// The row that the opening leads to.
    [[nodiscard]] std::uint32_t Row() const noexcept { return m_row; }
    /// Whether a subject begins so: MayReadVector(text).
    [[nodiscard]] bool Fits(wchar_t const* text) const noexcept { return m_places.Fits(text); }

private:
    UnitPlaces m_places;
    std::uint32_t m_row;
};

/// Where a state leads to itself on a few ranges, or on all but a few: the scan for the next unit that leaves it. The
/// state that ".*" at the beginning makes is left for good only where one of the literals after it stands.
class LoopScans {
public:
    /// The largest number that a scan may have.
    static constexpr std::uint32_t kMax = 0xFFFF;

    /// None when the units of the subject are translated.
    LoopScans(Blueprint const& plan, Memory memory);

    /// 0 when the row has no scan.
    [[nodiscard]] std::uint32_t OfRow(std::uint32_t row) const noexcept
    {
        return m_scanOfRow.empty() ? 0 : m_scanOfRow[row];
    }
    /// The row whose scan is the search for literals; kNoRow when there is none.
    [[nodiscard]] std::uint32_t SearchRow() const noexcept { return m_searchRow; }
    /// How many units keep the state of this scan (not 0).
    [[nodiscard]] std::size_t Skip(std::uint32_t scan, wchar_t const* text, std::size_t n) const noexcept
    {
        if (scan == kSearch) return SkipBySearch(text, n);
        Scan const& chosen = m_scans[scan - 1];
        return chosen.forInside ? text::FindInside(text, n, chosen.ranges) : text::FindOutside(text, n, chosen.ranges);
    }

    /// How many units a search must pass over to beat a walk in several places at once: among many literals more places
    /// are looked at in vain.
    [[nodiscard]] std::size_t PayingSkip() const noexcept { return m_finder.LooksForMany() ? 192 : 64; }
    /// How many units of a text whose end is not known keep the search row, as far as matches are concerned.
    [[nodiscard]] std::size_t PassOver(wchar_t const* text) const noexcept { return m_finder.PassOver(text); }

private:
    static constexpr std::uint32_t kSearch = kMax;

    [[nodiscard]] std::size_t SkipBySearch(wchar_t const* text, std::size_t n) const noexcept;
    [[nodiscard]] std::size_t SkipToLiteral(wchar_t const* text, std::size_t n) const noexcept;

    struct Scan {
        text::UnitRanges ranges;
        bool forInside; ///< the ranges are the units that leave
    };
    List<Scan> m_scans;
    List<std::uint16_t> m_scanOfRow;
    LiteralFinder m_finder;
    std::uint32_t m_searchRow = kNoRow;
    std::uint32_t m_plainScan = 0; ///< of that row, without the search
};

/// When a search is worth its call again: one that passes over little is put off, longer each time.
class SearchPace {
public:
    /// @param pays units to be passed over so that no other way would have been faster.
    explicit SearchPace(std::size_t pays = kLeast) noexcept : m_pays(pays) {}

    [[nodiscard]] bool MaySearch(std::size_t at) const noexcept { return at >= m_next; }
    /// No search has paid for so long that another way should be tried.
    [[nodiscard]] bool IsPoor(std::size_t at) const noexcept { return at >= m_poorAt; }
    void Note(std::size_t at, std::size_t skipped) noexcept
    {
        constexpr std::size_t kFirst = 32;
        constexpr std::size_t kMost = 2048;
        m_pause = skipped >= kLeast ? 0 : std::min(kMost, 2 * m_pause + kFirst);
        m_next = at + m_pause;
        if (skipped >= m_pays) m_poorAt = at + kPatience;
    }
    /// The other way has been gone for a while, and places are counted anew.
    void Doubt() noexcept
    {
        m_next = 0;
        m_poorAt = kShortPatience;
    }

private:
    static constexpr std::size_t kLeast = 64; // a call and what follows it take as long as walking over so many units
    static constexpr std::size_t kPatience = 256;
    static constexpr std::size_t kShortPatience = 64;

    std::size_t m_pays;
    std::size_t m_next = 0;
    std::size_t m_pause = 0;
    std::size_t m_poorAt = kPatience;
};

/// Walks over the rest of a subject from a state: the terminator is searched one stretch ahead, so that a subject decided
/// early is not read to its end. A subject that goes on after the first stretch is looked at as a whole before it is read,
/// if it is not too long for the caches: its last unit and the literals that it must hold may refuse it. Where literals
/// are searched for, stretches are short enough to stay in the nearest cache until the search has read them, too.
/// Engine: IsSettled(state), IsAccepting(state), Run(state, text, n); SearchScans(state), the scans when it searches from
/// that state, else null; MayRefuse(), Refuses(subject, n), Needed().
/// @param text where the walk goes on in the subject.
template <class Engine>
bool WalkSubject(Engine const& engine, std::uint32_t state, wchar_t const* text, wchar_t const* subject)
{
    constexpr std::size_t kFirstStretch = 1024;
    constexpr std::size_t kSearched = 8192;
    constexpr std::size_t kStretch = 32768;
    constexpr std::size_t kWhole = 524288;
    std::size_t stretch = kFirstStretch;
    while (!engine.IsSettled(state)) {
        if (LoopScans const* const scans = engine.SearchScans(state)) text += scans->PassOver(text);
        bool const isWhole = stretch == kWhole;
        if (isWhole && engine.Needed().IsUnitAbsent(subject, text, stretch)) return false;
        std::size_t const n = text::UnitCount(text, stretch);
        std::size_t const known = static_cast<std::size_t>(text - subject) + n;
        if (isWhole && n < stretch && engine.Refuses(subject, known)) return false;
        state = engine.Run(state, text, n);
        if (n < stretch) break;
        text += n;
        stretch = stretch == kFirstStretch && engine.MayRefuse() ? kWhole
                  : engine.SearchScans(state)                    ? kSearched
                                                                 : kStretch;
    }
    return engine.IsAccepting(state);
}

} // namespace xc::match
