// Matches units at fixed places, and one class again and again, by vectors alone.
//
// Dates, identifiers and numbers are most of the patterns that programs validate with, and both forms are read off the
// tree: no automaton is built for them. Fixed places are sixteen ranges that a subject is compared with at once; the
// place after the last one holds the terminator. A repeated class is a scan for the first unit outside of it. Its ranges
// leave U+0000 out, which no subject holds, so that the scan ends with the subject and needs no length.
//
// COST      Construction: O(parts). Fixed places: one comparison. A class: 0.05 ns a unit; in long subjects the end is
//           looked at first.
// INVARIANT The answers are those of the automaton. One over every unit below U+FFFE stops in its loop, so that what
//           follows the first unit is not read: m_stops.
#include "match/Runs.h"

#include "match/TreeShape.h"

#include <algorithm>
#include <array>
#include <utility>

namespace xc::match {

namespace {

using Node = XCRegExSyntaxNode;

class FixedPlaces : public Program {
public:
    explicit FixedPlaces(UnitPlaces const& places) noexcept : m_places(places) {}
    [[nodiscard]] bool Match(wchar_t const* text) const override
    {
        return text::MayReadVector(text) ? m_places.Fits(text) : m_places.FitsInTurn(text);
    }

private:
    UnitPlaces m_places; ///< the last one is for the terminator
};

class ClassLoop : public Program {
public:
    ClassLoop(text::UnitRanges const& ranges, bool mayBeEmpty, bool stops) noexcept
        : m_ranges(ranges), m_mayBeEmpty(mayBeEmpty), m_stops(stops)
    {
    }
    [[nodiscard]] bool Match(wchar_t const* text) const override;

private:
    [[nodiscard]] bool MatchLong(wchar_t const* text) const noexcept;

    text::UnitRanges m_ranges; ///< without U+0000
    bool m_mayBeEmpty;
    bool m_stops;
};

bool ClassLoop::Match(wchar_t const* text) const
{
    if (m_stops) return m_mayBeEmpty || m_ranges.Holds(*text);
    constexpr std::size_t kFirst = 1024;
    std::size_t const lead = text::LeadInside(text, kFirst, m_ranges);
    if (lead >= kFirst) return MatchLong(text + lead);
    return text[lead] == 0 && (lead != 0 || m_mayBeEmpty);
}

/// Finding the end costs a fraction of the scan, and most subjects that do not match break off at their end.
bool ClassLoop::MatchLong(wchar_t const* text) const noexcept
{
    constexpr std::size_t kWhole = 524288;
    std::size_t const known = text::UnitCount(text, kWhole);
    if (known != 0 && !m_ranges.Holds(text[known - 1])) return false;
    return text[text::LeadInside(text, static_cast<std::size_t>(-1), m_ranges)] == 0;
}

/// What a part of a sequence reads at how many places; none where it is no class of one range.
struct Part {
    std::uint32_t first = 1, last = 0;
    std::uint32_t count = 1;

    explicit Part(Node const& node) noexcept
    {
        Node const* leaf = &node;
        if (node.GetType() == Node::NodeType::RepeatNode) {
            auto const& repeat = static_cast<Node::RepeatNode const&>(node);
            if (repeat.GetMinimum() != repeat.GetMaximum()) return;
            count = repeat.GetMinimum();
            leaf = node.GetLeftChildP();
        }
        if (leaf->GetType() != Node::NodeType::CharSetNode) return;
        XCUWCharSet const& set = static_cast<Node::CharSetNode const*>(leaf)->GetCharSet();
        if (set.GetRangeCount() != 1) return;
        first = std::max<std::uint32_t>(set.begin()->begin, 1);
        last = set.begin()->end - 1u;
    }
    [[nodiscard]] bool IsRange() const noexcept { return first <= last; }
};

std::unique_ptr<Program const> MakeFixedPlaces(Node const& root)
{
    std::size_t length = 0;
    for (Node const* node = &root; node; node = BeforeLast(*node)) {
        Part const part(LastPart(*node));
        length += part.count;
        if (!part.IsRange() || length >= UnitPlaces::kMax) return {};
    }
    std::array<std::pair<std::uint32_t, std::uint32_t>, UnitPlaces::kMax> ranges{};
    std::size_t at = length; // the parts come from the right
    for (Node const* node = &root; node; node = BeforeLast(*node)) {
        Part const part(LastPart(*node));
        for (std::uint32_t i = 0; i < part.count; ++i) ranges[--at] = {part.first, part.last};
    }
    UnitPlaces places;
    for (std::size_t i = 0; i <= length; ++i) places.Add(ranges[i].first, ranges[i].second);
    return std::make_unique<FixedPlaces>(places);
}

std::unique_ptr<Program const> MakeClassLoop(Node::RepeatNode const& repeat)
{
    Node const& leaf = *repeat.GetLeftChildP();
    if (repeat.GetMinimum() > 1 || repeat.GetMaximum() != Node::Unbounded ||
        leaf.GetType() != Node::NodeType::CharSetNode)
        return {};
    XCUWCharSet const& set = static_cast<Node::CharSetNode const&>(leaf).GetCharSet();
    text::UnitRanges ranges;
    for (auto const& range : set) {
        std::uint32_t const first = std::max<std::uint32_t>(range.begin, 1);
        if (first < range.end && !ranges.Add(first, range.end - 1u)) return {};
    }
    bool const stops = !set.IsEmpty() && set.begin()->begin == 0 && set.begin()->end >= 0xFFFE;
    return std::make_unique<ClassLoop>(ranges, repeat.GetMinimum() == 0, stops);
}

} // namespace

std::unique_ptr<Program const> MakeRun(Node const* root)
{
    if (!root) return {};
    std::unique_ptr<Program const> program = MakeFixedPlaces(*root);
    if (!program && root->GetType() == Node::NodeType::RepeatNode)
        program = MakeClassLoop(static_cast<Node::RepeatNode const&>(*root));
    return program;
}

} // namespace xc::match
