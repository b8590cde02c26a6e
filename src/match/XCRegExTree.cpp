// The nodes of the syntax tree. They are shared by count, since equal leaves are one node and a tree may be a part of
// another. Trees are as deep as patterns are long, so that releasing one must not recurse.
//
// Most trees have one holder and stand in the blocks of one parser. Atomic operations are the larger part of releasing
// such a tree, so there are none where a node has one holder, and one for all nodes in a row that share a block.
#include <XelbrinCore/XCRegEx.h>

#include "match/NodePool.h"

using Node = XCRegExSyntaxNode;
using NodePtr = XCSmartPtr<XCRegExSyntaxNode>;

Node::XCRegExSyntaxNode(NodeType type, NodePtr left, NodePtr right) noexcept
    : m_left(std::move(left)), m_right(std::move(right)), m_type(type)
{
}

Node::~XCRegExSyntaxNode()
{
    if (!m_left.IsNull()) Dismantle(std::move(m_left));
    if (!m_right.IsNull()) Dismantle(std::move(m_right));
}

unsigned long Node::Release() const
{
    if (NbRef() != 1) return XCRefCount::Release();
    delete this;
    return 0;
}

/// Releases a tree without recursion and without memory: a left child that nobody else holds is rotated up, so that the
/// part we own becomes a list along the right children, which is released from its head.
void Node::Dismantle(NodePtr node) noexcept
{
    xc::match::NodePool::Returns returns;
    while (!node.IsNull() && node->NbRef() == 1) {
        NodePtr left = std::move(node->m_left);
        if (!left.IsNull() && left->NbRef() == 1) {
            node->m_left = std::move(left->m_right);
            left->m_right = std::move(node);
            node = std::move(left);
        } else {
            NodePtr right = std::move(node->m_right);
            if (node->m_isPooled) returns.Expect(node.GetPtr());
            node = std::move(right);
        }
    }
}

Node::CharSetNode::CharSetNode(XCUWCharSet set) : XCRegExSyntaxNode(NodeType::CharSetNode), m_set(std::move(set)) {}
Node::CharSetNode::~CharSetNode() = default;

Node::RepeatNode::RepeatNode(NodePtr child, std::uint32_t minimum, std::uint32_t maximum) noexcept
    : XCRegExSyntaxNode(NodeType::RepeatNode, std::move(child)), m_minimum(minimum), m_maximum(maximum)
{
}
Node::RepeatNode::~RepeatNode() = default;

Node::SequenceNode::SequenceNode(NodePtr left, NodePtr right) noexcept
    : XCRegExSyntaxNode(NodeType::SequenceNode, std::move(left), std::move(right))
{
}
Node::SequenceNode::~SequenceNode() = default;

Node::AlternativeNode::AlternativeNode(NodePtr left, NodePtr right) noexcept
    : XCRegExSyntaxNode(NodeType::AlternativeNode, std::move(left), std::move(right))
{
}
Node::AlternativeNode::~AlternativeNode() = default;

XCParsedRegEx::XCParsedRegEx() noexcept = default;
XCParsedRegEx::XCParsedRegEx(NodePtr root, XCSmartPtrToConst<XCCollatingTable<char>> table,
                             XCSmartPtrToConst<XCCollatingTable<wchar_t>> wideTable) noexcept
    : m_root(std::move(root)), m_table(std::move(table)), m_wideTable(std::move(wideTable))
{
}
XCParsedRegEx::XCParsedRegEx(XCParsedRegEx const& other) = default;
XCParsedRegEx& XCParsedRegEx::operator=(XCParsedRegEx const& other) = default;
XCParsedRegEx::~XCParsedRegEx() = default;
