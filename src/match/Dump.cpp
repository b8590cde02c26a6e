// Prints the two automata in their fixed text forms.
//
// Nodes are printed with their closures, which are followed here by themselves: the construction keeps only the nodes
// that matter, in other forms. Large automata show direct transitions instead, because the text of all closures grows
// with the square of the nodes. Units from 0x20 to 0xFF stand for themselves, the others as \x and four digits.
//
// COST      O(nodes + transitions) with direct transitions; O(nodes^2) for closures of up to kMaxClosuresShown nodes.
#include "match/Dump.h"

#include "text/HexText.h"
#include "text/NumberText.h"

namespace xc::match {

using text::AppendHex;
using text::AppendNumber;

namespace {

/// Closures of larger automata are not spelled out: their text would grow with the square of the nodes.
constexpr std::uint32_t kMaxClosuresShown = 1024;

void AppendUnit(std::wstring& text, std::uint32_t unit)
{
    if (unit >= 0x20 && unit <= 0xFF) {
        if (unit == L'\\' || unit == L'[' || unit == L']') text += L'\\';
        text += static_cast<wchar_t>(unit);
        return;
    }
    text += L"\\x";
    AppendHex(text, unit, 4);
}

void AppendRange(std::wstring& text, std::uint32_t first, std::uint32_t end)
{
    AppendUnit(text, first);
    if (end - first > 2) text += L'-';
    if (end - first > 1) AppendUnit(text, end - 1);
}

/// The epsilon transitions of a node, followed to their end when `closure`.
NfaNode NodeOf(Nfa const& nfa, std::uint32_t number, bool closure)
{
    NfaNode node{number, closure, {}};
    std::vector<std::uint32_t> pending{number};
    if (closure) node.nodes.Insert(number);
    while (!pending.empty()) {
        std::uint32_t const from = pending.back();
        pending.pop_back();
        for (NfaEdge const& edge : nfa.Edges(from))
            if (edge.set == kEpsilon && node.nodes.Insert(edge.to) && closure) pending.push_back(edge.to);
    }
    return node;
}

} // namespace

std::wstring DumpNodes(Nfa const& nfa)
{
    std::wstring text;
    bool const closures = nfa.NodeCount() <= kMaxClosuresShown;
    for (std::uint32_t number = 0; number < nfa.NodeCount(); ++number) {
        NfaNode const node = NodeOf(nfa, number, closures);
        AppendNumber(text, node.number);
        text += node.isClosure ? L":\n    e-closure = {" : L":\n    e-transtions = {";
        wchar_t const* separator = L"";
        for (unsigned int const member : node.nodes) {
            text += separator;
            AppendNumber(text, member);
            separator = L", ";
        }
        text += L'\n';
    }
    return text;
}

std::wstring DumpStates(Dfa const& dfa, UnitClasses const& classes)
{
    std::wstring text;
    for (std::uint32_t state = 0; state < dfa.StateCount(); ++state) {
        AppendNumber(text, state);
        text += dfa.accepting[state] ? L"*:\n" : L":\n";
        for (auto const& transition : TransitionsOf(dfa, classes, state)) {
            text += L"    ";
            AppendRange(text, transition.first, transition.end);
            text += L" --> ";
            AppendNumber(text, transition.target);
            text += L'\n';
        }
    }
    return text;
}

std::wstring DumpStopFlags(Dfa const& dfa)
{
    std::wstring text;
    for (std::uint32_t state = 0; state < dfa.StateCount(); ++state) {
        text += L"Node ";
        AppendNumber(text, state);
        text += dfa.stop[state] ? L" : STOP\n" : L" : Continue\n";
    }
    return text;
}

} // namespace xc::match
