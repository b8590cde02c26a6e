// Growing.h - an expression whose automaton is built when its calls have read enough to pay for it.
#pragma once

#include "match/Dfa.h"
#include "match/StateSetMatcher.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace xc::match {

/// The deterministic automaton as far as the limits let it grow, with what it was made from.
struct Automaton {
    Automaton(Nfa const& nfa, XCRegEx::Limits const& limits, Memory memory);

    UnitClasses classes;
    NodeFacts facts;
    Dfa dfa;
};

/// The program of an automaton that is complete.
std::unique_ptr<Program const> MakeDense(XCParsedRegEx const& parsed, Automaton const& automaton, Memory memory);

/// Follows sets first, and changes to the automaton once they have cost as much as building it.
class Growing : public Program {
public:
    /// @param nodeCount of the intermediate automaton, which is built again for the other.
    Growing(std::unique_ptr<SetProgram const> sets, XCParsedRegEx const& parsed, XCRegEx::Limits const& limits,
            std::uint32_t nodeCount);

    [[nodiscard]] bool Match(wchar_t const* text) const override;
    /// Whether the automaton goes beyond the limits: builds it as far as they let it grow.
    [[nodiscard]] bool UsesSets() const;

private:
    static constexpr std::uint64_t kNever = 0xFFFFFFFFFFFFFFFF;

    [[nodiscard]] bool Grow() const noexcept;
    void Build(XCRegEx::Limits const& limits) const;

    std::unique_ptr<SetProgram const> m_sets;
    XCParsedRegEx m_parsed;
    XCRegEx::Limits m_limits;
    mutable std::mutex m_building;
    mutable std::unique_ptr<Program const> m_dense;
    mutable std::atomic<Program const*> m_grown{nullptr}; ///< m_dense, for those who do not hold the lock
    mutable std::atomic<std::uint64_t> m_work{0};
    mutable std::atomic<std::uint64_t> m_next; ///< the work after which the automaton is tried again; kNever: settled
};

} // namespace xc::match
