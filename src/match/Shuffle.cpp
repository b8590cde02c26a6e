#include "match/Shuffle.h"

#include "text/Cpu.h"

#include <cstring>
#include <immintrin.h>

namespace xc::match {

namespace {

/// One step of all 16 states at once.
XC_TARGET_AVX2 inline void StepColumn(__m128i& states, std::uint8_t const* columns, std::uint32_t offset) noexcept
{
    states = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(columns + offset)), states);
}

/// Sixteen units of the first page, four in a register at a time.
XC_TARGET_AVX2 inline void StepLatin(__m128i& states, std::uint8_t const* columns, std::uint16_t const* page,
                                     wchar_t const* text) noexcept
{
    for (int i = 0; i < 16; i += 4) {
        std::uint64_t units;
        std::memcpy(&units, text + i, sizeof units);
        StepColumn(states, columns, page[units & 0xFF]);
        StepColumn(states, columns, page[units >> 16 & 0xFF]);
        StepColumn(states, columns, page[units >> 32 & 0xFF]);
        StepColumn(states, columns, page[units >> 48]);
    }
}

XC_TARGET_AVX2 inline bool IsLatin(wchar_t const* text) noexcept
{
    __m256i const units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(text));
    return _mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(0xFF00))) != 0;
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
    [[nodiscard]] bool Refuses(wchar_t const* text, std::size_t n) const noexcept
    {
        if (program.m_refusals.IsTooShort(n)) return true;
        return n > 0 && program.m_refusals.RefusesLast(program.m_map[text[n - 1]] / kBytesPerColumn);
    }
    /// Sixteen units at a time; a state found again after sixteen may be looping, and is scanned.
    [[nodiscard]] XC_TARGET_AVX2 std::uint32_t Run(std::uint32_t state, wchar_t const* text,
                                                   std::size_t n) const noexcept
    {
        std::uint8_t const* const columns = program.m_columns.data();
        std::uint16_t const* const page = program.m_map.Cells() + program.m_map.Pages()[0];
        __m128i states = _mm_set1_epi8(static_cast<char>(state));
        wchar_t const* const end = text + n;
        while (end - text >= 16) {
            std::uint32_t const before = state;
            if (IsLatin(text))
                StepLatin(states, columns, page, text);
            else
                for (int i = 0; i < 16; ++i) StepColumn(states, columns, program.m_map[text[i]]);
            text += 16;
            state = FirstState(states);
            if (IsSettled(state)) return state;
            if (state == before)
                if (std::uint32_t const scan = program.m_scans.OfRow(state); scan != 0)
                    text += program.m_scans.Skip(scan, text, static_cast<std::size_t>(end - text));
        }
        while (text != end) StepColumn(states, columns, program.m_map[*text++]);
        return FirstState(states);
    }
};

bool Shuffle::Suits(ReducedDfa const& dfa) noexcept
{
    return dfa.rowCount <= kMaxRows && dfa.columnCount <= kMaxColumns && text::HasAvx2();
}

Shuffle::Shuffle(ReducedDfa const& dfa, LoopScans scans, UnitMap map)
    : m_map(std::move(map)), m_scans(std::move(scans)), m_refusals(dfa), m_start(dfa.start),
      m_firstAccepting(dfa.firstAccepting), m_lastSettled(dfa.LastSettled()), m_hasStop(dfa.hasStop),
      m_columns(static_cast<std::size_t>(dfa.columnCount) * kBytesPerColumn)
{
    for (std::uint32_t row = 0; row < dfa.rowCount; ++row)
        for (std::uint32_t column = 0; column < dfa.columnCount; ++column)
            m_columns[column * kBytesPerColumn + row] = static_cast<std::uint8_t>(dfa.Row(row)[column]);
}

bool Shuffle::Match(wchar_t const* text, std::size_t limit) const
{
    return WalkSubject(Engine{*this}, text, limit);
}

} // namespace xc::match
