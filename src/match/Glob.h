// Glob.h - expressions made of literal text and ".*" alone ("name", ".*needle.*", "a.*b.*\.txt") need no automaton: text
// is compared and searched for.
//
// The leftmost place of each literal is the best one for what follows. An open end (a last ".*") accepts as soon as the
// literal before it is found, whatever the rest holds; before that U+FFFF is refused, because "." never matches it.
#pragma once

#include "match/Plan.h"

#include <memory>
#include <string>
#include <vector>

namespace xc::match {

class Glob : public Program {
public:
    /// Null when the tree has another form.
    [[nodiscard]] static std::unique_ptr<Glob const> From(XCSmartPtr<XCRegExSyntaxNode> const& root);

    [[nodiscard]] bool Match(wchar_t const* text) const override;
    /// The literal before the first gap.
    [[nodiscard]] std::wstring_view LiteralStart() const noexcept override { return m_prefix; }

private:
    [[nodiscard]] bool MatchOpen(wchar_t const* text) const;
    [[nodiscard]] bool MatchClosed(wchar_t const* text) const;

    std::wstring m_prefix;
    std::vector<std::wstring> m_needles; ///< each after a gap
    std::wstring m_suffix;               ///< after the last gap, when the end is not open
    bool m_hasGap = false;
    bool m_openEnd = false;
    std::size_t m_fixedLength = 0; ///< of all literals
};

} // namespace xc::match
