// Parentheses.h - the pairs of parentheses of a text, found in one pass.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace xc::condition {

/// Where a quoted text that begins at `open` ends: the position of its closing quote; a doubled quote is part of the
/// text. npos when there is none.
std::size_t ClosingQuote(std::wstring_view text, std::size_t open) noexcept;

/// Pairs parentheses by counting depth. Those in quoted texts do not count; a quoted text begins after a blank or a
/// "(".
class Parentheses {
public:
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    /// The partner of the "(" at `open`, or npos. The first call pairs all that follow: ask in ascending order.
    std::size_t ClosingOf(std::wstring_view text, std::size_t open);
    /// The quote that is never closed, or npos.
    [[nodiscard]] std::size_t UnclosedQuote() const noexcept { return m_unclosedQuote; }

private:
    struct Pair {
        std::size_t open;
        std::size_t close;
    };
    void PairAll(std::wstring_view text, std::size_t from);

    bool m_paired = false;
    std::vector<Pair> m_pairs; ///< by the place of the opening one
    std::size_t m_unclosedQuote = npos;
};

} // namespace xc::condition
