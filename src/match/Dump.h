// Dump.h - the two automata as text, and the way to the wide standard output.
#pragma once

#include "match/Dfa.h"

#include <string>
#include <string_view>

namespace xc::match {

/// One node of the intermediate automaton as it is shown.
struct NfaNode {
    std::uint32_t number;
    bool isClosure; ///< the set holds all nodes reached by epsilon transitions, not only the next ones
    XCNFANodeSet nodes;
};

std::wstring DumpNodes(Nfa const& nfa);
std::wstring DumpStates(Dfa const& dfa, UnitClasses const& classes);
std::wstring DumpStopFlags(Dfa const& dfa);

/// Writes to the wide standard output stream.
void WriteWideOut(std::wstring_view text);

} // namespace xc::match
