// Matches by byte shuffles, for automata of up to sixteen states.
//
// A column of the table (the next state for each state) is a vector of sixteen bytes, and a byte shuffle composes two
// such functions. Composition is associative, so the functions of four units are composed pairwise first and the chain
// from state to state is one shuffle for four units instead of four loads. The method is that of data-parallel
// finite-state machines (Mytkowicz, Musuvathi and Schulte, 2014).
//
// Every unit below 0x100 has a column of its own, so its address is the unit shifted; others are found through the map.
// The terminator's column is the identity: sixteen units can be read at once when the subject ends among them.
//
// COST      0.25 to 0.5 ns a unit. The columns take 4 KiB and 16 bytes for each class.
// INVARIANT All sixteen bytes of the state vector are equal; only the first one is asked.
#include "match/Shuffle.h"

#include "text/Cpu.h"

#include <array>
#include <bit>
#include <cstring>
#include <immintrin.h>
#include <utility>

namespace xc::match {

namespace {

constexpr std::uint32_t kMaxRows = 16;
constexpr std::uint32_t kMaxColumns = 256;
constexpr std::uint32_t kLatin = 256; ///< units with a column of their own; the columns of classes follow
constexpr std::uint32_t kBytesPerColumn = 16;

/// From kKeep[16 - n] on: n units kept of 16.
alignas(64) constexpr std::array<std::uint16_t, 32> kKeep = [] {
    std::array<std::uint16_t, 32> keep{};
    for (std::size_t i = 0; i < 16; ++i) keep[i] = 0xFFFF;
    return keep;
}();

XC_INLINE_AVX2 __m256i Load16(void const* at) noexcept
{
    return _mm256_loadu_si256(static_cast<__m256i const*>(at));
}

XC_TARGET_AVX2 inline std::uint32_t FirstState(__m128i const& states) noexcept
{
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(states)) & 0xFF;
}

/// How many of 16 units stand before the terminator.
XC_INLINE_AVX2 std::size_t CountUnits(__m256i const& units) noexcept
{
    __m256i const ends = _mm256_cmpeq_epi16(units, _mm256_setzero_si256());
    return static_cast<std::size_t>(std::countr_zero(static_cast<std::uint32_t>(_mm256_movemask_epi8(ends)))) / 2;
}

class Shuffle : public Program {
public:
    explicit Shuffle(Blueprint const& plan);
    [[nodiscard]] XC_TARGET_AVX2 bool Match(wchar_t const* text) const override;

    [[nodiscard]] bool IsSettled(std::uint32_t state) const noexcept { return state <= m_lastSettled; }
    [[nodiscard]] bool IsAccepting(std::uint32_t state) const noexcept
    {
        return state >= m_firstAccepting || state == m_stopRow;
    }
    [[nodiscard]] LoopScans const* SearchScans(std::uint32_t state) const noexcept
    {
        return state == m_scans.SearchRow() ? &m_scans : nullptr;
    }
    [[nodiscard]] LiteralFinder const& Needed() const noexcept { return m_needed; }
    /// Whether a look at the whole subject may tell that it does not match.
    [[nodiscard]] bool MayRefuse() const noexcept { return m_stopRow == kNoRow || !m_needed.IsEmpty(); }
    /// @param n all units of the subject, at least one.
    [[nodiscard]] bool Refuses(wchar_t const* subject, std::size_t n) const noexcept
    {
        std::uint8_t const* const column = Bytes() + m_map[subject[n - 1]];
        bool const mayEnd =
            std::any_of(column, column + kBytesPerColumn, [this](std::uint8_t row) { return IsAccepting(row); });
        return !mayEnd || m_needed.IsAbsent(subject, n);
    }
    /// Sixteen units at a time; a state found again twice in a row is probably looping, and is scanned.
    [[nodiscard]] XC_TARGET_AVX2 std::uint32_t Run(std::uint32_t state, wchar_t const* text,
                                                   std::size_t n) const noexcept;

private:
    [[nodiscard]] std::uint8_t const* Bytes() const noexcept { return m_columns.data()->next.data(); }
    XC_INLINE_AVX2 __m128i Column(std::uint32_t place) const noexcept
    {
        return _mm_load_si128(reinterpret_cast<__m128i const*>(Bytes() + place));
    }
    /// The columns are composed among themselves first, so that the chain of states is one shuffle long.
    XC_INLINE_AVX2 void StepFour(__m128i& states, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 std::uint32_t d) const noexcept
    {
        __m128i const ab = _mm_shuffle_epi8(Column(b), Column(a));
        __m128i const cd = _mm_shuffle_epi8(Column(d), Column(c));
        states = _mm_shuffle_epi8(_mm_shuffle_epi8(cd, ab), states);
    }
    /// The first n of 16 units (the others are 0), four at a time: the terminator's column keeps every state.
    XC_INLINE_AVX2 void StepLatin(__m128i& states, __m256i const& units, std::size_t n) const noexcept
    {
        std::array<std::uint16_t, 16> at; // where their columns stand
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(at.data()),
                            _mm256_slli_epi16(units, std::countr_zero(kBytesPerColumn)));
        StepFour(states, at[0], at[1], at[2], at[3]);
        if (n > 4) StepFour(states, at[4], at[5], at[6], at[7]);
        if (n > 8) StepFour(states, at[8], at[9], at[10], at[11]);
        if (n > 12) StepFour(states, at[12], at[13], at[14], at[15]);
    }
    XC_INLINE_AVX2 void StepAny(__m128i& states, wchar_t const* text, std::size_t n) const noexcept
    {
        wchar_t const* const end = text + n;
        for (; end - text >= 4; text += 4)
            StepFour(states, m_map[text[0]], m_map[text[1]], m_map[text[2]], m_map[text[3]]);
        for (; text != end; ++text) states = _mm_shuffle_epi8(Column(m_map[*text]), states);
    }
    /// The n units at a place: at most 16, all of them loaded already.
    XC_INLINE_AVX2 void StepVector(__m128i& states, wchar_t const* text, __m256i const& loaded,
                                   std::size_t n) const noexcept
    {
        __m256i const units = _mm256_and_si256(loaded, Load16(&kKeep[16 - n]));
        if (_mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(0xFF00))) != 0)
            StepLatin(states, units, n);
        else
            StepAny(states, text, n);
    }
    [[gnu::noinline]] bool Walk(std::uint32_t state, wchar_t const* text, wchar_t const* subject) const noexcept
    {
        return WalkSubject(*this, state, text, subject);
    }

    UnitMap m_map; ///< from units to the places of their columns
    LoopScans m_scans;
    LiteralFinder m_needed; ///< one of these stands in every match
    Opening m_opening;
    std::uint32_t m_start, m_firstAccepting, m_stopRow, m_lastSettled;
    /// The next state by the state; aligned, because a column is loaded as one vector.
    struct alignas(kBytesPerColumn) ColumnBytes {
        ColumnBytes() noexcept {} // all are written once; clearing them first would take as long
        std::array<std::uint8_t, kBytesPerColumn> next;
    };
    List<ColumnBytes> m_columns;
};

/// The columns, three pages of the map and some scans.
std::size_t BytesOf(ReducedDfa const& dfa) noexcept
{
    return (std::size_t{kLatin} + dfa.columnCount) * kBytesPerColumn + 2048;
}

Shuffle::Shuffle(Blueprint const& plan)
    : Program(BytesOf(plan.dfa)), m_map(plan.MapOfColumns(kLatin, kBytesPerColumn, Arrays())), m_scans(plan, Arrays()),
      m_needed(plan.NeededLiterals(), Arrays()), m_opening(plan), m_start(plan.dfa.start),
      m_firstAccepting(plan.dfa.firstAccepting), m_stopRow(plan.dfa.hasStop ? 1 : kNoRow),
      m_lastSettled(plan.dfa.LastSettled()), m_columns(std::size_t{kLatin} + plan.dfa.columnCount, Arrays())
{
    ReducedDfa const& dfa = plan.dfa;
    for (std::uint32_t column = 0; column < dfa.columnCount; ++column) m_columns[kLatin + column].next.fill(0);
    for (std::uint32_t row = 0; row < dfa.rowCount; ++row)
        for (std::uint32_t column = 0; column < dfa.columnCount; ++column)
            m_columns[kLatin + column].next[row] = static_cast<std::uint8_t>(dfa.Row(row)[column]);
    for (std::uint32_t row = 0; row < kMaxRows; ++row) m_columns[0].next[row] = static_cast<std::uint8_t>(row);
    std::uint16_t const* const places = m_map.FirstPage();
    for (std::uint32_t unit = 1; unit < kLatin;) { // stretches of units with one column
        ColumnBytes const column = m_columns[places[unit] / kBytesPerColumn];
        std::uint16_t const place = places[unit];
        for (; unit < kLatin && places[unit] == place; ++unit) m_columns[unit] = column;
    }
}

bool Shuffle::Match(wchar_t const* text) const
{
    wchar_t const* const subject = text;
    std::uint32_t state = m_start;
    if (m_opening.Length() != 0 && text::MayReadVector(text)) {
        if (!m_opening.Fits(text)) return false;
        text += m_opening.Length();
        state = m_opening.Row();
    }
    __m128i states = _mm_set1_epi8(static_cast<char>(state));
    for (int blocks = 0; blocks < 4 && text::MayReadVector(text); ++blocks) {
        __m256i const units = Load16(text);
        std::size_t const n = CountUnits(units);
        if (n == 0) return IsAccepting(state);
        StepVector(states, text, units, n);
        state = FirstState(states);
        if (n < 16 || IsSettled(state)) return IsAccepting(state);
        text += 16;
    }
    return Walk(state, text, subject);
}

std::uint32_t Shuffle::Run(std::uint32_t state, wchar_t const* text, std::size_t n) const noexcept
{
    __m128i states = _mm_set1_epi8(static_cast<char>(state));
    wchar_t const* const end = text + n;
    std::uint32_t before = state;
    std::uint32_t beforeThat = kNoRow;
    SearchPace pace;
    while (end - text >= 16) {
        StepVector(states, text, Load16(text), 16);
        text += 16;
        state = FirstState(states);
        if (IsSettled(state)) return state;
        bool const searches = state == m_scans.SearchRow();
        auto const left = static_cast<std::size_t>(end - text);
        if (searches ? pace.MaySearch(n - left) : state == before && state == beforeThat) {
            std::uint32_t const scan = m_scans.OfRow(state);
            std::size_t const skipped = scan != 0 ? m_scans.Skip(scan, text, left) : 0;
            text += skipped;
            if (searches) pace.Note(n - left + skipped, skipped);
        }
        beforeThat = std::exchange(before, state);
    }
    StepAny(states, text, static_cast<std::size_t>(end - text));
    return FirstState(states);
}

} // namespace

bool SuitsShuffle(ReducedDfa const& dfa) noexcept
{
    return dfa.rowCount <= kMaxRows && dfa.columnCount <= kMaxColumns && text::HasAvx2();
}

std::unique_ptr<Program const> MakeShuffle(Blueprint const& plan)
{
    return std::make_unique<Shuffle>(plan);
}

} // namespace xc::match
