// Glob.h - expressions made of literal text and ".*" alone ("name", ".*needle.*", "a.*b.*\.txt") need no automaton: text
// is compared and searched for.
//
// The leftmost place of each literal is the best one for what follows. An open end (a last ".*") accepts as soon as the
// literal before it is found, whatever the rest holds; before that U+FFFF is refused, because "." never matches it.
#pragma once

#include "match/Plan.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xc::match {

class Glob : public Program {
public:
    /// Null when the tree (which may be null) has another form.
    [[nodiscard]] static std::unique_ptr<Glob const> From(XCRegExSyntaxNode const* root);
    /// @param units, gaps of the tree, which has the form.
    Glob(XCRegExSyntaxNode const& root, std::size_t units, std::size_t gaps);

    [[nodiscard]] bool Match(wchar_t const* text) const override;
    /// The literal before the first gap.
    [[nodiscard]] std::wstring_view LiteralStart() const noexcept override { return m_prefix; }

private:
    // Calls of their own: Match answers most of them before.
    [[nodiscard, gnu::noinline]] bool MatchOpen(wchar_t const* text) const;
    [[nodiscard, gnu::noinline]] bool MatchClosed(wchar_t const* text) const;

    std::wstring m_text;                      ///< all literals one after the other; the others are parts of it
    std::wstring_view m_prefix;               ///< before the first gap
    std::vector<std::wstring_view> m_needles; ///< each after a gap
    std::wstring_view m_suffix;               ///< after the last gap, when the end is not open
    UnitPlaces m_lead;                        ///< as much of the prefix as is compared at once
    bool m_isLeadAll = false;                 ///< and the answer when nothing else is asked
    bool m_hasGap = false;
    bool m_openEnd = false;
};

} // namespace xc::match
