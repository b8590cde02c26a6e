// Finds the leftmost longest place, all longest places, and the groups of a place, each in one pass.
//
// All three follow sets of states through the text, and a state that is reached again at the same position is cut: what
// can follow depends on state and position alone, and the earlier way is the better one by the order of the list. Only
// the order differs:
// - Find keeps the states ordered by where the match began, the leftmost first. When a match is complete, all that began
//   later are dropped, and those that began there go on until none is left: the longest one wins.
// - LongestEnds goes from the end of the text to its beginning, ordered by where the match ends, the last first. One pass
//   thus knows the longest match from every position. Searching forward from match to match would read the same units
//   again and again where long attempts fail ("a|a.*b").
// - Groups keeps the order of preference: the left branch, one more pass. Each state carries the marks of its way. Where
//   a bit for each state and position is cheap, as for lines, one way is followed after the other instead, and no state is
//   entered twice at one position: the same order, without copies of marks.
// This is the simulation of Thompson with ordered lists and marks, as Pike and Cox describe it.
//
// COST      O(text * states), whatever the pattern; Groups times the number of groups where states carry marks. Memory:
//           O(states), for LongestEnds 8 bytes a unit in addition, for Groups 16 bytes a state and group.
// INVARIANT Within a list every state stands once. Marks of a way are copied when the way divides.
#include "match/FindProgram.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace xc::match {

using Kind = FindProgram::Kind;

namespace {

constexpr std::size_t kMaxTried = 1u << 18; ///< bits: 32 KiB

} // namespace

bool FindProgram::Takes(State const& state, wchar_t unit) const noexcept
{
    std::uint32_t const c = m_map[unit];
    if (m_members.empty()) return m_sets.IsInSet(state.other, m_classes.LeastUnit(c));
    return (m_members[state.other * m_words + c / 64] >> c % 64 & 1) != 0;
}

std::size_t FindProgram::SkipTo(std::wstring_view text, std::size_t at) const noexcept
{
    return m_skips ? at + text::FindInside(text.data() + at, text.size() - at, m_firstUnits) : at;
}

/// States reached at one position, each with a number, in an order that the caller keeps.
class Simulation {
public:
    struct Entry {
        std::uint32_t state;
        std::size_t tag;
    };

    explicit Simulation(FindProgram const& program) : m_program(program), m_seen(program.m_states.size()) {}

    /// Begins the list of a new position; the list of the last one stays in Before().
    void Advance()
    {
        std::swap(m_list, m_before);
        m_list.clear();
        ++m_round;
    }
    [[nodiscard]] std::vector<Entry> const& Before() const noexcept { return m_before; }
    [[nodiscard]] bool IsEmpty() const noexcept { return m_list.empty(); }
    /// Adds a state and all that it leads to without reading. Lists only states that read units, and the end.
    void AddForward(std::uint32_t from, std::size_t tag)
    {
        m_pending.push_back(from);
        while (!m_pending.empty()) {
            std::uint32_t const at = Pop();
            if (!Visit(at)) continue;
            FindProgram::State const& state = m_program.m_states[at];
            if (state.kind == Kind::Units || state.kind == Kind::End) {
                m_list.push_back({at, tag});
                continue;
            }
            if (state.kind == Kind::Split) m_pending.push_back(state.other);
            m_pending.push_back(state.next);
        }
    }
    /// Adds a state and all that lead to it without reading. @return whether the start is among them.
    bool AddBackward(std::uint32_t from, std::size_t tag)
    {
        bool start = false;
        m_pending.push_back(from);
        while (!m_pending.empty()) {
            std::uint32_t const at = Pop();
            if (!Visit(at)) continue;
            m_list.push_back({at, tag});
            start = start || at == FindProgram::kStart;
            for (std::uint32_t i = m_program.m_offsets[at]; i < m_program.m_offsets[at + 1]; ++i)
                if (std::uint32_t const before = m_program.m_predecessors[i];
                    m_program.m_states[before].kind != Kind::Units)
                    m_pending.push_back(before);
        }
        return start;
    }

private:
    std::uint32_t Pop()
    {
        std::uint32_t const at = m_pending.back();
        m_pending.pop_back();
        return at;
    }
    bool Visit(std::uint32_t state) { return std::exchange(m_seen[state], m_round) != m_round; }

    FindProgram const& m_program;
    std::vector<std::size_t> m_seen;
    std::size_t m_round = 0;
    std::vector<Entry> m_list, m_before;
    std::vector<std::uint32_t> m_pending;
};

XCRegExPlace FindProgram::Find(std::wstring_view text, std::size_t from) const
{
    XCRegExPlace best;
    Simulation run(*this);
    run.Advance();
    for (std::size_t i = from; i <= text.size(); ++i) {
        if (run.IsEmpty()) {
            if (best.IsFound()) break;
            i = SkipTo(text, i);
        }
        if (!best.IsFound()) run.AddForward(kStart, i);
        run.Advance();
        for (Simulation::Entry const& entry : run.Before()) {
            if (best.IsFound() && entry.tag > best.begin) break;
            State const& state = m_states[entry.state];
            if (state.kind == Kind::End)
                best = {entry.tag, i};
            else if (i < text.size() && Takes(state, text[i]))
                run.AddForward(state.next, entry.tag);
        }
    }
    return best;
}

std::vector<std::size_t> FindProgram::LongestEnds(std::wstring_view text) const
{
    std::vector<std::size_t> ends(text.size() + 1, XCRegExPlace::npos);
    Simulation run(*this);
    for (std::size_t i = text.size() + 1; i-- > 0;) {
        run.Advance();
        for (Simulation::Entry const& entry : run.Before()) {
            for (std::uint32_t p = m_offsets[entry.state]; p < m_offsets[entry.state + 1]; ++p) {
                State const& before = m_states[m_predecessors[p]];
                if (before.kind == Kind::Units && Takes(before, text[i]) &&
                    run.AddBackward(m_predecessors[p], entry.tag))
                    ends[i] = entry.tag;
            }
        }
        if (run.AddBackward(kEnd, i)) ends[i] = i;
    }
    return ends;
}

namespace {

/// States in the order of preference, each with the marks of its way.
class MarkedStates {
public:
    MarkedStates(std::vector<FindProgram::State> const& states, std::size_t slots)
        : m_states(states), m_slots(slots), m_seen(states.size()), m_marks(slots, XCRegExPlace::npos)
    {
    }

    void Advance()
    {
        std::swap(m_list, m_before);
        std::swap(m_listMarks, m_beforeMarks);
        m_list.clear();
        m_listMarks.clear();
        ++m_round;
    }
    [[nodiscard]] std::vector<std::uint32_t> const& Before() const noexcept { return m_before; }
    [[nodiscard]] std::size_t const* MarksOf(std::size_t i) const noexcept { return &m_beforeMarks[i * m_slots]; }
    /// Goes on from a state with the marks of an entry before; null for none.
    void Add(std::uint32_t from, std::size_t const* marks, std::size_t position)
    {
        if (marks)
            m_marks.assign(marks, marks + m_slots);
        else
            std::fill(m_marks.begin(), m_marks.end(), XCRegExPlace::npos);
        m_pending.push_back({from, kGoOn, 0});
        while (!m_pending.empty()) {
            Pending const item = m_pending.back();
            m_pending.pop_back();
            if (item.slot == kGoOn)
                Visit(item.state, position);
            else
                m_marks[item.slot] = item.value; // what was marked on this way is over
        }
    }

private:
    static constexpr std::size_t kGoOn = static_cast<std::size_t>(-1);
    struct Pending {
        std::uint32_t state;
        std::size_t slot, value;
    };

    void Visit(std::uint32_t at, std::size_t position)
    {
        if (std::exchange(m_seen[at], m_round) == m_round) return;
        FindProgram::State const& state = m_states[at];
        switch (state.kind) {
        case Kind::Units:
        case Kind::End:
            m_list.push_back(at);
            m_listMarks.insert(m_listMarks.end(), m_marks.begin(), m_marks.end());
            return;
        case Kind::Mark:
            m_pending.push_back({0, state.other, m_marks[state.other]});
            m_marks[state.other] = position;
            break;
        case Kind::Split: m_pending.push_back({state.other, kGoOn, 0}); break;
        case Kind::Jump: break;
        }
        m_pending.push_back({state.next, kGoOn, 0});
    }

    std::vector<FindProgram::State> const& m_states;
    std::size_t m_slots;
    std::vector<std::size_t> m_seen;
    std::size_t m_round = 0;
    std::vector<std::size_t> m_marks;
    std::vector<std::uint32_t> m_list, m_before;
    std::vector<std::size_t> m_listMarks, m_beforeMarks;
    std::vector<Pending> m_pending;
};

} // namespace

auto FindProgram::Groups(std::wstring_view text, XCRegExPlace const& place) const -> Groupings
{
    if (!place.IsFound() || place.begin > place.end || place.end > text.size()) return {};
    return (place.Length() + 1) * m_states.size() <= kMaxTried ? GroupsByTrying(text, place)
                                                               : GroupsBySets(text, place);
}

auto FindProgram::ListGroups(XCRegExPlace const& place, std::size_t const* marks) const -> Groupings
{
    Groupings groups;
    groups.reserve(m_groupCount + std::size_t{1});
    groups.push_back(place);
    for (std::size_t g = 1; g <= m_groupCount; ++g) groups.push_back({marks[2 * g], marks[2 * g + 1]});
    return groups;
}

auto FindProgram::GroupsByTrying(std::wstring_view text, XCRegExPlace const& place) const -> Groupings
{
    alignas(std::max_align_t) std::array<std::byte, 8192> start;
    std::pmr::monotonic_buffer_resource arena(start.data(), start.size());
    List<std::uint64_t> tried(((place.Length() + 1) * m_states.size() + 63) / 64, &arena);
    List<std::size_t> marks(2 * (std::size_t{m_groupCount} + 1), XCRegExPlace::npos, &arena);
    List<Untried> untried(1, {kStart, kNone, 0}, &arena);
    std::wstring_view const part = text.substr(0, place.end);
    while (!untried.empty()) {
        Untried const next = untried.back();
        untried.pop_back();
        if (next.slot != kNone)
            marks[next.slot] = next.position;
        else if (Follow(part.substr(place.begin), next, place.begin, marks, untried, tried))
            return ListGroups(place, marks.data());
    }
    return {};
}

/// Follows one way to its end, and keeps the others it meets for later. Positions count from the beginning of the place.
/// @param begin of the place, for marks. @return whether the whole place was read.
bool FindProgram::Follow(std::wstring_view part, Untried way, std::size_t begin, std::span<std::size_t> marks,
                         List<Untried>& untried, std::span<std::uint64_t> tried) const
{
    std::uint32_t at = way.state;
    for (std::size_t i = way.position;;) {
        std::size_t const cell = at * (part.size() + 1) + i;
        std::uint64_t const bit = std::uint64_t{1} << cell % 64;
        // It failed before, or is being followed: what comes after depends on state and position alone.
        if ((std::exchange(tried[cell / 64], tried[cell / 64] | bit) & bit) != 0) return false;
        State const& state = m_states[at];
        if (state.kind == Kind::End) return i == part.size();
        if (state.kind == Kind::Units && (i == part.size() || !Takes(state, part[i++]))) return false;
        if (state.kind == Kind::Split) untried.push_back({state.other, kNone, i});
        if (state.kind == Kind::Mark) {
            untried.push_back({0, state.other, marks[state.other]});
            marks[state.other] = begin + i;
        }
        at = state.next;
    }
}

auto FindProgram::GroupsBySets(std::wstring_view text, XCRegExPlace const& place) const -> Groupings
{
    MarkedStates run(m_states, 2 * (std::size_t{m_groupCount} + 1));
    run.Advance();
    run.Add(kStart, nullptr, place.begin);
    for (std::size_t i = place.begin;; ++i) {
        run.Advance();
        for (std::size_t e = 0; e < run.Before().size(); ++e) {
            State const& state = m_states[run.Before()[e]];
            if (i < place.end) {
                if (state.kind == Kind::Units && Takes(state, text[i])) run.Add(state.next, run.MarksOf(e), i + 1);
            } else if (state.kind == Kind::End) {
                return ListGroups(place, run.MarksOf(e));
            }
        }
        if (i == place.end) return {};
    }
}

} // namespace xc::match
