// The native text form: all that a condition holds, in tokens.
//
// Each node is written before its sub-conditions with their count, so that a reader needs neither parentheses nor a
// look ahead: it keeps one counter for each open list. Both directions walk the tree with a list of places of their
// own, because chains may be longer than any stack. Units that mean something in condition text or to the tokeniser are
// escaped, so that the form can stand inside a larger condition. Invariant: reading gives the same tree, with kinds,
// decimals and binding to SYSDATE, whatever the local zone.
//
// Each value begins with a letter for its kind: n null, y the date of the system, s text, r pattern, i and l whole
// numbers of 32 and 64 bits, d real, t an instant in seconds since 1970. Counting in seconds is what makes the form
// independent of zones. A real number states its decimals before a colon, because two values that print alike may have
// been given with different precision.
#include "match/condition/Native.h"

#include "match/condition/NumberText.h"
#include "text/Units.h"

#include <algorithm>

namespace xc::condition {

namespace {

constexpr std::size_t kHexDigits = 4;

// '@' parts tokens, '%' begins an escape, and the other three mean something in the text around.
bool NeedsEscape(wchar_t unit) noexcept
{
    return text::ToUint(unit) < 0x20 || std::wstring_view(L"@%()\"").find(unit) != std::wstring_view::npos;
}

std::optional<unsigned int> ReadHex(std::wstring_view digits) noexcept
{
    unsigned int value = 0;
    for (wchar_t const digit : digits) {
        std::size_t const n = std::wstring_view(L"0123456789ABCDEF").find(digit);
        // Capital letters only: the form is written by this file, and one spelling a value lets texts be compared as
        // they are.
        if (n == std::wstring_view::npos) return std::nullopt;
        value = value * 16 + static_cast<unsigned int>(n);
    }
    return value;
}

std::optional<XCConditionValue> ReadNativeReal(std::wstring_view text)
{
    std::size_t const colon = text.find(L':');
    if (colon == std::wstring_view::npos) return std::nullopt;
    std::optional<XCConditionValue> const number = ReadNumber(text.substr(colon + 1));
    if (!number) return std::nullopt;
    // A real value that is whole is printed without a point; the letter in front says that it is real all the same.
    double const value = number->IsInteger() ? static_cast<double>(number->AsInt64()) : number->AsDouble();
    if (colon == 0) return XCConditionValue(value);
    std::optional<XCConditionValue> const decimals = ReadNumber(text.substr(0, colon));
    if (!decimals || !decimals->IsInteger()) return std::nullopt;
    // Refused rather than cut: a text that another program has damaged must not turn into a condition that is a little
    // different.
    if (decimals->AsInt64() < 0 || decimals->AsInt64() > XCDouble::kMaxDecimals) return std::nullopt;
    return RealWithDecimals(value, static_cast<unsigned int>(decimals->AsInt64()));
}

} // namespace

XCString Escaped(std::wstring_view text)
{
    XCString escaped;
    escaped.Reserve(text.size());
    for (wchar_t const unit : text) {
        if (!NeedsEscape(unit)) {
            escaped += unit;
            continue;
        }
        escaped += L'%';
        for (int shift = 12; shift >= 0; shift -= 4) escaped += L"0123456789ABCDEF"[(text::ToUint(unit) >> shift) & 15];
    }
    return escaped;
}

std::optional<XCString> Unescaped(std::wstring_view text)
{
    XCString plain;
    plain.Reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != L'%') {
            plain += text[i];
            continue;
        }
        std::wstring_view const digits = text.substr(i + 1, kHexDigits);
        std::optional<unsigned int> const unit = ReadHex(digits);
        if (!unit || digits.size() != kHexDigits) return std::nullopt;
        plain += static_cast<wchar_t>(*unit);
        i += kHexDigits;
    }
    return plain;
}

XCString NativeNumber(XCConditionValue const& value)
{
    XCString text(value.GetKind() == XCConditionValue::Kind::Int ? L'i' : value.IsInteger() ? L'l' : L'd');
    if (value.IsInteger()) return text += PrintNumber(value);
    if (value.HasDecimals()) text += PrintNumber(XCConditionValue(static_cast<int>(value.GetDecimals())));
    text += L':';
    return text += PrintNumber(value);
}

std::optional<XCConditionValue> ReadNativeNumber(wchar_t kind, std::wstring_view text)
{
    if (kind == L'd') return ReadNativeReal(text);
    std::optional<XCConditionValue> const value = ReadNumber(text);
    if (!value || !value->IsInteger() || (kind == L'i' && value->GetKind() != XCConditionValue::Kind::Int))
        return std::nullopt;
    // A small number that was written as a long stays one: the kind decides how it is compared with fields of other
    // kinds.
    return kind == L'i' ? *value : XCConditionValue(value->AsInt64());
}

} // namespace xc::condition

using xc::condition::Escaped;
using xc::condition::Unescaped;

namespace {

std::optional<std::size_t> ReadCount(std::wstring_view text)
{
    std::optional<XCConditionValue> const value = xc::condition::ReadNumber(text);
    if (!value || value->GetKind() != XCConditionValue::Kind::Int || value->AsInt64() < 0) return std::nullopt;
    return static_cast<std::size_t>(value->AsInt64());
}

} // namespace

bool XCCondition::IsNativeFormat(XCString const& text) noexcept
{
    return xc::condition::Trimmed(text.View()).substr(0, 2) == L"@@";
}

XCString XCCondition::NativeValue() const
{
    if (m_isSysDate) return L"y";
    // Before the kinds: a pattern is held as a text as well.
    if (m_regEx) return L"r" + Escaped(m_value.AsText());
    switch (m_value.GetKind()) {
    case XCConditionValue::Kind::Null: return L"n";
    case XCConditionValue::Kind::Text: return L"s" + Escaped(m_value.AsText());
    case XCConditionValue::Kind::DateTime:
        return L"t" + xc::condition::PrintNumber(XCConditionValue(m_value.AsDateTime().AsTime()));
    default: return xc::condition::NativeNumber(m_value);
    }
}

bool XCCondition::ReadNativeValue(std::wstring_view text)
{
    if (text.empty()) return false;
    wchar_t const kind = text[0];
    text.remove_prefix(1);
    if (kind == L'n' || kind == L'y') {
        if (kind == L'y') return text.empty() && AssignDateFromStr(L"SYSDATE");
        AssignNull();
        return text.empty();
    }
    if (kind == L's' || kind == L'r') {
        std::optional<XCString> const plain = Unescaped(text);
        if (!plain) return false;
        AssignXCString(*plain);
        // A pattern that does not parse is kept as it stands; it matches nothing, as it did where it was written.
        if (kind == L'r') AsRegExp();
        return true;
    }
    if (kind != L'i' && kind != L'l' && kind != L'd' && kind != L't') return false;
    std::optional<XCConditionValue> const number = xc::condition::ReadNativeNumber(kind == L't' ? L'l' : kind, text);
    if (!number) return false;
    if (kind == L't')
        AssignXCDateTime(XCDateTime(number->AsInt64()));
    else
        AssignValue(*number);
    return true;
}

/// Writes the three tokens of this condition alone.
void XCCondition::AppendNative(XCString& text) const
{
    text += xc::condition::PrintNumber(XCConditionValue(static_cast<int>(m_operator)));
    text += L':';
    auto const present =
        std::count_if(m_subs.begin(), m_subs.end(), [](auto const& sub) { return !sub.condition.IsNull(); });
    text += xc::condition::PrintNumber(XCConditionValue(static_cast<std::int64_t>(present)));
    text += L"@f";
    text += Escaped(m_fieldName);
    text += L'@';
    text += NativeValue();
}

bool XCCondition::ReadNativeOwn(XCTokenizer& tokens, std::size_t& subCount)
{
    XCString head;
    XCString name;
    XCString value;
    if (!tokens.GetNext(head) || !tokens.GetNext(name) || !tokens.GetNext(value)) return false;
    std::size_t const colon = head.Find(L':');
    std::optional<std::size_t> const op = ReadCount(head.View().substr(0, colon));
    std::optional<std::size_t> const count = ReadCount(head.View().substr(colon == XCString::npos ? 0 : colon + 1));
    // The letter before the name is there so that no token is empty: the tokeniser would pass over an empty one.
    if (!op || *op > static_cast<std::size_t>(ConditionOperator::Greater) || !count || name[0] != L'f') return false;
    std::optional<XCString> const plainName = Unescaped(name.View().substr(1));
    if (!plainName || !AssignFieldName(*plainName) || !ReadNativeValue(value)) return false;
    m_operator = static_cast<ConditionOperator>(*op);
    subCount = *count;
    bool const ordered = m_operator != ConditionOperator::Equal && m_operator != ConditionOperator::NotEqual;
    // A pattern has no order: the printed form could not say it.
    if (m_regEx && ordered) return false;
    // Derived classes may refuse a value, but only one that takes part in a comparison.
    return m_operator == ConditionOperator::None || PostAssignSuppliedValue();
}

XCString XCCondition::ToNativeString() const
{
    struct Place {
        XCCondition const* condition;
        std::size_t next;
    };
    XCString text(L"@@");
    AppendNative(text);
    std::vector<Place> open{{this, 0}};
    while (!open.empty()) {
        Place& place = open.back();
        if (place.next == place.condition->m_subs.size()) {
            open.pop_back();
            continue;
        }
        LinkedCond const& sub = place.condition->m_subs[place.next++];
        if (sub.condition.IsNull()) continue;
        text += sub.link == Link::And ? L"@1@" : L"@0@";
        sub.condition->AppendNative(text);
        open.push_back({sub.condition.GetPtr(), 0});
    }
    return text;
}

bool XCCondition::FromNativeString(XCTokenizer& tokens)
{
    Reset();
    if (ReadNativeTree(tokens)) return true;
    Reset();
    return false;
}

bool XCCondition::ReadNativeTree(XCTokenizer& tokens)
{
    struct Place {
        XCCondition* condition;
        std::size_t left; ///< sub-conditions still to be read
    };
    std::vector<Place> open{{this, 0}};
    if (!ReadNativeOwn(tokens, open.back().left)) return false;
    XCString token;
    while (!open.empty()) {
        if (open.back().left == 0) {
            open.pop_back();
            continue;
        }
        --open.back().left;
        XCCondition& parent = *open.back().condition;
        // The count that a text claims is never trusted with memory: each child is made when its tokens have been
        // seen.
        if (!tokens.GetNext(token) || token.Length() != 1 || (token[0] != L'0' && token[0] != L'1')) return false;
        XCSmartPtr<XCCondition> const child = parent.NewChild();
        Place place{child.GetPtr(), 0};
        if (child.IsNull() || !child->ReadNativeOwn(tokens, place.left)) return false;
        // Linked before its own list is read: the child is reached by its address alone.
        parent.m_subs.push_back({token[0] == L'1' ? Link::And : Link::Or, child});
        open.push_back(place);
    }
    // Something after the last condition means that the counts are wrong, and then so is what was read.
    return !tokens.GetNext(token);
}
