// StateSetMatcher.h - matching without a deterministic automaton: sets of nodes, made as the subject asks for them.
//
// Sets and transitions met in a call are kept in a cache of fixed size that belongs to the call; a full cache is emptied.
// The answers, stop flags included, are those of the deterministic automaton. Linear in the subject, whatever happens.
#pragma once

#include "match/Plan.h"

#include <optional>

namespace xc::match {

/// A program that follows sets, and can be told to stop.
class SetProgram : public Program {
public:
    using Program::Program;
    struct Outcome {
        std::optional<bool> matches; ///< nothing when the work did not suffice
        std::size_t work = 0;        ///< about the time: one for a unit of the fastest program by sets
    };
    static constexpr std::size_t kAllWork = static_cast<std::size_t>(-1);

    /// Reads until the answer is known, or somewhat more work than this was done.
    [[nodiscard]] virtual Outcome Run(wchar_t const* text, std::size_t most) const = 0;
    [[nodiscard]] bool Match(wchar_t const* text) const final { return *Run(text, kAllWork).matches; }
};

struct StateSets : SetProgram {
    /// Copies what was built already.
    StateSets(XCParsedRegEx const& parsed, Nfa const& nodes, NodeFacts const& nodeFacts,
              UnitClasses const& unitClasses);
    /// The first unit that a stopping state need not lead to itself on.
    static constexpr std::uint32_t kUncommon = 0xFFFE;

    [[nodiscard]] Outcome Run(wchar_t const* text, std::size_t most) const override;
    /// Whether the set that these nodes reach stops the match.
    [[nodiscard]] bool StopsAt(NodeSetView nodes) const;

    Nfa nfa;
    NodeFacts facts;
    UnitClasses classes;
    UnitMap map; ///< from units of the subject to classes
};

} // namespace xc::match
