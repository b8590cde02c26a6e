// NodeMaker.h - makes the nodes of the syntax trees of one parser.
#pragma once

#include <XelbrinCore/XCRegExTree.h>

#include "text/Units.h"

#include <array>

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
            known.node = new XCRegExSyntaxNode::CharSetNode(std::move(set));
            known.unit = unit;
        }
        return known.node;
    }

private:
    struct Leaf {
        wchar_t unit = 0;
        NodePtr node;
    };
    std::array<Leaf, 32> m_leaves; ///< the leaf made last, by the low bits of its unit
};

} // namespace xc::match
