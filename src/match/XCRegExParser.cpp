// The parser of patterns: recursive descent, one unit ahead, straight into the syntax tree.
//
// The grammar has four levels: alternatives of sequences of repeated atoms, where an atom is a unit, a dot, a class or
// a group. Each level is a function that leaves the first token after what it has read as the current one. Units come
// from a virtual function, so that an application can parse from anything. Within brackets other units are special than
// outside, which is why the next unit is read by one of two classifying functions; only the function that reads an item
// of a class needs to look at a raw unit first, to tell "a-" from "a".
//
// Sequences and alternatives are joined to the left, so that the recursion is only as deep as groups are nested, and
// that depth has a limit: a deeper pattern is invalid, never a crash. The first fault ends the parse, and its place is
// kept; every function returns at once after it. Cost: O(pattern), one node an atom; equal units mostly share one.
// Invariant: unless m_error is set, m_token and m_char describe the unit that was read last.
#include <XelbrinCore/XCRegEx.h>

#include "match/NodeMaker.h"
#include "text/Units.h"

#include <utility>

using Node = XCRegExSyntaxNode;

XCRegExParserBase::XCRegExParserBase() = default;
/// A copy goes on from the same state and makes nodes of its own.
XCRegExParserBase::XCRegExParserBase(XCRegExParserBase const& other)
    : m_table(other.m_table), m_wideTable(other.m_wideTable), m_token(other.m_token), m_char(other.m_char),
      m_error(other.m_error), m_nesting(other.m_nesting), m_groups(other.m_groups), m_read(other.m_read),
      m_fault(other.m_fault), m_root(other.m_root)
{
}
XCRegExParserBase& XCRegExParserBase::operator=(XCRegExParserBase const& other)
{
    m_table = other.m_table;
    m_wideTable = other.m_wideTable;
    m_token = other.m_token;
    m_char = other.m_char;
    m_error = other.m_error;
    m_nesting = other.m_nesting;
    m_groups = other.m_groups;
    m_read = other.m_read;
    m_fault = other.m_fault;
    m_root = other.m_root;
    return *this;
}
XCRegExParserBase::~XCRegExParserBase() = default;

wchar_t XCRegExParserBase::Next()
{
    wchar_t const unit = GetNextChar();
    // A place is counted for real units only, so that a fault at the end is reported at the end and not behind it.
    m_atEnd = unit == 0;
    if (!m_atEnd) ++m_read;
    return unit;
}

/// The first fault counts: those after it follow from it.
void XCRegExParserBase::Fail(wchar_t const* expected) noexcept
{
    if (!m_error) m_fault = {m_atEnd || m_read == 0 ? m_read : m_read - 1, expected};
    m_error = true;
}

xc::match::NodeMaker& XCRegExParserBase::Maker()
{
    if (!m_maker) m_maker = std::make_unique<xc::match::NodeMaker>();
    return *m_maker;
}

XCParsedRegEx XCRegExParserBase::Parse()
{
    // Parsed once: a second call gives the same tree, since the units of an application's source cannot be read again.
    if (m_root.IsNull() && !m_error) {
        GetRegExChar();
        NodePtr root = ParseRegEx();
        // A closing parenthesis that nothing opened ends the sequence too.
        if (m_token != RegExToken::End || m_char != 0) Fail(L"an operator, an atom or the end");
        if (!m_error) m_root = std::move(root);
    }
    return XCParsedRegEx(m_root, m_table, m_wideTable);
}

XCRegExParserBase::NodePtr XCRegExParserBase::ParseRegEx()
{
    NodePtr result = ParseSequence();
    while (m_token == RegExToken::Or && !m_error) {
        GetRegExChar();
        NodePtr further = ParseSequence();
        if (m_error) break;
        result = Maker().Make<Node::AlternativeNode>(std::move(result), std::move(further));
    }
    return result;
}

XCRegExParserBase::NodePtr XCRegExParserBase::ParseSequence()
{
    NodePtr result = ParseRepSubRegEx();
    while (!m_error && m_token != RegExToken::End && m_token != RegExToken::Or && m_token != RegExToken::CloseGroup) {
        NodePtr further = ParseRepSubRegEx();
        if (m_error) break;
        result = Maker().Make<Node::SequenceNode>(std::move(result), std::move(further));
    }
    return result;
}

XCRegExParserBase::NodePtr XCRegExParserBase::ParseRepSubRegEx()
{
    NodePtr atom = ParseSubRegEx();
    if (atom.IsNull()) Fail(L"an atom");
    if (m_error) return atom;
    std::uint32_t minimum = 1;
    std::uint32_t maximum = 1;
    if (!ReadCounts(minimum, maximum)) Fail(L"a count, a separator or \"}\"");
    if (minimum > maximum) Fail(L"a maximum that is not below the minimum");
    // Once is no repetition, and needs no node.
    if (m_error || (minimum == 1 && maximum == 1)) return atom;
    return Maker().Make<Node::RepeatNode>(std::move(atom), minimum, maximum);
}

/// Reads a repetition suffix, if there is one; false when it is malformed.
bool XCRegExParserBase::ReadCounts(std::uint32_t& minimum, std::uint32_t& maximum)
{
    switch (m_token) {
    case RegExToken::Plus: maximum = Node::Unbounded; break;
    case RegExToken::Star:
        minimum = 0;
        maximum = Node::Unbounded;
        break;
    case RegExToken::Question: minimum = 0; break;
    case RegExToken::OpenBrace:
        GetRegExChar();
        minimum = maximum = GetCount(1);
        if (m_token == RegExToken::CloseBrace) break;
        if (m_token != RegExToken::Char) return false;
        GetRegExChar(); // any ordinary character separates the counts
        maximum = GetCount(Node::Unbounded);
        if (m_token != RegExToken::CloseBrace) return false;
        break;
    default: return true;
    }
    GetRegExChar();
    return true;
}

XCRegExParserBase::NodePtr XCRegExParserBase::ParseSubRegEx()
{
    NodePtr leaf;
    switch (m_token) {
    case RegExToken::Char: leaf = Maker().LeafOf(m_char); break;
    case RegExToken::Dot: leaf = Maker().LeafOf(0); break;
    case RegExToken::OpenBracket: return ParseGroupDef();
    case RegExToken::OpenGroup: {
        if (++m_nesting > kMaxNesting) Fail(L"fewer nested groups");
        if (m_error) return {};
        // Numbered by opening parentheses, from left to right, before what is inside is read.
        std::uint32_t const group = ++m_groups;
        GetRegExChar();
        NodePtr inner = ParseRegEx();
        --m_nesting;
        if (m_token != RegExToken::CloseGroup) Fail(L"\")\"");
        if (m_error) return inner;
        GetRegExChar();
        return Maker().MarkGroup(std::move(inner), group);
    }
    default: return {};
    }
    GetRegExChar();
    return leaf;
}

XCRegExParserBase::NodePtr XCRegExParserBase::ParseGroupDef()
{
    XCUWCharSet set;
    GetGroupChar();
    bool const negated = m_token == RegExToken::Caret;
    if (negated) {
        // A negated class begins with everything, and its items take away: there is no second pass that turns it
        // round.
        set.AddAllChars();
        GetGroupChar();
    }
    while (m_token == RegExToken::Char && !m_error) ReadGroupItem(set, negated);
    if (m_token == RegExToken::CloseBracket && !m_error)
        GetRegExChar();
    else
        Fail(L"a unit of the class or \"]\"");
    return Maker().Make<Node::CharSetNode>(std::move(set));
}

/// One unit or one range of a bracket class; the current character is its first unit.
void XCRegExParserBase::ReadGroupItem(XCUWCharSet& set, bool negated)
{
    wchar_t const first = m_char;
    wchar_t last = first;
    wchar_t const next = Next();
    bool const isRange = next == L'-';
    if (isRange) {
        GetGroupChar();
        last = m_char;
        if (m_token != RegExToken::Char) return Fail(L"the last unit of the range");
        if (xc::text::ToUint(last) < xc::text::ToUint(first)) return Fail(L"a last unit that is not below the first");
    }
    if (negated)
        set.DelRange(first, last);
    else
        set.AddRange(first, last);
    if (isRange)
        GetGroupChar();
    else
        // The unit was read to see whether a "-" follows; it is classified now as the first of the next item.
        ClassifyGroupChar(next);
}

/// Only the last digit of a run counts.
std::uint32_t XCRegExParserBase::GetCount(std::uint32_t defaultCount)
{
    std::uint32_t count = defaultCount;
    while (m_token == RegExToken::Char && xc::text::IsDigit(m_char)) {
        count = static_cast<std::uint32_t>(m_char - L'0');
        GetRegExChar();
    }
    return count;
}

void XCRegExParserBase::GetRegExChar()
{
    ClassifyRegExChar(Next());
}

void XCRegExParserBase::GetGroupChar()
{
    ClassifyGroupChar(Next());
}

void XCRegExParserBase::ClassifyRegExChar(wchar_t unit)
{
    m_char = unit;
    switch (unit) {
    case L'\0': m_token = RegExToken::End; break;
    case L']': m_token = RegExToken::CloseBracket; break;
    case L'[': m_token = RegExToken::OpenBracket; break;
    case L'(': m_token = RegExToken::OpenGroup; break;
    case L')': m_token = RegExToken::CloseGroup; break;
    case L'{': m_token = RegExToken::OpenBrace; break;
    case L'}': m_token = RegExToken::CloseBrace; break;
    case L'|': m_token = RegExToken::Or; break;
    case L'.': m_token = RegExToken::Dot; break;
    case L'+': m_token = RegExToken::Plus; break;
    case L'*': m_token = RegExToken::Star; break;
    case L'?': m_token = RegExToken::Question; break;
    case L'\\': ReadEscaped(); break;
    default: m_token = RegExToken::Char; break;
    }
}

void XCRegExParserBase::ClassifyGroupChar(wchar_t unit)
{
    m_char = unit;
    switch (unit) {
    case L'\0': m_token = RegExToken::End; break;
    case L']': m_token = RegExToken::CloseBracket; break;
    case L'[': m_token = RegExToken::OpenBracket; break;
    case L'-': m_token = RegExToken::Minus; break;
    case L'^': m_token = RegExToken::Caret; break;
    case L'\\': ReadEscaped(); break;
    default: m_token = RegExToken::Char; break;
    }
}

/// The unit after a backslash is ordinary; at the end of the pattern the backslash itself is.
void XCRegExParserBase::ReadEscaped()
{
    m_token = RegExToken::Char;
    if (wchar_t const unit = Next(); unit != 0) m_char = unit;
}

XCStringRegExParser::XCStringRegExParser(XCString pattern) : m_pattern(std::move(pattern)) {}
XCStringRegExParser::~XCStringRegExParser() = default;

wchar_t XCStringRegExParser::GetNextChar()
{
    wchar_t const unit = m_pattern[m_pos];
    if (unit != 0) ++m_pos;
    return unit;
}
