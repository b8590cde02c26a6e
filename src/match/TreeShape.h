// TreeShape.h - small questions about syntax trees that several builders ask.
#pragma once

#include <XelbrinCore/XCRegExTree.h>

#include "match/Memory.h"

#include <algorithm>
#include <cstddef>

namespace xc::match {

/// Whether the node is ".".
inline bool IsAnySet(XCRegExSyntaxNode const& node)
{
    if (node.GetType() != XCRegExSyntaxNode::NodeType::CharSetNode) return false;
    return static_cast<XCRegExSyntaxNode::CharSetNode const&>(node).GetCharSet().GetCount() == 0xFFFF;
}

/// Whether the node is ".*".
inline bool IsGap(XCRegExSyntaxNode const& node)
{
    if (node.GetType() != XCRegExSyntaxNode::NodeType::RepeatNode || !IsAnySet(*node.GetLeftChildP())) return false;
    auto const& repeat = static_cast<XCRegExSyntaxNode::RepeatNode const&>(node);
    return repeat.GetMinimum() == 0 && repeat.GetMaximum() == XCRegExSyntaxNode::Unbounded;
}

/// The one unit of a leaf; 0 when it takes none or several, and for U+0000, which no subject holds.
inline wchar_t SingleUnit(XCRegExSyntaxNode const& node)
{
    if (node.GetType() != XCRegExSyntaxNode::NodeType::CharSetNode) return 0;
    XCUWCharSet const& set = static_cast<XCRegExSyntaxNode::CharSetNode const&>(node).GetCharSet();
    return set.GetCount() == 1 ? static_cast<wchar_t>(set.begin()->begin) : L'\0';
}

/// The rest of a sequence before its last part; null for the first part. With LastPart a walk from the right.
inline XCRegExSyntaxNode const* BeforeLast(XCRegExSyntaxNode const& node) noexcept
{
    return node.GetType() == XCRegExSyntaxNode::NodeType::SequenceNode ? node.GetLeftChildP() : nullptr;
}

/// The last part of a sequence; any other node is its own.
inline XCRegExSyntaxNode const& LastPart(XCRegExSyntaxNode const& node) noexcept
{
    return node.GetType() == XCRegExSyntaxNode::NodeType::SequenceNode ? *node.GetRightChildP() : node;
}

/// The length of the one text that the node takes; 0 when it is no text.
inline std::size_t LiteralLength(XCRegExSyntaxNode const& node)
{
    std::size_t length = 0;
    for (XCRegExSyntaxNode const* at = &node; at; at = BeforeLast(*at)) {
        if (SingleUnit(LastPart(*at)) == 0) return 0;
        ++length;
    }
    return length;
}

/// The parts that stand along a spine of left children, in the order of the pattern: those of a sequence, the branches
/// of an alternative. A node of another type is its only part.
inline List<XCRegExSyntaxNode const*> PartsOf(XCRegExSyntaxNode const& root, XCRegExSyntaxNode::NodeType type,
                                              Memory memory)
{
    List<XCRegExSyntaxNode const*> parts(memory);
    XCRegExSyntaxNode const* node = &root;
    for (; node->GetType() == type; node = node->GetLeftChildP()) parts.push_back(node->GetRightChildP());
    parts.push_back(node);
    std::reverse(parts.begin(), parts.end());
    return parts;
}

} // namespace xc::match
