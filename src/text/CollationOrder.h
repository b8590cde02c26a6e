// CollationOrder.h - an order of characters while it is being made: a list of letters that grows by rules.
#pragma once

#include "text/CollationData.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xc::text {

/// How an item differs from the one before it.
enum class CollationStep : std::uint8_t { Same, Letter, Accent, Case };

class CollationOrder {
public:
    /// The default order, as the facts of Unicode give it, without rules.
    CollationOrder();

    /// Puts an item after the place where `anchor` stands. Null, or why that cannot be.
    wchar_t const* Place(std::wstring_view anchor, CollationStep step, std::wstring_view item);
    /// Null when there are more letters than weights.
    [[nodiscard]] std::unique_ptr<CollationData const> Build() const;

private:
    /// One element of an item: a letter and its variant, or a mark.
    struct Part {
        std::uint32_t letter; ///< kMark: `variant` is a secondary weight
        std::uint32_t variant;
    };
    using Parts = std::vector<Part>;
    static constexpr std::uint32_t kMark = 0;
    static constexpr std::uint32_t kNone = 0;

    /// A form of a letter; its place among the others decides its lower weights.
    struct Variant {
        std::uint32_t id;
        CollationStep step; ///< from the variant before it
    };
    struct Letter {
        std::uint32_t next = kNone;    ///< the letter after it
        std::vector<Variant> variants; ///< empty: lower case (0) and upper case (1)
    };
    struct Unit {
        Part part;    ///< of a unit with one part
        bool isKnown; ///< else ignored, or in m_items, or composed
    };

    void AddLetters();
    void AddLetter(wchar_t unit);
    void AddComposed(wchar_t unit);
    Parts PartsOfUnit(wchar_t unit) const;
    Parts PartsOf(std::wstring_view text) const;
    Part NextVariant(Part after, CollationStep step);
    std::uint32_t InsertLetter(std::uint32_t after);
    Element ElementOf(Part part, std::vector<std::uint32_t> const& ranks) const;
    ElementRun AddElements(CollationData& data, Parts const& parts, std::vector<std::uint32_t> const& ranks) const;
    void SetUnit(CollationData& data, wchar_t unit, std::vector<std::uint32_t> const& ranks) const;
    bool SetHeads(CollationData& data, std::vector<std::uint32_t> const& ranks) const;

    std::vector<Letter> m_letters; ///< the first is the head of the list
    std::uint32_t m_last = 0;
    std::uint32_t m_numberLead = 0;
    std::vector<Unit> m_units;
    std::map<wchar_t, std::wstring> m_composed;         ///< units of a letter and marks, and what they are made of
    std::map<std::wstring, Parts, std::less<>> m_items; ///< what rules have placed
};

} // namespace xc::text
