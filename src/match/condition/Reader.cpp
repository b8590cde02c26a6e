// Condition text into a tree, in one pass.
//
// The grammar (Reader.h) is right-recursive: after AND or OR the rest of the text is one new child. The reader therefore
// needs no stack for links: it goes down to the child and reads on. Only an open parenthesis needs a way back, which
// m_groups holds, up to XCCondition::kMaxNesting deep. The partner of a parenthesis must be known when it opens, since
// it ends the text of all conditions inside; Parentheses pairs all of them at the first question, so that the whole
// stays linear in the text, whatever the nesting.
// Invariant: m_at is the condition that the next part belongs to, and m_end the end of the innermost open group.
#include "match/condition/Reader.h"

#include "errors/CoreError.h"
#include "text/Names.h"
#include "text/Units.h"

#include <XelbrinCore/XCTrace.h>

#include <algorithm>

namespace xc::condition {

namespace {

using text::IsBlank;

constexpr std::size_t kMaxFoundLength = 60; ///< of the text that an error quotes
constexpr std::wstring_view kToDate = L"TO_DATE";

/// Whether an operator stands in a word together with something else: "a=1", ">=5".
// Words end at blanks, so that operators need blanks around them. Leaving them out is the commonest mistake and gets an
// error of its own.
bool HoldsOperator(std::wstring_view word) noexcept
{
    constexpr std::wstring_view kOperatorUnits = L"<=>!%";
    return word.find_first_of(kOperatorUnits) != std::wstring_view::npos &&
           word.find_first_not_of(kOperatorUnits) != std::wstring_view::npos;
}

/// The first ")" that no "(" before it opens, or npos.
std::size_t StrayParenthesis(std::wstring_view word) noexcept
{
    std::size_t depth = 0;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] == L'(') ++depth;
        // The depth wraps below zero only in the step that returns.
        if (word[i] == L')' && depth-- == 0) return i;
    }
    return std::wstring_view::npos;
}

} // namespace

// A quote inside a quoted text is written twice; Quoted is the way back.
XCString Unquoted(std::wstring_view quoted)
{
    quoted = quoted.substr(1, quoted.size() - 2);
    XCString text;
    text.Reserve(quoted.size());
    for (std::size_t at = quoted.find(L'"'); at != std::wstring_view::npos; at = quoted.find(L'"')) {
        text.Append(quoted.substr(0, at + 1));
        // Both quotes of a pair go, of which one was appended. A text that IsQuoted accepts has no single one inside.
        quoted.remove_prefix(at + 2);
    }
    return text.Append(quoted);
}

XCString Quoted(std::wstring_view text)
{
    XCString quoted(L'"', 1, text.size() + 2);
    for (std::size_t at = text.find(L'"'); at != std::wstring_view::npos; at = text.find(L'"')) {
        quoted.Append(text.substr(0, at + 1));
        quoted += L'"';
        text.remove_prefix(at + 1);
    }
    quoted.Append(text);
    return quoted += L'"';
}

bool IsQuoted(std::wstring_view text) noexcept
{
    return text.size() >= 2 && text[0] == L'"' && ClosingQuote(text, 0) == text.size() - 1;
}

bool IsLinkWord(std::wstring_view word)
{
    return text::IsSameNameFolded(word, L"AND") || text::IsSameNameFolded(word, L"OR");
}

bool Reader::Fail(XCCoreError code, std::size_t pos)
{
    m_error = errors::MakeCoreError(code, static_cast<int>(pos));
    return false;
}

bool Reader::Fail(XCCoreError code, std::size_t pos, std::wstring_view found)
{
    m_error = errors::MakeCoreError(code, static_cast<int>(pos), XCString(found.substr(0, kMaxFoundLength)));
    return false;
}

void Reader::SkipBlanks() noexcept
{
    while (m_pos < m_end && IsBlank(m_text[m_pos])) ++m_pos;
}

std::wstring_view Reader::PeekWord() const noexcept
{
    std::size_t end = m_pos;
    while (end < m_end && !IsBlank(m_text[end])) ++end;
    return Span(m_pos, end);
}

bool Reader::Read()
{
    for (;;) {
        SkipBlanks();
        // A group ends where m_end is reached and not where ")" is read: quotes have been taken into account when it
        // was found.
        if (m_pos < m_end) {
            if (!(m_wantsLink ? ReadLink() : ReadStart())) return false;
        } else if (m_groups.empty()) {
            return true;
        } else {
            CloseGroup();
        }
    }
}

bool Reader::ReadStart()
{
    if (Unit(m_pos) == L'@' && Unit(m_pos + 1) == L'@') return ReadNative();
    if (Unit(m_pos) == L'(') return OpenGroup();
    std::wstring_view const word = PeekWord();
    return IsLinkWord(word) ? ReadLink() : ReadComparison();
}

bool Reader::ReadNative()
{
    // The native form goes to the end of the group: it counts its own parts and may contain every unit.
    XCTokenizer tokens(XCString(Span(m_pos, m_end)), XCString(L'@'));
    if (!m_at->FromNativeString(tokens)) return Fail(XCErrConditionNative, m_pos);
    m_pos = m_end;
    return true;
}

bool Reader::ReadLink()
{
    // "AND(" is common where a link must stand; a group may follow without a blank.
    std::wstring_view const word = PeekWord();
    // At the start of a condition "AND(" may be a field's name; only where nothing but a link may stand is it cut.
    std::wstring_view const link = m_wantsLink ? word.substr(0, word.find(L'(')) : word;
    if (!IsLinkWord(link)) return Fail(XCErrConditionLink, m_pos, word);
    return AddLinked(link.size() == 3 ? XCCondition::Link::And : XCCondition::Link::Or, link.size());
}

bool Reader::AddLinked(XCCondition::Link link, std::size_t wordLength)
{
    XCSmartPtr<XCCondition> const child = m_at->NewChild();
    if (child.IsNull()) return Fail(XCErrConditionRefused, m_pos, PeekWord());
    // Traced for those who watch for it; it is parsed all the same.
    if (link == XCCondition::Link::Or)
        XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceCondition, L"XCCondition::FromString", L"%s",
                     L"OR Parsing not implemented!");
    m_at->m_subs.push_back({link, child});
    m_at = child.GetPtr();
    m_pos += wordLength;
    m_wantsLink = false;
    return true;
}

bool Reader::OpenGroup()
{
    std::size_t const close = m_parentheses.ClosingOf(m_text, m_pos);
    // An unclosed quote hides all parentheses after it: it is the fault to report.
    if (close >= m_end) {
        bool const quote = m_parentheses.UnclosedQuote() != Parentheses::npos;
        return quote ? Fail(XCErrConditionQuote, m_parentheses.UnclosedQuote())
                     : Fail(XCErrConditionParenthesis, m_pos);
    }
    // The nesting of the text becomes the nesting of the printed form, so the limit keeps both readable by every
    // release.
    if (m_groups.size() == XCCondition::kMaxNesting) return Fail(XCErrConditionNesting, m_pos);
    XCSmartPtr<XCCondition> const child = m_at->NewChild();
    if (child.IsNull()) return Fail(XCErrConditionRefused, m_pos, PeekWord());
    m_groups.push_back({m_at, child, m_end});
    m_at = child.GetPtr();
    ++m_pos;
    m_end = close;
    return true;
}

void Reader::CloseGroup()
{
    Group& group = m_groups.back();
    m_at = group.parent;
    // A group joins its parent when it is complete: until then the parent may still be looked at without half of a
    // child in it.
    m_at->m_subs.push_back({XCCondition::Link::Or, group.child});
    m_pos = m_end + 1;
    m_end = group.outerEnd;
    m_groups.pop_back();
    m_wantsLink = true;
}

bool Reader::ReadComparison()
{
    bool isRegex = false;
    // Set before reading: after a comparison only a link may stand, whether it could be read or not.
    m_wantsLink = true;
    return ReadFieldName() && ReadOperator(isRegex) && ReadValue(isRegex);
}

bool Reader::ReadFieldName()
{
    std::size_t const start = m_pos;
    std::wstring_view word = PeekWord();
    bool const quoted = word[0] == L'"';
    if (quoted && !ScanQuoted(word)) return false;
    if (!m_at->AssignFieldName(quoted ? Unquoted(word) : XCString(word)))
        return Fail(XCErrConditionRefused, start, word);
    m_fieldLength = word.size();
    m_pos = start + m_fieldLength;
    return true;
}

bool Reader::ReadOperator(bool& isRegex)
{
    std::size_t const field = m_pos - m_fieldLength;
    SkipBlanks();
    std::wstring_view const word = PeekWord();
    if (m_at->AssignOperatorFromStr(isRegex, XCString(word))) {
        m_pos += word.size();
        return true;
    }
    // The likely mistake is named before the general one: first in the operator, then in the name, which may have
    // taken the operator with it.
    if (HoldsOperator(word)) return Fail(XCErrConditionBlanks, m_pos, word);
    std::wstring_view const name = Span(field, field + m_fieldLength);
    if (name[0] != L'"' && HoldsOperator(name)) return Fail(XCErrConditionBlanks, field, name);
    return Fail(XCErrConditionOperator, m_pos, word);
}

bool Reader::ReadValue(bool isRegex)
{
    SkipBlanks();
    if (m_pos == m_end) return Fail(XCErrConditionValue, m_pos);
    std::size_t const start = m_pos;
    std::wstring_view value;
    if (!ScanValue(isRegex, value)) return false;
    if (!m_at->AssignSuppliedValueFromStr(isRegex, XCString(value))) return RefuseValue(isRegex, start, value);
    if (!m_at->PostAssignSuppliedValue()) return Fail(XCErrConditionRefused, start, value);
    m_pos = start + value.size();
    return true;
}

bool Reader::ScanQuoted(std::wstring_view& quoted)
{
    std::size_t const close = ClosingQuote(m_text.substr(0, m_end), m_pos);
    if (close == Parentheses::npos) return Fail(XCErrConditionQuote, m_pos);
    quoted = Span(m_pos, close + 1);
    return true;
}

bool Reader::ScanValue(bool isRegex, std::wstring_view& value)
{
    if (Unit(m_pos) == L'"') return ScanQuoted(value);
    // A date contains blanks, which end any other value: it goes on to its parenthesis.
    value = PeekWord();
    if (value.find(kToDate) != std::wstring_view::npos && value.find(L')') == std::wstring_view::npos)
        return ScanDate(value);
    // A pattern may need a lone parenthesis after a backslash; in a value it is one too many.
    std::size_t const stray = isRegex ? std::wstring_view::npos : StrayParenthesis(value);
    return stray == std::wstring_view::npos || Fail(XCErrConditionParenthesis, m_pos + stray);
}

bool Reader::ScanDate(std::wstring_view& value)
{
    std::size_t const close = m_text.substr(0, m_end).find(L')', m_pos);
    if (close == std::wstring_view::npos) return Fail(XCErrConditionParenthesis, m_pos + value.find(kToDate));
    value = Span(m_pos, close + 1);
    return true;
}

bool Reader::RefuseValue(bool isRegex, std::size_t pos, std::wstring_view value)
{
    if (isRegex) return Fail(XCErrConditionPattern, pos, value);
    bool const date = value.substr(0, kToDate.size()) == kToDate;
    return Fail(date ? XCErrConditionDate : XCErrConditionRefused, pos, value);
}

} // namespace xc::condition
