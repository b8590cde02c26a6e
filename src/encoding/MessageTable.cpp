// The table of a message file: look-up, decoding, and the check against the original.
//
// Codes stand in an array of their own, so that a search touches four bytes a step. Message codes are mostly numbered in
// even steps: the search begins where the code would stand if all were, and doubles its step from there, which finds
// evenly spread codes at once and any others in a logarithm of the distance.
//
// A text is decoded straight into the caller's string: plain ASCII by widening, UTF-8 by the strict decoder, which cannot
// fail on lines that were validated when the file was read, and escapes in place afterwards.
//
// Invariant: m_codes is strictly ascending and m_texts runs along with it; all offsets lie within m_bytes. A table is
// changed by Check alone, before other threads see it.
#include "encoding/MessageTable.h"

#include "encoding/MessageConversions.h"
#include "encoding/MessageLine.h"
#include "text/NumberText.h"
#include "text/StringAccess.h"
#include "text/Utf8.h"

#include <algorithm>

namespace xc::encoding {

namespace {

/// The index of a value in an ascending array, looked for from a guess on; the size when it is not there.
std::size_t FindFrom(std::vector<std::int32_t> const& values, std::size_t guess, std::int32_t wanted) noexcept
{
    std::size_t const size = values.size();
    std::size_t low = guess;
    std::size_t high = guess + 1; // the place lies in [low, high) at the end
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
    return found != end && *found == wanted ? static_cast<std::size_t>(found - values.begin()) : size;
}

} // namespace

MessageText const* MessageTable::Find(long code) const noexcept
{
    auto const wanted = static_cast<std::int32_t>(code);
    if (m_codes.empty() || wanted != code || wanted < m_codes.front() || wanted > m_codes.back()) return nullptr;
    auto const guess = static_cast<std::size_t>((static_cast<double>(wanted) - m_codes.front()) * m_scale);
    std::size_t const index = FindFrom(m_codes, std::min(guess, m_codes.size() - 1), wanted);
    return index == m_codes.size() ? nullptr : &m_texts[index];
}

bool MessageTable::Get(XCString& text, long code) const
{
    MessageText const* const found = Find(code);
    if (found && (found->traits & kTextRefused) != 0) return !m_original.IsNull() && m_original->Get(text, code);
    if (found) Decode(text, *found);
    return found != nullptr;
}

void MessageTable::Decode(XCString& text, MessageText const& from) const
{
    using text::StringAccess;
    std::string_view const bytes = Bytes(from);
    if (!StringAccess::CanWrite(text, bytes.size())) {
        text.Clear();
        text.Reserve(bytes.size()); // never fewer than the units
    }
    wchar_t* const units = StringAccess::Units(text);
    std::size_t length = bytes.size();
    std::size_t used = 0;
    if ((from.traits & kTextHigh) == 0)
        text::WidenBytes(units, bytes);
    else
        length = text::DecodeUtf8(units, bytes, used);
    if ((from.traits & kTextEscaped) != 0) length = Unescape(units, length);
    StringAccess::SetLength(text, length);
}

bool MessageTable::Fits(MessageTable const& original, std::int32_t code, MessageText const& text,
                        XCString& reason) const
{
    MessageText const* const model = original.Find(code);
    constexpr unsigned int kAsks = kTextPercent | kTextEscaped; // an escape may be a percent sign
    bool const mayAsk = ((text.traits | (model ? model->traits : 0)) & kAsks) != 0;
    if (!mayAsk && model) return true;
    if (model && ((text.traits | model->traits) & kTextEscaped) == 0 &&
        SpellSameConversions(original.Bytes(*model), Bytes(text)))
        return true;
    if (!model) {
        reason = L"the original has no such code";
        return false;
    }
    XCString expected;
    XCString found;
    original.Decode(expected, *model);
    Decode(found, text);
    return TakeSameParameters(expected, found, reason);
}

std::size_t MessageTable::Check(XCSmartPtrToConst<MessageTable> original, std::vector<XCLineFault>& faults)
{
    m_original = std::move(original);
    std::size_t count = 0;
    XCString reason;
    for (std::size_t i = 0; i < m_codes.size(); ++i) {
        if (Fits(*m_original, m_codes[i], m_texts[i], reason)) continue;
        m_texts[i].traits |= kTextRefused;
        if (++count <= kMostFaults)
            faults.push_back({m_file, m_texts[i].line, 0, L"code " + text::NumberText(m_codes[i]) + L": " + reason});
    }
    if (count > kMostFaults) faults.push_back({m_file, 0, 0, L"further texts differ from the original"});
    return count;
}

} // namespace xc::encoding
