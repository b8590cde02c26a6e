// Literals.h - texts of which every match holds one, read off the syntax tree.
#pragma once

#include <XelbrinCore/XCRegExTree.h>

#include "match/Memory.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace xc::match {

/// A text, or as much of its beginning as is worth looking for.
struct Literal {
    static constexpr std::size_t kMax = 8;

    std::array<wchar_t, kMax> units{};
    std::size_t length = 0;
    bool open = true; ///< while it is collected: what follows in the pattern may extend it
};

/// One of these stands in every match. Empty when the pattern tells nothing of use.
struct Literals {
    /// With more texts nearly every place looks like one of them to the packed comparison.
    static constexpr std::size_t kMax = 128;
    /// So many are worth it where they are looked for beside the walk, and from classes.
    static constexpr std::size_t kFew = 16;

    explicit Literals(Memory memory) : texts(memory) {}

    List<Literal> texts;
    bool followGap = false; ///< the pattern is ".*" and then something that begins with one of these
};

/// How seldom a unit is met in texts, from 1 up.
std::uint32_t Rarity(wchar_t unit) noexcept;

/// Reads the best set of literals off the tree (not null).
Literals FindLiterals(XCRegExSyntaxNode const& root, Memory memory);

} // namespace xc::match
