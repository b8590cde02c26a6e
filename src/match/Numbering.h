// Numbering.h - numbers for keys in the order in which they are met.
#pragma once

#include "match/Memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace xc::match {

/// Gives numbers from 0 on to keys that the caller keeps: an open hash table.
class Numbering {
public:
    explicit Numbering(Memory memory) : m_hashes(memory), m_slots(memory) {}
    [[nodiscard]] std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(m_hashes.size()); }
    /// The number of the key with this hash for which `same` holds; the next number when there is none.
    template <class Same>
    std::uint32_t NumberOf(std::uint64_t hash, Same same)
    {
        if (2 * (m_hashes.size() + 1) > m_slots.size()) Grow();
        auto const key = static_cast<std::uint32_t>(hash >> 32);
        std::size_t slot = key & (m_slots.size() - 1);
        for (; m_slots[slot] != kFree; slot = (slot + 1) & (m_slots.size() - 1))
            if (m_hashes[m_slots[slot]] == key && same(m_slots[slot])) return m_slots[slot];
        m_slots[slot] = Count();
        m_hashes.push_back(key);
        return m_slots[slot];
    }

    void Clear() noexcept
    {
        m_hashes.clear();
        m_slots.clear();
    }

private:
    static constexpr std::uint32_t kFree = 0xFFFFFFFF;

    void Grow()
    {
        m_slots.assign(std::max<std::size_t>(64, 4 * m_slots.size()), kFree);
        for (std::uint32_t number = 0; number < Count(); ++number) {
            std::size_t slot = m_hashes[number] & (m_slots.size() - 1);
            while (m_slots[slot] != kFree) slot = (slot + 1) & (m_slots.size() - 1);
            m_slots[slot] = number;
        }
    }

    List<std::uint32_t> m_hashes;
    List<std::uint32_t> m_slots;
};

} // namespace xc::match
