// XCRegExParser.h - reads a pattern into its syntax tree.
//
// WHAT     XCRegExParserBase is the parser; a subclass supplies the units of the pattern. XCStringRegExParser reads them
//          out of a string. docs/patterns.md holds the grammar and its odd rules.
// COST     O(n) for a pattern of n units.
// LIMITS   Groups nest up to kMaxNesting; deeper patterns are invalid.
// ERRORS   An invalid pattern gives a null tree. Out of memory: std::bad_alloc.
// THREADS  A parser belongs to one thread; its result may be shared.
#pragma once

#include <XelbrinCore/XCRegExTree.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace xc::match {
class NodeMaker;
}

/// Reads a pattern, one unit at a time, into a syntax tree. A subclass supplies the units.
///
/// Every step starts with the first token of its construct already read and leaves the token after it. All errors set
/// one sticky flag; GetFault tells the first one.
class XC_API XCRegExParserBase {
public:
    /// How deep groups may nest.
    static constexpr std::uint32_t kMaxNesting = 250;

    /// The kinds of tokens.
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

    /// Where a pattern breaks the grammar, and what could stand there.
    struct Fault {
        std::size_t position = 0;          ///< in units; the pattern's length where it ends too early
        wchar_t const* expected = nullptr; ///< an English phrase; null without a fault
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

    /// The first fault that Parse met.
    [[nodiscard]] Fault const& GetFault() const noexcept { return m_fault; }
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
    /// Reads one atom and its repetition suffix.
    NodePtr ParseRepSubRegEx();
    /// Null, and nothing read, when the token starts no atom.
    NodePtr ParseSubRegEx();
    /// Reads a bracket class.
    NodePtr ParseGroupDef();
    /// Reads a run of digits and returns the value of the last one; without a digit `defaultCount`, and nothing read.
    std::uint32_t GetCount(std::uint32_t defaultCount);
    /// Reads the next token outside brackets.
    void GetRegExChar();
    /// Reads the next token inside brackets.
    void GetGroupChar();
    /// The token read last.
    [[nodiscard]] RegExToken GetCurrentToken() const noexcept { return m_token; }
    /// The unit of the token read last; 0 at the end of the pattern.
    [[nodiscard]] wchar_t GetCurrentChar() const noexcept { return m_char; }
    /// Whether an error was met.
    [[nodiscard]] bool HasError() const noexcept { return m_error; }

private:
    void ClassifyRegExChar(wchar_t unit);
    void ClassifyGroupChar(wchar_t unit);
    void ReadEscaped();
    xc::match::NodeMaker& Maker();
    bool ReadCounts(std::uint32_t& minimum, std::uint32_t& maximum);
    void ReadGroupItem(XCUWCharSet& set, bool negated);
    wchar_t Next();
    void Fail(wchar_t const* expected) noexcept;

    XCSmartPtrToConst<XCCollatingTable<char>> m_table;
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_wideTable;
    RegExToken m_token = RegExToken::End;
    wchar_t m_char = 0;
    bool m_error = false;
    bool m_atEnd = false;
    std::uint32_t m_nesting = 0;
    std::uint32_t m_groups = 0; ///< opened so far
    std::size_t m_read = 0;     ///< units read so far
    Fault m_fault;
    NodePtr m_root;
    std::unique_ptr<xc::match::NodeMaker> m_maker; ///< null until the first node
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
