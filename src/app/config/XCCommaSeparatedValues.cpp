// Several values in one: separated by commas, quoted where a comma, a quote or white space at an end would be lost.
//
// Reading is lenient, because people edit the text: blanks around a value are dropped, an unclosed quote reaches to the
// end, and text after a closing quote is kept. Writing is strict: whatever values Put has packed, Get gives back one by
// one. The one value that needs a rule of its own is an empty first one, which is written as "" because an empty text
// is a list without values. A position past the end marks that the last value was read. Cost: O(text) for all values
// together.
#include <XelbrinCore/XCCommaSeparatedValues.h>

#include "text/NumberText.h"
#include "text/Units.h"

#include <string>

using xc::text::IsSpace;

namespace {

bool WantsQuotes(XCString const& value, bool isFirst) noexcept
{
    if (value.IsNull()) return isFirst; // else a list of one empty value would be an empty list
    return IsSpace(value[0]) || IsSpace(value[value.Length() - 1]) || value.Find(L',') != XCString::npos ||
           value.Find(L'"') != XCString::npos;
}

/// Takes a quoted text off the front of `rest`, up to its closing quote or, when there is none, to the end.
XCString TakeQuoted(std::wstring_view& rest)
{
    std::wstring value;
    rest.remove_prefix(1);
    while (!rest.empty()) {
        wchar_t const unit = rest.front();
        rest.remove_prefix(1);
        if (unit == L'"' && !rest.starts_with(L'"')) break;
        if (unit == L'"') rest.remove_prefix(1);
        value.push_back(unit);
    }
    return XCString(value);
}

std::wstring_view WithoutSpaceAround(std::wstring_view text) noexcept
{
    while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
    return text;
}

} // namespace

XCCommaSeparatedValues& XCCommaSeparatedValues::Put(XCString const& value)
{
    XCString item(value);
    if (WantsQuotes(value, m_packed.IsNull())) {
        item.Replace(L"\"", L"\"\"");
        item = L"\"" + item + L"\"";
    }
    if (!m_packed.IsNull()) m_packed += L',';
    m_packed += item;
    return *this;
}

XCCommaSeparatedValues& XCCommaSeparatedValues::Put(int value)
{
    return Put(xc::text::NumberText(value));
}

XCString XCCommaSeparatedValues::Get(bool* ok)
{
    bool const any = m_pos < m_packed.Length() || (m_pos == m_packed.Length() && m_pos != 0);
    if (ok) *ok = any;
    if (!any) return {};
    std::wstring_view rest = m_packed.View().substr(m_pos);
    while (!rest.empty() && IsSpace(rest.front())) rest.remove_prefix(1);
    XCString value;
    if (rest.starts_with(L'"')) value = TakeQuoted(rest);
    std::wstring_view const plain = rest.substr(0, rest.find(L','));
    value.Append(WithoutSpaceAround(plain)); // nothing should stand after a closing quote; text that does is kept
    rest.remove_prefix(plain.size());
    m_pos = m_packed.Length() - rest.size() + 1;
    return value;
}

int XCCommaSeparatedValues::GetInt(bool* ok)
{
    bool any = false;
    bool isNumber = false;
    int const value = Get(&any).AsInt(&isNumber);
    if (ok) *ok = any && isNumber;
    return value;
}
