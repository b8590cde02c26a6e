// Reader.h - condition text into a tree of conditions.
//
//     condition   = [ comparison [ link condition ] | group [ link condition ] | link condition | native ]
//     group       = "(" condition ")"
//     comparison  = field operator value
//     link        = "AND" | "OR"
//
// Each condition on the right side is a new child that reads the rest of its text: the end, or the parenthesis that
// closes its group. The reader walks the text once and keeps the open groups on a list of its own, so that neither long
// chains nor many parentheses cost stack or time beyond the length of the text.
#pragma once

#include "match/condition/Parentheses.h"

#include <XelbrinCore/XCCondition.h>

#include <string_view>
#include <vector>

namespace xc::condition {

/// A text in double quotes as the text within: the quotes at its ends go, doubled ones become single.
XCString Unquoted(std::wstring_view quoted);
/// The way back.
XCString Quoted(std::wstring_view text);
/// Whether the text is one quoted text from end to end.
bool IsQuoted(std::wstring_view text) noexcept;
/// "AND" or "OR", without regard to case.
bool IsLinkWord(std::wstring_view word);

class Reader {
public:
    /// Both outlive the reader.
    Reader(XCCondition& root, XCString const& text) noexcept : m_text(text.View()), m_end(m_text.size()), m_at(&root) {}
    /// False: see Error().
    bool Read();
    [[nodiscard]] XCErrorID const& Error() const noexcept { return m_error; }

private:
    /// An open parenthesis: whose sub-condition it will be, and where its own and the surrounding text end.
    struct Group {
        XCCondition* parent;
        XCSmartPtr<XCCondition> child;
        std::size_t outerEnd;
    };

    [[nodiscard]] wchar_t Unit(std::size_t pos) const noexcept { return pos < m_end ? m_text[pos] : L'\0'; }
    [[nodiscard]] std::wstring_view Span(std::size_t from, std::size_t to) const
    {
        return m_text.substr(from, to - from);
    }
    void SkipBlanks() noexcept;
    std::wstring_view PeekWord() const noexcept;
    bool ReadStart();
    bool ReadNative();
    bool ReadLink();
    bool AddLinked(XCCondition::Link link, std::size_t wordLength);
    bool OpenGroup();
    void CloseGroup();
    bool ReadComparison();
    bool ReadFieldName();
    bool ReadOperator(bool& isRegex);
    bool ReadValue(bool isRegex);
    bool ScanQuoted(std::wstring_view& quoted);
    bool ScanValue(bool isRegex, std::wstring_view& value);
    bool ScanDate(std::wstring_view& value);
    bool RefuseValue(bool isRegex, std::size_t pos, std::wstring_view value);
    bool Fail(XCCoreError code, std::size_t pos);
    bool Fail(XCCoreError code, std::size_t pos, std::wstring_view found);

    std::wstring_view m_text;
    std::size_t m_pos = 0;
    std::size_t m_end; ///< of the innermost open group's text
    XCCondition* m_at; ///< the condition being read
    bool m_wantsLink = false;
    std::size_t m_fieldLength = 0; ///< of the name before m_pos, as written
    std::vector<Group> m_groups;
    Parentheses m_parentheses;
    XCErrorID m_error;
};

} // namespace xc::condition
