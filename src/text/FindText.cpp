// Search for a text, forwards and backwards.
//
// A filter looks at two units of the needle at once, eight or sixteen places a step, and only places where both fit are
// compared. That is as fast as memory for the texts that people search, but a periodic needle in a periodic text makes
// nearly every place fit, and the comparisons quadratic. So the units compared in vain are counted: when they outgrow
// what was scanned, the rest of the text goes to the two-way algorithm (Crochemore and Perrin, 1991), which is linear
// whatever the texts are, and needs no memory.
//
// The two-way algorithm cuts the needle at a critical place, found as the larger of its maximal suffixes in both orders
// of the units. It compares the right half forwards, then the left half backwards. A mismatch in the right half moves on
// by the units that fitted, one in the left half by the period of the needle. For a periodic needle the units that the
// last shift proved are remembered. The search backwards runs the same code over texts read from their end.
#include "text/FindText.h"

#include "text/Cpu.h"
#include "text/Kernels.h"

#include <algorithm>
#include <bit>
#include <immintrin.h>

namespace xc::text {

namespace {

/// Units in reading order.
struct ForwardUnits {
    wchar_t const* units;
    wchar_t operator[](std::size_t i) const noexcept { return units[i]; }
};
/// Units from the last to the first: `end` is one past the first of them.
struct BackwardUnits {
    wchar_t const* end;
    wchar_t operator[](std::size_t i) const noexcept { return *(end - 1 - i); }
};

struct Factorization {
    std::size_t split;  ///< where the right half of the needle begins
    std::size_t period; ///< of the right half
};

/// The largest suffix in the order of the units (or the reverse order) and its period.
template <class Units>
Factorization MaximalSuffix(Units needle, std::size_t m, bool reverse) noexcept
{
    std::size_t start = 0; // of the suffix
    std::size_t other = 1; // of the suffix it is compared with
    std::size_t offset = 0;
    std::size_t period = 1;
    while (other + offset < m) {
        wchar_t const a = needle[other + offset];
        wchar_t const b = needle[start + offset];
        if (a == b) {
            if (offset + 1 == period) {
                other += period;
                offset = 0;
            } else {
                ++offset;
            }
        } else if ((a < b) != reverse) {
            other += offset + 1;
            offset = 0;
            period = other - start;
        } else {
            start = other++;
            offset = 0;
            period = 1;
        }
    }
    return {start, period};
}

template <class Units>
Factorization CriticalFactorization(Units needle, std::size_t m) noexcept
{
    // The later of the two places is critical: no repetition around it is shorter than the needle's own period.
    Factorization const a = MaximalSuffix(needle, m, false);
    Factorization const b = MaximalSuffix(needle, m, true);
    return a.split >= b.split ? a : b;
}

/// Two-way search: the index of the first needle, or n.
template <class Units>
std::size_t FindTwoWay(Units text, std::size_t n, Units needle, std::size_t m) noexcept
{
    if (m > n) return n;
    auto const [split, rightPeriod] = CriticalFactorization(needle, m);
    bool periodic = true; // the left half repeats the right one's period
    for (std::size_t i = 0; i < split && periodic; ++i)
        periodic = i + rightPeriod < m && needle[i] == needle[i + rightPeriod];
    // Without a period the left half cannot occur again before the larger half has passed.
    std::size_t const shift = periodic ? rightPeriod : std::max(split, m - split) + 1;
    std::size_t remembered = 0; // units of the needle known to fit after a shift by the period
    for (std::size_t at = 0; at <= n - m;) {
        std::size_t i = std::max(split, remembered);
        while (i < m && needle[i] == text[at + i]) ++i;
        if (i < m) {
            at += i - split + 1;
            remembered = 0;
            continue;
        }
        i = split;
        while (i > remembered && needle[i - 1] == text[at + i - 1]) --i;
        if (i <= remembered) return at;
        at += shift;
        remembered = periodic ? m - shift : 0;
    }
    return n;
}

/// How far a filtered search came.
struct Progress {
    std::size_t place;
    enum { Found, Exhausted, GaveUp } state;
};

/// The places of 16 where both units are the wanted ones.
[[gnu::always_inline]] XC_TARGET_AVX2 inline __m256i BothFit(wchar_t const* x, wchar_t const* y, __m256i const& a,
                                                             __m256i const& b) noexcept
{
    return _mm256_and_si256(_mm256_cmpeq_epi16(_mm256_loadu_si256(reinterpret_cast<__m256i const*>(x)), a),
                            _mm256_cmpeq_epi16(_mm256_loadu_si256(reinterpret_cast<__m256i const*>(y)), b));
}

/// Looks at the candidates of a step that begins at `i`: two bits of the mask for each. False when the search goes on.
[[gnu::always_inline]] inline bool EndsAmong(unsigned int mask, wchar_t const* text, std::size_t i, TextFinder& needle,
                                             Progress& progress) noexcept
{
    while (mask != 0) {
        std::size_t const at = i + static_cast<std::size_t>(std::countr_zero(mask)) / 2;
        if (needle.IsAt(text + at)) {
            progress = {at, Progress::Found};
            return true;
        }
        if (needle.WastedTooMuch(at)) {
            progress = {at + 1, Progress::GaveUp};
            return true;
        }
        // Both bits of the candidate go.
        mask &= mask - 1;
        mask &= mask - 1;
    }
    return false;
}

/// Tries the places from the first on while a whole step of 16 fits; `last` is the last place where the needle could begin.
XC_TARGET_AVX2 Progress FilterAvx2(wchar_t const* text, std::size_t last, TextFinder& needle) noexcept
{
    std::size_t i = 0;
    Progress progress{};
    std::size_t const first = needle.First();
    std::size_t const second = needle.Second();
    __m256i const a = _mm256_set1_epi16(static_cast<short>(needle[first]));
    __m256i const b = _mm256_set1_epi16(static_cast<short>(needle[second]));
    for (; i + 15 <= last; i += 16) {
        // Two steps in one test, as long as neither holds a candidate.
        while (i + 31 <= last) {
            __m256i const low = BothFit(text + i + first, text + i + second, a, b);
            __m256i const high = BothFit(text + i + first + 16, text + i + second + 16, a, b);
            if (_mm256_movemask_epi8(_mm256_or_si256(low, high)) != 0) break;
            i += 32;
        }
        if (i + 15 > last) break;
        __m256i const both = BothFit(text + i + first, text + i + second, a, b);
        if (EndsAmong(static_cast<unsigned int>(_mm256_movemask_epi8(both)), text, i, needle, progress))
            return progress;
    }
    return {i, Progress::Exhausted};
}

Progress FilterSse2(wchar_t const* text, std::size_t i, std::size_t last, TextFinder& needle) noexcept
{
    Progress progress{};
    std::size_t const first = needle.First();
    std::size_t const second = needle.Second();
    __m128i const a = _mm_set1_epi16(static_cast<short>(needle[first]));
    __m128i const b = _mm_set1_epi16(static_cast<short>(needle[second]));
    for (; i + 7 <= last; i += 8) {
        auto const* const x = reinterpret_cast<__m128i const*>(text + i + first);
        auto const* const y = reinterpret_cast<__m128i const*>(text + i + second);
        __m128i const both =
            _mm_and_si128(_mm_cmpeq_epi16(_mm_loadu_si128(x), a), _mm_cmpeq_epi16(_mm_loadu_si128(y), b));
        if (EndsAmong(static_cast<unsigned int>(_mm_movemask_epi8(both)), text, i, needle, progress)) return progress;
    }
    return {i, Progress::Exhausted};
}

} // namespace

// The rarer the pair of units that the filter looks for, the better: the last unit and the nearest other one.
TextFinder::TextFinder(std::wstring_view needle) noexcept
    : m_needle(needle), m_first(needle.size() < 2 ? 0 : needle.size() - 2)
{
    while (m_first > 0 && needle[m_first] == needle.back()) --m_first;
}

bool TextFinder::IsAt(wchar_t const* text) noexcept
{
    std::size_t const same = Mismatch(text, m_needle.data(), m_needle.size());
    if (same == m_needle.size()) return true;
    // A comparison costs at least as much as eight units, however soon it fails.
    m_wasted += same + 8;
    return false;
}

std::size_t TextFinder::Find(wchar_t const* text, std::size_t n) noexcept
{
    std::size_t const m = m_needle.size();
    if (m == 0) return 0;
    if (m > n) return n;
    if (m == 1) return FindUnit(text, n, m_needle[0]);
    std::size_t const last = n - m;
    Progress progress{0, Progress::Exhausted};
    if (last >= 16 && HasAvx2()) progress = FilterAvx2(text, last, *this);
    if (progress.state == Progress::Exhausted) progress = FilterSse2(text, progress.place, last, *this);
    m_scanned += progress.place;
    if (progress.state == Progress::Found) return progress.place;
    std::size_t i = progress.place;
    if (progress.state == Progress::GaveUp)
        return i + FindTwoWay(ForwardUnits{text + i}, n - i, ForwardUnits{m_needle.data()}, m); // none: i + (n - i)
    // Fewer than eight places are left.
    for (; i <= last; ++i)
        if (text[i] == m_needle[0] && IsAt(text + i)) return i;
    return n;
}

std::size_t FindText(wchar_t const* text, std::size_t n, wchar_t const* needle, std::size_t m) noexcept
{
    return TextFinder({needle, m}).Find(text, n);
}

std::size_t FindLastText(wchar_t const* text, std::size_t n, wchar_t const* needle, std::size_t m) noexcept
{
    if (m == 0) return n;
    if (m > n) return n;
    if (m == 1) return FindLastUnit(text, n, *needle);
    // Places go down from the last one; the filter is the first unit of the needle.
    std::size_t wasted = 0;
    for (std::size_t places = n - m + 1; places > 0;) {
        std::size_t const at = FindLastUnit(text, places, *needle);
        if (at == places) return n;
        std::size_t const same = Mismatch(text + at, needle, m);
        if (same == m) return at;
        wasted += same + 8;
        // The same bound as that of the forward filter: work in vain stays within a multiple of what was passed, plus
        // a start.
        if (wasted > 4 * (n - at) + 4096) {
            std::size_t const left = at + m - 1; // needles that begin before `at` end here at the latest
            std::size_t const back = FindTwoWay(BackwardUnits{text + left}, left, BackwardUnits{needle + m}, m);
            return back == left ? n : left - back - m;
        }
        places = at;
    }
    return n;
}

} // namespace xc::text
