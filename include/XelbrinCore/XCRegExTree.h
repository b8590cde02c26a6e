// XCRegExTree.h - the syntax tree of a pattern.
//
// WHAT     XCRegExSyntaxNode is a node (a set of units, a repetition, a sequence, an alternative); XCParsedRegEx is what
//          a parser returns: a tree, or none for an invalid pattern, with the collating tables.
// COST     A tree of n nodes is released in O(n) without recursion, however deep it is.
// LIFETIME Nodes are counted and shared. A node's raw child pointers live as long as the node.
// THREADS  Nodes never change after they are made; any number of threads may read and share them.
#pragma once

#include <XelbrinCore/XCCharSet.h>
#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>

#include <cstddef>
#include <cstdint>

namespace xc::match {
class NodeMaker;
class NodePool;
} // namespace xc::match

/// A node of a syntax tree. Counted; children are shared and never change.
/// Trees of any depth are released without recursion.
class XC_API XCRegExSyntaxNode : public XCRefCount {
public:
    /// What a node of the syntax tree stands for.
    enum class NodeType : std::uint32_t {
        CharSetNode = 0,     ///< one code unit out of a set
        RepeatNode = 1,      ///< the left child, between minimum and maximum times
        SequenceNode = 2,    ///< the left child followed by the right one
        AlternativeNode = 3, ///< the left child or the right one
    };
    class CharSetNode;
    class RepeatNode;
    class SequenceNode;
    class AlternativeNode;

    /// As a maximum: no limit.
    static constexpr std::uint32_t Unbounded = 0xFFFFFFFF;

    ~XCRegExSyntaxNode() override;
    XCRegExSyntaxNode(XCRegExSyntaxNode const&) = delete;
    XCRegExSyntaxNode& operator=(XCRegExSyntaxNode const&) = delete;

    /// The nodes that one parser makes stand together in blocks of memory; a block is freed with its last node.
    static void* operator new(std::size_t size);
    /// In the parser's own blocks.
    static void* operator new(std::size_t size, xc::match::NodePool& pool);
    /// Gives the node back to its block, whichever that is.
    static void operator delete(void* node) noexcept;
    /// For a constructor that throws.
    static void operator delete(void* node, xc::match::NodePool& pool) noexcept;

    /// Gives a reference back. The last holder changes no count: nobody else can reach the node any more.
    unsigned long Release() const override;
    /// What the node stands for.
    [[nodiscard]] NodeType GetType() const noexcept { return m_type; }
    /// How many pairs of parentheses stand directly around the node; 0 mostly.
    [[nodiscard]] std::uint32_t GetGroupCount() const noexcept { return m_groupCount; }
    /// The number of the outermost of them, counted from 1 by opening parentheses; the inner ones follow.
    [[nodiscard]] std::uint32_t GetFirstGroup() const noexcept { return m_firstGroup; }
    /// Null for a leaf.
    [[nodiscard]] XCSmartPtr<XCRegExSyntaxNode> GetLeftChild() const { return m_left; }
    /// Null for a leaf and for a repetition.
    [[nodiscard]] XCSmartPtr<XCRegExSyntaxNode> GetRightChild() const { return m_right; }
    /// The left child without a reference of the caller's: valid while this node lives.
    [[nodiscard]] XCRegExSyntaxNode const* GetLeftChildP() const noexcept { return m_left.GetPtr(); }
    /// The right child; null for a leaf and for a repetition. Valid while this node lives.
    [[nodiscard]] XCRegExSyntaxNode const* GetRightChildP() const noexcept { return m_right.GetPtr(); }

protected:
    /// Keeps a share of each child.
    explicit XCRegExSyntaxNode(NodeType type, XCSmartPtr<XCRegExSyntaxNode> left = {},
                               XCSmartPtr<XCRegExSyntaxNode> right = {}) noexcept;

private:
    friend class xc::match::NodeMaker;
    static void Dismantle(XCSmartPtr<XCRegExSyntaxNode> node) noexcept;

    XCSmartPtr<XCRegExSyntaxNode> m_left;
    XCSmartPtr<XCRegExSyntaxNode> m_right;
    NodeType m_type;
    std::uint16_t m_firstGroup = 0;
    std::uint8_t m_groupCount = 0; ///< parentheses nest less deep than it counts
    bool m_isPooled = false;       ///< stands in a block of its parser
};

/// Matches one unit of the set; an empty set matches nothing.
class XC_API XCRegExSyntaxNode::CharSetNode : public XCRegExSyntaxNode {
public:
    /// One unit out of a set.
    explicit CharSetNode(XCUWCharSet set = {});
    ~CharSetNode() override;
    /// The units that the node takes.
    [[nodiscard]] XCUWCharSet const& GetCharSet() const noexcept { return m_set; }

private:
    XCUWCharSet m_set;
};

/// The child (not null) repeated.
class XC_API XCRegExSyntaxNode::RepeatNode : public XCRegExSyntaxNode {
public:
    /// The child between `minimum` and `maximum` times.
    RepeatNode(XCSmartPtr<XCRegExSyntaxNode> child, std::uint32_t minimum, std::uint32_t maximum) noexcept;
    ~RepeatNode() override;
    /// The least number of repetitions.
    [[nodiscard]] std::uint32_t GetMinimum() const noexcept { return m_minimum; }
    /// The greatest number of repetitions.
    [[nodiscard]] std::uint32_t GetMaximum() const noexcept { return m_maximum; }

private:
    std::uint32_t m_minimum;
    std::uint32_t m_maximum;
};

/// Left followed by right; neither is null.
class XC_API XCRegExSyntaxNode::SequenceNode : public XCRegExSyntaxNode {
public:
    /// The left child, then the right one.
    SequenceNode(XCSmartPtr<XCRegExSyntaxNode> left, XCSmartPtr<XCRegExSyntaxNode> right) noexcept;
    ~SequenceNode() override;
};

/// Left or right; neither is null.
class XC_API XCRegExSyntaxNode::AlternativeNode : public XCRegExSyntaxNode {
public:
    /// The left child or the right one.
    AlternativeNode(XCSmartPtr<XCRegExSyntaxNode> left, XCSmartPtr<XCRegExSyntaxNode> right) noexcept;
    ~AlternativeNode() override;
};

/// The outcome of a parse: a tree, null when the pattern was invalid, and the collating tables of the parser, each held
/// by a reference of its own. The result does not need the parser any more.
class XC_API XCParsedRegEx {
public:
    XCParsedRegEx() noexcept;
    /// Keeps a share of the tree and of the tables; null tables compare units as they are.
    explicit XCParsedRegEx(XCSmartPtr<XCRegExSyntaxNode> root, XCSmartPtrToConst<XCCollatingTable<char>> table = {},
                           XCSmartPtrToConst<XCCollatingTable<wchar_t>> wideTable = {}) noexcept;
    XCParsedRegEx(XCParsedRegEx const& other);
    XCParsedRegEx& operator=(XCParsedRegEx const& other);
    ~XCParsedRegEx();

    /// The root of the syntax tree; null when the pattern was refused.
    [[nodiscard]] XCSmartPtr<XCRegExSyntaxNode> GetRoot() const { return m_root; }
    /// Whether there is a tree.
    [[nodiscard]] bool IsValid() const noexcept { return !m_root.IsNull(); }
    /// The table for narrow text; null when there is none. Lives as long as this object.
    [[nodiscard]] XCCollatingTable<char> const* GetCollatingTableP() const noexcept { return m_table.GetPtr(); }
    /// The table for wide text; null when there is none. Lives as long as this object.
    [[nodiscard]] XCCollatingTable<wchar_t> const* GetWCollatingTableP() const noexcept { return m_wideTable.GetPtr(); }

private:
    XCSmartPtr<XCRegExSyntaxNode> m_root;
    XCSmartPtrToConst<XCCollatingTable<char>> m_table;
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_wideTable;
};
