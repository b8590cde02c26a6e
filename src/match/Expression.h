// Expression.h - a compiled expression: everything Match needs, never changed after it is built.
#pragma once

#include "match/Dfa.h"
#include "match/Glob.h"
#include "match/Shuffle.h"
#include "match/StateSetMatcher.h"
#include "match/Table.h"

#include <optional>

namespace xc::match {

class Expression {
public:
    Expression(XCParsedRegEx const& parsed, bool debug, XCRegEx::Limits const& limits);
    Expression(Expression const&) = delete;
    Expression& operator=(Expression const&) = delete;

    /// @param limit the units to read at most; a terminator ends the subject earlier.
    [[nodiscard]] bool Match(wchar_t const* text, std::size_t limit) const;
    [[nodiscard]] XCString ConstantStart() const { return m_constantStart; }
    [[nodiscard]] bool IsTooLarge() const noexcept { return m_tooLarge; }
    [[nodiscard]] bool UsesStateSets() const noexcept { return m_sets.has_value(); }
    [[nodiscard]] std::vector<XCRegEx::DfaState> States() const;
    [[nodiscard]] XCString DumpStates() const;

private:
    void BuildProgram(XCParsedRegEx const& parsed);

    std::optional<Glob> m_glob;       ///< literals and gaps: no automaton is needed to match
    std::optional<Shuffle> m_shuffle; ///< else: up to 16 states, processor permitting
    std::optional<Table> m_table;     ///< else: any number of states within the limits
    std::optional<StateSets> m_sets;  ///< else
    std::optional<UnitClasses> m_classes;
    Dfa m_dfa;
    XCString m_constantStart;
    bool m_tooLarge = false;
};

} // namespace xc::match
