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
#include <emmintrin.h>
#include <numeric>
#include <utility>

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

/// Eight cells at a time: most pages are a few long stretches.
void FillCells(std::uint16_t* cells, std::size_t count, std::uint16_t value) noexcept
{
    __m128i const eight = _mm_set1_epi16(static_cast<short>(value));
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) _mm_storeu_si128(reinterpret_cast<__m128i*>(cells + i), eight);
    for (; i < count; ++i) cells[i] = value;
}

/// How many different pages a map may have: those with a border inside, and one between each two of them.
std::size_t MostPages(List<UnitClasses::Atom> const& atoms) noexcept
{
    std::size_t borderPages = 0;
    std::uint32_t last = 0xFFFFFFFF;
    for (UnitClasses::Atom const& atom : atoms) borderPages += std::exchange(last, atom.begin >> 8) != atom.begin >> 8;
    return std::min<std::size_t>(2 * borderPages + 1, 256);
}

} // namespace

UnitMap::UnitMap(UnitClasses const& classes, std::span<std::uint16_t const> valueOfClass, XCParsedRegEx const& parsed,
                 Memory memory)
    : m_cells(memory)
{
    XCCollatingTable<char> const* const table = parsed.GetCollatingTableP();
    XCCollatingTable<wchar_t> const* const wideTable = parsed.GetWCollatingTableP();
    std::vector<std::uint16_t> flat(table || wideTable ? kUnitCount : 0);
    List<UnitClasses::Atom> const& atoms = classes.Atoms();
    std::size_t atom = 0;
    m_cells.reserve(256 * (flat.empty() ? MostPages(atoms) : 2));
    bool uniform = false; // pages that lie in the atom of the page before are that page again
    for (std::uint32_t unit = 0; unit < kUnitCount; unit += 256) {
        if (classes.AtomEnd(atom) <= unit) {
            ++atom;
            uniform = false;
        }
        bool const inOneAtom = classes.AtomEnd(atom) >= unit + 256;
        if (flat.empty() && uniform && inOneAtom) {
            std::uint32_t const lastPage = (classes.AtomEnd(atom) >> 8) - 1;
            FillCells(&m_pages[unit >> 8], lastPage + 1 - (unit >> 8), m_pages[(unit >> 8) - 1]);
            unit = lastPage << 8;
            continue;
        }
        uniform = inOneAtom;
        std::uint16_t* const page = flat.empty() ? NewPage() : flat.data() + unit;
        for (std::uint32_t i = 0; i < 256;) {
            if (classes.AtomEnd(atom) <= unit + i) ++atom;
            std::uint32_t const end = std::min(256u, classes.AtomEnd(atom) - unit);
            FillCells(page + i, end - i, valueOfClass[atoms[atom].unitClass]);
            i = end;
        }
        if (flat.empty()) KeepPage(unit >> 8);
    }
    if (flat.empty()) return;
    for (std::uint32_t unit = 0; unit < kUnitCount; unit += 256) {
        std::uint16_t* const page = NewPage();
        for (std::uint32_t i = 0; i < 256; ++i) page[i] = flat[Translate(unit + i, table, wideTable)];
        KeepPage(unit >> 8);
    }
}

UnitMap UnitMap::OfClasses(UnitClasses const& classes, XCParsedRegEx const& parsed, Memory memory)
{
    std::vector<std::uint16_t> numbers(classes.Count());
    std::iota(numbers.begin(), numbers.end(), std::uint16_t{0});
    return UnitMap(classes, numbers, parsed, memory);
}

std::uint16_t* UnitMap::NewPage()
{
    m_cells.resize(m_cells.size() + 256);
    return m_cells.data() + m_cells.size() - 256;
}

/// The page written last stays when no page before it is the same.
void UnitMap::KeepPage(std::size_t page)
{
    // A walk over the kept pages: they are few, and this is done 256 times at most in the life of an expression.
    std::size_t const last = m_cells.size() - 256;
    std::uint16_t const* const cells = m_cells.data();
    std::size_t offset = 0;
    while (!std::equal(cells + offset, cells + offset + 256, cells + last)) offset += 256;
    m_pages[page] = static_cast<std::uint16_t>(offset);
    if (offset != last) m_cells.resize(last);
}

} // namespace xc::match
