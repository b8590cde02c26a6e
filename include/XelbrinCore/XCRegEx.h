// XCRegEx.h - regular expressions over UTF-16 code units: does the whole subject match, and where in a text are matches?
//
// WHAT     A pattern is read by a parser (XCStringRegExParser, or a subclass of XCRegExParserBase over any source of
//          units) into a syntax tree (XCParsedRegEx) and compiled into an XCRegEx. Match judges a whole subject; Find and
//          its like look for places in a text. docs/patterns.md holds the grammar, docs/finding.md the places.
//
//              XCRegEx const name(XCStringRegExParser(L"[a-z][a-z0-9_]*").Parse(), false);
//              bool const ok = name.Match(L"row_17");
//
// UNITS    Matching is by code unit: "." takes half of a surrogate pair. U+FFFF is in no set and never matched by "."
//          (but a rest that can no longer change the answer is not read, whatever it holds). A subject of
//          Match ends at its first U+0000.
// COST     Match is linear in the subject whatever the pattern: nanoseconds for ten units of most patterns, at worst (sets
//          of states, see UsesStateSets) a time for each unit that grows with the nodes, 2 ms for 60,000 of them.
//          Construction takes microseconds, at the limits 20 ms. Copying is one atomic increment.
//          Match allocates in three cases only:
//          - a view of more than 500 units is copied;
//          - sets of states with more than 256 transitions take memory in each call, up to 2 MiB;
//          - an automaton of more states than nodes is not built by the constructor. One call builds it when the calls
//            have cost as much, and takes longer for once: up to 70 ms and 10 MiB at the limits, next to nothing for most
//            patterns. Without memory it answers all the same, by sets.
//          UsesStateSets builds such an automaton at once: after it has said no, no Match of a terminated text allocates or
//          waits. Finding, GetStates, DumpStates and GetConstantStart build what they need at the first call.
// LIMITS   Groups nest up to XCRegExParserBase::kMaxNesting; deeper patterns are invalid. Counted repetition is
//          unfolded: an expression of more than XCRegEx::kMaxNodes nodes is too large and matches nothing
//          (IsTooLarge). An expression with more deterministic states than its limits allow is matched by sets of
//          states instead, with the same answers.
// ERRORS   An invalid pattern gives a null tree and an expression that matches nothing. Out of memory: std::bad_alloc.
// THREADS  A parser belongs to one thread. Trees and compiled expressions are never changed after they are built and
//          may be used by any number of threads at once.
#pragma once

#include <XelbrinCore/XCNFANodeSet.h>
#include <XelbrinCore/XCRegExFind.h>
#include <XelbrinCore/XCRegExParser.h>
#include <XelbrinCore/XCRegExTree.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace xc::match {
class Expression;
}

/// A compiled expression.
class XC_API XCRegEx {
public:
    /// How many nodes the intermediate automaton may have.
    static constexpr std::uint32_t kMaxNodes = 1u << 17;

    /// What FromPattern keeps at most: this many patterns,
    static constexpr std::size_t kKeptPatterns = 64;
    /// each of at most this many units.
    static constexpr std::size_t kKeptLength = 1024;

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
    /// The expression of a pattern: built at the first call, then taken from a cache that all threads share. It keeps the
    /// kKeptPatterns asked for last; patterns of more than kKeptLength units are built anew each time.
    [[nodiscard]] static XCRegEx FromPattern(XCString const& pattern);
    XCRegEx(XCRegEx const& other);
    XCRegEx& operator=(XCRegEx const& other);
    virtual ~XCRegEx();

    /// Whether the whole subject, up to its terminator, matches.
    /// With a collating table each unit is translated first: by the character table units up to U+0100, through their
    /// low byte, to its code widened as a signed value; else by the wide table every unit. The tables are read once,
    /// at construction. @param subject null counts as empty.
    [[nodiscard]] bool Match(wchar_t const* subject) const;
    [[nodiscard]] bool Match(XCString const& subject) const;
    /// The same for a view; one of more than 500 units is copied on the heap.
    template <std::same_as<std::wstring_view> View>
    [[nodiscard]] bool Match(View subject) const
    {
        return MatchView(subject);
    }

    // Finding. A text has a known length here, and its units may have any value: U+0000 is one of them. What finding
    // needs is built at the first question. Patterns of more than kMaxNodes states find nothing.

    /// The leftmost place from `from` on where a match begins, as long as it can be; it may be empty.
    /// Cost: linear in the text. In a loop over many places use FindAll, which reads the text twice in all.
    [[nodiscard]] XCRegExPlace Find(std::wstring_view text, std::size_t from = 0) const;
    /// All places one after the other: each is the leftmost longest one after the place before. An empty place that
    /// touches the place before is left out. Cost: linear in the text, and 8 bytes for each of its units.
    [[nodiscard]] std::vector<XCRegExPlace> FindAll(std::wstring_view text) const;
    /// The groups of a place: element 0 is the place, element n the nth pair of parentheses, with no place where it took
    /// no part. Left branches are preferred, and repetitions take as much as they can; of a repeated group the last pass
    /// counts. Empty when the place is no match. Cost: linear in the place.
    [[nodiscard]] std::vector<XCRegExPlace> FindGroups(std::wstring_view text, XCRegExPlace const& place) const;
    /// The number of pairs of parentheses; from the 65,536th on they are not counted.
    [[nodiscard]] std::uint32_t GetGroupCount() const;
    /// The text with every place of FindAll replaced. In the replacement $0 is the place, $1 to $9 are groups (nothing
    /// where one took no part), and $$ is a dollar; any other dollar stands for itself.
    [[nodiscard]] XCString Replace(std::wstring_view text, std::wstring_view replacement) const;
    /// What stands between the places of FindAll, empty places left out; one part more than there are places.
    [[nodiscard]] std::vector<XCString> Split(std::wstring_view text) const;

    /// The first units of the first states: states in their order of creation, accepting ones passed over, up to the
    /// first one with more than one transition. When each of them has a single one-unit range this is the constant
    /// text that matches start with. "abc|abx" gives "ab", "abc|abd" gives "abc".
    [[nodiscard]] XCString GetConstantStart() const;

    /// Whether the expression is larger than the limits allow, so that it matches nothing.
    [[nodiscard]] bool IsTooLarge() const noexcept;
    /// Whether the automaton would have more states than the limits allow, so that matching follows sets of states.
    /// Builds the automaton if that was put off; true when there is no memory for it.
    [[nodiscard]] bool UsesStateSets() const noexcept;

    /// The deterministic automaton, the start state first; empty when there is none (IsTooLarge, UsesStateSets). A pattern
    /// of literals and ".*" alone is matched without one: it is built, and kept, when it is first asked for.
    [[nodiscard]] std::vector<DfaState> GetStates() const;
    /// The deterministic automaton as the debug switch prints it, stop flags last.
    [[nodiscard]] XCString DumpStates() const;
    /// The intermediate automaton as the debug switch prints it.
    [[nodiscard]] static XCString DumpNodes(XCParsedRegEx const& parsed);

private:
    [[nodiscard]] bool MatchView(std::wstring_view subject) const;

    std::shared_ptr<xc::match::Expression const> m_expression;
    XCSmartPtrToConst<XCCollatingTable<char>> m_table;
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_wideTable;
};
