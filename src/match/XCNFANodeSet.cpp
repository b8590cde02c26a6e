// A set of node numbers: bits for the first 128, an ordered set for the others.
//
// Most patterns have few nodes, and their sets are copied, united and compared all the time during construction: for
// these a set is four words without the heap. The larger numbers, which only big patterns have, live in a std::set that
// is made with the first of them. Invariant: a number below kSmallCount is never in the large part, so that walking
// first the bits and then the set gives ascending order, and two equal sets have equal parts.
#include <XelbrinCore/XCRegEx.h>

#include <bit>

XCNFANodeSet::XCNFANodeSet() noexcept = default;
XCNFANodeSet::XCNFANodeSet(XCNFANodeSet const& other)
    : m_small(other.m_small),
      m_large(other.m_large ? std::make_unique<std::set<unsigned int>>(*other.m_large) : nullptr)
{
}
XCNFANodeSet::XCNFANodeSet(XCNFANodeSet&& other) noexcept = default;
XCNFANodeSet& XCNFANodeSet::operator=(XCNFANodeSet const& other)
{
    // Copied first, then moved: an assignment without memory leaves the set as it was.
    return *this = XCNFANodeSet(other);
}
XCNFANodeSet& XCNFANodeSet::operator=(XCNFANodeSet&& other) noexcept = default;
XCNFANodeSet::~XCNFANodeSet() = default;

bool XCNFANodeSet::Insert(unsigned int id)
{
    if (id >= kSmallCount) {
        if (!m_large) m_large = std::make_unique<std::set<unsigned int>>();
        return m_large->insert(id).second;
    }
    std::uint32_t& word = m_small[id / 32];
    std::uint32_t const bit = 1u << (id % 32);
    bool const isNew = (word & bit) == 0;
    word |= bit;
    return isNew;
}

bool XCNFANodeSet::Insert(XCNFANodeSet const& other)
{
    bool added = false;
    for (std::size_t i = 0; i < m_small.size(); ++i) {
        // The answer is what the closure of a set loops on: it ends with the round that has added nothing.
        added = added || (other.m_small[i] & ~m_small[i]) != 0;
        m_small[i] |= other.m_small[i];
    }
    // A set adds nothing to itself, and must not change while it is walked.
    if (other.m_large && &other != this)
        for (unsigned int const id : *other.m_large) added = Insert(id) || added;
    return added;
}

bool XCNFANodeSet::IsInSet(unsigned int id) const
{
    if (id >= kSmallCount) return m_large && m_large->contains(id);
    return (m_small[id / 32] >> (id % 32) & 1) != 0;
}

unsigned int XCNFANodeSet::GetFirstSmallID() const noexcept
{
    return SmallFrom(0);
}

unsigned int XCNFANodeSet::GetNextSmallID(unsigned int id) const noexcept
{
    return id < kSmallCount ? SmallFrom(id + 1) : kNone;
}

unsigned int XCNFANodeSet::SmallFrom(unsigned int id) const noexcept
{
    // A word at a time: the search skips 32 absent numbers with one comparison.
    while (id < kSmallCount) {
        std::uint32_t const rest = m_small[id / 32] >> (id % 32);
        if (rest != 0) return id + static_cast<unsigned int>(std::countr_zero(rest));
        id = (id / 32 + 1) * 32;
    }
    return kNone;
}

XCNFANodeSet::iterator XCNFANodeSet::begin() const noexcept
{
    return {*this, SmallFrom(0), m_large ? m_large->cbegin() : std::set<unsigned int>::const_iterator{}};
}

XCNFANodeSet::iterator XCNFANodeSet::end() const noexcept
{
    return {*this, kNone, m_large ? m_large->cend() : std::set<unsigned int>::const_iterator{}};
}

XCNFANodeSet::iterator& XCNFANodeSet::iterator::operator++() noexcept
{
    if (m_smallId != kNone)
        m_smallId = m_set->GetNextSmallID(m_smallId);
    else
        ++m_largeAt;
    return *this;
}

XCNFANodeSet::iterator XCNFANodeSet::iterator::operator++(int) noexcept
{
    iterator const before = *this;
    ++*this;
    return before;
}

bool operator==(XCNFANodeSet const& a, XCNFANodeSet const& b) noexcept
{
    if (a.m_small != b.m_small) return false;
    // A large part is made with its first number and numbers are never taken out, so no large part is empty.
    return a.m_large && b.m_large ? *a.m_large == *b.m_large : !a.m_large && !b.m_large;
}

bool operator<(XCNFANodeSet const& a, XCNFANodeSet const& b) noexcept
{
    if (a.m_small != b.m_small) return a.m_small < b.m_small;
    return a.m_large && b.m_large ? *a.m_large < *b.m_large : !a.m_large && b.m_large;
}
