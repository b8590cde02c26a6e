// XCNFANodeSet.h - a set of node numbers of an automaton, as its dumps show it.
//
// WHAT     An ordered set of 32-bit numbers. The dumps of the intermediate automaton print such sets. The construction
//          of the deterministic automaton keeps its own, denser forms, which are not seen from outside.
// COST     A number below 128 is one bit; larger ones cost a node of an ordered set each.
// THREADS  Many readers, or one writer.
#pragma once

#include <XelbrinCore/XCExport.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <set>

/// A set of node numbers, tuned for small ones: numbers below 128 are bits, the others stand in an ordered set that is
/// created when first needed. Sets have a total order, so that they can be keys.
class XC_API XCNFANodeSet {
public:
    static constexpr unsigned int kSmallCount = 128; ///< Identities below this are kept as bits.
    /// What the walk over the small numbers returns at its end.
    static constexpr unsigned int kNone = 0xFFFFFFFF;
    class iterator;

    XCNFANodeSet() noexcept;
    XCNFANodeSet(XCNFANodeSet const& other);
    XCNFANodeSet(XCNFANodeSet&& other) noexcept;
    XCNFANodeSet& operator=(XCNFANodeSet const& other);
    XCNFANodeSet& operator=(XCNFANodeSet&& other) noexcept;
    ~XCNFANodeSet();

    /// True when the number was not yet there.
    bool Insert(unsigned int id);
    /// True when anything was added.
    bool Insert(XCNFANodeSet const& other);
    /// Whether the node is a member.
    [[nodiscard]] bool IsInSet(unsigned int id) const;
    /// The least small number, the next one after `id`; kNone when there is none.
    [[nodiscard]] unsigned int GetFirstSmallID() const noexcept;
    /// The next small number after `id`; kNone when there is none.
    [[nodiscard]] unsigned int GetNextSmallID(unsigned int id) const noexcept;

    /// The members in ascending order.
    [[nodiscard]] iterator begin() const noexcept;
    [[nodiscard]] iterator end() const noexcept;

    XC_API friend bool operator==(XCNFANodeSet const& a, XCNFANodeSet const& b) noexcept;
    XC_API friend bool operator<(XCNFANodeSet const& a, XCNFANodeSet const& b) noexcept;

private:
    [[nodiscard]] unsigned int SmallFrom(unsigned int id) const noexcept;

    std::array<std::uint32_t, 4> m_small{};
    std::unique_ptr<std::set<unsigned int>> m_large;
};

/// Visits the small members, then the large ones. Valid until the set changes.
class XC_API XCNFANodeSet::iterator {
public:
    using iterator_category = std::forward_iterator_tag;
    /// An identity.
    using value_type = unsigned int;
    /// As iterators require.
    using difference_type = std::ptrdiff_t;
    /// As iterators require.
    using pointer = unsigned int const*;
    /// Members are given by value.
    using reference = unsigned int;

    iterator() noexcept = default;
    /// The identity that it stands at.
    unsigned int operator*() const noexcept { return m_smallId != kNone ? m_smallId : *m_largeAt; }
    iterator& operator++() noexcept;
    iterator operator++(int) noexcept;
    friend bool operator==(iterator const& a, iterator const& b) noexcept
    {
        return a.m_smallId == b.m_smallId && a.m_largeAt == b.m_largeAt;
    }

private:
    friend class XCNFANodeSet;
    iterator(XCNFANodeSet const& set, unsigned int smallId, std::set<unsigned int>::const_iterator largeAt) noexcept
        : m_set(&set), m_smallId(smallId), m_largeAt(largeAt)
    {
    }

    XCNFANodeSet const* m_set = nullptr;
    unsigned int m_smallId = kNone;
    std::set<unsigned int>::const_iterator m_largeAt{};
};
