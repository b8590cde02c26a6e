// Expression.h - a compiled expression: the program that matches and, to look at, the deterministic automaton.
#pragma once

#include "match/Dfa.h"
#include "match/FindProgram.h"
#include "match/Plan.h"

#include <memory>
#include <mutex>
#include <optional>

namespace xc::match {

class Expression {
public:
    Expression(XCParsedRegEx const& parsed, bool debug, XCRegEx::Limits const& limits);
    Expression(Expression const&) = delete;
    Expression& operator=(Expression const&) = delete;

    [[nodiscard]] bool Match(wchar_t const* text) const { return m_program->Match(text); }
    [[nodiscard]] XCString ConstantStart() const;
    [[nodiscard]] bool IsTooLarge() const noexcept { return m_tooLarge; }
    [[nodiscard]] bool UsesStateSets() const noexcept { return m_usesSets; }
    [[nodiscard]] std::vector<XCRegEx::DfaState> States() const;
    [[nodiscard]] XCString DumpStates() const;
    /// Built at the first question.
    [[nodiscard]] FindProgram const& Finder() const;

private:
    struct Automaton {
        Automaton(Nfa const& nfa, XCRegEx::Limits const& limits, Memory memory);

        UnitClasses classes;
        NodeFacts facts;
        Dfa dfa;
    };

    /// What there is to look at: the automaton, none where the limits ended its construction, and the constant start.
    struct Sight {
        std::optional<Automaton> automaton;
        XCString constantStart;
    };

    [[nodiscard]] Sight const& Look() const;
    void MakeProgram(XCParsedRegEx const& parsed);
    void MakeTableProgram(XCParsedRegEx const& parsed, Automaton const& automaton, Memory memory);

    std::unique_ptr<Program const> m_program;
    XCParsedRegEx m_parsed; ///< what is needed later is built from it when it is first asked for
    XCRegEx::Limits m_limits;
    mutable std::mutex m_building;
    mutable std::unique_ptr<Sight> m_sight;
    mutable std::unique_ptr<FindProgram const> m_finder;
    bool m_tooLarge = false;
    bool m_usesSets = false;
};

} // namespace xc::match
