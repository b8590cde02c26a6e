// Finds texts of which one stands in every match, so that long subjects can be refused by searching for them.
//
// A match of a sequence is a match of its first parts and then one of the parts from some place on. So for every place
// the texts that the rest can begin with are a set of which each match holds one. They are collected from the left: every
// text so far that may still grow is extended by each unit, each branch, each further copy. A text is closed where a
// class is wide, where a repetition is open, or at eight units; the rest of the pattern would only confirm what these
// tell. Of all places the one is taken whose texts are the longest and rarest. A pattern that begins with ".*" is best
// served by the texts right after it, because the automaton need not even run up to them: a list of many words is
// taken there. Elsewhere many texts would cost the construction more than they save.
//
// COST      Each place looks at a few parts; at most kMaxPlaces of them, kMaxDepth levels deep, Literals::kMax texts.
// INVARIANT No text is empty, and none holds U+0000.
#include "match/Literals.h"

#include "match/TreeShape.h"

#include <algorithm>
#include <string_view>

namespace xc::match {

namespace {

using Node = XCRegExSyntaxNode;

constexpr std::size_t kMaxPlaces = 64;
constexpr int kMaxDepth = 16;
constexpr std::uint64_t kMaxUnits = 4; ///< of a class that is written out, as in "[Ee]rror"

/// The texts that a part of a pattern can begin with.
class Beginnings {
public:
    /// @param most texts that are collected.
    Beginnings(std::size_t most, Memory memory) : m_most(most), m_memory(memory), m_texts(1, Literal{}, memory) {}

    [[nodiscard]] bool IsOpen() const noexcept
    {
        return std::any_of(m_texts.begin(), m_texts.end(), [](Literal const& text) { return text.open; });
    }
    void Extend(Node const& node, int depth)
    {
        if (depth > kMaxDepth) return Close();
        switch (node.GetType()) {
        case Node::NodeType::CharSetNode: return ExtendBySet(static_cast<Node::CharSetNode const&>(node).GetCharSet());
        case Node::NodeType::SequenceNode:
            for (Node const* const part : PartsOf(node, node.GetType(), m_memory)) {
                if (!IsOpen()) return;
                Extend(*part, depth + 1);
            }
            return;
        case Node::NodeType::AlternativeNode: return ExtendByBranches(node, depth);
        case Node::NodeType::RepeatNode: return ExtendByRepeat(static_cast<Node::RepeatNode const&>(node), depth);
        }
    }
    [[nodiscard]] List<Literal>& Texts() noexcept { return m_texts; }

private:
    void Close() noexcept
    {
        for (Literal& text : m_texts) text.open = false;
    }
    static void Append(Literal& text, std::uint32_t unit) noexcept
    {
        text.units[text.length++] = static_cast<wchar_t>(unit);
        text.open = text.length < Literal::kMax;
    }
    void ExtendBySet(XCUWCharSet const& set)
    {
        std::uint64_t const count = set.GetCount();
        if (count == 0 || count > kMaxUnits || set.IsInSet(L'\0') || count * m_texts.size() > Literals::kFew)
            return Close();
        if (count == 1) {
            for (Literal& text : m_texts)
                if (text.open) Append(text, set.begin()->begin);
            return;
        }
        List<Literal> extended(m_memory);
        for (Literal const& text : m_texts) {
            if (!text.open) extended.push_back(text);
            for (auto range = set.begin(); text.open && range != set.end(); ++range)
                for (std::uint32_t unit = range->begin; unit < range->end; ++unit)
                    Append(extended.emplace_back(text), unit);
        }
        m_texts = std::move(extended);
    }
    /// Each branch extends the texts so far by itself. @param optional the texts may stay as they are, too.
    void ExtendByParts(List<Node const*> const& branches, bool optional, int depth)
    {
        if (branches.size() > m_most) return Close(); // each makes one text at least
        List<Literal> const before(m_texts, m_memory);
        List<Literal> all(m_memory);
        all.reserve(before.size() + branches.size());
        for (Literal const& text : before)
            if (!text.open || optional) all.push_back(text);
        for (Node const* const branch : branches) {
            m_texts.clear();
            for (Literal const& text : before)
                if (text.open) m_texts.push_back(text);
            Extend(*branch, depth + 1);
            all.insert(all.end(), m_texts.begin(), m_texts.end());
            if (all.size() <= m_most) continue;
            m_texts = before;
            return Close();
        }
        m_texts = std::move(all);
    }
    void ExtendByBranches(Node const& node, int depth)
    {
        ExtendByParts(PartsOf(node, node.GetType(), m_memory), false, depth);
    }
    void ExtendByRepeat(Node::RepeatNode const& repeat, int depth)
    {
        Node const* const child = repeat.GetLeftChildP();
        if (repeat.GetMaximum() == 0) return; // nothing is read, and the texts go on
        if (repeat.GetMinimum() == 0 && repeat.GetMaximum() > 1) return Close();
        if (repeat.GetMinimum() == 0) return ExtendByParts(List<Node const*>(1, child, m_memory), true, depth);
        for (std::uint32_t i = 0; i < std::min<std::uint32_t>(repeat.GetMinimum(), Literal::kMax) && IsOpen(); ++i)
            Extend(*child, depth + 1);
        if (repeat.GetMaximum() != repeat.GetMinimum()) Close();
    }

    std::size_t m_most;
    Memory m_memory;
    List<Literal> m_texts;
};

/// False when the node begins with a wide class or may be passed over by a loop: no text begins there. Most places of a
/// pattern are of this kind, and nothing is made for them.
bool MayBeginText(Node const* node) noexcept
{
    for (;; node = node->GetLeftChildP()) {
        if (node->GetType() == Node::NodeType::AlternativeNode) return true;
        if (node->GetType() == Node::NodeType::CharSetNode)
            return static_cast<Node::CharSetNode const*>(node)->GetCharSet().GetCount() <= kMaxUnits;
        if (node->GetType() == Node::NodeType::SequenceNode) continue;
        auto const& repeat = *static_cast<Node::RepeatNode const*>(node);
        if (repeat.GetMinimum() == 0) return repeat.GetMaximum() <= 1;
    }
}

/// How much the search for these texts tells: 0 for nothing.
std::uint32_t Worth(List<Literal> const& texts) noexcept
{
    std::uint32_t least = 0xFFFFFFFF;
    for (Literal const& text : texts) {
        std::uint32_t rarity = 0;
        for (std::size_t i = 0; i < text.length; ++i) rarity += Rarity(text.units[i]);
        // Single units are found by another kernel, one at a time.
        if (text.length == 1 && texts.size() > 1) rarity = 0;
        least = std::min(least, rarity);
    }
    constexpr auto kMost = static_cast<std::uint32_t>(Literals::kMax);
    constexpr std::uint32_t kLeast = 3; // a single common letter stands everywhere
    // A unit more weighs as much as thirty-two texts less.
    return least < kLeast || texts.empty() ? 0 : 32 * least + kMost - static_cast<std::uint32_t>(texts.size());
}

} // namespace

std::uint32_t Rarity(wchar_t unit) noexcept
{
    static constexpr std::array<std::uint8_t, 128> kRarities = [] {
        std::array<std::uint8_t, 128> rarities{};
        rarities.fill(4);
        for (std::size_t letter = 'a'; letter <= 'z'; ++letter) rarities[letter] = 2;
        for (char const common : std::string_view(" etaoinsrhldu0123456789"))
            rarities[static_cast<unsigned char>(common)] = 1;
        return rarities;
    }();
    std::size_t const at = static_cast<std::uint16_t>(unit);
    return at < kRarities.size() ? kRarities[at] : 4u;
}

Literals FindLiterals(XCRegExSyntaxNode const& root, Memory memory)
{
    Literals best(memory);
    std::uint32_t bestWorth = 0;
    List<Node const*> const parts = PartsOf(root, Node::NodeType::SequenceNode, memory);
    for (std::size_t place = 0; place < std::min(parts.size(), kMaxPlaces); ++place) {
        if (!MayBeginText(parts[place])) continue;
        bool const followsGap = place == 1 && IsGap(*parts[0]);
        Beginnings beginnings(followsGap ? Literals::kMax : Literals::kFew, memory);
        for (std::size_t i = place; i < parts.size() && beginnings.IsOpen(); ++i) beginnings.Extend(*parts[i], 0);
        std::uint32_t const worth = Worth(beginnings.Texts());
        if (worth <= bestWorth) continue;
        bestWorth = worth;
        best.texts = std::move(beginnings.Texts());
        best.followGap = followsGap && best.texts[0].length > 1;
        if (best.followGap) break;
    }
    return best;
}

} // namespace xc::match
