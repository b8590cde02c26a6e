// Expression.h - a compiled expression: the program that matches and, to look at, the deterministic automaton.
#pragma once

#include "match/Dfa.h"
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

private:
    struct Automaton {
        Automaton(Nfa const& nfa, NodeFacts const& facts, XCRegEx::Limits const& limits);
        /// Keeps nothing but the constant start: the limits ended the construction.
        void Forget();

        std::optional<UnitClasses> classes; ///< none when forgotten
        Dfa dfa;
        XCString constantStart; ///< when forgotten
    };

    [[nodiscard]] Automaton const& GetAutomaton() const;
    void MakeProgram(XCParsedRegEx const& parsed);
    void MakeTableProgram(XCParsedRegEx const& parsed);

    std::unique_ptr<Program const> m_program;
    /// Literals and gaps are matched without an automaton: it is built from the tree when it is first asked for.
    XCSmartPtr<XCRegExSyntaxNode> m_globRoot;
    XCRegEx::Limits m_limits;
    mutable std::mutex m_building;
    mutable std::unique_ptr<Automaton> m_automaton;
    bool m_tooLarge = false;
    bool m_usesSets = false;
};

} // namespace xc::match
