// XCRegEx.h - regular expressions over UTF-16 code units that answer one question: does the whole subject match?
//
// WHAT     A pattern is read by a parser (XCStringRegExParser, or a subclass of XCRegExParserBase over any source of
//          units) into a syntax tree (XCParsedRegEx) and compiled into an XCRegEx. There is no search inside a longer
//          text, no capture and no replacement. docs/patterns.md holds the grammar and its odd rules.
//
//              XCRegEx const name(XCStringRegExParser(L"[a-z][a-z0-9_]*").Parse(), false);
//              bool const ok = name.Match(L"row_17");
//
// UNITS    Matching is by code unit: "." takes half of a surrogate pair. U+FFFF is in no set and never matched by "."
//          (but a rest that can no longer change the answer is not read, whatever it holds). A subject ends at its
//          first U+0000.
// COST     Match is one pass and never slower than linear; it allocates nothing unless UsesStateSets(). All work is
//          done at construction, which is bounded whatever the pattern. Copying an XCRegEx is one atomic increment.
// LIMITS   Groups nest up to XCRegExParserBase::kMaxNesting; deeper patterns are invalid. Counted repetition is
//          unfolded: an expression of more than XCRegEx::kMaxNodes nodes is too large and matches nothing
//          (IsTooLarge). An expression with more deterministic states than its limits allow is matched by sets of
//          states instead: the same answers, still linear, at a higher price for each unit.
// ERRORS   An invalid pattern gives a null tree and an expression that matches nothing. No memory: std::bad_alloc.
// THREADS  A parser belongs to one thread. Trees and compiled expressions are never changed after they are built and
//          may be used by any number of threads at once.
#pragma once

#include <XelbrinCore/XCCharSet.h>
#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace xc::match {
class Expression;
}

// The syntax tree ------------------------------------------------------------------------------------------------

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

    /// What the node stands for.
    [[nodiscard]] NodeType GetType() const noexcept { return m_type; }
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
    static void Dismantle(XCSmartPtr<XCRegExSyntaxNode> node) noexcept;

    XCSmartPtr<XCRegExSyntaxNode> m_left;
    XCSmartPtr<XCRegExSyntaxNode> m_right;
    NodeType m_type;
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

// The parser -----------------------------------------------------------------------------------------------------

/// Reads a pattern, one unit at a time, into a syntax tree. A subclass supplies the units.
///
/// Every step starts with the first token of its construct already read and leaves the token after it. All errors set
/// one sticky flag; there is no position and no message.
class XC_API XCRegExParserBase {
public:
    /// How deep groups may nest.
    static constexpr std::uint32_t kMaxNesting = 250;

    /// What the units of a pattern are read as.
    enum class RegExToken : std::uint32_t {
        Char = 0, ///< an ordinary character: GetCurrentChar() tells which
        End = 1,
        CloseBracket = 2,
        OpenBracket = 3,
        OpenGroup = 4,
        CloseGroup = 5,
        OpenBrace = 6,
        CloseBrace = 7,
        Or = 8,
        Dot = 9,
        Plus = 10,
        Star = 11,
        Question = 12,
        Minus = 13, ///< in brackets only
        Caret = 14, ///< in brackets only
    };

    XCRegExParserBase();
    XCRegExParserBase(XCRegExParserBase const& other);
    XCRegExParserBase& operator=(XCRegExParserBase const& other);
    virtual ~XCRegExParserBase();

protected:
    /// The next unit of the pattern; 0 at the end and on every later call.
    virtual wchar_t GetNextChar() = 0;

public:
    /// Reads the pattern. A second call returns the first outcome again and reads nothing.
    XCParsedRegEx Parse();

    /// The tables that translate the subject (not the pattern) when the result is matched; null for none.
    [[nodiscard]] XCCollatingTable<char> const* GetCollatingTableP() const noexcept { return m_table.GetPtr(); }
    /// The table for wide subjects; null for none.
    [[nodiscard]] XCCollatingTable<wchar_t> const* GetWCollatingTableP() const noexcept { return m_wideTable.GetPtr(); }
    /// Sets the table for narrow text; it is shared.
    void SetCollatingTable(XCSmartPtrToConst<XCCollatingTable<char>> table) { m_table = std::move(table); }
    /// Sets the table for wide text; it is shared.
    void SetWCollatingTable(XCSmartPtrToConst<XCCollatingTable<wchar_t>> table) { m_wideTable = std::move(table); }

protected:
    /// A node, shared.
    using NodePtr = XCSmartPtr<XCRegExSyntaxNode>;

    /// Reads alternatives up to the end or a closing parenthesis.
    NodePtr ParseRegEx();
    /// Reads a sequence up to the next alternative.
    NodePtr ParseSequence();
    /// Reads one part with the repetition behind it.
    NodePtr ParseRepSubRegEx();
    /// Null, and nothing read, when the token starts no atom.
    NodePtr ParseSubRegEx();
    /// Reads what stands between brackets.
    NodePtr ParseGroupDef();
    /// Reads a run of digits and returns the value of the last one; without a digit `defaultCount`, and nothing read.
    std::uint32_t GetCount(std::uint32_t defaultCount);
    /// The next token outside, inside brackets.
    void GetRegExChar();
    /// The next token inside brackets.
    void GetGroupChar();
    /// The token read last, its unit (0 at the end of the pattern), and whether an error was met.
    [[nodiscard]] RegExToken GetCurrentToken() const noexcept { return m_token; }
    /// The unit of the token read last; 0 at the end of the pattern.
    [[nodiscard]] wchar_t GetCurrentChar() const noexcept { return m_char; }
    /// Whether an error was met.
    [[nodiscard]] bool HasError() const noexcept { return m_error; }

private:
    void ClassifyRegExChar(wchar_t unit);
    void ClassifyGroupChar(wchar_t unit);
    void ReadEscaped();
    bool ReadCounts(std::uint32_t& minimum, std::uint32_t& maximum);
    void ReadGroupItem(XCUWCharSet& set, bool negated);
    NodePtr LeafOf(wchar_t unit);
    void Fail() noexcept { m_error = true; }

    /// The leaf made last for a unit; "." has the unit 0.
    struct Leaf {
        wchar_t unit = 0;
        NodePtr node;
    };

    XCSmartPtrToConst<XCCollatingTable<char>> m_table;
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_wideTable;
    RegExToken m_token = RegExToken::End;
    wchar_t m_char = 0;
    bool m_error = false;
    NodePtr m_root;
    std::uint32_t m_nesting = 0;
    std::array<Leaf, 32> m_leaves; ///< by the low bits of the unit: equal units share a leaf
};

/// Reads a pattern out of a string; the pattern ends at its first U+0000.
class XC_API XCStringRegExParser : public XCRegExParserBase {
public:
    /// Reads this pattern.
    explicit XCStringRegExParser(XCString pattern);
    ~XCStringRegExParser() override;

protected:
    wchar_t GetNextChar() override;

private:
    XCString m_pattern;
    std::size_t m_pos = 0;
};

// The automaton --------------------------------------------------------------------------------------------------

/// A set of node numbers, tuned for small ones: numbers below 128 are bits, the others stand in an ordered set that is
/// created when first needed. Sets have a total order, so that they can be keys.
class XC_API XCNFANodeSet {
public:
    static constexpr unsigned int kSmallCount = 128; ///< Identities below this are kept as bits.
    /// What the walk over the small numbers returns at its end.
    static constexpr unsigned int kNone = 0xFFFFFFFF;
    class iterator;

    XCNFANodeSet() noexcept;
    XCNFANodeSet(XCNFANodeSet const& other);
    XCNFANodeSet(XCNFANodeSet&& other) noexcept;
    XCNFANodeSet& operator=(XCNFANodeSet const& other);
    XCNFANodeSet& operator=(XCNFANodeSet&& other) noexcept;
    ~XCNFANodeSet();

    /// True when the number was not yet there.
    bool Insert(unsigned int id);
    /// True when anything was added.
    bool Insert(XCNFANodeSet const& other);
    /// Whether the node is a member.
    [[nodiscard]] bool IsInSet(unsigned int id) const;
    /// The least small number, the next one after `id`; kNone when there is none.
    [[nodiscard]] unsigned int GetFirstSmallID() const noexcept;
    /// The next small number after `id`; kNone when there is none.
    [[nodiscard]] unsigned int GetNextSmallID(unsigned int id) const noexcept;

    /// The members in ascending order.
    [[nodiscard]] iterator begin() const noexcept;
    [[nodiscard]] iterator end() const noexcept;

    XC_API friend bool operator==(XCNFANodeSet const& a, XCNFANodeSet const& b) noexcept;
    XC_API friend bool operator<(XCNFANodeSet const& a, XCNFANodeSet const& b) noexcept;

private:
    [[nodiscard]] unsigned int SmallFrom(unsigned int id) const noexcept;

    std::array<std::uint32_t, 4> m_small{};
    std::unique_ptr<std::set<unsigned int>> m_large;
};

/// Visits the small members, then the large ones. Valid until the set changes.
class XC_API XCNFANodeSet::iterator {
public:
    using iterator_category = std::forward_iterator_tag;
    /// An identity.
    using value_type = unsigned int;
    /// As iterators require.
    using difference_type = std::ptrdiff_t;
    /// As iterators require.
    using pointer = unsigned int const*;
    /// Members are given by value.
    using reference = unsigned int;

    iterator() noexcept = default;
    /// The identity that it stands at.
    unsigned int operator*() const noexcept { return m_smallId != kNone ? m_smallId : *m_largeAt; }
    iterator& operator++() noexcept;
    iterator operator++(int) noexcept;
    friend bool operator==(iterator const& a, iterator const& b) noexcept
    {
        return a.m_smallId == b.m_smallId && a.m_largeAt == b.m_largeAt;
    }

private:
    friend class XCNFANodeSet;
    iterator(XCNFANodeSet const& set, unsigned int smallId, std::set<unsigned int>::const_iterator largeAt) noexcept
        : m_set(&set), m_smallId(smallId), m_largeAt(largeAt)
    {
    }

    XCNFANodeSet const* m_set = nullptr;
    unsigned int m_smallId = kNone;
    std::set<unsigned int>::const_iterator m_largeAt{};
};

/// A compiled expression.
class XC_API XCRegEx {
public:
    /// How many nodes the intermediate automaton may have.
    static constexpr std::uint32_t kMaxNodes = 1u << 17;

    /// How far the deterministic automaton may grow before matching falls back to sets of states.
    struct Limits {
        std::uint32_t states = 4096;    ///< beside one for every node of the intermediate automaton
        std::uint32_t bytes = 4u << 20; ///< of the transition table; the lists behind it take up to twice as much again
    };

    /// One transition: the units from first up to but not including end lead to the state with this number.
    struct DfaTransition {
        std::uint16_t first;  ///< The first unit of the range.
        std::uint16_t end;    ///< The unit behind the last one of the range.
        std::uint32_t target; ///< The state that it leads to.
    };
    /// One deterministic state.
    struct DfaState {
        std::uint32_t number;                   ///< its position in the list
        bool accepting;                         ///< Whether a match may end here.
        bool stop;                              ///< the rest of the subject need not be read
        std::vector<DfaTransition> transitions; ///< disjoint, ascending; other units have none
    };

    /// Compiles. @param debug prints both automata on the wide standard output (see DumpNodes, DumpStates).
    XCRegEx(XCParsedRegEx const& parsed, bool debug);
    /// The same with limits of the caller's own.
    XCRegEx(XCParsedRegEx const& parsed, bool debug, Limits const& limits);
    XCRegEx(XCRegEx const& other);
    XCRegEx& operator=(XCRegEx const& other);
    virtual ~XCRegEx();

    /// Whether the whole subject, up to its terminator, matches.
    /// With a collating table each unit is translated first: by the character table units up to U+0100, through their
    /// low byte, to its code widened as a signed value; else by the wide table every unit. The tables are read once,
    /// at construction. @param subject null counts as empty.
    [[nodiscard]] bool Match(wchar_t const* subject) const;
    [[nodiscard]] bool Match(XCString const& subject) const;

    /// The first units of the first states: states in their order of creation, accepting ones passed over, up to the
    /// first one with more than one transition. When each of them has a single one-unit range this is the constant
    /// text that matches start with. "abc|abx" gives "ab", "abc|abd" gives "abc".
    [[nodiscard]] XCString GetConstantStart() const;

    /// Whether the expression is larger than the limits allow, so that it matches nothing.
    [[nodiscard]] bool IsTooLarge() const noexcept;
    /// Whether the automaton would have more states than the limits allow, so that matching follows sets of states.
    [[nodiscard]] bool UsesStateSets() const noexcept;

    /// The deterministic automaton, the start state first; empty when there is none (IsTooLarge, UsesStateSets). A pattern
    /// of literals and ".*" alone is matched without one: it is built, and kept, when it is first asked for.
    [[nodiscard]] std::vector<DfaState> GetStates() const;
    /// The deterministic automaton as the debug switch prints it, stop flags last.
    [[nodiscard]] XCString DumpStates() const;
    /// The intermediate automaton as the debug switch prints it.
    [[nodiscard]] static XCString DumpNodes(XCParsedRegEx const& parsed);

private:
    std::shared_ptr<xc::match::Expression const> m_expression;
    XCSmartPtrToConst<XCCollatingTable<char>> m_table;
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_wideTable;
};
