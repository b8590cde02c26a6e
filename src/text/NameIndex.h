// NameIndex.h - finds the first entry of a name in a list of named entries in constant time.
//
// Open addressing with linear steps: the slots lie side by side, a lookup touches one or two of them. Each slot keeps
// the hash, so that names are compared only when hashes agree. Names that are the same without regard to case share a
// slot, which holds the first of them in the list; when that one goes, the list is walked for the next. A deleted slot
// is not marked: the entries after it move up (Knuth, volume 3, section 6.4, algorithm R), so that lookups stay short
// however often entries come and go. Invariant: between the home of an entry and its slot no slot is free.
#pragma once

#include "text/Names.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace xc::text {

/// An open-addressing table of list iterators; of several entries with one name it holds the first. NameOf(entry)
/// yields the entry's name. The list tells the index of every entry that is added or about to go; a renamed entry
/// wants a new index.
template <class Iterator, auto NameOf>
class NameIndex {
public:
    /// Indexes the list from `begin` to `end`.
    NameIndex(Iterator begin, Iterator end, std::size_t count) : m_end(end)
    {
        Resize(count * 2);
        for (Iterator at = begin; at != end; ++at) Add(at);
    }

    /// The first entry of that name, or the list's end.
    [[nodiscard]] Iterator Find(std::wstring_view const& name) const
    {
        Slot const& slot = m_slots[Place(HashFolded(name, m_seed), name)];
        return slot.state == State::Free ? m_end : slot.entry;
    }

    /// An entry that stands after all others.
    void Add(Iterator entry)
    {
        if ((m_used + 1) * 4 > m_slots.size() * 3) Resize(m_slots.size() * 2);
        std::uint32_t const hash = HashFolded(NameOf(*entry), m_seed);
        Slot& slot = m_slots[Place(hash, NameOf(*entry))];
        if (slot.state != State::Free) {
            slot.state = State::First;
            return;
        }
        slot = {entry, hash, State::Only};
        ++m_used;
    }

    /// An entry that is about to leave the list. The next of its name, if any, takes its place.
    void Remove(Iterator entry)
    {
        std::size_t const place = Place(HashFolded(NameOf(*entry), m_seed), NameOf(*entry));
        Slot& slot = m_slots[place];
        if (slot.state == State::Free || slot.entry != entry) return;
        if (slot.state == State::First) {
            Iterator next = entry;
            while (++next != m_end)
                if (IsSameNameFolded(NameOf(*next), NameOf(*entry))) {
                    slot.entry = next;
                    return;
                }
        }
        Vacate(place);
    }

private:
    enum class State : std::uint8_t { Free, Only, First }; // First: others of the name follow, or did once
    struct Slot {
        Iterator entry{};
        std::uint32_t hash = 0;
        State state = State::Free;
    };

    [[nodiscard]] std::size_t Next(std::size_t place) const noexcept { return (place + 1) & (m_slots.size() - 1); }
    [[nodiscard]] std::size_t Home(std::uint32_t hash) const noexcept { return hash & (m_slots.size() - 1); }

    /// The slot of that name, or the free one where it would stand.
    [[nodiscard]] std::size_t Place(std::uint32_t hash, std::wstring_view const& name) const
    {
        std::size_t place = Home(hash);
        for (; m_slots[place].state != State::Free; place = Next(place))
            if (m_slots[place].hash == hash && IsSameNameFolded(NameOf(*m_slots[place].entry), name)) break;
        return place;
    }

    /// Frees a slot and moves later entries forward that would not be found across the gap.
    void Vacate(std::size_t gap)
    {
        --m_used;
        std::size_t const mask = m_slots.size() - 1;
        for (std::size_t place = Next(gap); m_slots[place].state != State::Free; place = Next(place)) {
            std::size_t const way = (place - Home(m_slots[place].hash)) & mask;
            if (way < ((place - gap) & mask)) continue;
            m_slots[gap] = m_slots[place];
            gap = place;
        }
        m_slots[gap] = {};
    }

    void Resize(std::size_t least)
    {
        std::size_t size = 16;
        while (size < least) size *= 2;
        std::vector<Slot> old(size);
        old.swap(m_slots);
        for (Slot const& slot : old) {
            if (slot.state == State::Free) continue;
            std::size_t place = Home(slot.hash);
            while (m_slots[place].state != State::Free) place = Next(place);
            m_slots[place] = slot;
        }
    }

    std::uint64_t m_seed = NameSeed();
    std::vector<Slot> m_slots; // a power of two of them, at most three quarters in use
    std::size_t m_used = 0;
    Iterator m_end;
};

} // namespace xc::text
