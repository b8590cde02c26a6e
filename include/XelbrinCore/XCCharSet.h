// XCCharSet.h - sets of code units kept as sorted ranges, and the table of ranges below them.
//
// WHAT     XCLookupTable maps keys to values by disjoint, ordered ranges. XCRangeSet is such a table used as a set;
//          XCUWCharSet is the set of UTF-16 code units that the regular expressions are made of.
// SHAPE    A range is half-open: [begin, end). The largest key can therefore never be covered: U+FFFF is in no
//          XCUWCharSet, and adding it does nothing. A range end never wraps.
//          Up to four ranges take no memory of their own.
// COST     Look-up: O(log ranges). Changing one range: O(ranges). Set operations: O(ranges of both).
// THREADS  Any threads may read one object; changing it needs the callers' own lock.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCInlineArray.h>

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

/// One entry of a look-up table: the keys from begin up to but not including end have this value.
template <class Key, class Value>
struct XCLookupRange {
    Key begin;   ///< The first key of the range.
    Key end;     ///< The key after the last one.
    Value value; ///< What every key of the range maps to.

    friend bool operator==(XCLookupRange const&, XCLookupRange const&) = default;
};

/// Values by ranges of keys. Ranges are disjoint and ascending; neighbours that touch have different values.
template <class Key, class Value>
class XCLookupTable {
public:
    /// One range of equal values.
    using Range = XCLookupRange<Key, Value>;
    /// Walks over the ranges in ascending order; changing the table ends it.
    using Iterator = Range const*;

private:
    using Ranges =
        std::conditional_t<std::is_trivially_copyable_v<Range>, xc::match::InlineArray<Range>, std::vector<Range>>;

public:
    /// Gives the keys [begin, end) this value, whatever they had. begin >= end changes nothing.
    void Assign(Key begin, Key end, Value value)
    {
        if (!(begin < end)) return;
        if (m_ranges.empty() || m_ranges.back().end < begin) {
            m_ranges.push_back({begin, end, std::move(value)});
            return;
        }
        auto at = Cut(begin, end);
        if (at != m_ranges.end() && at->begin == end && at->value == value) {
            end = at->end;
            at = m_ranges.erase(at);
        }
        if (at != m_ranges.begin() && std::prev(at)->end == begin && std::prev(at)->value == value)
            std::prev(at)->end = end;
        else
            m_ranges.insert(at, {begin, end, std::move(value)});
    }
    /// Takes the value from the keys [begin, end).
    void Erase(Key begin, Key end)
    {
        if (begin < end) Cut(begin, end);
    }
    /// Appends a range after all others; begin must not lie before the last range's end.
    void Append(Key begin, Key end, Value value)
    {
        if (!m_ranges.empty() && m_ranges.back().end == begin && m_ranges.back().value == value)
            m_ranges.back().end = end;
        else
            m_ranges.push_back({begin, end, std::move(value)});
    }
    /// Takes out every range.
    void Clear() noexcept { m_ranges.clear(); }

    /// The value of a key; null when it has none.
    [[nodiscard]] Value const* Find(Key key) const noexcept
    {
        auto const at = FirstEndingAfter(key);
        return at != m_ranges.end() && !(key < at->begin) ? &at->value : nullptr;
    }
    /// Whether no key has a value.
    [[nodiscard]] bool IsEmpty() const noexcept { return m_ranges.empty(); }
    [[nodiscard]] Iterator GetBegin() const noexcept { return begin(); }
    [[nodiscard]] Iterator GetEnd() const noexcept { return end(); }
    [[nodiscard]] Iterator begin() const noexcept { return std::to_address(m_ranges.begin()); }
    [[nodiscard]] Iterator end() const noexcept { return begin() + m_ranges.size(); }
    /// How many ranges the table has, neighbours of equal value joined.
    [[nodiscard]] std::size_t GetRangeCount() const noexcept { return m_ranges.size(); }

    friend bool operator==(XCLookupTable const&, XCLookupTable const&) = default;

private:
    /// Removes [begin, end) and returns the place of the gap.
    typename Ranges::iterator Cut(Key begin, Key end)
    {
        auto const offset = FirstEndingAfter(begin) - this->begin();
        auto first = m_ranges.begin() + offset;
        if (first != m_ranges.end() && first->begin < begin) {
            Range const head{first->begin, begin, first->value};
            first->begin = begin;
            first = std::next(m_ranges.insert(first, head));
        }
        auto last = first;
        while (last != m_ranges.end() && !(end < last->end)) ++last;
        if (last != m_ranges.end() && last->begin < end) last->begin = end;
        return m_ranges.erase(first, last);
    }
    [[nodiscard]] Iterator FirstEndingAfter(Key key) const noexcept
    {
        return std::partition_point(begin(), end(), [key](Range const& range) { return !(key < range.end); });
    }

    Ranges m_ranges;
};

/// A set of keys of an unsigned integer type, kept as ranges in canonical form: equal sets compare equal.
template <class Key>
class XCRangeSet {
public:
    /// The table that the set is kept in.
    using Table = XCLookupTable<Key, bool>;
    /// One range of members.
    using Range = typename Table::Range;
    /// Walks over the ranges in ascending order; changing the set ends it.
    using Iterator = typename Table::Iterator;
    /// The one key that no set can hold, and the end of the set of all others.
    static constexpr Key kLimit = std::numeric_limits<Key>::max();

    /// A narrow unit counts as its unsigned byte.
    void AddChar(char unit) { AddOne(ToKey(unit)); }
    void AddChar(wchar_t unit) { AddOne(ToKey(unit)); }
    /// Adds first to last, both included; last < first adds nothing.
    void AddRange(char first, char last) { Add(ToKey(first), AfterKey(ToKey(last))); }
    void AddRange(wchar_t first, wchar_t last) { Add(ToKey(first), AfterKey(ToKey(last))); }
    /// Adds every key but kLimit.
    void AddAllChars() { Add(0, kLimit); }
    /// Takes one unit out; nothing when it is no member.
    void DelChar(char unit) { Del(ToKey(unit), AfterKey(ToKey(unit))); }
    void DelChar(wchar_t unit) { Del(ToKey(unit), AfterKey(ToKey(unit))); }
    /// Takes out the units from the first to the last, both included.
    void DelRange(char first, char last) { Del(ToKey(first), AfterKey(ToKey(last))); }
    void DelRange(wchar_t first, wchar_t last) { Del(ToKey(first), AfterKey(ToKey(last))); }

    /// The raw, half-open forms.
    void Add(Key begin, Key end) { m_table.Assign(begin, end, true); }
    void Add(Range const& range) { Add(range.begin, range.end); }
    /// Takes out the keys from `begin` up to, not including, `end`.
    void Del(Key begin, Key end) { m_table.Erase(begin, end); }
    void Del(Range const& range) { Del(range.begin, range.end); }
    /// Takes out every member.
    void Clear() noexcept { m_table.Clear(); }

    /// A narrow unit counts as its unsigned byte; a number that is no key is in no set.
    [[nodiscard]] bool IsInSet(std::integral auto unit) const noexcept
    {
        if constexpr (std::is_same_v<decltype(unit), char> || std::is_same_v<decltype(unit), wchar_t>)
            return m_table.Find(ToKey(unit)) != nullptr;
        else
            return static_cast<std::uint64_t>(unit) < kLimit && m_table.Find(static_cast<Key>(unit)) != nullptr;
    }
    /// Whether the set has no member.
    [[nodiscard]] bool IsEmpty() const noexcept { return m_table.IsEmpty(); }
    /// The number of keys in the set.
    [[nodiscard]] std::uint64_t GetCount() const noexcept
    {
        std::uint64_t count = 0;
        for (Range const& range : m_table) count += static_cast<std::uint64_t>(range.end - range.begin);
        return count;
    }
    /// The number of ranges.
    [[nodiscard]] std::size_t GetRangeCount() const noexcept { return m_table.GetRangeCount(); }
    /// The ranges, ascending.
    [[nodiscard]] Iterator GetBegin() const noexcept { return m_table.GetBegin(); }
    [[nodiscard]] Iterator GetEnd() const noexcept { return m_table.GetEnd(); }
    [[nodiscard]] Iterator begin() const noexcept { return m_table.begin(); }
    [[nodiscard]] Iterator end() const noexcept { return m_table.end(); }
    /// The size of a key in bytes.
    [[nodiscard]] static constexpr std::size_t GetKeyLength() noexcept { return sizeof(Key); }

    friend bool operator==(XCRangeSet const&, XCRangeSet const&) = default;

    /// Union.
    XCRangeSet& operator|=(XCRangeSet const& other)
    {
        return *this = Combine(*this, other, [](bool inA, bool inB) { return inA || inB; });
    }
    /// Intersection.
    XCRangeSet& operator&=(XCRangeSet const& other)
    {
        return *this = Combine(*this, other, [](bool inA, bool inB) { return inA && inB; });
    }
    /// Difference.
    XCRangeSet& operator/=(XCRangeSet const& other) { return *this = ComputeDifference(*this, other); }

    /// What is in a and not in b.
    [[nodiscard]] static XCRangeSet ComputeDifference(XCRangeSet const& a, XCRangeSet const& b)
    {
        return Combine(a, b, [](bool inA, bool inB) { return inA && !inB; });
    }

private:
    static constexpr Key ToKey(char unit) noexcept { return static_cast<unsigned char>(unit); }
    static constexpr Key ToKey(wchar_t unit) noexcept { return static_cast<Key>(unit); }
    /// The key after this one, or kLimit: ends never wrap.
    static constexpr Key AfterKey(Key key) noexcept { return key == kLimit ? kLimit : static_cast<Key>(key + 1); }
    void AddOne(Key key) { Add(key, AfterKey(key)); }

    /// Sweeps over the borders of both sets and keeps the stretches for which `keep` holds.
    template <class Keep>
    static XCRangeSet Combine(XCRangeSet const& a, XCRangeSet const& b, Keep keep)
    {
        XCRangeSet result;
        Iterator nextA = a.begin();
        Iterator nextB = b.begin();
        for (Key from = 0; from != kLimit;) {
            while (nextA != a.end() && !(from < nextA->end)) ++nextA;
            while (nextB != b.end() && !(from < nextB->end)) ++nextB;
            bool const inA = nextA != a.end() && !(from < nextA->begin);
            bool const inB = nextB != b.end() && !(from < nextB->begin);
            Key const to = std::min(Border(nextA, a.end(), inA), Border(nextB, b.end(), inB));
            if (keep(inA, inB)) result.m_table.Append(from, to, true);
            from = to;
        }
        return result;
    }
    static Key Border(Iterator range, Iterator end, bool inside) noexcept
    {
        if (range == end) return kLimit;
        return inside ? range->end : range->begin;
    }

    Table m_table;
};

/// A set of UTF-16 code units; U+FFFF can never be a member.
using XCUWCharSet = XCRangeSet<unsigned short>;
