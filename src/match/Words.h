// Words.h - alternatives of literal texts ("GET|PUT|POST"), alone or, when they are many, between two ".*": no automaton is
// needed.
//
// Alone, the subject is looked up in a hash table of the words. Between ".*" a filter finds the places where a word may
// begin, and the table tells whether one does.
#pragma once

#include "match/Plan.h"

#include <memory>

namespace xc::match {

class Words : public Program {
public:
    /// Null when the tree (which may be null) has another form, or words that do not suit a search.
    [[nodiscard]] static std::unique_ptr<Words const> From(XCRegExSyntaxNode const* root);
    /// How many words there are, and what they take.
    struct Size {
        std::size_t words = 0, units = 0, longest = 0;
    };
    /// @param alternative of literals, as counted. @param within whether they may stand anywhere in a subject.
    Words(XCRegExSyntaxNode const& alternative, Size const& size, bool within);

    [[nodiscard]] bool Match(wchar_t const* text) const override;

private:
    static constexpr std::size_t kLongestWithin = 64; ///< units of a word that is searched for
    static constexpr std::size_t kFewWords = 128;

    void Add(XCRegExSyntaxNode const& word);
    void PrepareSearch();
    [[nodiscard]] std::size_t FilterBit(std::uint64_t lead) const noexcept;
    [[nodiscard]] std::size_t LeadSlot(std::uint64_t lead) const noexcept;
    [[nodiscard]] std::uint64_t LeadOf(std::wstring_view text) const noexcept;
    [[nodiscard]] std::wstring_view Word(std::uint32_t number) const noexcept;
    [[nodiscard]] bool Holds(std::wstring_view text) const noexcept;
    [[nodiscard]] bool StandsIn(wchar_t const* text, std::size_t n) const noexcept;
    [[nodiscard]] bool MatchWithin(wchar_t const* text) const noexcept;

    bool m_within;
    std::size_t m_shortest = static_cast<std::size_t>(-1);
    std::size_t m_longest = 0;
    List<wchar_t> m_text;        ///< all words one after the other
    List<std::uint32_t> m_ends;  ///< by word: where it ends in the text
    List<std::uint32_t> m_slots; ///< by hash: the number of a word and one; 0 is free
    bool m_suits = true;
    // For those searched for:
    std::uint64_t m_leadMask = 0; ///< the leading units that are looked at first
    int m_filterShift = 0;
    List<std::uint64_t> m_filter;    ///< a bit for each hash of them
    List<std::uint32_t> m_leadSlots; ///< by another hash: the number of a word that begins so, and one
    List<std::uint32_t> m_next;      ///< by word: the next one that begins so, and one; 0 is none
};

} // namespace xc::match
