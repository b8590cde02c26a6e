// Matches patterns of literals and ".*" alone by comparing and searching text.
//
// The first literal must stand at the beginning and the last one at the end; between them every needle is looked for
// from where the one before ended. The leftmost place is always good enough: it leaves the most text for the rest. So no
// automaton is needed, and the search runs at the speed of the vector kernels.
//
// COST      Linear: TextFinder never looks at a unit more than a fixed number of times. Open ends (a last ".*") accept
//           at the last needle and read the subject in stretches of 4096 units, so that they stay in the cache.
// INVARIANT "." never matches U+FFFF: nothing is found or skipped past the first one, unless the end is open and all
//           needles were found before it.
#include "match/Glob.h"

#include "match/TreeShape.h"
#include "text/FindText.h"
#include "text/Kernels.h"
#include "text/Units.h"

#include <algorithm>
#include <bit>

namespace xc::match {

namespace {

using Node = XCRegExSyntaxNode;

bool StartsWith(wchar_t const* text, std::wstring_view literal) noexcept
{
    return text::Mismatch(text, literal.data(), literal.size()) == literal.size();
}

/// Looks for needles in a subject whose end is not known yet, a stretch at a time. U+FFFF ends what may be read, because
/// "." never matches it.
class NeedleSearch {
public:
    explicit NeedleSearch(wchar_t const* text) : m_text(text) {}

    /// Skips a literal that must stand at the place reached.
    bool Take(std::wstring_view literal)
    {
        while (m_known < literal.size())
            if (!Extend(literal.size())) return false;
        if (!StartsWith(m_text, literal)) return false;
        m_at = literal.size();
        return true;
    }
    /// Goes on after the next place of the needle; false when there is none. Any place will do for the last needle, and
    /// the end of the subject is where one comparison may tell.
    bool Find(std::wstring_view needle, bool isLast)
    {
        text::TextFinder finder(needle);
        for (;;) {
            std::size_t const span = m_known - m_at;
            if (isLast && m_isWhole && span >= needle.size() && StartsWith(m_text + m_known - needle.size(), needle))
                return true;
            std::size_t const found = finder.Find(m_text + m_at, span);
            if (found < span) {
                m_at += found + needle.size();
                return true;
            }
            if (span >= needle.size()) m_at = m_known - (needle.size() - 1); // no place before begins a needle
            if (!Extend(needle.size())) return false;
        }
    }

private:
    /// A stretch stays in the processor's nearest cache until it has been searched.
    bool Extend(std::size_t needle)
    {
        constexpr std::size_t kStretch = 4096;
        std::size_t const most = std::max(kStretch, 4 * needle);
        std::size_t const n = text::DotCount(m_text + m_known, most);
        m_known += n;
        m_isWhole = n < most;
        return n > 0;
    }

    wchar_t const* m_text;
    std::size_t m_known = 0;
    std::size_t m_at = 0;
    bool m_isWhole = false; ///< all that "." may match is known
};

/// A subject of at most 16 units, kept in two vectors: each bit of a mask stands for one place.
class ShortSubject {
public:
    static constexpr unsigned int kUnits = 16;

    /// Reads kUnits units: text::MayReadVector(text).
    explicit ShortSubject(wchar_t const* text)
        : m_text(text), m_low(_mm_loadu_si128(reinterpret_cast<__m128i const*>(text))),
          m_high(_mm_loadu_si128(reinterpret_cast<__m128i const*>(text + 8))),
          m_known(static_cast<unsigned int>(std::countr_zero(PlacesOf(L'\0') | PlacesOf(0xFFFF) | 1u << kUnits)))
    {
    }
    /// Whether the subject, or what "." may match of it, ends here.
    [[nodiscard]] bool IsShort() const noexcept { return m_known < kUnits || m_text[kUnits] == L'\0'; }
    /// The first place of the needle (not empty) from `at` on; kUnits when there is none.
    [[nodiscard]] unsigned int Find(std::wstring_view needle, unsigned int at) const noexcept
    {
        std::size_t const last = needle.size() - 1;
        if (at + last >= m_known) return kUnits;
        unsigned int const room = (1u << (m_known - last)) - (1u << at);
        for (unsigned int places = PlacesOf(needle[0]) & PlacesOf(needle[last]) >> last & room; places != 0;
             places &= places - 1)
        {
            auto const place = static_cast<unsigned int>(std::countr_zero(places));
            if (std::equal(needle.begin() + 1, needle.end(), m_text + place + 1)) return place;
        }
        return kUnits;
    }

private:
    [[nodiscard]] unsigned int PlacesOf(wchar_t unit) const noexcept
    {
        __m128i const wanted = _mm_set1_epi16(static_cast<short>(unit));
        return static_cast<unsigned int>(
            _mm_movemask_epi8(_mm_packs_epi16(_mm_cmpeq_epi16(m_low, wanted), _mm_cmpeq_epi16(m_high, wanted))));
    }

    wchar_t const* m_text;
    __m128i m_low;
    __m128i m_high;
    unsigned int m_known; ///< how many units "." may match
};

bool HasInOrder(ShortSubject const& subject, std::vector<std::wstring_view> const& needles)
{
    unsigned int at = 0;
    for (std::wstring_view needle : needles) {
        unsigned int const found = subject.Find(needle, at);
        if (found == ShortSubject::kUnits) return false;
        at = found + static_cast<unsigned int>(needle.size());
    }
    return true;
}

} // namespace

std::unique_ptr<Glob const> Glob::From(XCRegExSyntaxNode const* root)
{
    // Most trees have another form, which their last part tells: nothing is made before all parts were seen.
    std::size_t units = 0;
    std::size_t gaps = 0;
    for (Node const* node = root; node; node = BeforeLast(*node)) {
        Node const& part = LastPart(*node);
        if (SingleUnit(part) != 0)
            ++units;
        else if (IsGap(part))
            ++gaps;
        else
            return {};
    }
    return root ? std::make_unique<Glob>(*root, units, gaps) : nullptr;
}

Glob::Glob(XCRegExSyntaxNode const& root, std::size_t units, std::size_t gaps)
    : m_text(units, L'\0'), m_hasGap(gaps != 0)
{
    std::size_t begin = units; // of the literal at hand; the parts come from the right
    std::size_t end = units;
    bool isLast = true;
    m_needles.reserve(gaps);
    for (Node const* node = &root; node; node = BeforeLast(*node)) {
        if (wchar_t const unit = SingleUnit(LastPart(*node)); unit != 0) {
            m_text[--begin] = unit;
            continue;
        }
        std::wstring_view const literal(m_text.data() + begin, end - begin);
        if (isLast)
            m_suffix = literal;
        else if (!literal.empty())
            m_needles.push_back(literal);
        isLast = false;
        end = begin;
    }
    m_prefix = {m_text.data(), end};
    std::reverse(m_needles.begin(), m_needles.end());
    m_openEnd = m_hasGap && m_suffix.empty();
    for (wchar_t const unit : m_prefix.substr(0, UnitPlaces::kMax)) m_lead.Add(text::ToUint(unit), text::ToUint(unit));
    bool const endsHere = !m_hasGap && m_prefix.size() < UnitPlaces::kMax;
    if (endsHere) m_lead.Add(0, 0);
    m_isLeadAll = endsHere || (m_openEnd && m_needles.empty() && m_prefix.size() <= UnitPlaces::kMax);
}

bool Glob::Match(wchar_t const* text) const
{
    if (m_lead.Length() != 0 && text::MayReadVector(text)) {
        bool const fits = m_lead.Fits(text);
        if (m_isLeadAll || !fits) return fits;
    }
    if (!m_hasGap) return text::UnitCount(text, m_prefix.size() + 1) == m_prefix.size() && StartsWith(text, m_prefix);
    return m_openEnd ? MatchOpen(text) : MatchClosed(text);
}

bool Glob::MatchOpen(wchar_t const* text) const
{
    if (m_prefix.empty() && text::MayReadVector(text)) {
        ShortSubject const subject(text);
        if (subject.IsShort()) return HasInOrder(subject, m_needles);
    }
    NeedleSearch search(text);
    if (!search.Take(m_prefix)) return false;
    return std::all_of(m_needles.begin(), m_needles.end(), [&](std::wstring_view const& needle) {
        return search.Find(needle, &needle == &m_needles.back());
    });
}

/// The whole subject must be known: its end is looked at first.
bool Glob::MatchClosed(wchar_t const* text) const
{
    std::size_t const n = text::DotCount(text, static_cast<std::size_t>(-1));
    if (text[n] != 0 || n < m_text.size() || !StartsWith(text, m_prefix) ||
        !StartsWith(text + n - m_suffix.size(), m_suffix))
        return false;
    wchar_t const* at = text + m_prefix.size();
    wchar_t const* const end = text + n - m_suffix.size();
    for (std::wstring_view needle : m_needles) {
        auto const span = static_cast<std::size_t>(end - at);
        std::size_t const found = text::FindText(at, span, needle.data(), needle.size());
        if (found >= span) return false;
        at += found + needle.size();
    }
    return true;
}

} // namespace xc::match
