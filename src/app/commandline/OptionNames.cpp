// Typing errors by the distance of Damerau and Levenshtein in its restricted form (optimal string alignment): a table of
// the distances between all beginnings, of which three rows are needed at a time. The last row but one serves swaps of
// neighbours, the error that fast typists make most. Cost: the product of the lengths; names of options are short.
#include "app/commandline/OptionNames.h"

#include <algorithm>
#include <numeric>

namespace xc::commandline {

std::size_t TypingDistance(std::wstring_view a, std::wstring_view b)
{
    std::vector<std::size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            // A swap is one step from the distance of the beginnings that end before both units. "Restricted" means
            // that no other change may touch the two; the full form needs a table of where each unit was last seen, for
            // pairs that nobody types.
            bool const swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::exchange(last, row);
    }
    return last[b.size()];
}

XCString NearestName(std::wstring_view typed, std::vector<XCString> const& names)
{
    XCString nearest;
    // One wrong unit in three is still a slip; more of them make another word. A short name may have one all the same.
    // The strict comparison below keeps the first of equals, so that the order of the declaration decides.
    std::size_t least = std::max<std::size_t>(typed.size() / 3, 1) + 1;
    for (XCString const& name : names)
        if (std::size_t const distance = TypingDistance(typed, name.View()); distance < least) {
            least = distance;
            nearest = name;
        }
    return nearest;
}

} // namespace xc::commandline
