// Matches by one look-up a unit in a dense table, for automata too large for byte shuffles.
//
// A chain of look-ups waits for memory: each load needs the state of the load before. Three things shorten the wait.
// States are byte offsets of rows and columns are byte offsets within a row, so a step is one addition and one load; the
// column, which does not depend on the state, is loaded ahead. Long subjects are read in four lanes at once, each but
// the first from a guessed state, because the four chains wait together; a wrong guess is run again from the right
// state (speculative parallel automata: Mytkowicz and others, 2014). A state met again and again is scanned by vectors.
//
// GUESS     A unit that leads to one state from everywhere tells the state (the blank after a word); without such a
//           unit the lane is entered 128 units early, since most automata forget where they started.
// COST      1 ns a unit in one lane, about a third of it in four; linear, for a wrong lane is read twice at most.
// INVARIANT Rows up to m_lastSettled are left by no unit. The last cell of a row names the scan of its loop.
#include "match/Table.h"

#include <array>
#include <cstring>
#include <utility>

namespace xc::match {

namespace {

constexpr std::uint64_t kOnes = 0x0001000100010001; ///< four units
constexpr std::uint64_t kBeyondLatin = 0xFF00 * kOnes;

std::uint64_t FourUnits(wchar_t const* text) noexcept
{
    std::uint64_t units;
    std::memcpy(&units, text, sizeof units);
    return units;
}

template <class Cell>
class Table : public Program {
public:
    explicit Table(Blueprint const& plan);
    [[nodiscard]] bool Match(wchar_t const* text) const override;

    [[nodiscard]] bool IsSettled(std::uint32_t state) const noexcept { return state <= m_lastSettled; }
    [[nodiscard]] bool IsAccepting(std::uint32_t state) const noexcept
    {
        return state >= m_firstAccepting || state == m_stopRow;
    }
    [[nodiscard]] LoopScans const* SearchScans(std::uint32_t state) const noexcept
    {
        return state == m_searchState ? &m_scans : nullptr;
    }
    [[nodiscard]] LiteralFinder const& Needed() const noexcept { return m_needed; }
    /// Whether a look at the whole subject may tell that it does not match.
    [[nodiscard]] bool MayRefuse() const noexcept { return m_stopRow == kNoRow || !m_needed.IsEmpty(); }
    /// @param n all units of the subject, at least one.
    [[nodiscard]] bool Refuses(wchar_t const* subject, std::size_t n) const noexcept
    {
        std::uint32_t mayEnd = m_endRow;
        Step(mayEnd, subject[n - 1]);
        return (m_stopRow == kNoRow && mayEnd == 0) || m_needed.IsAbsent(subject, n);
    }
    /// Long texts: by lanes where that works, else one unit after the other.
    [[nodiscard]] std::uint32_t Run(std::uint32_t state, wchar_t const* text, std::size_t n) const noexcept;

private:
    static constexpr std::uint32_t kColumn = sizeof(Cell) == 2 ? 2 : 1; ///< of a column in the map
    static constexpr std::size_t kProbe = 64; ///< units read one after the other between two rounds of lanes
    static constexpr std::size_t kWhileSearchPays = static_cast<std::size_t>(-1);
    static constexpr std::size_t kGuess = 128; ///< units read before a lane whose beginning is a guess
    static constexpr std::size_t kLanes = 4;
    static constexpr std::size_t kLane = 2048;    ///< units of a lane at most
    static constexpr std::size_t kShortLane = 64; ///< and at least, where there are units that tell the state
    using LaneStates = std::array<std::uint32_t, kLanes>;

    /// States are offsets in bytes, so that the sum of cells and column does not wait for the state. Columns of narrow
    /// cells are, too; those of wide cells would not fit 16 bits.
    static std::uint32_t Next(Cell const* cells, std::uint32_t column, std::uint32_t state) noexcept
    {
        auto const* const at =
            reinterpret_cast<std::byte const*>(cells) + std::size_t{column} * (sizeof(Cell) / kColumn);
        return *reinterpret_cast<Cell const*>(at + state);
    }
    /// Units of the first page need no look-up of their page.
    void Step(std::uint32_t& state, wchar_t unit) const noexcept
    {
        state = Next(m_cells.data(), static_cast<std::uint16_t>(unit) < 0x100 ? m_latin[unit] : m_map[unit], state);
    }
    [[gnu::noinline]] bool Walk(std::uint32_t state, wchar_t const* text, wchar_t const* subject) const noexcept
    {
        return WalkSubject(*this, state, text, subject);
    }
    /// What steps over units of the first page need, in registers.
    struct Latin {
        Cell const* cells;
        std::uint16_t const* columns;

        void StepFour(std::uint32_t& state, std::uint64_t units) const noexcept
        {
            state = Next(cells, columns[units & 0xFF], state);
            state = Next(cells, columns[units >> 16 & 0xFF], state);
            state = Next(cells, columns[units >> 32 & 0xFF], state);
            state = Next(cells, columns[units >> 48], state);
        }
    };
    [[nodiscard, gnu::noinline]] std::uint32_t StepFour(std::uint32_t state, wchar_t const* text) const noexcept;
    std::size_t RunSteps(std::uint32_t& state, wchar_t const* text, std::size_t n, std::size_t least,
                         SearchPace pace = SearchPace()) const noexcept;
    bool RunLanes(std::uint32_t& state, wchar_t const* text, std::size_t lane) const noexcept;
    [[nodiscard]] LaneStates Guess(std::uint32_t state, wchar_t const* text, std::size_t lane) const noexcept;
    [[nodiscard]] std::uint32_t Tell(wchar_t const* text, std::size_t most) const noexcept;

    UnitMap m_map;
    std::uint16_t const* m_latin; ///< its first page
    LoopScans m_scans;
    LiteralFinder m_needed; ///< one of these stands in every match
    Opening m_opening;
    std::uint32_t m_start, m_afterOpening, m_firstAccepting, m_stopRow, m_lastSettled;
    std::uint32_t m_searchState; ///< that of the scan for literals
    std::uint32_t m_scanColumn;  ///< the last cell of a row names the scan of its loop
    /// After the rows of the states: where a column leads from all states that it does not end, 0 when there are several
    /// such places.
    std::uint32_t m_tellRow;
    std::uint32_t m_endRow; ///< after that: whether a column leads to an accepting state from anywhere
    bool m_tells = false;   ///< some column has one
    List<Cell> m_cells;
};

/// The row that the column leads to from all rows where it does not end the match; 0 when there are several.
std::uint32_t OnlyTarget(ReducedDfa const& dfa, std::uint32_t column) noexcept
{
    std::uint32_t target = 0;
    for (std::uint32_t row = dfa.LastSettled() + 1; row < dfa.rowCount; ++row) {
        std::uint32_t const next = dfa.Row(row)[column];
        // Row 0 is the dead one: a state that the unit ends is not a place that the unit leads to.
        if (next == 0 || next == target) continue;
        if (target != 0) return 0;
        target = next;
    }
    return target;
}

/// With the rows that tell places and ends, and the column of scans.
std::size_t CellCount(ReducedDfa const& dfa) noexcept
{
    return (std::size_t{dfa.rowCount} + 2) * (dfa.columnCount + 1);
}

template <class Cell>
Table<Cell>::Table(Blueprint const& plan)
    : Program(CellCount(plan.dfa) * sizeof(Cell) + 2048), m_map(plan.MapOfColumns(0, kColumn, Arrays())),
      m_latin(m_map.FirstPage()), m_scans(plan, Arrays()), m_needed(plan.NeededLiterals(), Arrays()), m_opening(plan),
      m_scanColumn(plan.dfa.columnCount * kColumn), m_cells(CellCount(plan.dfa), Arrays())
{
    ReducedDfa const& dfa = plan.dfa;
    std::uint32_t const stride = (dfa.columnCount + 1) * std::uint32_t{sizeof(Cell)};
    m_start = dfa.start * stride;
    m_afterOpening = m_opening.Row() * stride;
    m_firstAccepting = dfa.firstAccepting * stride;
    m_stopRow = dfa.hasStop ? stride : kNoRow;
    m_lastSettled = dfa.LastSettled() * stride;
    m_searchState = m_scans.SearchRow() == kNoRow ? kNoRow : m_scans.SearchRow() * stride;
    m_tellRow = dfa.rowCount * stride;
    m_endRow = m_tellRow + stride;
    Cell* cell = m_cells.data();
    Cell* const ends = cell + m_endRow / sizeof(Cell);
    for (std::uint32_t row = 0; row < dfa.rowCount; ++row) {
        std::span<std::uint32_t const> const targets = dfa.Row(row);
        for (std::size_t column = 0; column < targets.size(); ++column) {
            *cell++ = static_cast<Cell>(targets[column] * stride);
            if (targets[column] >= dfa.firstAccepting) ends[column] = 1;
        }
        *cell++ = static_cast<Cell>(m_scans.OfRow(row));
    }
    for (std::uint32_t column = 0; column < dfa.columnCount; ++column) {
        std::uint32_t const target = OnlyTarget(dfa, column);
        m_tells = m_tells || target != 0;
        *cell++ = static_cast<Cell>(target * stride);
    }
}

/// Short subjects are read in one go; it is not worth looking for their end beforehand.
template <class Cell>
bool Table<Cell>::Match(wchar_t const* text) const
{
    wchar_t const* const subject = text;
    std::uint32_t state = m_start;
    if (m_opening.Length() != 0 && text::MayReadVector(text)) {
        // One comparison of vectors refuses most subjects of patterns with a fixed beginning, before any state is
        // looked at.
        if (!m_opening.Fits(text)) return false;
        text += m_opening.Length();
        state = m_afterOpening;
    }
    Latin const latin{m_cells.data(), m_latin};
    // Only while the vector lies within a page: what stands behind the terminator may belong to nobody.
    for (int blocks = 0; blocks < 4 && text::MayReadVector(text); ++blocks) {
        for (wchar_t const* const end = text + 16; text != end; text += 4) {
            std::uint64_t const units = FourUnits(text);
            if (((units | (units - kOnes)) & kBeyondLatin) == 0) { // none is the terminator
                latin.StepFour(state, units);
                continue;
            }
            for (int i = 0; i < 4; ++i) {
                if (text[i] == 0) return IsAccepting(state);
                Step(state, text[i]);
            }
        }
        if (IsSettled(state)) return IsAccepting(state);
    }
    return Walk(state, text, subject);
}

template <class Cell>
auto Table<Cell>::StepFour(std::uint32_t state, wchar_t const* text) const noexcept -> std::uint32_t
{
    for (int i = 0; i < 4; ++i) Step(state, text[i]);
    return state;
}

template <class Cell>
std::uint32_t Table<Cell>::Run(std::uint32_t state, wchar_t const* text, std::size_t n) const noexcept
{
    std::size_t const leastLane = m_tells ? kShortLane : kLane;
    // What is passed over by searching need not be read in four places.
    std::size_t const least = m_searchState == kNoRow ? kProbe : kWhileSearchPays;
    SearchPace pace(m_scans.PayingSkip());
    bool agreed = true;
    while (n >= kProbe + kLanes * leastLane && agreed) {
        std::size_t const done = RunSteps(state, text, n, least, pace);
        pace.Doubt();
        text += done;
        n -= done;
        if (IsSettled(state)) return state;
        // A multiple of eight, so that every lane is read by whole groups.
        std::size_t const lane = std::min(kLane, n / kLanes & ~std::size_t{7});
        if (lane < leastLane) break;
        agreed = RunLanes(state, text, lane);
        if (IsSettled(state)) return state;
        text += kLanes * lane;
        n -= kLanes * lane;
    }
    RunSteps(state, text, n, n);
    return state;
}

/// At least `least` of n units, eight at a time; a state found again twice in a row is probably looping, and is
/// scanned. Returns how many were read; a settled state ends it early, and so does a poor search if asked.
template <class Cell>
std::size_t Table<Cell>::RunSteps(std::uint32_t& state, wchar_t const* text, std::size_t n, std::size_t least,
                                  SearchPace pace) const noexcept
{
    Latin const latin{m_cells.data(), m_latin};
    std::uint32_t current = state; // kept in a register
    std::uint32_t before = current;
    std::uint32_t beforeThat = kNoRow;
    std::size_t i = 0;
    while (i < least && i + 8 <= n && !IsSettled(current) && !(least == kWhileSearchPays && pace.IsPoor(i))) {
        for (std::size_t const end = i + 8; i != end; i += 4) {
            std::uint64_t const units = FourUnits(text + i);
            if ((units & kBeyondLatin) == 0)
                latin.StepFour(current, units);
            else
                current = StepFour(current, text + i);
        }
        bool const searches = current == m_searchState;
        if (searches ? pace.MaySearch(i) : current == before && current == beforeThat) {
            std::uint32_t const scan = Next(m_cells.data(), m_scanColumn, current);
            std::size_t const skipped = scan != 0 ? m_scans.Skip(scan, text + i, n - i) : 0;
            i += skipped;
            if (searches) pace.Note(i, skipped);
        }
        // Twice in a row, because two equal states eight units apart are common in texts that merely have a rhythm.
        beforeThat = std::exchange(before, current);
    }
    if (least == n && !IsSettled(current))
        for (; i < n; ++i) Step(current, text[i]);
    state = current;
    return i;
}

/// Four stretches side by side, each but the first from a guessed state: a chain of look-ups waits for memory most
/// of the time, four chains wait together. A wrong guess is run again from the right state. False when one was.
template <class Cell>
bool Table<Cell>::RunLanes(std::uint32_t& state, wchar_t const* text, std::size_t lane) const noexcept
{
    LaneStates const guesses = Guess(state, text, lane);
    Latin const latin{m_cells.data(), m_latin};
    std::uint32_t a = state, b = guesses[1], c = guesses[2], d = guesses[3];
    static_assert(kLanes == 4);
    for (wchar_t const* at = text; at != text + lane; at += 4) {
        std::uint64_t const unitsA = FourUnits(at);
        std::uint64_t const unitsB = FourUnits(at + lane);
        std::uint64_t const unitsC = FourUnits(at + 2 * lane);
        std::uint64_t const unitsD = FourUnits(at + 3 * lane);
        if (((unitsA | unitsB | unitsC | unitsD) & kBeyondLatin) == 0) {
            latin.StepFour(a, unitsA);
            latin.StepFour(b, unitsB);
            latin.StepFour(c, unitsC);
            latin.StepFour(d, unitsD);
        } else {
            a = StepFour(a, at);
            b = StepFour(b, at + lane);
            c = StepFour(c, at + 2 * lane);
            d = StepFour(d, at + 3 * lane);
        }
        // Only the first lane is known to be right: what the others settle on counts after their guess has been
        // confirmed.
        if (IsSettled(a)) {
            state = a;
            return true;
        }
    }
    LaneStates const ends{a, b, c, d};
    bool agreed = true;
    state = a;
    for (std::size_t i = 1; i < kLanes; ++i) {
        bool const right = state == guesses[i];
        if (right)
            state = ends[i];
        else
            RunSteps(state, text + i * lane, lane, lane);
        agreed = agreed && right;
    }
    return agreed;
}

/// The states at the lanes' beginnings: what a unit before them tells, or found by reading a little before them, because
/// most automata forget where they started. A way that ends is begun again from the start state.
template <class Cell>
auto Table<Cell>::Guess(std::uint32_t state, wchar_t const* text, std::size_t lane) const noexcept -> LaneStates
{
    if (m_tells) return {state, Tell(text + lane, lane), Tell(text + 2 * lane, lane), Tell(text + 3 * lane, lane)};
    LaneStates guesses{state, state, state, state};
    for (wchar_t const* at = text + lane - kGuess; at != text + lane; ++at) {
        for (std::size_t i = 1; i < kLanes; ++i) {
            Step(guesses[i], at[(i - 1) * lane]);
            // A guess that has died says only that it did not start where the real one did.
            if (IsSettled(guesses[i])) guesses[i] = m_start;
        }
    }
    return guesses;
}

/// The state after the nearest of the `most` units before a place that tells it; the start state when none does.
template <class Cell>
std::uint32_t Table<Cell>::Tell(wchar_t const* text, std::size_t most) const noexcept
{
    for (std::size_t back = 1; back <= most; ++back) {
        std::uint32_t state = m_tellRow;
        Step(state, text[-static_cast<std::ptrdiff_t>(back)]);
        if (state == 0) continue;
        while (--back > 0) Step(state, text[-static_cast<std::ptrdiff_t>(back)]);
        return state;
    }
    return m_start;
}

} // namespace

std::unique_ptr<Program const> MakeTable(Blueprint const& plan)
{
    // Narrow cells while every offset fits 16 bits: half the memory is twice the automaton in the cache.
    if (CellCount(plan.dfa) * sizeof(std::uint16_t) <= 0x10000) return std::make_unique<Table<std::uint16_t>>(plan);
    return std::make_unique<Table<std::uint32_t>>(plan);
}

} // namespace xc::match
