// The wheel.
//
// Hashed and hierarchical timing wheels (G. Varghese, A. Lauck, 1987): level L has 256 slots of 256^L ticks. A link
// stands on the level of the highest byte in which its tick differs from the present one, in the slot of that byte. So
// a slot of level 0 holds links of one tick, and when the present enters a slot of a higher level, the links of it are
// placed anew, each at least one level lower: a link moves at most three times, whatever its distance. Links beyond
// 2^32 ticks wait in one list that is looked through each time the top level has gone round.
//
// A bit for each slot tells which are in use. The next tick with anything to do is then a search in 16 words, and the
// owner can sleep until it instead of looking at each tick.
//
// INVARIANT Each link stands in the slot that Place would choose for the present tick; a bit is set exactly where a
// slot holds links. MoveTo restores both before anybody looks. All operations are linear in nothing but the links that
// they move, and allocate nothing: a timer brings its own link.
#include "work/TimerWheel.h"

#include <algorithm>
#include <bit>

namespace xc::work {

TimerWheel::TimerWheel(std::uint64_t now) noexcept : m_now(now)
{
    // Rings with a head: linking and unlinking need no case for the first or last.
    m_far.next = m_far.previous = &m_far;
    for (Level& level : m_levels)
        for (TimerLink& head : level.slots) head.next = head.previous = &head;
}

void TimerWheel::Insert(TimerLink& link, std::uint64_t due) noexcept
{
    link.tick = std::max(due, m_now);
    Place(link);
    ++m_count;
}

unsigned int TimerWheel::LevelOf(std::uint64_t tick) const noexcept
{
    // The "| 1" puts a tick that is due now, which differs in no bit, onto level 0.
    return static_cast<unsigned int>(std::bit_width((tick ^ m_now) | 1) - 1) / kBits;
}

void TimerWheel::Place(TimerLink& link) noexcept
{
    unsigned int const level = LevelOf(link.tick);
    if (level >= kLevels) {
        Append(m_far, link);
        return;
    }
    unsigned int const slot = (link.tick >> (level * kBits)) % kSlots;
    m_levels[level].used[slot / 64] |= std::uint64_t{1} << slot % 64;
    Append(m_levels[level].slots[slot], link);
}

void TimerWheel::Append(TimerLink& head, TimerLink& link) noexcept
{
    link.next = &head;
    link.previous = head.previous;
    head.previous->next = &link;
    head.previous = &link;
}

/// A slot that this empties loses its bit, so that nobody wakes up for it. The slot follows from the tick: a link stands
/// where Place would put it now.
void TimerWheel::Remove(TimerLink& link) noexcept
{
    unsigned int const level = LevelOf(link.tick);
    if (link.previous == link.next && level < kLevels) {
        unsigned int const slot = (link.tick >> (level * kBits)) % kSlots;
        m_levels[level].used[slot / 64] &= ~(std::uint64_t{1} << slot % 64);
    }
    link.previous->next = link.next;
    link.next->previous = link.previous;
    link.next = link.previous = nullptr;
    --m_count;
}

/// The first slot in use from an index on; kSlots when there is none.
unsigned int TimerWheel::FindUsed(Level const& level, unsigned int from) noexcept
{
    for (unsigned int word = from / 64; word < kSlots / 64; ++word) {
        std::uint64_t bits = level.used[word];
        if (word == from / 64) bits &= ~std::uint64_t{0} << from % 64;
        if (bits) return word * 64 + static_cast<unsigned int>(std::countr_zero(bits));
    }
    return kSlots;
}

std::uint64_t TimerWheel::NextTick() const noexcept
{
    if (m_count == 0) return kNever;
    for (unsigned int level = 0; level < kLevels; ++level) {
        unsigned int const shift = level * kBits;
        auto const present = static_cast<unsigned int>((m_now >> shift) % kSlots);
        // On the lowest level the present slot holds what is due now; higher ones have been emptied on entering.
        unsigned int const slot = FindUsed(m_levels[level], present + (level > 0 ? 1 : 0));
        std::uint64_t const turn = m_now >> shift >> kBits << kBits;
        if (slot < kSlots) return (turn + slot) << shift;
    }
    // Only far links are left: the next thing to do is to look through them when the top level goes round.
    return ((m_now >> (kLevels * kBits)) + 1) << (kLevels * kBits);
}

TimerLink* TimerWheel::Advance(std::uint64_t to) noexcept
{
    for (;;) {
        TimerLink& head = m_levels[0].slots[m_now % kSlots];
        if (TimerLink* const link = head.next; link != &head) {
            // Taken out one by one: the owner may link new ones between two calls, even for this tick.
            Remove(*link);
            return link;
        }
        std::uint64_t const next = NextTick();
        // Nothing lies between, so the wheel may jump there: no slot with links is entered on the way.
        if (next > to) {
            m_now = std::max(m_now, to);
            return nullptr;
        }
        MoveTo(next);
    }
}

TimerLink* TimerWheel::TakeAny() noexcept
{
    TimerLink* link = m_far.next;
    for (Level& level : m_levels)
        if (unsigned int const slot = FindUsed(level, 0); slot < kSlots) link = level.slots[slot].next;
    if (link == &m_far) return nullptr;
    Remove(*link);
    return link;
}

/// Enters a tick, and with it slots of higher levels, the highest first.
void TimerWheel::MoveTo(std::uint64_t tick) noexcept
{
    std::uint64_t const differs = tick ^ m_now;
    m_now = tick;
    // From the top down: a link may fall through several levels, each of which is then still to be emptied.
    if (differs >> (kLevels * kBits)) Cascade(m_far);
    for (unsigned int level = kLevels - 1; level > 0; --level) {
        if (!(differs >> (level * kBits))) continue;
        unsigned int const slot = (tick >> (level * kBits)) % kSlots;
        m_levels[level].used[slot / 64] &= ~(std::uint64_t{1} << slot % 64);
        Cascade(m_levels[level].slots[slot]);
    }
}

void TimerWheel::Cascade(TimerLink& head) noexcept
{
    TimerLink list;
    list.next = list.previous = &list;
    if (head.next == &head) return;
    // Moved to a list of their own first: Place may put a far link back into the list that it came from, without end.
    std::swap(list, head);
    list.next->previous = list.previous->next = &list;
    head.next = head.previous = &head;
    for (TimerLink* link = list.next; link != &list;) {
        TimerLink* const next = link->next;
        Place(*link);
        link = next;
    }
}

} // namespace xc::work
