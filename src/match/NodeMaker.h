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
        return NodePtr(new (m_pool) T(std::forward<Arguments>(arguments)...));
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
