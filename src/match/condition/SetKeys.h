// SetKeys.h - which conditions of a set a record can meet at all, by the values that they demand.
//
// Most conditions of a large set are conjunctions that demand one value of one field ("Host = db7 AND ..."). Such a
// comparison becomes the key of its condition: a record is looked up by the values of its fields, and conditions with
// other keys are never touched. Conditions without such a demand are candidates always. Publish-and-subscribe systems
// choose the subscriptions of an event in this way.
//
// A key must find every condition that could hold. Texts equal texts unit by unit, integers equal whatever spells the
// same number; but a text key may also spell the number or the date that a record holds, so that all text keys of a
// field are candidates for a value that is no text.
#pragma once

#include <XelbrinCore/XCCondition.h>

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace xc::condition {

using Numbers = std::vector<std::uint32_t>;

/// The demanded values of one field.
class FieldKeys {
public:
    /// @param value a text, which outlives this, or an integer.
    void Add(XCConditionValue const& value, std::uint32_t number);
    /// Adds those whose key the value may equal.
    void Candidates(XCConditionValue const& value, Numbers& numbers) const;

private:
    std::unordered_map<std::wstring_view, Numbers> m_texts;
    std::unordered_map<std::int64_t, Numbers> m_integers;
    Numbers m_allTexts;
};

/// The comparison without which the condition is false: "field = text" or "field = integer"; null when there is none.
XCCondition const* DemandOf(XCCondition const& root);

} // namespace xc::condition
