// The table of a message file: look-up, decoding, and the check against the original.
//
// Codes stand in an array of their own, so that a search touches four bytes a step. Message codes are mostly numbered in
// even steps: the search begins where the code would stand if all were, and doubles its step from there, which finds
// evenly spread codes at once and any others in a logarithm of the distance.
//
// A text is decoded straight into the caller's string: plain ASCII by widening, UTF-8 by the strict decoder, which cannot
// fail on lines that were validated when the file was read, and escapes in place afterwards.
//
// A text has eight bytes of table: code and place. Where it ends, its severity and its line are found in the bytes when
// they are asked for, since opening costs more for each page of memory that is touched than a look-up costs for the scan.
//
// Invariant: m_codes is strictly ascending and m_places runs along with it; all places lie within m_bytes, each behind a
// code, a severity and a blank. A table is changed by Check alone, before other threads see it.
#include "encoding/MessageTable.h"

#include "encoding/MessageConversions.h"
#include "encoding/MessageLine.h"
#include "text/NumberText.h"
#include "text/StringAccess.h"
#include "text/Utf8.h"

#include <algorithm>

namespace xc::encoding {

namespace {

/// The index of a value in an ascending array, looked for from a guess on; npos when it is not there.
std::size_t FindFrom(std::vector<std::int32_t> const& values, std::size_t guess, std::int32_t wanted) noexcept
{
    std::size_t const size = values.size();
    std::size_t low = guess;
    std::size_t high = guess + 1; // the place lies in [low, high) at the end
    // The step doubles away from the guess until the value is passed: what is near is found in few steps, and a bad
    // guess costs a logarithm.
    if (values[guess] < wanted) {
        for (std::size_t step = 1; high < size && values[high] <= wanted; step *= 2) {
            low = high;
            high = std::min(size, high + step);
        }
    } else {
        for (std::size_t step = 1; low > 0 && values[low] > wanted; step *= 2) {
            high = low;
            low = step < low ? low - step : 0;
        }
    }
    auto const end = values.begin() + static_cast<std::ptrdiff_t>(high);
    auto const found = std::lower_bound(values.begin() + static_cast<std::ptrdiff_t>(low), end, wanted);
    return found != end && *found == wanted ? static_cast<std::size_t>(found - values.begin()) : MessageTable::npos;
}

} // namespace

std::size_t MessageTable::Find(long code) const noexcept
{
    auto const wanted = static_cast<std::int32_t>(code);
    // `long` may be wider than 32 bits on other systems; a code that does not fit stands in no file.
    if (m_codes.empty() || wanted != code || wanted < m_codes.front() || wanted > m_codes.back()) return npos;
    auto const guess = static_cast<std::size_t>((static_cast<double>(wanted) - m_codes.front()) * m_scale);
    return FindFrom(m_codes, std::min(guess, m_codes.size() - 1), wanted);
}

MessageText MessageTable::Text(std::size_t index) const noexcept
{
    std::string_view const bytes = m_bytes.View();
    std::size_t const begin = m_places[index] & kPlace;
    ScannedLine line = ScanLine(bytes, begin);
    std::uint8_t traits = line.traits;
    while ((line.traits & kTextEscaped) != 0 && IsContinued(bytes.substr(begin, line.end - begin))) {
        std::size_t const next = line.next;
        line = ScanLine(bytes, next);
        traits |= line.traits;
        if (line.end == next) break; // an empty line ends the text
    }
    std::size_t end = line.end;
    // Stops at the latest at the text, which has a unit that is no blank.
    while (bytes[end - 1] == ' ' || bytes[end - 1] == '\t') --end;
    return {bytes.substr(begin, end - begin), traits};
}

unsigned int MessageTable::Severity(std::size_t index) const noexcept
{
    std::string_view const bytes = m_bytes.View();
    std::size_t at = (m_places[index] & kPlace) - 1;
    while (bytes[at] == ' ' || bytes[at] == '\t') --at;
    return static_cast<unsigned int>(bytes[at] - '0');
}

std::size_t MessageTable::Line(std::size_t index) const noexcept
{
    char const* const begin = m_bytes.bytes.get();
    return 1 + static_cast<std::size_t>(std::count(begin, begin + (m_places[index] & kPlace), '\n'));
}

bool MessageTable::Get(XCString& text, long code) const
{
    std::size_t const index = Find(code);
    if (index == npos) return false;
    // The original's text in its place: a translation with other parameters would print garbage or read past the
    // arguments.
    if ((m_places[index] & kRefused) != 0) return !m_original.IsNull() && m_original->Get(text, code);
    Decode(text, Text(index));
    return true;
}

void MessageTable::Decode(XCString& text, MessageText const& from)
{
    using text::StringAccess;
    std::size_t length = from.bytes.size();
    if (!StringAccess::CanWrite(text, length)) {
        text.Clear();
        text.Reserve(length); // never fewer than the units
    }
    wchar_t* const units = StringAccess::Units(text);
    std::size_t used = 0;
    if ((from.traits & kTextHigh) == 0)
        text::WidenBytes(units, from.bytes);
    else
        length = text::DecodeUtf8(units, from.bytes, used);
    if ((from.traits & kTextEscaped) != 0) length = Unescape(units, length);
    StringAccess::SetLength(text, length);
}

bool MessageTable::Fits(MessageTable const& original, std::size_t model, std::size_t index, XCString& reason) const
{
    // Neither can hold a parameter, as their lines told when they were read.
    if (((m_places[index] | original.m_places[model]) & kMayAsk) == 0) return true;
    MessageText const wanted = original.Text(model);
    MessageText const found = Text(index);
    bool const escaped = ((wanted.traits | found.traits) & kTextEscaped) != 0; // an escape may be a percent sign
    if (!escaped && SpellSameConversions(wanted.bytes, found.bytes)) return true;
    XCString originalText;
    XCString translation;
    Decode(originalText, wanted);
    Decode(translation, found);
    return TakeSameParameters(originalText, translation, reason);
}

std::size_t MessageTable::Check(XCSmartPtrToConst<MessageTable> original, std::vector<XCLineFault>& faults)
{
    m_original = std::move(original);
    std::vector<std::int32_t> const& models = m_original->m_codes;
    std::size_t count = 0;
    std::size_t model = 0;
    XCString reason;
    for (std::size_t i = 0; i < m_codes.size(); ++i) {
        while (model < models.size() && models[model] < m_codes[i]) ++model; // both ascend
        if (model == models.size() || models[model] != m_codes[i])
            reason = L"the original has no such code";
        else if (Fits(*m_original, model, i, reason))
            continue;
        m_places[i] |= kRefused;
        if (++count <= kMostFaults)
            faults.push_back({m_file, Line(i), 0, L"code " + text::NumberText(m_codes[i]) + L": " + reason});
    }
    if (count > kMostFaults) faults.push_back({m_file, 0, 0, L"further texts differ from the original"});
    return count;
}

} // namespace xc::encoding
