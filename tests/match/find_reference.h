// What finding is compared with: every begin and end tried with the slow matcher, groups by backtracking.
#pragma once

#include "match/reference.h"

namespace reference {

/// The leftmost longest place from a position on.
inline XCRegExPlace FindPlace(XCParsedRegEx const& parsed, std::wstring const& text, std::size_t from)
{
    for (std::size_t begin = from; parsed.IsValid() && begin <= text.size(); ++begin) {
        Places starts(text.size() + 1);
        starts[begin] = true;
        Places const ends = Ends(*parsed.GetRoot().GetPtr(), text, starts);
        for (std::size_t end = text.size() + 1; end-- > begin;)
            if (ends[end]) return {begin, end};
    }
    return {};
}

/// Finds the preferred way through a place by trying one way after the other.
class Backtracker {
public:
    Backtracker(std::wstring const& text, XCRegExPlace const& place, std::uint32_t groups)
        : m_text(text), m_place(place), m_groups(groups + 1)
    {
        m_groups[0] = place;
    }
    /// The groups; empty when it took too long.
    std::vector<XCRegExPlace> Run(XCParsedRegEx const& parsed)
    {
        bool const matched =
            Walk(*parsed.GetRoot().GetPtr(), m_place.begin, [this](std::size_t at) { return at == m_place.end; });
        return matched && m_steps < kMaxSteps ? m_groups : std::vector<XCRegExPlace>();
    }

private:
    using GoOn = std::function<bool(std::size_t)>;
    static constexpr int kMaxSteps = 20000;

    bool Walk(Node const& node, std::size_t at, GoOn const& goOn, std::uint32_t marked = 0)
    {
        if (++m_steps >= kMaxSteps) return true;
        if (marked == node.GetGroupCount()) return WalkInside(node, at, goOn);
        std::uint32_t const group = node.GetFirstGroup() + marked;
        XCRegExPlace const before = m_groups[group];
        std::size_t const begin = at;
        if (Walk(
                node, at,
                [&, group, begin](std::size_t end) {
                    XCRegExPlace const old = m_groups[group];
                    m_groups[group] = {begin, end};
                    if (goOn(end)) return true;
                    m_groups[group] = old;
                    return false;
                },
                marked + 1))
            return true;
        m_groups[group] = before;
        return false;
    }
    bool WalkInside(Node const& node, std::size_t at, GoOn const& goOn)
    {
        switch (node.GetType()) {
        case Node::NodeType::CharSetNode:
            return at < m_place.end && static_cast<Node::CharSetNode const&>(node).GetCharSet().IsInSet(m_text[at]) &&
                   goOn(at + 1);
        case Node::NodeType::SequenceNode:
            return Walk(*node.GetLeftChildP(), at,
                        [&](std::size_t middle) { return Walk(*node.GetRightChildP(), middle, goOn); });
        case Node::NodeType::AlternativeNode:
            return Walk(*node.GetLeftChildP(), at, goOn) || Walk(*node.GetRightChildP(), at, goOn);
        case Node::NodeType::RepeatNode: break;
        }
        return Repeat(static_cast<Node::RepeatNode const&>(node), 0, at, goOn);
    }
    /// Another pass first; without a maximum, one past the minimum must read something.
    bool Repeat(Node::RepeatNode const& node, std::uint32_t passes, std::size_t at, GoOn const& goOn)
    {
        bool const unbounded = node.GetMaximum() == Node::Unbounded;
        if (passes < node.GetMaximum() && Walk(*node.GetLeftChildP(), at, [&, passes, at](std::size_t end) {
                if (end == at && unbounded && passes >= node.GetMinimum()) return false;
                return Repeat(node, passes + 1, end, goOn);
            }))
            return true;
        return passes >= node.GetMinimum() && goOn(at);
    }

    std::wstring const& m_text;
    XCRegExPlace m_place;
    std::vector<XCRegExPlace> m_groups;
    int m_steps = 0;
};

} // namespace reference
