// Finding places, and what is done with them: groups, replacement, splitting, fields of a line.
//
// FindAll asks once for the longest end of every begin and then walks over the answers: asking again from the end of
// each place would read the text from there to its end each time, and so take quadratic time on texts with many places.
// An empty place is skipped where the place before it has just ended; after an empty place the
// walk goes on by one unit, so that it always ends. Groups are looked for only where somebody wants them. Cost: O(text
// * nodes) for all places; a search without any result costs one pass and no list. The places of a result are in order
// and never overlap.
#include <XelbrinCore/XCRegExFind.h>

#include <XelbrinCore/XCRegEx.h>

#include "match/Expression.h"
#include "text/Units.h"

#include <algorithm>

using xc::match::FindProgram;

XCRegExPlace XCRegEx::Find(std::wstring_view text, std::size_t from) const
{
    return from <= text.size() ? m_expression->Finder().Find(text, from) : XCRegExPlace{};
}

std::vector<XCRegExPlace> XCRegEx::FindAll(std::wstring_view text) const
{
    std::vector<XCRegExPlace> places;
    FindProgram const& finder = m_expression->Finder();
    // The usual text has no place at all: one pass tells it, without the list of ends.
    if (!finder.Find(text, 0).IsFound()) return places;
    std::vector<std::size_t> const ends = finder.LongestEnds(text);
    for (std::size_t at = 0; at <= text.size();) {
        std::size_t const end = ends[at];
        bool const touches = end == at && !places.empty() && places.back().end == at;
        if (end != XCRegExPlace::npos && !touches) places.push_back({at, end});
        at = end == XCRegExPlace::npos || end == at ? at + 1 : end;
    }
    return places;
}

std::vector<XCRegExPlace> XCRegEx::FindGroups(std::wstring_view text, XCRegExPlace const& place) const
{
    return m_expression->Finder().Groups(text, place);
}

std::uint32_t XCRegEx::GetGroupCount() const
{
    return m_expression->Finder().GroupCount();
}

namespace {

/// Appends a replacement: $0 to $9 are groups, $$ is a dollar, and any other dollar stands for itself.
void AppendReplacement(XCString& result, std::wstring_view replacement, std::wstring_view text,
                       std::vector<XCRegExPlace> const& groups)
{
    for (std::size_t i = 0; i < replacement.size();) {
        std::size_t const plain = std::min(replacement.find(L'$', i), replacement.size());
        result.Append(replacement.substr(i, plain - i));
        if (plain == replacement.size()) return;
        wchar_t const letter = plain + 1 < replacement.size() ? replacement[plain + 1] : L'\0';
        i = plain + 2;
        if (xc::text::IsDigit(letter)) {
            auto const group = static_cast<std::size_t>(letter - L'0');
            if (group < groups.size()) result.Append(groups[group].In(text));
        } else {
            result.Append(std::wstring_view(L"$"));
            if (letter != L'$') i = plain + 1;
        }
    }
}

} // namespace

XCString XCRegEx::Replace(std::wstring_view text, std::wstring_view replacement) const
{
    XCString result;
    std::size_t copied = 0;
    // Groups cost a second run over each place; a replacement without a dollar cannot name one.
    bool const takesGroups = replacement.find(L'$') != std::wstring_view::npos;
    for (XCRegExPlace const& place : FindAll(text)) {
        result.Append(text.substr(copied, place.begin - copied));
        AppendReplacement(result, replacement, text,
                          takesGroups ? FindGroups(text, place) : std::vector<XCRegExPlace>());
        copied = place.end;
    }
    result.Append(text.substr(copied));
    return result;
}

std::vector<XCString> XCRegEx::Split(std::wstring_view text) const
{
    std::vector<XCString> parts;
    std::size_t begin = 0;
    for (XCRegExPlace const& place : FindAll(text)) {
        // An empty place separates nothing: splitting at each would give one part a unit, which nobody means.
        if (place.Length() == 0) continue;
        parts.emplace_back(text.substr(begin, place.begin - begin));
        begin = place.end;
    }
    parts.emplace_back(text.substr(begin));
    return parts;
}

/// Engines read up to a terminator: a view without one is copied first, a short one on the stack.
bool XCRegEx::MatchView(std::wstring_view subject) const
{
    // A kilobyte of the stack: most fields and names fit, and the copy is a fraction of what the match costs.
    constexpr std::size_t kShort = 500;
    if (subject.find(L'\0') != std::wstring_view::npos) return m_expression->Match(subject.data());
    if (subject.size() > kShort) return m_expression->Match(std::wstring(subject).c_str());
    wchar_t copy[kShort + 1];
    std::copy(subject.begin(), subject.end(), copy);
    copy[subject.size()] = L'\0';
    return m_expression->Match(copy);
}

// Fields of a line ----------------------------------------------------------------------------------------------

XCRegExFields::XCRegExFields(XCString const& pattern, std::initializer_list<wchar_t const*> names)
    : m_names(names.begin(), names.end())
{
    XCParsedRegEx const parsed = XCStringRegExParser(pattern).Parse();
    m_pattern = std::make_shared<XCRegEx>(parsed, false);
    // More groups than names are welcome; a name without a group could never get a value.
    m_valid = parsed.IsValid() && m_pattern->GetGroupCount() >= m_names.size();
}
XCRegExFields::XCRegExFields(XCRegExFields const& other) = default;
XCRegExFields& XCRegExFields::operator=(XCRegExFields const& other) = default;
XCRegExFields::~XCRegExFields() = default;

/// The fast program refuses lines before the groups are looked for. It ends a line at a U+0000, which these do not.
bool XCRegExFields::TakeApart(std::wstring_view line, std::vector<XCRegExPlace>& groups) const
{
    if (line.find(L'\0') == std::wstring_view::npos && !m_pattern->Match(line)) return false;
    groups = m_pattern->FindGroups(line, {0, line.size()});
    return !groups.empty();
}

XCRegExPlace XCRegExFields::PlaceOf(std::vector<XCRegExPlace> const& groups, wchar_t const* name) const noexcept
{
    for (std::size_t i = 0; i < m_names.size() && i + 1 < groups.size(); ++i)
        if (*name && m_names[i] == name) return groups[i + 1];
    return {};
}

bool XCRegExFields::ReadValue(std::wstring_view text, double& value)
{
    bool ok = false;
    double const read = XCString(text).AsDouble(&ok);
    if (ok) value = read;
    return ok;
}

bool XCRegExFields::ReadInteger(std::wstring_view text, std::int64_t& value)
{
    bool ok = false;
    value = XCString(text).AsInt64(&ok);
    return ok;
}
