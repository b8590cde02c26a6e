#include "match/Table.h"

#include <array>
#include <cstring>
#include <utility>

namespace xc::match {

namespace {

template <class Cell>
std::vector<Cell> Lay(ReducedDfa const& dfa, LoopScans const& scans)
{
    std::uint32_t const stride = dfa.columnCount + 1;
    std::vector<Cell> cells;
    cells.reserve(static_cast<std::size_t>(dfa.rowCount) * stride);
    for (std::uint32_t row = 0; row < dfa.rowCount; ++row) {
        for (std::uint32_t const next : dfa.Row(row)) cells.push_back(static_cast<Cell>(next * stride));
        cells.push_back(static_cast<Cell>(scans.OfRow(row)));
    }
    return cells;
}

} // namespace

template <class Cell>
struct Table::Engine {
    Table const& table;
    Cell const* cells;
    std::uint16_t const* latin; ///< the columns of the first page

    static constexpr std::size_t kProbe = 64;  ///< units read one after the other between two rounds of lanes
    static constexpr std::size_t kGuess = 128; ///< units read before a lane
    static constexpr std::size_t kLanes = 4;
    static constexpr std::size_t kLane = 2048; ///< units of a lane

    [[nodiscard]] std::uint32_t Start() const noexcept { return table.m_start; }
    [[nodiscard]] bool IsSettled(std::uint32_t state) const noexcept { return state <= table.m_lastSettled; }
    [[nodiscard]] bool IsAccepting(std::uint32_t state) const noexcept
    {
        return state >= table.m_firstAccepting || state == table.m_stopRow;
    }
    /// Short subjects are read in one go; it is not worth looking for their end beforehand.
    [[nodiscard]] bool Match(wchar_t const* text, std::size_t limit) const noexcept
    {
        std::uint32_t state = Start();
        for (int blocks = 0; blocks < 4; ++blocks) {
            std::size_t const n = limit < 8 ? limit : 8;
            for (std::size_t i = 0; i < n; ++i) {
                if (text[i] == 0) return IsAccepting(state);
                Step(state, text[i]);
            }
            if (n < 8 || IsSettled(state)) return IsAccepting(state);
            text += n;
            limit -= n;
        }
        return WalkSubject(*this, state, text, limit);
    }
    void Step(std::uint32_t& state, wchar_t unit) const noexcept { state = (cells + table.m_map[unit])[state]; }

    /// Four units at once; those of the first page need no look-up of their page.
    void StepFour(std::uint32_t& state, wchar_t const* text) const noexcept
    {
        std::uint64_t units;
        std::memcpy(&units, text, sizeof units);
        if ((units & 0xFF00FF00FF00FF00) != 0) {
            for (int i = 0; i < 4; ++i) Step(state, text[i]);
            return;
        }
        state = (cells + latin[units & 0xFF])[state];
        state = (cells + latin[units >> 16 & 0xFF])[state];
        state = (cells + latin[units >> 32 & 0xFF])[state];
        state = (cells + latin[units >> 48])[state];
    }

    /// Long texts: by lanes where that works, else one unit after the other.
    [[nodiscard]] std::uint32_t Run(std::uint32_t state, wchar_t const* text, std::size_t n) const noexcept
    {
        bool agreed = true;
        while (n >= kProbe + kLanes * kLane && agreed) {
            std::size_t const done = RunSteps(state, text, n, kProbe);
            text += done;
            n -= done;
            if (IsSettled(state)) return state;
            if (n < kLanes * kLane) break;
            agreed = RunLanes(state, text);
            if (IsSettled(state)) return state;
            text += kLanes * kLane;
            n -= kLanes * kLane;
        }
        RunSteps(state, text, n, n);
        return state;
    }

    /// At least `least` of n units, eight at a time; a state found again twice in a row is probably looping, and is
    /// scanned. Returns how many were read; a settled state ends it early.
    std::size_t RunSteps(std::uint32_t& state, wchar_t const* text, std::size_t n, std::size_t least) const noexcept
    {
        std::uint32_t current = state; // kept in a register
        std::uint32_t before = current;
        std::uint32_t beforeThat = kNoRow;
        std::size_t i = 0;
        while (i < least && i + 8 <= n && !IsSettled(current)) {
            StepFour(current, text + i);
            StepFour(current, text + i + 4);
            i += 8;
            if (current == before && current == beforeThat)
                if (std::uint32_t const scan = cells[current + table.m_stride - 1]; scan != 0)
                    i += table.m_scans.Skip(scan, text + i, n - i);
            beforeThat = std::exchange(before, current);
        }
        if (least == n && !IsSettled(current))
            for (; i < n; ++i) Step(current, text[i]);
        state = current;
        return i;
    }

    /// Four stretches side by side, each but the first from a guessed state: a chain of look-ups waits for memory most
    /// of the time, four chains wait together. A wrong guess is run again from the right state. False when one was.
    bool RunLanes(std::uint32_t& state, wchar_t const* text) const noexcept
    {
        std::array<std::uint32_t, kLanes> const guesses = Guess(state, text);
        std::uint32_t a = state, b = guesses[1], c = guesses[2], d = guesses[3];
        static_assert(kLanes == 4);
        for (std::size_t i = 0; i < kLane; i += 8) {
            for (std::size_t k = i; k < i + 8; k += 4) {
                StepFour(a, text + k);
                StepFour(b, text + k + kLane);
                StepFour(c, text + k + 2 * kLane);
                StepFour(d, text + k + 3 * kLane);
            }
            if (IsSettled(a)) {
                state = a;
                return true;
            }
        }
        std::array<std::uint32_t, kLanes> const ends{a, b, c, d};
        bool agreed = true;
        state = a;
        for (std::size_t lane = 1; lane < kLanes; ++lane) {
            bool const right = state == guesses[lane];
            if (right)
                state = ends[lane];
            else
                RunSteps(state, text + lane * kLane, kLane, kLane);
            agreed = agreed && right;
        }
        return agreed;
    }
    /// The states at the lanes' beginnings, found by reading a little before them: most automata forget where they
    /// started. A way that ends is begun again from the start state.
    [[nodiscard]] std::array<std::uint32_t, kLanes> Guess(std::uint32_t state, wchar_t const* text) const noexcept
    {
        std::array<std::uint32_t, kLanes> guesses{state, state, state, state};
        for (wchar_t const* at = text - kGuess; at != text; ++at) {
            for (std::size_t lane = 1; lane < kLanes; ++lane) {
                Step(guesses[lane], at[lane * kLane]);
                if (IsSettled(guesses[lane])) guesses[lane] = table.m_start;
            }
        }
        return guesses;
    }
};

Table::Table(ReducedDfa const& dfa, LoopScans scans, UnitMap map)
    : m_map(std::move(map)), m_scans(std::move(scans)), m_start(0), m_firstAccepting(0), m_stopRow(kNoRow),
      m_lastSettled(0), m_stride(dfa.columnCount + 1)
{
    m_start = dfa.start * m_stride;
    m_firstAccepting = dfa.firstAccepting * m_stride;
    if (dfa.hasStop) m_stopRow = m_stride;
    m_lastSettled = dfa.LastSettled() * m_stride;
    if (static_cast<std::uint64_t>(dfa.rowCount) * m_stride <= 0x10000)
        m_narrow = Lay<std::uint16_t>(dfa, m_scans);
    else
        m_wide = Lay<std::uint32_t>(dfa, m_scans);
}

bool Table::Match(wchar_t const* text, std::size_t limit) const
{
    std::uint16_t const* const latin = m_map.Cells() + m_map.Pages()[0];
    if (!m_narrow.empty()) return Engine<std::uint16_t>{*this, m_narrow.data(), latin}.Match(text, limit);
    return Engine<std::uint32_t>{*this, m_wide.data(), latin}.Match(text, limit);
}

} // namespace xc::match
