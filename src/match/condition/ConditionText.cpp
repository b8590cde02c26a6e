// The text of a condition: reading and writing its field, its operator and its value.
//
// The shape of the text (links, parentheses, lists) belongs to Reader and Printer; here stand the parts that a derived
// class may read and write in its own way, one call each. Invariant: what the Get calls write, the Assign calls read
// back to an equal condition. Three rules serve it. A value that is no text is never quoted and a text always is, so
// that the text "7" and the number 7 stay apart. A field name is quoted when a reader would take it for something
// else: a word of a link, a name with blanks, a mark of the native form. And one table has all operators, so that no
// operator can be written that is not read.
#include <XelbrinCore/XCCondition.h>

#include "match/condition/NumberText.h"
#include "match/condition/Printer.h"
#include "match/condition/Reader.h"

#include <XelbrinCore/XCTrace.h>

#include <algorithm>

using xc::condition::IsQuoted;
using xc::condition::Quoted;
using xc::condition::Unquoted;

namespace {

struct OperatorText {
    wchar_t const* text;
    ConditionOperator op;
    bool isRegex;
};
constexpr OperatorText kOperators[] = {
    {L"<", ConditionOperator::Less, false},
    {L"<=", ConditionOperator::LessOrEqual, false},
    {L"=", ConditionOperator::Equal, false},
    {L"!=", ConditionOperator::NotEqual, false},
    {L">=", ConditionOperator::GreaterOrEqual, false},
    {L">", ConditionOperator::Greater, false},
    {L"%", ConditionOperator::Equal, true},
    {L"/=", ConditionOperator::NotEqual, true},
};

constexpr std::wstring_view kSysDate = L"SYSDATE";
constexpr std::wstring_view kToDateOpen = L"TO_DATE(";

/// In the local zone; a date outside the years that text can show becomes the nearest that it can.
XCString DateText(XCDateTime date)
{
    XCString const text = date.AsString();
    if (!text.IsNull()) return text;
    return date.AsTime() < 0 ? L"1/01/01 00:00:00" : L"9999/12/31 23:59:59";
}

} // namespace

bool XCCondition::FromString(XCString const& text)
{
    XCString const kept(text); // the text may be a part of this condition
    Reset();
    xc::condition::Reader reader(*this, kept);
    if (reader.Read()) return true;
    ClearSubCondV();
    m_readError = reader.Error();
    return false;
}

XCString XCCondition::ToString(bool native) const
{
    return native ? ToNativeString() : xc::condition::Printer().Print(*this);
}

bool XCCondition::AssignFieldName(XCString const& name)
{
    m_fieldName = name;
    m_boundSerial = kUnbound;
    return true;
}

bool XCCondition::AssignOperatorFromStr(bool& isRegex, XCString const& text)
{
    auto const found = std::find_if(std::begin(kOperators), std::end(kOperators),
                                    [&](OperatorText const& known) { return text == known.text; });
    bool const known = found != std::end(kOperators);
    m_operator = known ? found->op : ConditionOperator::None;
    isRegex = known && found->isRegex;
    return known;
}

bool XCCondition::AssignSuppliedValueFromStr(bool isRegex, XCString const& text)
{
    bool const quoted = IsQuoted(text);
    // What stands in quotes is text whatever it spells, and a pattern is text without them, too.
    if (isRegex || quoted) {
        AssignXCString(quoted ? Unquoted(text) : text);
        return !isRegex || AsRegExp();
    }
    if (text == L"NULL")
        AssignNull();
    else if (std::optional<XCConditionValue> const number = xc::condition::ReadNumber(text))
        AssignValue(*number);
    else if (text.View() == kSysDate || text.View().starts_with(kToDateOpen))
        return AssignDateFromStr(text);
    else
        AssignXCString(text);
    return true;
}

bool XCCondition::AssignDateFromStr(XCString const& text)
{
    bool const sysDate = text.View() == kSysDate;
    std::wstring_view inside = text;
    if (!sysDate) inside.remove_prefix(kToDateOpen.size());
    std::size_t const close = inside.find(L')');
    // Nothing may follow the parenthesis: half a date would be taken for a whole one.
    bool const closed = sysDate || (close != std::wstring_view::npos && close + 1 == inside.size());
    XCDateTime date;
    if (!closed || !date.FromString(XCString(inside.substr(0, close)), L"%Y/%m/%d %H:%M:%S")) {
        XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceCondition, L"XCCondition::AssignSuppliedValueFromStr", L"%s",
                     L"ERROR: XCCondition fails in XCDateTime::FromString()");
        return false;
    }
    AssignXCDateTime(date);
    m_isSysDate = sysDate;
    return true;
}

bool XCCondition::PostAssignSuppliedValue()
{
    return true;
}

void XCCondition::GetFieldName(XCString& text) const
{
    std::wstring_view const name = m_fieldName;
    // Only what the reader would take for something else is quoted: people read and edit these texts.
    bool const plain = !name.empty() && name.find_first_of(L" \t()\"") == std::wstring_view::npos &&
                       !xc::condition::IsLinkWord(name) && !name.starts_with(L"@@");
    text = plain ? m_fieldName : Quoted(name);
}

void XCCondition::GetOperator(XCString& text) const
{
    text.Clear();
    for (OperatorText const& known : kOperators) {
        // The two operators of patterns stand last in the table.
        if (known.op != m_operator || (known.isRegex && !IsRegularExpression())) continue;
        text = L' ';
        text += known.text;
        text += L' ';
    }
}

void XCCondition::GetSuppliedValue(XCString& text) const
{
    switch (m_value.GetKind()) {
    case XCConditionValue::Kind::Null: text = L"NULL"; break;
    case XCConditionValue::Kind::Text: text = Quoted(m_value.AsText()); break;
    case XCConditionValue::Kind::DateTime:
        text = m_isSysDate ? XCString(kSysDate) : XCString(kToDateOpen) + DateText(m_value.AsDateTime()) + L')';
        break;
    default: text = xc::condition::PrintNumber(m_value);
    }
}
