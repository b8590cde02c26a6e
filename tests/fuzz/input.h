// input.h - an input of the fuzzer as units, as a text, or value by value.
#pragma once

#include "library.h"

/// The work of a target on one input.
void Fuzz(std::uint8_t const* bytes, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    Fuzz(bytes, size);
    return 0;
}

inline void Require(bool holds)
{
    if (!holds) std::abort();
}

/// Each pair of bytes as a unit.
inline std::wstring Units(std::uint8_t const* bytes, std::size_t size)
{
    std::wstring units(size / 2, L'\0');
    if (!units.empty()) std::memcpy(units.data(), bytes, units.size() * 2);
    return units;
}

inline XCString Text(std::wstring const& units)
{
    XCString text;
    text.Assign(units.data(), units.size()); // terminators within stay
    return text;
}

/// What stands before and after the first U+0000.
inline std::pair<std::wstring, std::wstring> Halves(std::wstring const& units)
{
    std::size_t const split = std::min(units.find(L'\0'), units.size());
    return {units.substr(0, split), units.substr(std::min(split + 1, units.size()))};
}

/// Reads the input from its front; zeros when it is used up.
struct Input {
    Input(std::uint8_t const* bytes, std::size_t size) : m_at(bytes), m_left(size) {}

    template <class Value>
    Value Take()
    {
        Value value{};
        std::size_t const count = std::min(sizeof value, m_left);
        std::memcpy(&value, m_at, count);
        m_at += count;
        m_left -= count;
        return value;
    }
    /// Exactly as long as its text, so that a read past the end is seen.
    template <class Unit>
    std::vector<Unit> TakeMany(std::size_t most)
    {
        std::vector<Unit> units(std::min(most, m_left / sizeof(Unit)));
        for (Unit& unit : units) unit = Take<Unit>();
        return units;
    }

    [[nodiscard]] std::size_t Left() const { return m_left; }

private:
    std::uint8_t const* m_at;
    std::size_t m_left;
};
