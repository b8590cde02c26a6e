// Divides the units into classes that no set of an expression tells apart, and maps units to numbers of classes.
//
// The borders of all sets cut the units into atoms. Every set then splits each class that it holds in part, by moving
// its atoms to a fresh class: partition refinement (Paige and Tarjan, 1987), with the sets as splitters. The automata
// are built over classes, of which there are a few dozen at most in practice, instead of over 65,536 units.
//
// COST      O(b log b) for b borders, and one visit for each atom of each set. Thousands of large sets would make the
//           visits quadratic: at kMaxFoldingWork folding is given up, and each atom is a class.
// MAP       256 pages of 256 units; equal pages are kept once, so that an expression over Latin letters has two or
//           three. Collating tables are composed into the map here, which makes translation free while matching.
// INVARIANT Two units of one class lie in exactly the same sets. Classes are numbered by their least unit.
#include "match/UnitClasses.h"

#include <algorithm>

namespace xc::match {

namespace {

constexpr std::uint32_t kUnitCount = 0x10000;
constexpr std::uint32_t kUnset = 0xFFFFFFFF;
/// How many times an atom may be looked at while folding: some milliseconds.
constexpr std::size_t kMaxFoldingWork = 1u << 20;

} // namespace

UnitClasses::UnitClasses(SetList const& sets, Memory memory)
    : m_atoms(memory), m_leastUnits(memory), m_setOffsets(memory), m_setClasses(memory)
{
    CutAtoms(sets);
    Fold(sets);
    Number();
    if (m_folded) ListSetClasses(sets);
}

void UnitClasses::CutAtoms(SetList const& sets)
{
    // Zero is a border whether a set begins there or not: the first atom has a beginning.
    List<std::uint32_t> borders(1, 0u, TheMemory());
    for (std::uint32_t set = 0; set < sets.Count(); ++set)
        for (auto const& range : sets[set]) borders.insert(borders.end(), {range.begin, range.end});
    std::sort(borders.begin(), borders.end());
    borders.erase(std::unique(borders.begin(), borders.end()), borders.end());
    m_atoms.reserve(borders.size());
    for (std::uint32_t const border : borders) m_atoms.push_back({border, 0});
}

std::size_t UnitClasses::AtomAt(std::uint32_t begin) const noexcept
{
    auto const at = std::lower_bound(m_atoms.begin(), m_atoms.end(), begin,
                                     [](Atom const& atom, std::uint32_t border) { return atom.begin < border; });
    return static_cast<std::size_t>(at - m_atoms.begin());
}

/// Each set splits every class that it holds in part: its atoms move to a fresh class.
void UnitClasses::Fold(SetList const& sets)
{
    List<std::uint32_t> moved(1, kUnset, TheMemory());
    List<std::uint32_t> touched(TheMemory());
    std::size_t work = 0;
    for (std::uint32_t set = 0; set < sets.Count(); ++set) {
        for (auto const& range : sets[set]) {
            for (std::size_t i = AtomAt(range.begin); i < m_atoms.size() && m_atoms[i].begin < range.end; ++i, ++work) {
                std::uint32_t const old = m_atoms[i].unitClass;
                if (moved[old] == kUnset) {
                    touched.push_back(old);
                    // A class that a set holds whole is moved whole: the number changes and nothing is split.
                    moved[old] = static_cast<std::uint32_t>(moved.size());
                    moved.push_back(kUnset);
                }
                m_atoms[i].unitClass = moved[old];
            }
        }
        // Only what this set has touched is put back, so a small set costs little among many classes.
        for (std::uint32_t const old : touched) moved[old] = kUnset;
        touched.clear();
        if (work > kMaxFoldingWork) {
            m_folded = false;
            // Finer classes than needed are still right: two units of one atom lie in the same sets.
            for (std::size_t i = 0; i < m_atoms.size(); ++i) m_atoms[i].unitClass = static_cast<std::uint32_t>(i);
            return;
        }
    }
}

void UnitClasses::Number()
{
    std::uint32_t highest = 0;
    for (Atom const& atom : m_atoms) highest = std::max(highest, atom.unitClass);
    List<std::uint32_t> numbers(highest + 1, kUnset, TheMemory());
    for (Atom& atom : m_atoms) {
        std::uint32_t& number = numbers[atom.unitClass];
        if (number == kUnset) {
            number = Count();
            m_leastUnits.push_back(atom.begin);
        }
        atom.unitClass = number;
    }
}

void UnitClasses::ListSetClasses(SetList const& sets)
{
    List<std::uint32_t> seenIn(Count(), kUnset, TheMemory());
    m_setOffsets.reserve(sets.Count() + 1);
    m_setOffsets.push_back(0);
    for (std::uint32_t set = 0; set < sets.Count(); ++set) {
        for (auto const& range : sets[set]) {
            for (std::size_t i = AtomAt(range.begin); i < m_atoms.size() && m_atoms[i].begin < range.end; ++i) {
                std::uint32_t const unitClass = m_atoms[i].unitClass;
                // The number of the set is the mark, so nothing has to be wiped between two sets.
                if (std::exchange(seenIn[unitClass], set) != set) m_setClasses.push_back(unitClass);
            }
        }
        m_setOffsets.push_back(static_cast<std::uint32_t>(m_setClasses.size()));
    }
}

namespace {

/// What a unit of the subject is read as.
std::uint16_t Translate(std::uint32_t unit, XCCollatingTable<char> const* table,
                        XCCollatingTable<wchar_t> const* wideTable) noexcept
{
    if (table) {
        if (unit > 0x0100) return static_cast<std::uint16_t>(unit);
        return static_cast<std::uint16_t>(static_cast<signed char>(table->Map(static_cast<char>(unit & 0xFF))));
    }
    return static_cast<std::uint16_t>(wideTable ? wideTable->Map(static_cast<wchar_t>(unit))
                                                : static_cast<wchar_t>(unit));
}

} // namespace

UnitMap::UnitMap(UnitClasses const& classes, std::span<std::uint16_t const> valueOfClass,
                 XCCollatingTable<char> const* table, XCCollatingTable<wchar_t> const* wideTable)
{
    std::vector<std::uint16_t> flat(table || wideTable ? kUnitCount : 0);
    std::array<std::uint16_t, 256> page;
    List<UnitClasses::Atom> const& atoms = classes.Atoms();
    std::size_t atom = 0;
    m_cells.reserve(std::size_t{2} * 256);
    bool uniform = false; // pages that lie in the atom of the page before are that page again
    for (std::uint32_t unit = 0; unit < kUnitCount; unit += 256) {
        if (classes.AtomEnd(atom) <= unit) {
            ++atom;
            uniform = false;
        }
        bool const inOneAtom = classes.AtomEnd(atom) >= unit + 256;
        if (flat.empty() && uniform && inOneAtom) {
            std::uint32_t const lastPage = (classes.AtomEnd(atom) >> 8) - 1;
            std::fill(m_pages.begin() + (unit >> 8), m_pages.begin() + lastPage + 1, m_pages[(unit >> 8) - 1]);
            unit = lastPage << 8;
            continue;
        }
        uniform = inOneAtom;
        for (std::uint32_t i = 0; i < 256;) {
            if (classes.AtomEnd(atom) <= unit + i) ++atom;
            std::uint32_t const end = std::min(256u, classes.AtomEnd(atom) - unit);
            std::fill(page.begin() + i, page.begin() + end, valueOfClass[atoms[atom].unitClass]);
            i = end;
        }
        if (flat.empty())
            AddPage(unit >> 8, page);
        else
            std::copy(page.begin(), page.end(), flat.begin() + unit);
    }
    if (flat.empty()) return;
    for (std::uint32_t unit = 0; unit < kUnitCount; unit += 256) {
        for (std::uint32_t i = 0; i < 256; ++i) page[i] = flat[Translate(unit + i, table, wideTable)];
        AddPage(unit >> 8, page);
    }
}

void UnitMap::AddPage(std::size_t page, std::span<std::uint16_t const, 256> cells)
{
    // A walk over the kept pages: they are few, and this is done 256 times in the life of an expression.
    for (std::size_t offset = 0; offset < m_cells.size(); offset += 256) {
        if (std::equal(cells.begin(), cells.end(), m_cells.begin() + static_cast<std::ptrdiff_t>(offset))) {
            m_pages[page] = static_cast<std::uint16_t>(offset);
            return;
        }
    }
    m_pages[page] = static_cast<std::uint16_t>(m_cells.size());
    m_cells.insert(m_cells.end(), cells.begin(), cells.end());
}

} // namespace xc::match
