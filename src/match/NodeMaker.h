// NodeMaker.h - makes the nodes of the syntax trees of one parser.
#pragma once

#include <XelbrinCore/XCRegExTree.h>

#include "match/NodePool.h"
#include "text/Units.h"

#include <array>
#include <utility>

namespace xc::match {

class NodeMaker {
public:
    using NodePtr = XCSmartPtr<XCRegExSyntaxNode>;

    /// The leaf that takes this unit alone; 0 stands for ".". Nodes never change, so a letter that comes again is the
    /// same leaf again.
    NodePtr LeafOf(wchar_t unit)
    {
        Leaf& known = m_leaves[text::ToUint(unit) % m_leaves.size()];
        if (known.node.IsNull() || known.unit != unit) {
            XCUWCharSet set;
            if (unit == 0)
                set.AddAllChars();
            else
                set.AddChar(unit);
            known.node = Make<XCRegExSyntaxNode::CharSetNode>(std::move(set));
            known.unit = unit;
        }
        return known.node;
    }

    /// A node of class T in the memory of this maker.
    template <class T, class... Arguments>
    NodePtr Make(Arguments&&... arguments)
    {
        XCRegExSyntaxNode* const node = new (m_pool) T(std::forward<Arguments>(arguments)...);
        node->m_isPooled = true;
        return NodePtr(node);
    }

    /// Notes that a node stands in parentheses. A shared leaf is replaced by one of its own.
    NodePtr MarkGroup(NodePtr node, std::uint32_t group)
    {
        if (node.IsNull() || group > 0xFFFF) return node;
        if (node->NbRef() > 1 && node->GetType() == XCRegExSyntaxNode::NodeType::CharSetNode)
            node = Make<XCRegExSyntaxNode::CharSetNode>(
                static_cast<XCRegExSyntaxNode::CharSetNode const&>(*node.GetPtr()).GetCharSet());
        node->m_firstGroup = static_cast<std::uint16_t>(group);
        ++node->m_groupCount;
        return node;
    }

private:
    struct Leaf {
        wchar_t unit = 0;
        NodePtr node;
    };
    NodePool m_pool;
    std::array<Leaf, 32> m_leaves; ///< the leaf made last, by the low bits of its unit
};

} // namespace xc::match
