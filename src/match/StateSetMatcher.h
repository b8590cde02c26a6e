// StateSetMatcher.h - matching without a deterministic automaton: sets of nodes, made as the subject asks for them.
//
// Sets and transitions met in a call are kept in a cache of fixed size that belongs to the call; a full cache is emptied.
// The answers, stop flags included, are those of the deterministic automaton. Linear in the subject, whatever happens.
#pragma once

#include "match/NodeSets.h"
#include "match/UnitClasses.h"

namespace xc::match {

struct StateSets {
    Nfa nfa;
    NodeFacts facts;
    UnitClasses classes;
    UnitMap map; ///< from units of the subject to classes

    /// @param limit the units to read at most; a terminator ends the subject earlier.
    [[nodiscard]] bool Match(wchar_t const* text, std::size_t limit) const;
};

} // namespace xc::match
