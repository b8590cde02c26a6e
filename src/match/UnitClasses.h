// UnitClasses.h - units that no set of an expression tells apart fold into one class.
//
// The borders of all sets cut the units into atoms (stretches that every set holds wholly or not at all); atoms that lie
// in the same sets are one class. Classes are numbered by their least unit.
#pragma once

#include "match/Nfa.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace xc::match {

class UnitClasses {
public:
    UnitClasses(SetList const& sets, Memory memory);

    /// Units [begin, the next atom's begin) are of this class; the atoms cover 0 to 0xFFFF.
    struct Atom {
        std::uint32_t begin;
        std::uint32_t unitClass;
    };
    [[nodiscard]] List<Atom> const& Atoms() const noexcept { return m_atoms; }
    [[nodiscard]] std::uint32_t AtomEnd(std::size_t i) const noexcept
    {
        return i + 1 < m_atoms.size() ? m_atoms[i + 1].begin : 0x10000;
    }
    /// The atom that begins at this border of a set.
    [[nodiscard]] std::size_t AtomAt(std::uint32_t begin) const noexcept;
    [[nodiscard]] std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(m_leastUnits.size()); }
    /// The least unit of a class, which stands for all of them.
    [[nodiscard]] std::uint32_t LeastUnit(std::uint32_t unitClass) const noexcept { return m_leastUnits[unitClass]; }
    /// The classes a set consists of. Only when IsFolded.
    [[nodiscard]] std::span<std::uint32_t const> ClassesOf(std::uint32_t set) const noexcept
    {
        return {m_setClasses.data() + m_setOffsets[set], m_setClasses.data() + m_setOffsets[set + 1]};
    }
    /// False when there are so many sets that folding was given up: every atom is a class of its own then.
    [[nodiscard]] bool IsFolded() const noexcept { return m_folded; }

private:
    void CutAtoms(SetList const& sets);
    void Fold(SetList const& sets);
    void Number();
    void ListSetClasses(SetList const& sets);

    [[nodiscard]] Memory TheMemory() const { return m_atoms.get_allocator().resource(); }

    List<Atom> m_atoms;
    List<std::uint32_t> m_leastUnits;
    List<std::uint32_t> m_setOffsets;
    List<std::uint32_t> m_setClasses;
    bool m_folded = true;
};

/// A number for every unit of a subject, by pages of 256 units; equal pages are kept once. The collating tables are
/// folded in, so that translation costs nothing while matching.
class UnitMap {
public:
    /// @param valueOfClass what a unit of each class maps to. @param parsed has the collating tables, or none.
    UnitMap(UnitClasses const& classes, std::span<std::uint16_t const> valueOfClass, XCParsedRegEx const& parsed,
            Memory memory);
    /// From units to the numbers of their classes.
    [[nodiscard]] static UnitMap OfClasses(UnitClasses const& classes, XCParsedRegEx const& parsed, Memory memory);

    [[nodiscard]] std::uint16_t operator[](wchar_t unit) const noexcept
    {
        auto const u = static_cast<std::uint16_t>(unit);
        return m_cells[static_cast<std::size_t>(m_pages[u >> 8]) + (u & 0xFF)];
    }
    /// The numbers of the units below 0x100, for inner loops.
    [[nodiscard]] std::uint16_t const* FirstPage() const noexcept { return m_cells.data() + m_pages[0]; }

private:
    std::uint16_t* NewPage();
    void KeepPage(std::size_t page);

    std::array<std::uint16_t, 256> m_pages{};
    List<std::uint16_t> m_cells;
};

} // namespace xc::match
