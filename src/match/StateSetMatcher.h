// StateSetMatcher.h - matching without a deterministic automaton: sets of nodes, made as the subject asks for them.
//
// Sets and transitions met in a call are kept in a cache of fixed size that belongs to the call; a full cache is emptied.
// The answers, stop flags included, are those of the deterministic automaton. Linear in the subject, whatever happens.
#pragma once

#include "match/Plan.h"

namespace xc::match {

struct StateSets : Program {
    /// Copies what was built already, onto the heap.
    StateSets(XCParsedRegEx const& parsed, Nfa const& nodes, NodeFacts const& nodeFacts,
              UnitClasses const& unitClasses);
    /// The first unit that a stopping state need not lead to itself on.
    static constexpr std::uint32_t kUncommon = 0xFFFE;

    [[nodiscard]] bool Match(wchar_t const* text) const override;
    /// Whether the set that these nodes reach stops the match.
    [[nodiscard]] bool StopsAt(NodeSetView nodes) const;

    Nfa nfa;
    NodeFacts facts;
    UnitClasses classes;
    UnitMap map; ///< from units of the subject to classes
};

} // namespace xc::match
