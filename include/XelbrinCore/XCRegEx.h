// XCRegEx.h - regular expressions over UTF-16 code units that answer one question: does the whole subject match?
//
// WHAT     A pattern is read by a parser (XCStringRegExParser, or a subclass of XCRegExParserBase over any source of
//          units) into a syntax tree (XCParsedRegEx) and compiled into an XCRegEx. There is no search inside a longer
//          text, no capture and no replacement. docs/patterns.md holds the grammar and its odd rules.
//
//              XCRegEx const name(XCStringRegExParser(L"[a-z][a-z0-9_]*").Parse(), false);
//              bool const ok = name.Match(L"row_17");
//
// UNITS    Matching is by code unit: "." takes half of a surrogate pair. U+FFFF is in no set and never matched by "."
//          (but a rest that can no longer change the answer is not read, whatever it holds). A subject ends at its
//          first U+0000.
// COST     Match is one pass and never slower than linear; it allocates nothing unless UsesStateSets(). All work is
//          done at construction, which is bounded whatever the pattern. Copying an XCRegEx is one atomic increment.
// LIMITS   Groups nest up to XCRegExParserBase::kMaxNesting; deeper patterns are invalid. Counted repetition is
//          unfolded: an expression of more than XCRegEx::kMaxNodes nodes is too large and matches nothing
//          (IsTooLarge). An expression with more deterministic states than its limits allow is matched by sets of
//          states instead: the same answers, still linear, at a higher price for each unit.
// ERRORS   An invalid pattern gives a null tree and an expression that matches nothing. No memory: std::bad_alloc.
// THREADS  A parser belongs to one thread. Trees and compiled expressions are never changed after they are built and
//          may be used by any number of threads at once.
#pragma once

#include <XelbrinCore/XCNFANodeSet.h>
#include <XelbrinCore/XCRegExParser.h>
#include <XelbrinCore/XCRegExTree.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace xc::match {
class Expression;
}

/// A compiled expression.
class XC_API XCRegEx {
public:
    /// How many nodes the intermediate automaton may have.
    static constexpr std::uint32_t kMaxNodes = 1u << 17;

    /// How far the deterministic automaton may grow before matching falls back to sets of states.
    struct Limits {
        std::uint32_t states = 4096;    ///< in addition to one for every node of the intermediate automaton
        std::uint32_t bytes = 4u << 20; ///< of the transition table; its construction takes up to twice as much again
    };

    /// One transition: the units from first up to but not including end lead to the state with this number.
    struct DfaTransition {
        std::uint16_t first;  ///< The first unit of the range.
        std::uint16_t end;    ///< The unit after the last one of the range.
        std::uint32_t target; ///< The state that it leads to.
    };
    /// One deterministic state.
    struct DfaState {
        std::uint32_t number;                   ///< its position in the list
        bool accepting;                         ///< Whether a match may end here.
        bool stop;                              ///< the rest of the subject need not be read
        std::vector<DfaTransition> transitions; ///< disjoint, ascending; other units have none
    };

    /// Compiles. @param debug prints both automata on the wide standard output (see DumpNodes, DumpStates).
    XCRegEx(XCParsedRegEx const& parsed, bool debug);
    /// The same with limits of the caller's own.
    XCRegEx(XCParsedRegEx const& parsed, bool debug, Limits const& limits);
    XCRegEx(XCRegEx const& other);
    XCRegEx& operator=(XCRegEx const& other);
    virtual ~XCRegEx();

    /// Whether the whole subject, up to its terminator, matches.
    /// With a collating table each unit is translated first: by the character table units up to U+0100, through their
    /// low byte, to its code widened as a signed value; else by the wide table every unit. The tables are read once,
    /// at construction. @param subject null counts as empty.
    [[nodiscard]] bool Match(wchar_t const* subject) const;
    [[nodiscard]] bool Match(XCString const& subject) const;

    /// The first units of the first states: states in their order of creation, accepting ones passed over, up to the
    /// first one with more than one transition. When each of them has a single one-unit range this is the constant
    /// text that matches start with. "abc|abx" gives "ab", "abc|abd" gives "abc".
    [[nodiscard]] XCString GetConstantStart() const;

    /// Whether the expression is larger than the limits allow, so that it matches nothing.
    [[nodiscard]] bool IsTooLarge() const noexcept;
    /// Whether the automaton would have more states than the limits allow, so that matching follows sets of states.
    [[nodiscard]] bool UsesStateSets() const noexcept;

    /// The deterministic automaton, the start state first; empty when there is none (IsTooLarge, UsesStateSets). A pattern
    /// of literals and ".*" alone is matched without one: it is built, and kept, when it is first asked for.
    [[nodiscard]] std::vector<DfaState> GetStates() const;
    /// The deterministic automaton as the debug switch prints it, stop flags last.
    [[nodiscard]] XCString DumpStates() const;
    /// The intermediate automaton as the debug switch prints it.
    [[nodiscard]] static XCString DumpNodes(XCParsedRegEx const& parsed);

private:
    std::shared_ptr<xc::match::Expression const> m_expression;
    XCSmartPtrToConst<XCCollatingTable<char>> m_table;
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_wideTable;
};
