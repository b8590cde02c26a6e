#include "match/Shuffle.h"

#include "text/Cpu.h"

#include <array>
#include <bit>
#include <immintrin.h>
#include <optional>
#include <utility>

namespace xc::match {

namespace {

/// From kKeep[16 - n] on: n units kept of 16.
alignas(64) constexpr std::array<std::uint16_t, 32> kKeep = [] {
    std::array<std::uint16_t, 32> keep{};
    for (std::size_t i = 0; i < 16; ++i) keep[i] = 0xFFFF;
    return keep;
}();

/// Where each state leads on one column.
XC_TARGET_AVX2 inline __m128i Column(std::uint8_t const* columns, std::uint32_t offset) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(columns + offset));
}

XC_TARGET_AVX2 inline void Step(__m128i& states, std::uint8_t const* columns, std::uint32_t offset) noexcept
{
    states = _mm_shuffle_epi8(Column(columns, offset), states);
}

/// Four steps: the columns are composed among themselves first, so that the chain of states is one shuffle long.
XC_TARGET_AVX2 inline void StepFour(__m128i& states, std::uint8_t const* columns, std::uint32_t a, std::uint32_t b,
                                    std::uint32_t c, std::uint32_t d) noexcept
{
    __m128i const ab = _mm_shuffle_epi8(Column(columns, b), Column(columns, a));
    __m128i const cd = _mm_shuffle_epi8(Column(columns, d), Column(columns, c));
    states = _mm_shuffle_epi8(_mm_shuffle_epi8(cd, ab), states);
}

/// Four units of the first page.
XC_TARGET_AVX2 inline void StepFourLatin(__m128i& states, std::uint8_t const* columns, std::uint16_t const* page,
                                         long long four) noexcept
{
    auto const units = static_cast<std::uint64_t>(four);
    StepFour(states, columns, page[units & 0xFF], page[units >> 16 & 0xFF], page[units >> 32 & 0xFF],
             page[units >> 48]);
}

/// Sixteen units, when all are of the first page.
XC_TARGET_AVX2 inline bool StepLatin(__m128i& states, std::uint8_t const* columns, std::uint16_t const* page,
                                     wchar_t const* text) noexcept
{
    __m256i const units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(text));
    if (_mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(0xFF00))) == 0) return false;
    __m128i const low = _mm256_castsi256_si128(units);
    __m128i const high = _mm256_extracti128_si256(units, 1);
    StepFourLatin(states, columns, page, _mm_cvtsi128_si64(low));
    StepFourLatin(states, columns, page, _mm_extract_epi64(low, 1));
    StepFourLatin(states, columns, page, _mm_cvtsi128_si64(high));
    StepFourLatin(states, columns, page, _mm_extract_epi64(high, 1));
    return true;
}

XC_TARGET_AVX2 inline std::uint32_t FirstState(__m128i const& states) noexcept
{
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(states)) & 0xFF;
}

} // namespace

struct Shuffle::Engine {
    Shuffle const& program;

    [[nodiscard]] std::uint32_t Start() const noexcept { return program.m_start; }
    [[nodiscard]] bool IsSettled(std::uint32_t state) const noexcept { return state <= program.m_lastSettled; }
    [[nodiscard]] bool IsAccepting(std::uint32_t state) const noexcept
    {
        return state >= program.m_firstAccepting || (program.m_hasStop && state == 1);
    }
    /// A subject of up to 16 units of the first page, without loops over units: the terminator's column keeps every
    /// state, so that whole groups of four can be read. Nothing when the subject is another one.
    [[nodiscard]] XC_TARGET_AVX2 std::optional<bool> MatchShort(wchar_t const* text, std::size_t limit) const noexcept
    {
        __m256i units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(text));
        __m256i const ends = _mm256_cmpeq_epi16(units, _mm256_setzero_si256());
        auto const mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(ends));
        std::size_t const n = static_cast<std::size_t>(std::countr_zero(mask)) / 2;
        if (n > limit || (n == 16 && (limit < 16 || (limit > 16 && text[16] != 0)))) return {};
        units = _mm256_and_si256(units, _mm256_loadu_si256(reinterpret_cast<__m256i const*>(&kKeep[16 - n])));
        if (_mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(0xFF00))) == 0) return {};
        std::uint8_t const* const columns = program.m_columns.data();
        std::uint16_t const* const page = program.m_map.Cells() + program.m_map.Pages()[0];
        __m128i states = _mm_set1_epi8(static_cast<char>(program.m_start));
        __m128i const low = _mm256_castsi256_si128(units);
        StepFourLatin(states, columns, page, _mm_cvtsi128_si64(low));
        if (n > 4) StepFourLatin(states, columns, page, _mm_extract_epi64(low, 1));
        if (n > 8) {
            __m128i const high = _mm256_extracti128_si256(units, 1);
            StepFourLatin(states, columns, page, _mm_cvtsi128_si64(high));
            if (n > 12) StepFourLatin(states, columns, page, _mm_extract_epi64(high, 1));
        }
        return IsAccepting(FirstState(states));
    }
    /// Sixteen units at a time; a state found again twice in a row is probably looping, and is scanned.
    [[nodiscard]] XC_TARGET_AVX2 std::uint32_t Run(std::uint32_t state, wchar_t const* text,
                                                   std::size_t n) const noexcept
    {
        std::uint8_t const* const columns = program.m_columns.data();
        UnitMap const& map = program.m_map;
        std::uint16_t const* const page = map.Cells() + map.Pages()[0];
        __m128i states = _mm_set1_epi8(static_cast<char>(state));
        wchar_t const* const end = text + n;
        std::uint32_t before = state;
        std::uint32_t beforeThat = kNoRow;
        while (end - text >= 16) {
            if (!StepLatin(states, columns, page, text))
                for (int i = 0; i < 16; i += 4)
                    StepFour(states, columns, map[text[i]], map[text[i + 1]], map[text[i + 2]], map[text[i + 3]]);
            text += 16;
            state = FirstState(states);
            if (IsSettled(state)) return state;
            if (state == before && state == beforeThat)
                if (std::uint32_t const scan = program.m_scans.OfRow(state); scan != 0)
                    text += program.m_scans.Skip(scan, text, static_cast<std::size_t>(end - text));
            beforeThat = std::exchange(before, state);
        }
        while (text != end) Step(states, columns, map[*text++]);
        return FirstState(states);
    }
};

bool Shuffle::Suits(ReducedDfa const& dfa) noexcept
{
    return dfa.rowCount <= kMaxRows && dfa.columnCount <= kMaxColumns && text::HasAvx2();
}

Shuffle::Shuffle(ReducedDfa const& dfa, LoopScans scans, UnitMap map)
    : m_map(std::move(map)), m_scans(std::move(scans)), m_start(dfa.start), m_firstAccepting(dfa.firstAccepting),
      m_lastSettled(dfa.LastSettled()), m_hasStop(dfa.hasStop),
      m_columns((static_cast<std::size_t>(dfa.columnCount) + 1) * kBytesPerColumn)
{
    m_map.SetTerminator(static_cast<std::uint16_t>(dfa.columnCount * kBytesPerColumn));
    for (std::uint32_t row = 0; row < kMaxRows; ++row)
        m_columns[dfa.columnCount * kBytesPerColumn + row] = static_cast<std::uint8_t>(row);
    for (std::uint32_t row = 0; row < dfa.rowCount; ++row)
        for (std::uint32_t column = 0; column < dfa.columnCount; ++column)
            m_columns[column * kBytesPerColumn + row] = static_cast<std::uint8_t>(dfa.Row(row)[column]);
}

bool Shuffle::Match(wchar_t const* text, std::size_t limit) const
{
    Engine const engine{*this};
    if (limit > 0 && text::MayReadVector(text))
        if (std::optional<bool> const result = engine.MatchShort(text, limit)) return *result;
    return WalkSubject(engine, m_start, text, limit);
}

} // namespace xc::match
