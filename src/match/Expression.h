// Expression.h - a compiled expression: the program that matches and, to look at, the deterministic automaton.
#pragma once

#include "match/FindProgram.h"
#include "match/Growing.h"

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
    /// Builds the automaton when that was put off.
    [[nodiscard]] bool UsesStateSets() const { return m_growing ? m_growing->UsesSets() : m_usesSets; }
    [[nodiscard]] std::vector<XCRegEx::DfaState> States() const;
    [[nodiscard]] XCString DumpStates() const;
    /// Built at the first question.
    [[nodiscard]] FindProgram const& Finder() const;

private:
    /// What there is to look at: the automaton, none where the limits ended its construction, and the constant start.
    struct Sight {
        std::optional<Automaton> automaton;
        XCString constantStart;
    };

    [[nodiscard]] Sight const& Look() const;
    void MakeSimpleProgram();
    void MakeAutomaton();

    std::unique_ptr<Program const> m_program;
    Growing const* m_growing = nullptr; ///< the program, where it is one
    XCParsedRegEx m_parsed;             ///< what is needed later is built from it when it is first asked for
    XCRegEx::Limits m_limits;
    mutable std::mutex m_building;
    mutable std::unique_ptr<Sight> m_sight;
    mutable std::unique_ptr<FindProgram const> m_finder;
    bool m_tooLarge = false;
    bool m_usesSets = false;
};

} // namespace xc::match
