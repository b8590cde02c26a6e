// Sorting by keys.
//
// Comparing two texts of a large list costs mostly memory: two strings and their tables are fetched for each of some
// n log n comparisons. So each key is made once, all in one block, and what is sorted are small records with the first
// eight bytes of the key in them, as a number that compares as the bytes do. Most comparisons end there, in memory that
// lies side by side; only equal beginnings go to the block. The index decides at last, which keeps equal texts in order.
#include <XelbrinCore/XCLevelCollator.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

namespace {

struct KeyRecord {
    std::uint64_t beginning; ///< the first bytes of the key, the first one highest; zeros where it is shorter
    std::size_t offset;
    std::uint32_t length;
    std::uint32_t index;
};

std::uint64_t BeginningOf(char const* key, std::size_t length) noexcept
{
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, key, std::min(length, sizeof bytes));
    return __builtin_bswap64(bytes); // the machine has the low byte first
}

} // namespace

void XCSortByKeys(std::vector<XCString>& texts, XCCollator const& collator)
{
    std::string keys;
    std::vector<KeyRecord> records;
    records.reserve(texts.size());
    for (XCString const& text : texts) {
        std::size_t const offset = keys.size();
        collator.AppendKey(keys, text.AsWChar());
        std::size_t const length = keys.size() - offset;
        records.push_back({BeginningOf(keys.data() + offset, length), offset, static_cast<std::uint32_t>(length),
                           static_cast<std::uint32_t>(records.size())});
    }
    // No two records are equal, since the index decides at last: the faster unstable sort keeps the order of equal
    // texts.
    std::sort(records.begin(), records.end(), [&keys](KeyRecord const& a, KeyRecord const& b) {
        if (a.beginning != b.beginning) return a.beginning < b.beginning;
        int const order = std::memcmp(keys.data() + a.offset, keys.data() + b.offset, std::min(a.length, b.length));
        if (order != 0) return order < 0;
        return a.length != b.length ? a.length < b.length : a.index < b.index;
    });
    // Strings move by their pointer. The reserve is the last step that can run out of memory, and leaves the list as it
    // was.
    std::vector<XCString> sorted;
    sorted.reserve(texts.size());
    for (KeyRecord const& record : records) sorted.push_back(std::move(texts[record.index]));
    texts.swap(sorted);
}
