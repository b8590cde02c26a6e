#include "match/Glob.h"

#include "text/Kernels.h"
#include "text/RangeKernels.h"

#include <algorithm>

namespace xc::match {

namespace {

using Node = XCRegExSyntaxNode;

constexpr wchar_t kNeverMatched = static_cast<wchar_t>(0xFFFF);

bool IsAnySet(Node const& node)
{
    if (node.GetType() != Node::NodeType::CharSetNode) return false;
    return static_cast<Node::CharSetNode const&>(node).GetCharSet().GetCount() == 0xFFFF;
}

bool IsGap(Node const& node)
{
    if (node.GetType() != Node::NodeType::RepeatNode || !IsAnySet(*node.GetLeftChild().GetPtr())) return false;
    auto const& repeat = static_cast<Node::RepeatNode const&>(node);
    return repeat.GetMinimum() == 0 && repeat.GetMaximum() == Node::Unbounded;
}

/// The one unit of a leaf.
std::optional<wchar_t> SingleUnit(Node const& node)
{
    if (node.GetType() != Node::NodeType::CharSetNode) return {};
    XCUWCharSet const& set = static_cast<Node::CharSetNode const&>(node).GetCharSet();
    if (set.GetCount() != 1 || set.begin()->begin == 0) return {};
    return static_cast<wchar_t>(set.begin()->begin);
}

bool StartsWith(wchar_t const* text, std::wstring const& literal) noexcept
{
    return text::Mismatch(text, literal.data(), literal.size()) == literal.size();
}

/// Looks for a needle in a subject whose end is not known yet, a growing stretch at a time.
class NeedleSearch {
public:
    NeedleSearch(wchar_t const* text, std::size_t limit) : m_text(text), m_limit(limit) {}

    /// Skips a literal that must stand at the place reached.
    bool Take(std::wstring const& literal)
    {
        while (m_known - m_at < literal.size())
            if (!Extend()) return false;
        if (!StartsWith(m_text + m_at, literal)) return false;
        m_at += literal.size();
        return true;
    }
    /// Goes on behind the next place of the needle; false when it is not there or U+FFFF comes first.
    bool Find(std::wstring const& needle)
    {
        std::size_t from = m_at; // before it no place of the needle begins
        for (;;) {
            std::size_t const span = m_known - from;
            std::size_t const found = text::FindText(m_text + from, span, needle.data(), needle.size());
            bool const hit = found < span;
            std::size_t const gapEnd =
                hit ? from + found : std::max(from, m_known - std::min(m_known, needle.size() - 1));
            if (text::FindUnit(m_text + from, gapEnd - from, kNeverMatched) < gapEnd - from) return false;
            from = gapEnd;
            if (hit) {
                m_at = from + needle.size();
                return true;
            }
            if (!Extend()) return false;
        }
    }

private:
    bool Extend()
    {
        std::size_t const n = text::UnitCount(m_text + m_known, std::min(m_limit - m_known, m_stretch));
        m_stretch = std::min<std::size_t>(m_stretch * 4, 1u << 15);
        m_known += n;
        return n > 0;
    }

    wchar_t const* m_text;
    std::size_t m_limit;
    std::size_t m_known = 0;
    std::size_t m_at = 0;
    std::size_t m_stretch = 256;
};

} // namespace

std::optional<Glob> Glob::From(XCSmartPtr<XCRegExSyntaxNode> const& root)
{
    if (root.IsNull()) return {};
    std::vector<Node const*> parts; // from the right: sequences are spines of left children
    Node const* node = root.GetPtr();
    for (; node->GetType() == Node::NodeType::SequenceNode; node = node->GetLeftChild().GetPtr())
        parts.push_back(node->GetRightChild().GetPtr());
    parts.push_back(node);
    Glob glob;
    std::wstring* literal = &glob.m_prefix;
    for (std::size_t i = parts.size(); i-- > 0;) {
        if (IsGap(*parts[i])) {
            if (!glob.m_hasGap || !literal->empty()) literal = &glob.m_needles.emplace_back();
            glob.m_hasGap = true;
            continue;
        }
        std::optional<wchar_t> const unit = SingleUnit(*parts[i]);
        if (!unit) return {};
        literal->push_back(*unit);
        ++glob.m_fixedLength;
    }
    if (glob.m_hasGap) {
        glob.m_suffix = std::move(glob.m_needles.back());
        glob.m_needles.pop_back();
        glob.m_openEnd = glob.m_suffix.empty();
    }
    return glob;
}

bool Glob::Match(wchar_t const* text, std::size_t limit) const
{
    if (!m_hasGap) {
        std::size_t const n = text::UnitCount(text, limit <= m_prefix.size() ? limit : m_prefix.size() + 1);
        return n == m_prefix.size() && StartsWith(text, m_prefix);
    }
    return m_openEnd ? MatchOpen(text, limit) : MatchClosed(text, limit);
}

bool Glob::MatchOpen(wchar_t const* text, std::size_t limit) const
{
    NeedleSearch search(text, limit);
    if (!search.Take(m_prefix)) return false;
    return std::all_of(m_needles.begin(), m_needles.end(),
                       [&](std::wstring const& needle) { return search.Find(needle); });
}

/// The whole subject must be known: its end is looked at first.
bool Glob::MatchClosed(wchar_t const* text, std::size_t limit) const
{
    std::size_t const n = text::UnitCount(text, limit);
    if (n < m_fixedLength || !StartsWith(text, m_prefix) || !StartsWith(text + n - m_suffix.size(), m_suffix))
        return false;
    wchar_t const* at = text + m_prefix.size();
    wchar_t const* const end = text + n - m_suffix.size();
    if (text::FindUnit(at, static_cast<std::size_t>(end - at), kNeverMatched) < static_cast<std::size_t>(end - at))
        return false;
    for (std::wstring const& needle : m_needles) {
        auto const span = static_cast<std::size_t>(end - at);
        std::size_t const found = text::FindText(at, span, needle.data(), needle.size());
        if (found >= span) return false;
        at += found + needle.size();
    }
    return true;
}

} // namespace xc::match
