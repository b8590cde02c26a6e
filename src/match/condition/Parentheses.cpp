// The partner of each parenthesis of a condition text.
//
// A group ends where its own parenthesis closes, and the reader must know that place when the group opens. Searching
// from each opening one would be quadratic in nested text, so the first question pairs all of them in one pass with a
// stack, and each later question is a binary search in the sorted list of pairs. Quotes hide parentheses, but only
// where a quoted text can begin, at the start of a word: a quote inside a word is an ordinary unit. The pass ends at a
// quote that is not closed, because nothing after it can be told apart. Cost: O(text) once, O(log pairs) a question.
// Invariant: m_pairs is sorted by `open`; a pair without partner has `close` npos.
#include "match/condition/Parentheses.h"

#include "text/Units.h"

#include <algorithm>

namespace xc::condition {

std::size_t ClosingQuote(std::wstring_view text, std::size_t open) noexcept
{
    std::size_t at = open + 1;
    while ((at = text.find(L'"', at)) != std::wstring_view::npos) {
        // A pair of quotes is one quote of the text, and the search goes on after it.
        if (at + 1 == text.size() || text[at + 1] != L'"') return at;
        at += 2;
    }
    return Parentheses::npos;
}

std::size_t Parentheses::ClosingOf(std::wstring_view text, std::size_t open)
{
    if (!m_paired) PairAll(text, open);
    auto const pair = std::lower_bound(m_pairs.begin(), m_pairs.end(), open,
                                       [](Pair const& p, std::size_t at) { return p.open < at; });
    return pair != m_pairs.end() && pair->open == open ? pair->close : npos;
}

void Parentheses::PairAll(std::wstring_view text, std::size_t from)
{
    m_paired = true;
    std::vector<std::size_t> open; // places in m_pairs
    bool wordStart = true;
    for (std::size_t i = from; i < text.size(); ++i) {
        if (text[i] == L'(') {
            open.push_back(m_pairs.size());
            m_pairs.push_back({i, npos});
        } else if (text[i] == L')' && !open.empty()) {
            m_pairs[open.back()].close = i;
            open.pop_back();
        } else if (text[i] == L'"' && wordStart) {
            std::size_t const end = ClosingQuote(text, i);
            if (end == npos) {
                m_unclosedQuote = i;
                return;
            }
            i = end;
        }
        wordStart = text::IsBlank(text[i]) || text[i] == L'(';
    }
}

} // namespace xc::condition
