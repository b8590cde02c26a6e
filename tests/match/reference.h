// A slow, obvious matcher over the syntax tree, and the automaton's algorithm walked step by step over its public
// states: what every engine is compared with. Beside them makers of patterns and subjects.
#pragma once

#include <XelbrinCore/XCRegEx.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace reference {

using Node = XCRegExSyntaxNode;
/// For each position 0 to n: whether it is in the set.
using Places = std::vector<bool>;

/// Where the node's matches that begin at `starts` can end.
inline Places Ends(Node const& node, std::wstring const& text, Places const& starts)
{
    Places ends(text.size() + 1);
    auto const child = [&](XCSmartPtr<Node> const& c, Places const& from) { return Ends(*c.GetPtr(), text, from); };
    auto const unite = [](Places& to, Places const& from) {
        for (std::size_t i = 0; i < to.size(); ++i) to[i] = to[i] || from[i];
    };
    switch (node.GetType()) {
    case Node::NodeType::CharSetNode:
        for (std::size_t i = 0; i < text.size(); ++i)
            ends[i + 1] = starts[i] && static_cast<Node::CharSetNode const&>(node).GetCharSet().IsInSet(text[i]);
        break;
    case Node::NodeType::SequenceNode: ends = child(node.GetRightChild(), child(node.GetLeftChild(), starts)); break;
    case Node::NodeType::AlternativeNode:
        ends = child(node.GetLeftChild(), starts);
        unite(ends, child(node.GetRightChild(), starts));
        break;
    case Node::NodeType::RepeatNode: {
        auto const& repeat = static_cast<Node::RepeatNode const&>(node);
        Places at = starts;
        for (std::uint32_t i = 0; i < repeat.GetMinimum(); ++i) at = child(node.GetLeftChild(), at);
        ends = at;
        for (std::uint32_t i = repeat.GetMinimum(); i < repeat.GetMaximum(); ++i) {
            Places const before = ends;
            at = child(node.GetLeftChild(), at);
            unite(ends, at);
            if (ends == before) break;
        }
        break;
    }
    }
    return ends;
}

inline bool MatchesTree(XCParsedRegEx const& parsed, std::wstring const& text)
{
    if (!parsed.IsValid()) return false;
    Places starts(text.size() + 1);
    starts[0] = true;
    return Ends(*parsed.GetRoot().GetPtr(), text, starts).back();
}

using Translation = std::function<std::uint16_t(wchar_t)>;

/// The algorithm as it is defined, on the states of the expression.
inline bool MatchesStates(
    std::vector<XCRegEx::DfaState> const& states, std::wstring const& text,
    Translation const& translate = [](wchar_t unit) { return static_cast<std::uint16_t>(unit); })
{
    XCRegEx::DfaState const* state = &states[0];
    for (wchar_t const unit : text) {
        if (!state) return false;
        if (state->stop) break;
        std::uint16_t const read = translate(unit);
        XCRegEx::DfaState const* next = nullptr;
        for (auto const& transition : state->transitions)
            if (read >= transition.first && read < transition.end) next = &states[transition.target];
        state = next;
    }
    return state && state->accepting;
}

/// Patterns over a few letters, with every construct of the grammar.
class Maker {
public:
    explicit Maker(std::uint32_t seed) : m_random(seed) {}
    std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(m_random() % n); }

    std::wstring Pattern(int depth)
    {
        std::wstring text = Sequence(depth);
        while (Below(4) == 0) text += L'|' + Sequence(depth);
        return text;
    }
    /// A text that the tree accepts (or nearly, when a set is empty), with some units changed now and then.
    std::wstring Subject(XCParsedRegEx const& parsed, std::uint32_t mostRepeats)
    {
        std::wstring text;
        if (parsed.IsValid() && Below(8) != 0) Sample(*parsed.GetRoot().GetPtr(), mostRepeats, text);
        while (Below(3) == 0) {
            std::size_t const at = Below(static_cast<std::uint32_t>(text.size()) + 1);
            if (Below(2) == 0 && at < text.size())
                text.erase(at, 1);
            else
                text.insert(at, 1, Unit());
        }
        return text;
    }

private:
    wchar_t Unit()
    {
        static constexpr wchar_t kUnits[] = {L'a', L'b', L'c', L'd', L'a', L'b', 0x101, 0x3042, 0xFFFD, 0xFFFE, 0xFFFF};
        return kUnits[Below(Below(4) == 0 ? 11 : 6)];
    }
    std::wstring Sequence(int depth)
    {
        std::wstring text;
        do text += Atom(depth) + Suffix();
        while (Below(3) != 0 && text.size() < 60);
        return text;
    }
    std::wstring Atom(int depth)
    {
        switch (Below(depth > 0 ? 8 : 6)) {
        case 0: return L".";
        case 1: return Class();
        case 6:
        case 7: return L"(" + Pattern(depth - 1) + L")";
        default: return std::wstring(1, Unit());
        }
    }
    std::wstring Class()
    {
        std::wstring text = Below(2) ? L"[" : L"[^";
        for (std::uint32_t i = Below(4); i > 0; --i) {
            wchar_t const first = Unit();
            text += first;
            if (Below(3) == 0) text += {L'-', std::max(first, Unit())};
        }
        return text + L"]";
    }
    std::wstring Suffix()
    {
        static wchar_t const* const kSuffixes[] = {L"*",    L"+",     L"?",    L"{2}", L"{0}",
                                                   L"{,2}", L"{1,3}", L"{2,}", L"{0,}"};
        return Below(2) ? L"" : kSuffixes[Below(3) ? Below(3) : Below(9)];
    }
    void Sample(Node const& node, std::uint32_t mostRepeats, std::wstring& text)
    {
        switch (node.GetType()) {
        case Node::NodeType::CharSetNode: {
            auto const& set = static_cast<Node::CharSetNode const&>(node).GetCharSet();
            wchar_t unit = Unit();
            if (!set.IsInSet(unit) && !set.IsEmpty()) unit = static_cast<wchar_t>(set.begin()->begin);
            if (unit != 0) text += unit;
            break;
        }
        case Node::NodeType::SequenceNode:
            Sample(*node.GetLeftChild().GetPtr(), mostRepeats, text);
            Sample(*node.GetRightChild().GetPtr(), mostRepeats, text);
            break;
        case Node::NodeType::AlternativeNode:
            Sample(*(Below(2) ? node.GetLeftChild() : node.GetRightChild()).GetPtr(), mostRepeats, text);
            break;
        case Node::NodeType::RepeatNode: {
            auto const& repeat = static_cast<Node::RepeatNode const&>(node);
            std::uint32_t const most = std::min(repeat.GetMaximum(), repeat.GetMinimum() + mostRepeats);
            std::uint32_t const times = repeat.GetMinimum() + Below(most - repeat.GetMinimum() + 1);
            for (std::uint32_t i = 0; i < times && text.size() < 1500; ++i)
                Sample(*node.GetLeftChild().GetPtr(), mostRepeats, text);
            break;
        }
        }
    }

    std::mt19937 m_random;
};

/// One pattern in all the forms that must give the same answers.
struct Engines {
    /// @param translated also the forms that a collating table asks for; they are slow to make.
    explicit Engines(std::wstring const& pattern, bool translated = true)
        : parsed(XCStringRegExParser(XCString(pattern)).Parse()), fast(parsed, false), states(fast.GetStates()),
          dense(translated ? Translated(parsed) : parsed, false),
          sets(translated ? Translated(parsed) : parsed, false, {0, 0}), tight(parsed, false, {4, 2000}),
          large(Enlarged(parsed), false), lists(Enlarged(parsed), false, {0, 0})
    {
    }
    static XCParsedRegEx Translated(XCParsedRegEx const& parsed)
    {
        XCSmartPtr<XCCollatingTable<wchar_t>> const identity(new XCCollatingTable<wchar_t>);
        return XCParsedRegEx(parsed.GetRoot(), {}, identity);
    }
    /// With a branch that no subject takes and that alone makes a large automaton, which is built in another way.
    static XCParsedRegEx Enlarged(XCParsedRegEx const& parsed)
    {
        if (!parsed.IsValid()) return parsed;
        XCString const branch(std::wstring(300, wchar_t(0x2603)));
        return XCParsedRegEx(
            new XCRegExSyntaxNode::AlternativeNode(parsed.GetRoot(), XCStringRegExParser(branch).Parse().GetRoot()));
    }
    /// The first engine that disagrees; null when there is none.
    char const* Disagreement(std::wstring const& text) const
    {
        if (fast.IsTooLarge()) return nullptr;
        if (states.empty()) return fast.Match(text.c_str()) == sets.Match(text.c_str()) ? nullptr : "no automaton";
        bool const expected = MatchesStates(states, text);
        bool const odd = text.find_first_of(std::wstring{wchar_t(0xFFFE), wchar_t(0xFFFF)}) != std::wstring::npos;
        if (!odd && text.size() < 300 && MatchesTree(parsed, text) != expected) return "automaton against tree";
        if (fast.Match(text.c_str()) != expected) return "fast form";
        if (fast.Match(XCString(text)) != expected) return "fast form, string";
        if (dense.Match(text.c_str()) != expected) return "dense form, translated";
        if (sets.Match(text.c_str()) != expected) return "sets of states";
        if (tight.Match(XCString(text)) != expected) return "small budget";
        // The branch makes the start another state, which may read on where the pattern's own stops: seen by odd units.
        std::vector<XCRegEx::DfaState> const grown = odd ? large.GetStates() : std::vector<XCRegEx::DfaState>();
        if (odd && grown.empty()) return nullptr;
        bool const ofLarge = odd ? MatchesStates(grown, text) : expected;
        if (!large.IsTooLarge() && large.Match(text.c_str()) != ofLarge) return "large automaton";
        if (!lists.IsTooLarge() && lists.Match(text.c_str()) != ofLarge) return "lists of nodes";
        return nullptr;
    }

    XCParsedRegEx parsed;
    XCRegEx fast;
    std::vector<XCRegEx::DfaState> states;
    XCRegEx dense, sets, tight, large, lists;
};

} // namespace reference
