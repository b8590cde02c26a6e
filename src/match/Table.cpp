#include "match/Table.h"

namespace xc::match {

namespace {

constexpr std::uint32_t kNoRow = 0xFFFFFFFF;

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

    [[nodiscard]] std::uint32_t Start() const noexcept { return table.m_start; }
    [[nodiscard]] bool IsSettled(std::uint32_t state) const noexcept { return state <= table.m_lastSettled; }
    [[nodiscard]] bool IsAccepting(std::uint32_t state) const noexcept
    {
        return state >= table.m_firstAccepting || state == table.m_stopRow;
    }
    [[nodiscard]] bool Refuses(wchar_t const* text, std::size_t n) const noexcept
    {
        if (table.m_refusals.IsTooShort(n)) return true;
        return n > 0 && table.m_refusals.RefusesLast(table.m_map[text[n - 1]]);
    }
    /// Eight units at a time; a state found again after eight may be looping, and is scanned.
    [[nodiscard]] std::uint32_t Run(std::uint32_t state, wchar_t const* text, std::size_t n) const noexcept
    {
        std::uint16_t const* const pages = table.m_map.Pages();
        std::uint16_t const* const columns = table.m_map.Cells();
        auto const step = [&](wchar_t unit) {
            auto const u = static_cast<std::uint16_t>(unit);
            Cell const* const column = cells + columns[static_cast<std::size_t>(pages[u >> 8]) + (u & 0xFF)];
            state = column[state];
        };
        wchar_t const* const end = text + n;
        while (end - text >= 8) {
            std::uint32_t const before = state;
            for (int i = 0; i < 8; ++i) step(text[i]);
            text += 8;
            if (IsSettled(state)) return state;
            if (state == before)
                if (std::uint32_t const scan = cells[state + table.m_stride - 1]; scan != 0)
                    text += table.m_scans.Skip(scan, text, static_cast<std::size_t>(end - text));
        }
        while (text != end) step(*text++);
        return state;
    }
};

Table::Table(ReducedDfa const& dfa, LoopScans scans, UnitMap map)
    : m_map(std::move(map)), m_scans(std::move(scans)), m_refusals(dfa), m_start(0), m_firstAccepting(0),
      m_stopRow(kNoRow), m_lastSettled(0), m_stride(dfa.columnCount + 1)
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
    if (!m_narrow.empty()) return WalkSubject(Engine<std::uint16_t>{*this, m_narrow.data()}, text, limit);
    return WalkSubject(Engine<std::uint32_t>{*this, m_wide.data()}, text, limit);
}

} // namespace xc::match
